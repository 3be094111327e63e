#include "sim/places.h"

#include <iterator>

namespace sim {

namespace {

constexpr const char* callNames[] = {
    "open",   "close",     "write",     "ioctl",         "mmap",         "stat",
    "access", "fopen",     "statfs",    "getifaddrs",    "freeifaddrs",  "msgget",
    "msgrcv", "popen",     "pclose",    "clock_gettime", "gettimeofday", "usleep",
    "select", "tcgetattr", "tcsetattr", "tcdrain",       "tcflush",      "pthread_create",
};

static_assert(std::size(callNames) == callCount);

} // namespace

const char* name(Call call) {
    return callNames[static_cast<std::size_t>(call)];
}

const char* name(Path path) {
    return path == Path::None ? "none" : path == Path::Refused ? "refused" : pathOf(path).data();
}

} // namespace sim
