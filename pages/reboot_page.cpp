// Page 11: restarts the system.

#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

void drawRebootPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    GUI_SetTextMode(GUI_TM_NORMAL);
    GUI_SetFont(&GUI_FontMono10x19);
    drawCentred("Reboot", isSmallPanel() ? 7 : 23);

    // The word stands on the panel before the system goes down.
    std::FILE* command = popen("reboot", "r");
    if (command == nullptr) {
        std::puts("exec reboot error");
        return;
    }
    std::puts("system is rebooting");
    pclose(command);
}
