#include "sim/control.h"

#include <iterator>

namespace sim {

namespace {

constexpr const char* callNames[] = {
    "open",   "close",     "write",     "ioctl",         "mmap",         "stat",
    "access", "fopen",     "statfs",    "getifaddrs",    "freeifaddrs",  "msgget",
    "msgrcv", "popen",     "pclose",    "clock_gettime", "gettimeofday", "usleep",
    "select", "tcgetattr", "tcsetattr", "tcdrain",       "tcflush",      "pthread_create",
};

constexpr const char* pathNames[] = {
    "none",
    "/dev/fb0",
    "/dev/input/event0",
    "/dev/mux3",
    "/dev/mmcblk0p1",
    "/media/mmcblk0p1",
    "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness",
    "/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness",
    "/zelkora/Config/sys.xml",
    "/zelkora/Config/system/sn.xml",
    "/zelkora/Config/version/main-version.conf",
    "/zelkora/Config/Channel-template.xml",
    "/etc/localtime",
    "other configuration",
};

static_assert(std::size(callNames) == callCount);
static_assert(std::size(pathNames) == pathCount);

} // namespace

const char* name(Call call) {
    return callNames[static_cast<std::size_t>(call)];
}

const char* name(Path path) {
    return pathNames[static_cast<std::size_t>(path)];
}

} // namespace sim
