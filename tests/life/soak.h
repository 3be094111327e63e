#pragma once

// A long life under accelerated time: button events and changing facts, day after day, with looks
// at memory, descriptors and pages on the way.

#include <cstdint>

struct SoakPlan {
    double days = 30;
    std::uint64_t events = 1'000'000;
    std::uint32_t seed = 1;
};

// Prints a line at each checkpoint. False when private memory grew after the warm-up, a descriptor
// leaked, a page is not as its golden shows it, or the loop or the clock page allocates more than
// tzset's copy of its file's name.
bool soak(const SoakPlan& plan);
