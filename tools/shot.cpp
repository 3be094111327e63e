#include "tools/commands.h"

#include "picture/image.h"
#include "tools/panel_view.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

using namespace ctl;

// How often a watched panel is looked at; the daemon redraws once a second at most.
constexpr std::timespec watchPeriod{0, 200'000'000};
constexpr int looksPerRemark = 5; // looking for the daemon costs more than looking at the panel

constexpr const char* standardOutput = "-";

struct View {
    picture::Bitmap picture;
    picture::CellKind cells;
    std::string remark;
};

// In the place of the view before, or below it when nobody looks on. The remark stands below the
// picture until it changes.
void show(const View& now, const View& before, bool first) {
    const bool terminal = isatty(STDOUT_FILENO) == 1;
    const bool anew = first || now.cells != before.cells;
    std::fputs(!terminal ? "" : anew ? "\x1b[?25l\x1b[2J\x1b[H" : "\x1b[H", stdout);
    printPanel(now.picture, now.cells);
    std::fputs(terminal ? "" : "\n", stdout);
    if (anew || now.remark != before.remark) {
        std::fputs(terminal ? "\x1b[J" : "", stdout);
        remarkOn(now.remark);
    }
    std::fflush(stdout);
}

void watch(const std::optional<picture::CellKind>& cells) {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        sigaddset(&ends, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);

    View shown{};
    int look = 0;
    do {
        View now{panelPicture(), cells.value_or(fittingCells()),
                 look % looksPerRemark == 0 ? panelRemark() : shown.remark};
        if (look == 0 || now.picture != shown.picture || now.cells != shown.cells ||
            now.remark != shown.remark) {
            show(now, shown, look == 0);
            shown = std::move(now);
        }
        look = look % looksPerRemark + 1;
    } while (sigtimedwait(&ends, nullptr, &watchPeriod) == -1 && std::ferror(stdout) == 0);
    std::fputs(isatty(STDOUT_FILENO) == 1 ? "\x1b[?25h" : "", stdout);
}

int writeFile(const ShotOptions& options) {
    const picture::Image image = picture::panelImage(panelPicture(), options.scale);
    std::string reason;
    if (options.file != standardOutput) {
        if (!picture::writePng(image, options.file, &reason)) {
            complain("cannot write %s", reason.c_str());
            return statusTrouble;
        }
    } else if (isatty(STDOUT_FILENO) == 1) {
        complain("a PNG picture is nothing for a terminal; lead it into a file or a program");
        return statusTrouble;
    } else if (!picture::writePng(image, stdout, &reason)) {
        complain("cannot write standard output: %s", reason.c_str());
        return statusTrouble;
    }
    remarkOn(panelRemark());
    return statusFine;
}

} // namespace

int ctl::shot(const ShotOptions& options) {
    if (!openPanel()) {
        return statusTrouble;
    }
    if (!options.file.empty()) {
        return writeFile(options);
    }
    if (options.watch) {
        watch(options.cells);
    } else {
        showPanel(options.cells);
    }
    return statusFine;
}
