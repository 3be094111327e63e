#include "sim/modem_port.h"

#include "sim/next_call.h"
#include "sim/virtual_clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace sim {

namespace {

// Descriptors of the far side are kept out of the daemon's way.
constexpr int lowestMaster = 500;
// Milliseconds of real time that the kernel gets to carry bytes through the pty.
constexpr int carryPatience = 1000;
// So many bytes wait in a terminal at most; what arrives after them is lost.
constexpr int terminalCapacity = 4095;

int waitingInput(int descriptor) {
    int count = 0;
    return ioctl(descriptor, FIONREAD, &count) == 0 ? count : 0;
}

bool readable(int descriptor) {
    pollfd poller{descriptor, POLLIN, 0};
    return poll(&poller, 1, 0) > 0;
}

bool inLineMode(int descriptor) {
    termios settings{};
    return callNext<"tcgetattr">(descriptor, &settings) != 0 || (settings.c_lflag & ICANON) != 0;
}

} // namespace

int ModemPort::open(ControlBlock& block, const char* node, int flags) {
    std::array<char, 64> slave{};
    if (callNext<"access">(node, F_OK) != 0 || (master_ < 0 && !makeLine()) ||
        ptsname_r(master_, slave.data(), slave.size()) != 0) {
        return -1;
    }
    const int descriptor =
        callNext<"openat">(AT_FDCWD, static_cast<const char*>(slave.data()), flags);
    const std::lock_guard guard(block.factsLock);
    modem_.opened(block.clock.reading(CLOCK_MONOTONIC));
    return descriptor;
}

bool ModemPort::makeLine() {
    const int made = posix_openpt(O_RDWR | O_NOCTTY);
    if (made < 0) {
        return false;
    }
    master_ = fcntl(made, F_DUPFD_CLOEXEC, lowestMaster);
    callNext<"close">(made);
    if (master_ < 0) {
        return false;
    }
    writtenBytes_ = 0;
    heardBytes_ = 0;
    fcntl(master_, F_SETFL, O_NONBLOCK);
    return grantpt(master_) == 0 && unlockpt(master_) == 0;
}

void ModemPort::closed() {
    if (master_ >= 0) {
        callNext<"close">(master_);
        master_ = -1;
    }
}

// Reads what the daemon wrote from the far side. The kernel carries it there in its own time.
void ModemPort::hearWrites(ControlBlock& block) {
    std::array<char, 1024> bytes;
    pollfd poller{master_, POLLIN, 0};
    while (master_ >= 0 && poll(&poller, 1, heardBytes_ < writtenBytes_ ? carryPatience : 0) > 0) {
        const ssize_t count = read(master_, bytes.data(), bytes.size());
        if (count <= 0) {
            break;
        }
        heardBytes_ += static_cast<std::size_t>(count);
        const std::string_view heard(bytes.data(), static_cast<std::size_t>(count));
        const std::lock_guard guard(block.factsLock);
        for (const char byte : heard) {
            SentBytes& sent = block.sentToModem;
            sent.bytes[sent.total++ % sizeof sent.bytes] = byte;
        }
        modem_.feed(block.facts.modem, heard, block.clock.reading(CLOCK_MONOTONIC));
    }
    heardBytes_ = writtenBytes_;
}

void ModemPort::exchange(ControlBlock& block, int descriptor) {
    hearWrites(block);
    ModemChunk chunk{};
    while (modem_.take(block.clock.reading(CLOCK_MONOTONIC), chunk)) {
        deliver(descriptor, chunk);
    }
}

// The kernel carries bytes to the daemon's side in its own time; without the wait the daemon would
// now and then see a chunk in pieces that nobody asked for.
void ModemPort::deliver(int descriptor, const ModemChunk& chunk) {
    const int before = waitingInput(descriptor);
    const auto written = callNext<"write", ssize_t>(
        master_, static_cast<const void*>(chunk.bytes.data()), chunk.bytes.size());
    if (written > 0 && !inLineMode(descriptor)) {
        const int all = std::min(before + static_cast<int>(written), terminalCapacity);
        await([=] { return waitingInput(descriptor) >= all; });
    }
    if (chunk.hangUp) {
        closed();
    }
}

bool ModemPort::waitReadable(ControlBlock& block, int descriptor, Nanoseconds deadline) {
    for (;;) {
        exchange(block, descriptor);
        if (readable(descriptor)) {
            return true;
        }
        const Nanoseconds now = block.clock.reading(CLOCK_MONOTONIC);
        if (now >= deadline) {
            return false;
        }
        sleepFor(block, std::min(deadline, modem_.nextDue()) - now);
    }
}

} // namespace sim
