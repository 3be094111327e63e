#include "app/screen.h"

#include "device/device_info.h"
#include "device/file_descriptor.h"
#include "gui/gui.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace {

// What differs between the two panels.
struct PanelKind {
    const char* brightnessPath;
    const char* openFailure;
    GUI_POINT border[4];
};

constexpr PanelKind panelKinds[] = {
    {"/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness",
     "fail to open SSD1306 backlight file",
     {{0, 0}, {127, 0}, {127, 63}, {0, 63}}},
    {"/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness",
     "fail to open st7565bl0 backlight file",
     {{0, 0}, {127, 0}, {127, 31}, {0, 31}}},
};

const PanelKind& fittedPanel() {
    return panelKinds[DeviceInfo::instance()->isSmallPanel()];
}

} // namespace

const char* brightnessPath() {
    return fittedPanel().brightnessPath;
}

void setBacklight(int level) {
    char text[8];
    std::snprintf(text, sizeof text, "%d", level);
    const PanelKind& panel = fittedPanel();
    const FileDescriptor brightness(open(brightnessPath(), O_WRONLY));
    if (!brightness.isOpen()) {
        std::puts(panel.openFailure);
        return;
    }
    if (write(brightness.get(), text, std::strlen(text)) == -1) {
        std::printf("fail to set Brightness %s ,errno is %d\n", text, errno);
    }
}

void initScreen() {
    GUI_Init();
    const PanelKind& panel = fittedPanel();
    GUI_DrawPolygon(panel.border, static_cast<int>(std::size(panel.border)), 0, 0);
}
