#include "app/key_input.h"

#include <cstdio>
#include <fcntl.h>
#include <linux/input.h>
#include <memory>
#include <unistd.h>

namespace {

constexpr useconds_t pauseAfterFailedOpen = 100000; // microseconds
constexpr time_t longestShortPress = 9;             // whole seconds
constexpr suseconds_t microsecondsPerSecond = 1000000;

// Values of a key event; anything else is a repeat.
constexpr int keyReleased = 0;
constexpr int keyPressed = 1;

// Owned here, so that normal process exit closes the device.
std::unique_ptr<KeyInput> theKeyInput;

bool isEarlier(const timeval& one, const timeval& other) {
    return one.tv_sec != other.tv_sec ? one.tv_sec < other.tv_sec : one.tv_usec < other.tv_usec;
}

timeval difference(const timeval& later, const timeval& earlier) {
    timeval result{later.tv_sec - earlier.tv_sec, later.tv_usec - earlier.tv_usec};
    if (result.tv_usec < 0) {
        result.tv_usec += microsecondsPerSecond;
        --result.tv_sec;
    }
    return result;
}

} // namespace

KeyInput* KeyInput::instance() {
    if (theKeyInput == nullptr) {
        theKeyInput.reset(new KeyInput);
    }
    return theKeyInput.get();
}

KeyInput::KeyInput() {
    gettimeofday(&pressTime_, nullptr);
    gettimeofday(&releaseTime_, nullptr);
    fd_ = open(buttonPath, O_RDWR | O_NONBLOCK);
    if (fd_ < 0) {
        std::puts("Open /input/event0 failed, Please check the driver module is insmod.");
        usleep(pauseAfterFailedOpen);
    }
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
        event.code != BTN_0) {
        return KeyEvent::None;
    }
    switch (event.value) {
    case keyPressed:
        gettimeofday(&pressTime_, nullptr);
        gettimeofday(&releaseTime_, nullptr);
        return KeyEvent::None;
    case keyReleased:
        return finishPress();
    default:
        return KeyEvent::None;
    }
}

KeyEvent KeyInput::finishPress() {
    gettimeofday(&releaseTime_, nullptr);
    // When the clock was set back during the press, the previous duration stands.
    if (!isEarlier(releaseTime_, pressTime_)) {
        heldTime_ = difference(releaseTime_, pressTime_);
    }
    return heldTime_.tv_sec > longestShortPress ? KeyEvent::LongPress : KeyEvent::ShortPress;
}
