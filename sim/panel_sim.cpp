// The simulator: the unmodified daemon on a simulated gateway, its panel shown live in the
// terminal. Without a terminal it prints every page instead.

#include <CLI/CLI.hpp>
#include <langinfo.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "picture/cells.h"
#include "picture/image.h"
#include "sim/terminal.h"
#include "sim/terminal_shell.h"
#include "sim/terminal_walk.h"

namespace {

namespace fs = std::filesystem;

constexpr int galleryScale = 4;

struct Arguments {
    int panelHeight = 64;
    bool panelChosen = false;
    std::string cells;
    std::string paneld;
    std::string gallery;
    bool print = false;
    bool shell = false;
};

// Pictures of the panel are UTF-8 whatever the environment says; Debian has C.UTF-8 always.
void setLocale() {
    std::setlocale(LC_ALL, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

// The build folder is laid out the same wherever it is.
sim::Programs findPrograms(const Arguments& arguments) {
    const fs::path build = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
    sim::Programs programs;
    programs.paneld = arguments.paneld.empty() ? build / "paneld" : fs::absolute(arguments.paneld);
    programs.interposer = build / "panel_gateway.so";
    return programs;
}

sim::Panel panelOf(int height) {
    return height == 32 ? sim::panel32 : sim::panel64;
}

std::vector<sim::Panel> chosenPanels(const Arguments& arguments) {
    if (arguments.panelChosen)
        return {panelOf(arguments.panelHeight)};
    return {sim::panel64, sim::panel32};
}

// The daemon's own words help to understand a failed walk.
int reportFailure(const sim::Walk& walk, sim::Panel panel) {
    std::fprintf(stderr, "panel-sim: %u-line panel: %s\n%s", panel.height, walk.failure.c_str(),
                 walk.output.c_str());
    return 1;
}

int printPages(const sim::Programs& programs, const Arguments& arguments) {
    const auto cells =
        picture::cellKindByName(arguments.cells).value_or(picture::CellKind::HalfBlocks);
    for (const sim::Panel& panel : chosenPanels(arguments)) {
        const sim::Walk walk = sim::walkPages(programs, panel);
        for (const sim::PagePicture& page : walk.pages) {
            std::printf("%u-line panel: %s\n", panel.height, page.title.c_str());
            for (const std::string& row : picture::renderCells(page.picture, cells))
                std::printf("%s\n", row.c_str());
            std::printf("\n");
        }
        if (!walk.failure.empty())
            return reportFailure(walk, panel);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}

int writeGallery(const sim::Programs& programs, const Arguments& arguments) {
    for (const sim::Panel& panel : chosenPanels(arguments)) {
        const sim::Walk walk = sim::walkPages(programs, panel);
        if (!walk.failure.empty())
            return reportFailure(walk, panel);
        const fs::path folder = fs::path(arguments.gallery) / std::to_string(panel.height);
        fs::create_directories(folder);
        for (const sim::PagePicture& page : walk.pages) {
            std::string reason;
            const fs::path file = folder / (page.name + ".png");
            if (picture::writePng(page.picture, galleryScale, file.string(), &reason))
                continue;
            std::fprintf(stderr, "panel-sim: %s\n", reason.c_str());
            return 1;
        }
        std::printf("%zu pages in %s\n", walk.pages.size(), folder.c_str());
    }
    return 0;
}

int runChosen(const Arguments& arguments) {
    const sim::Programs programs = findPrograms(arguments);
    if (!arguments.gallery.empty())
        return writeGallery(programs, arguments);
    if (arguments.shell)
        return sim::runShell(programs, panelOf(arguments.panelHeight));
    const bool terminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
    if (terminal && !arguments.print) {
        const sim::FrontOptions options{programs, panelOf(arguments.panelHeight),
                                        picture::cellKindByName(arguments.cells)};
        if (const std::optional<int> status = sim::runFront(options))
            return *status;
        std::fprintf(stderr, "panel-sim: this terminal cannot show a live panel\n");
    }
    return printPages(programs, arguments);
}

} // namespace

int main(int argc, char** argv) {
    setLocale();
    Arguments arguments;
    CLI::App app("Shows paneld's panel live in the terminal, on a simulated gateway. Without a "
                 "terminal it prints every page of both panels.");
    auto* panel = app.add_option("--panel", arguments.panelHeight, "Lines of the panel: 64 or 32")
                      ->check(CLI::IsMember({64, 32}));
    app.add_option("--cells", arguments.cells, "How the panel is drawn: half, quadrants, braille")
        ->check(CLI::IsMember({"half", "quadrants", "braille"}));
    app.add_flag("--print", arguments.print, "Print every page also on a terminal");
    app.add_option("--gallery", arguments.gallery, "Write a PNG picture of every page into DIR")
        ->type_name("DIR");
    app.add_flag("--shell", arguments.shell, "Open a shell whose programs see the gateway");
    app.add_option("--paneld", arguments.paneld, "Another daemon binary than the one built here")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    CLI11_PARSE(app, argc, argv);
    arguments.panelChosen = panel->count() > 0;
    try {
        return runChosen(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "panel-sim: %s\n", error.what());
        return 1;
    }
}
