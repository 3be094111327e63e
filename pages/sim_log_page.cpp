// Page 5: the two newest log lines, the older one above the newer.

#include "app/log_store.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

namespace {

// A line as it is shown; longer lines are cut to 63 characters.
using ShownLine = char[64];

void showLine(ShownLine& shown, const std::string& line) {
    std::snprintf(shown, sizeof shown, "%s", line.c_str());
}

// Copies the lines in arrival order: a single line stands on top.
void copyLines(ShownLine& top, ShownLine& bottom) {
    const LogLock lock;
    const std::list<std::string>& lines = logStore.lines;
    if (lines.empty()) {
        return;
    }
    showLine(top, lines.back());
    if (lines.size() == LogStore::kept) {
        showLine(bottom, lines.front());
    }
}

} // namespace

void drawSimLogPage(std::uint8_t /*page*/, std::uint8_t subPage) {
    if (subPage != 0) {
        return;
    }
    drawTitleCentred("SIM Log", 4);
    ShownLine top = {};
    ShownLine bottom = {};
    copyLines(top, bottom);
    // The area ends inside the border; what a long line leaves at the panel's right edge
    // stays until the next key.
    GUI_ClearRect(15, 26, 125, 62);
    GUI_DispStringAt(top, 15, 26);
    GUI_DispStringAt(bottom, 15, 42);
}
