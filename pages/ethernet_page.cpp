// Pages 1 and 2: address and netmask of one Ethernet port each.

#include "device/device_info.h"
#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

namespace {

constexpr std::uint8_t firstPort = 1; // page of eth1, or of eth0 when it is cascaded

// What stands beside the value, for each port and sub-page.
struct EthernetTexts {
    const char* title;
    const char* label;
    const char* smallLabel; // on the 32-line panel
};

constexpr EthernetTexts texts[2][2] = {
    {{"ETH 1 CONF", "IP Address:", "IP1:"}, {"ETH 1 CONF", "NetMask:", "NetMask1:"}},
    {{"ETH 2 CONF", "IP Address:", "IP2:"}, {"ETH 2 CONF", "NetMask:", "NetMask2:"}},
};

} // namespace

void drawEthernetPage(std::uint8_t page, std::uint8_t subPage) {
    const bool isFirst = page == firstPort;
    const InterfaceAddress* pair = nullptr;
    if (isFirst) {
        DeviceInfo::instance()->getPort1Addr(&pair);
    } else {
        DeviceInfo::instance()->getPort2Addr(&pair);
    }
    const bool isAddress = subPage == 0;
    const EthernetTexts& shown = texts[isFirst ? 0 : 1][isAddress ? 0 : 1];
    const char* const value = isAddress ? pair->address : pair->netmask;
    if (isSmallPanel()) {
        selectBodyText();
        GUI_DispStringAt(shown.smallLabel, 6, 4);
        drawCentred(value, 16);
        return;
    }
    GUI_DrawBitmap(&IconEthernet, 6, 5);
    drawTitleAt(shown.title, 26, 4);
    GUI_DispStringAt(shown.label, 15, 26);
    drawCentred(value, 42);
}
