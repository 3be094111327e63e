// Pages 1 and 2: address and netmask of one Ethernet port each.

#include "device/device_info.h"
#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

namespace {

constexpr unsigned firstPort = 1;
constexpr unsigned secondPort = 2;

// What one sub-page shows of a port.
struct EthernetValue {
    const char* label;       // 64-line panel
    const char* smallFormat; // label on the 32-line panel, given the port's number
    const char* text;
};

EthernetValue ethernetValue(const InterfaceAddress& pair, std::uint8_t subPage) {
    return subPage == 0 ? EthernetValue{"IP Address:", "IP%u:", pair.address}
                        : EthernetValue{"NetMask:", "NetMask%u:", pair.netmask};
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void formatPort(char (&text)[valueSize], const char* format, unsigned port) {
    std::snprintf(text, sizeof text, format, port);
}
#pragma GCC diagnostic pop

} // namespace

void drawEthernetPage(std::uint8_t page, std::uint8_t subPage) {
    const unsigned port = page == firstPort ? firstPort : secondPort;
    const InterfaceAddress* pair = nullptr;
    if (port == firstPort) {
        DeviceInfo::instance()->getPort1Addr(&pair);
    } else {
        DeviceInfo::instance()->getPort2Addr(&pair);
    }
    const EthernetValue value = ethernetValue(*pair, subPage);
    char text[valueSize];
    if (isSmallPanel()) {
        selectBodyText();
        formatPort(text, value.smallFormat, port);
        GUI_DispStringAt(text, 6, 4);
        drawCentred(value.text, 16);
        return;
    }
    GUI_DrawBitmap(&IconEthernet, 6, 5);
    formatPort(text, "ETH %u CONF", port);
    drawTitleAt(text, 26, 4);
    GUI_DispStringAt(value.label, 15, 26);
    drawCentred(value.text, 42);
}
