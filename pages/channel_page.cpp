// Page 9: serial settings of one channel per sub-page.

#include "device/device_info.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

void drawChannelPage(std::uint8_t /*page*/, std::uint8_t subPage) {
    char title[valueSize];
    std::snprintf(title, sizeof title, "Channel %u", unsigned{subPage});
    // Stays empty when the channel has left the template since the page was entered. A
    // parity of character 0 ends the text at its place.
    char settings[valueSize] = {};
    const ChannelConfig* config = nullptr;
    if (DeviceInfo::instance()->findChannel(subPage, &config) == 0) {
        std::snprintf(settings, sizeof settings, "%d %d %c %d", int{config->Baud},
                      int{config->DataSize}, config->Parity, int{config->Stop});
    }

    if (isSmallPanel()) {
        selectBodyText();
        drawCentred(title, 4);
        drawCentred(settings, 16);
        return;
    }
    drawTitleCentred(title, 8);
    drawCentred(settings, 40);
}
