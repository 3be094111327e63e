#include "tools/commands.h"

#include "gui/lcd_driver.h"
#include "picture/bitmap.h"
#include "picture/image.h"
#include "tools/captured_output.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <span>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using namespace ctl;

// How often a watched panel is looked at; the daemon redraws once a second at most.
constexpr std::timespec watchPeriod{0, 200'000'000};

// Maps the panel's video memory by the daemon's driver, which draws nothing while doing so.
bool openPanel() {
    const std::string message = captureOutput(LCD_DriverOpen);
    if (pbMapMem == nullptr) {
        complain("%s", message.substr(0, message.find('\n')).c_str());
        return false;
    }
    if (LCD_BITSPERPIXEL != 1) {
        complain("the framebuffer has %d bits per pixel and is no panel of this kind",
                 LCD_BITSPERPIXEL);
        return false;
    }
    return true;
}

picture::Bitmap panelPicture() {
    return picture::Bitmap::fromVideoMemory(std::span(pbMapMem, ulVideoMemByteSize), LCD_XSIZE,
                                            LCD_YSIZE);
}

// Square dots where the terminal is wide enough, smaller ones where it is not.
picture::CellKind fittingCells() {
    winsize window{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    return known && window.ws_col < LCD_XSIZE ? picture::CellKind::Quadrants
                                              : picture::CellKind::HalfBlocks;
}

void print(const picture::Bitmap& bitmap, picture::CellKind cells) {
    for (const std::string& row : picture::renderCells(bitmap, cells)) {
        std::printf("%s\n", row.c_str());
    }
}

// Shows each picture in the place of the one before, or below it when nobody looks on.
void watch(picture::CellKind cells) {
    const bool terminal = isatty(STDOUT_FILENO) == 1;
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        sigaddset(&ends, signal);
    }
    sigprocmask(SIG_BLOCK, &ends, nullptr);

    std::fputs(terminal ? "\x1b[?25l\x1b[2J" : "", stdout); // no cursor, blank screen
    picture::Bitmap shown;
    do {
        if (const picture::Bitmap now = panelPicture(); now != shown) {
            std::fputs(terminal ? "\x1b[H" : "", stdout); // to the top-left corner
            print(now, cells);
            std::fputs(terminal ? "" : "\n", stdout);
            std::fflush(stdout);
            shown = now;
        }
    } while (sigtimedwait(&ends, nullptr, &watchPeriod) == -1 && std::ferror(stdout) == 0);
    std::fputs(terminal ? "\x1b[?25h" : "", stdout);
}

} // namespace

int ctl::shot(const ShotOptions& options) {
    if (!openPanel()) {
        return statusTrouble;
    }
    if (!options.file.empty()) {
        std::string reason;
        if (!picture::writePng(panelPicture(), options.scale, options.file, &reason)) {
            complain("cannot write %s: %s", options.file.c_str(), reason.c_str());
            return statusTrouble;
        }
        return statusFine;
    }
    const picture::CellKind cells = options.cells.value_or(fittingCells());
    if (options.watch) {
        watch(cells);
    } else {
        print(panelPicture(), cells);
    }
    return statusFine;
}
