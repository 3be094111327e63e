#pragma once

// One day of the unmodified daemon on a simulated gateway, told as a script that goes on whatever
// fails meanwhile, and what the daemon shows and does afterwards, when nothing fails any more.

#include "picture/bitmap.h"
#include "sim/panel_process.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace faults {

// A failure to inject.
struct Failure {
    sim::Call call = sim::Call::Open;
    sim::Path path = sim::Path::None;
    int error = 0;
    std::uint32_t nth = 1;
    bool persistent = false; // the nth and every later one, until the day is over
};

std::string describe(const Failure& failure);

// How often each call was made in a day.
struct CallCounts {
    std::array<std::array<std::uint64_t, sim::pathCount>, sim::callCount> calls{};
};

struct DayResult {
    bool reached = false;          // the call that was to fail was made
    bool stuck = false;            // the process neither slept nor ended
    std::optional<int> status;     // as waitpid gives it, when the process ended during the day
    std::string errors;            // its standard error
    bool singletonRefused = false; // the memory of one of the two singletons was refused

    // After the day, without failures:
    std::vector<picture::Bitmap> pages; // the whole cycle, from the clock on
    bool clockFound = false;            // short presses led back to the clock page
    bool rebootAnswered = false;        // a long press led to the reboot command
    bool ticking = false;               // the clock page changed with the time of day
    bool darkens = false;               // the backlight went off when no key came
    std::size_t descriptors = 0;        // open descriptors at the end
    bool canaryIntact = false;          // nothing was written behind the video memory
    CallCounts counts;                  // of the day itself
};

struct DayOptions {
    sim::Panel panel = sim::panel64;
    picture::Bitmap clockPage; // as it is at the moment that its golden shows
};

DayResult liveADay(const DayOptions& options, const std::optional<Failure>& failure);

} // namespace faults
