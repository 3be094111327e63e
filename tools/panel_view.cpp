#include "tools/panel_view.h"

#include "app/screen.h"
#include "gui/lcd_driver.h"
#include "tools/captured_output.h"
#include "tools/commands.h"
#include "tools/processes.h"

#include <cstdio>
#include <fstream>
#include <span>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Below the picture: a remark and the cursor, or the shell's prompt.
constexpr int linesBelow = 2;

} // namespace

bool ctl::openPanel() {
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

picture::Bitmap ctl::panelPicture() {
    return picture::Bitmap::fromVideoMemory(std::span(pbMapMem, ulVideoMemByteSize), LCD_XSIZE,
                                            LCD_YSIZE);
}

int ctl::panelBrightness() {
    const char* path = nullptr;
    captureOutput([&] { path = brightnessPath(); });
    int level = -1;
    std::ifstream file(path);
    return file >> level ? level : -1;
}

std::string ctl::panelRemark() {
    if (processesNamed(daemonName).empty()) {
        return std::string("no ") + daemonName + " is running: the picture is an old one";
    }
    return panelBrightness() == backlightOff ? "the backlight is off: the next press lights it"
                                             : "";
}

picture::CellKind ctl::fittingCells() {
    using picture::CellKind;
    winsize window{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == -1 || window.ws_col == 0) {
        return CellKind::HalfBlocks;
    }
    for (const CellKind kind : {CellKind::HalfBlocks, CellKind::Quadrants}) {
        const auto [columns, rows] = picture::cellSize(kind, LCD_XSIZE, LCD_YSIZE);
        if (columns <= window.ws_col && rows + linesBelow <= window.ws_row) {
            return kind;
        }
    }
    return CellKind::Braille;
}

void ctl::printPanel(const picture::Bitmap& bitmap, picture::CellKind cells) {
    for (const std::string& row : picture::renderCells(bitmap, cells)) {
        std::printf("%s\n", row.c_str());
    }
}

void ctl::showPanel(const std::optional<picture::CellKind>& cells) {
    printPanel(panelPicture(), cells.value_or(fittingCells()));
    remarkOn(panelRemark());
}

void ctl::remarkOn(const std::string& remark) {
    std::fflush(stdout);
    if (!remark.empty()) {
        complain("%s", remark.c_str());
    }
}
