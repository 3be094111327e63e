// Page 0: local date and time.

#include "pages/icons.h"
#include "pages/layout.h"
#include "pages/pages.h"

#include <cstdio>
#include <ctime>
#include <sys/time.h>

namespace {

tm localNow() {
    timeval now{};
    gettimeofday(&now, nullptr);
    tzset(); // follows a change of the system's zone, which localtime_r alone does not
    tm local{};
    localtime_r(&now.tv_sec, &local);
    return local;
}

} // namespace

void drawClockPage(std::uint8_t /*page*/, std::uint8_t /*subPage*/) {
    const tm local = localNow();
    char timeText[valueSize];
    char dateText[valueSize];
    std::snprintf(timeText, sizeof timeText, "%02u:%02u:%02u", static_cast<unsigned>(local.tm_hour),
                  static_cast<unsigned>(local.tm_min), static_cast<unsigned>(local.tm_sec));
    std::snprintf(dateText, sizeof dateText, "%04u-%02u-%02u",
                  static_cast<unsigned>(local.tm_year + 1900),
                  static_cast<unsigned>(local.tm_mon + 1), static_cast<unsigned>(local.tm_mday));

    if (isSmallPanel()) {
        selectBodyText();
        GUI_DispStringAt("Time:", 6, 4);
        GUI_DispStringAt("Date:", 6, 16);
        GUI_DispStringAt(timeText, 60, 4);
        GUI_DispStringAt(dateText, 56, 16);
        return;
    }
    GUI_DrawBitmap(&IconClock, 10, 18);
    GUI_SetFont(&GUI_FontProp19);
    GUI_DispStringAt(timeText, 48, 10);
    GUI_DispStringAt(dateText, 35, 35);
}
