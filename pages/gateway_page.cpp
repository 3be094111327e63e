// Page 3: gateway address.

#include "device/device_info.h"
#include "pages/layout.h"
#include "pages/pages.h"

void drawGatewayPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    if (isSmallPanel()) {
        selectBodyText();
        GUI_DispStringAt("GateWay:", 6, 4);
        drawCentred(DeviceInfo::instance()->gateway(), 16);
        return;
    }
    drawTitleAt("GateWay", 30, 6);
    GUI_DispStringAt("GateWay Ip:", 10, 30);
    GUI_DispStringAt(DeviceInfo::instance()->gateway(), 33, 45);
}
