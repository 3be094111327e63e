#pragma once

// Start-up and the page loop: key events, timer redraws and the idle backlight rule.
//
// All scheduling is in whole seconds of the monotonic clock, so that setting the wall
// clock disturbs neither redraws nor the idle time-out. Main thread only.

#include <cstdint>

struct SchedulerState {
    std::uint8_t currentPage;      // row of PageTable being shown
    std::uint8_t currentSubPage;   // a channel number on the channel page
    std::uint32_t lastRefreshTime; // last draw that counts for the refresh timer
    std::int32_t lastKeyTime;      // last key event
    std::uint8_t backlightOn;      // 1 while lit, 0 after the idle time-out
};

extern SchedulerState scheduler;

// Whole seconds of CLOCK_MONOTONIC, or 0 when the clock cannot be read.
std::uint32_t monotonicSeconds();

// True when `period` seconds (not 0) have passed since `last`; counts wrap at 2^32.
bool isRefreshDue(std::uint32_t now, std::uint32_t last, std::uint32_t period);

// True when 60 whole seconds have passed since the last key; signed, wraps at 2^31.
bool isIdle(std::uint32_t now, std::int32_t lastKey);

// Obtains the message queue, starts the log receiver, lights the panel and draws the
// clock page. Returns 0; -1 without a queue ("msgget failed!!!", nothing else started).
// Ends the process with status 0 when the receiver's thread cannot be created.
int startUp();

// One pass of the page loop: acts on one key event and returns at once, or serves the
// timers and sleeps 50 ms.
void pageLoopPass();
