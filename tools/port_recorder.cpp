#include "tools/port_recorder.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;
using ctl::PortEvent;

int recordedFd = -1;
Clock::time_point began;
std::vector<PortEvent> events;

void record(PortEvent::Kind kind, const void* data, std::size_t count) {
    const auto at = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - began);
    std::string bytes;
    if (data != nullptr) {
        bytes.assign(static_cast<const char*>(data), count);
    }
    events.push_back({kind, at, std::move(bytes), count});
}

} // namespace

void ctl::startRecording(int fd) {
    events.clear();
    recordedFd = fd;
    began = Clock::now();
}

std::vector<ctl::PortEvent> ctl::stopRecording() {
    recordedFd = -1;
    return std::exchange(events, {});
}

// NOLINTBEGIN(readability-identifier-naming): the linker makes these names.
extern "C" {

ssize_t __real_write(int fd, const void* data, size_t count);
ssize_t __real_read(int fd, void* data, size_t count);
int __real_tcflush(int fd, int queue);

ssize_t __wrap_write(int fd, const void* data, size_t count) {
    if (fd == recordedFd) {
        record(PortEvent::sent, data, count);
    }
    return __real_write(fd, data, count);
}

ssize_t __wrap_read(int fd, void* data, size_t count) {
    const ssize_t size = __real_read(fd, data, count);
    if (fd == recordedFd && size > 0) {
        record(PortEvent::received, data, static_cast<std::size_t>(size));
    }
    return size;
}

// What read becomes in a build with fortified library calls.
ssize_t __wrap___read_chk(int fd, void* data, size_t count, size_t /*room*/) {
    return __wrap_read(fd, data, count);
}

int __wrap_tcflush(int fd, int queue) {
    int waiting = 0;
    if (fd == recordedFd && ioctl(fd, FIONREAD, &waiting) == 0 && waiting > 0) {
        record(PortEvent::discarded, nullptr, static_cast<std::size_t>(waiting));
    }
    return __real_tcflush(fd, queue);
}
}
// NOLINTEND(readability-identifier-naming)
