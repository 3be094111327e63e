#include "pages/layout.h"

#include "device/device_info.h"

namespace {

void selectTitleText() {
    GUI_SetFont(&GUI_FontMono10x19);
    GUI_SetTextMode(GUI_TM_REV);
}

} // namespace

bool isSmallPanel() {
    return DeviceInfo::instance()->isSmallPanel() != 0;
}

void selectBodyText() {
    GUI_SetTextMode(GUI_TM_NORMAL);
    GUI_SetFont(&GUI_FontMono6x12);
}

void drawTitleAt(const char* title, int x, int y) {
    selectTitleText();
    GUI_DispStringAt(title, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    selectBodyText();
}

void drawTitleCentred(const char* title, int y) {
    selectTitleText();
    drawCentred(title, y);
    selectBodyText();
}

void drawCentred(const char* text, int y) {
    GUI_DispStringHCenterAt(text, panelCentre, static_cast<std::int16_t>(y));
}
