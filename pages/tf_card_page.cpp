// Page 8: total and free space of the TF card.

#include "device/device_info.h"
#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>

namespace {

// At least five digits; the figure prints as signed.
void formatMb(char (&text)[valueSize], std::uint32_t megabytes) {
    std::snprintf(text, sizeof text, "%05dMB", static_cast<int>(megabytes));
}

} // namespace

void drawTfCardPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    const TfCardFigures* figures = nullptr;
    DeviceInfo::instance()->readTfCard(&figures);
    char freeText[valueSize];
    char totalText[valueSize];
    formatMb(freeText, figures->tfFreeMb);
    formatMb(totalText, figures->tfTotalMb);

    if (isSmallPanel()) {
        selectBodyText();
        GUI_DispStringAt("Total:", 6, 6);
        GUI_DispStringAt("Free:", 6, 16);
        GUI_DispStringAt(totalText, 68, 6);
        GUI_DispStringAt(freeText, 68, 16);
        return;
    }
    GUI_DrawBitmap(&IconInfo, 13, 3);
    drawTitleAt("TF Card", 40, 6);
    GUI_DispStringAt("Total:", 15, 32);
    GUI_DispStringAt("Free:", 15, 46);
    GUI_DispStringAt(totalText, 76, 32);
    GUI_DispStringAt(freeText, 76, 46);
}
