#include "app/key_input.h"

#include <cstdio>
#include <fcntl.h>
#include <linux/input.h>
#include <memory>
#include <unistd.h>

namespace {

constexpr useconds_t pauseAfterFailedOpen = 100000; // microseconds
constexpr time_t longestShortPress = 9;             // whole seconds
constexpr suseconds_t unreadable = -1;              // in the microseconds of a time

// Values of a key event; anything else is a repeat.
constexpr int keyReleased = 0;
constexpr int keyPressed = 1;

// Owned here, so that normal process exit closes the device.
std::unique_ptr<KeyInput> theKeyInput;

timeval wallClock() {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        now.tv_usec = unreadable;
    }
    return now;
}

bool isReadable(const timeval& time) {
    return time.tv_usec != unreadable;
}

} // namespace

KeyInput* KeyInput::instance() {
    if (theKeyInput == nullptr) {
        theKeyInput = std::make_unique<KeyInput>();
    }
    return theKeyInput.get();
}

KeyInput::KeyInput()
    : pressTime_(wallClock()), releaseTime_(wallClock()),
      fd_(open(buttonPath, O_RDWR | O_NONBLOCK)) {
    if (fd_ < 0) {
        std::puts("Open /input/event0 failed, Please check the driver module is insmod.");
        usleep(pauseAfterFailedOpen);
        return;
    }
    fcntl(fd_, F_SETFD, FD_CLOEXEC); // the reboot command has no use for it
}

KeyInput::~KeyInput() {
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
}

KeyEvent KeyInput::readKey() {
    if (fd_ < 0) {
        return KeyEvent::None;
    }
    input_event event{};
    if (read(fd_, &event, sizeof event) != static_cast<ssize_t>(sizeof event) ||
        event.code != buttonCode) {
        return KeyEvent::None;
    }
    switch (event.value) {
    case keyPressed:
        pressTime_ = wallClock();
        releaseTime_ = wallClock();
        return KeyEvent::None;
    case keyReleased:
        return finishPress();
    default:
        return KeyEvent::None;
    }
}

KeyEvent KeyInput::finishPress() {
    releaseTime_ = wallClock();
    if (!isReadable(pressTime_) || !isReadable(releaseTime_)) {
        heldTime_ = {};
    } else if (!timercmp(&releaseTime_, &pressTime_, <)) {
        timersub(&releaseTime_, &pressTime_, &heldTime_);
    } // else the clock was set back during the press: the previous duration stands
    return heldTime_.tv_sec > longestShortPress ? KeyEvent::LongPress : KeyEvent::ShortPress;
}
