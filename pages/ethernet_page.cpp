// Pages 1 and 2: address and netmask of one Ethernet port each.

#include "device/device_info.h"
#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

void drawEthernetPage(std::uint8_t page, std::uint8_t subPage) {
    const unsigned port = page == 1 ? 1 : 2;
    const InterfaceAddress* pair = nullptr;
    if (port == 1) {
        DeviceInfo::instance()->getPort1Addr(&pair);
    } else {
        DeviceInfo::instance()->getPort2Addr(&pair);
    }
    const bool isAddress = subPage == 0;
    const char* const value = isAddress ? pair->address : pair->netmask;
    char text[valueSize];
    if (isSmallPanel()) {
        std::snprintf(text, sizeof text, isAddress ? "IP%u:" : "NetMask%u:", port);
        selectBodyText();
        GUI_DispStringAt(text, 6, 4);
        drawCentred(value, 16);
        return;
    }
    std::snprintf(text, sizeof text, "ETH %u CONF", port);
    GUI_DrawBitmap(&IconEthernet, 6, 5);
    drawTitleAt(text, 26, 4);
    GUI_DispStringAt(isAddress ? "IP Address:" : "NetMask:", 15, 26);
    drawCentred(value, 42);
}
