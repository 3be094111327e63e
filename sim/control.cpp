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
    "SSD1306 brightness",
    "ST7565 brightness",
    "sys.xml",
    "sn.xml",
    "main-version.conf",
    "Channel-template.xml",
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
