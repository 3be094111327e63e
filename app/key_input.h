#pragma once

// The front-panel button: press and release events become short and long presses.
//
// There is one button. A press is reported when it is released, never before, and is timed
// by the wall clock at the moment its events are read; where the clock cannot be read, the
// press is a short one. Main thread only. Prints one line when the device cannot be opened.

#include <linux/input-event-codes.h>
#include <sys/time.h>

inline constexpr const char* buttonPath = "/dev/input/event0";
inline constexpr int buttonCode = BTN_0;

// What one look at the button gives.
enum class KeyEvent {
    None = 0,
    ShortPress = 1, // released within ten seconds
    LongPress = 2,  // held ten seconds or more
};

class KeyInput {
  public:
    // The process-wide object, created at its first use (after the first page has been
    // drawn) and destroyed at normal process exit.
    static KeyInput* instance();

    // Opens the device; use `instance` instead of an object of one's own.
    KeyInput();
    ~KeyInput();
    KeyInput(const KeyInput&) = delete;
    KeyInput& operator=(const KeyInput&) = delete;

    // Reads at most one input event and never blocks. Without a device always None: a
    // failed open is not tried again.
    KeyEvent readKey();

  private:
    KeyEvent finishPress();

    timeval pressTime_;   // microseconds -1 when the clock could not be read
    timeval releaseTime_; // the same
    timeval heldTime_{};  // last completed press, microseconds 0..999999
    int fd_;
};
