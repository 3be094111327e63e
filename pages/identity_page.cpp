// Pages 6 and 7: series number and software version, in one layout.

#include "device/device_info.h"
#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

namespace {

struct IdentityTexts {
    const char* title;
    const char* label;
    const char* smallLabel; // on the 32-line panel
};

// The value is fetched last: the accessor may print a message about its file.
void drawIdentity(const IdentityTexts& texts, const char* (DeviceInfo::*value)()) {
    if (isSmallPanel()) {
        selectBodyText();
        GUI_DispStringAt(texts.smallLabel, 6, 4);
        drawCentred((DeviceInfo::instance()->*value)(), 16);
        return;
    }
    GUI_DrawBitmap(&IconInfo, 3, 3);
    drawTitleAt(texts.title, 30, 6);
    GUI_DispStringAt(texts.label, 10, 30);
    drawCentred((DeviceInfo::instance()->*value)(), 45);
}

} // namespace

void drawIdentityPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    drawIdentity({"GateInfo", "Series number", "Series number:"}, &DeviceInfo::seriesNumber);
}

void drawVersionPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    drawIdentity({"Version", "Version:", "Version:"}, &DeviceInfo::version);
}
