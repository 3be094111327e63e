// A simulated gateway for the fuzz targets that need files or a queue.
#pragma once

#include "sim/gateway.h"

#include <ctime>

// libFuzzer's driver itself leaves an object behind when the process has static destructors.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:fuzzer::FuzzerDriver";
}

namespace fuzz {

// Attaches the gateway and leaves the clocks as they are: libFuzzer measures its own run by them.
inline void attachInRealTime(sim::Gateway& gateway) {
    const std::time_t now = std::time(nullptr);
    gateway.attach();
    gateway.setClockMode(sim::ClockMode::Real);
    gateway.setWallClock(now);
}

} // namespace fuzz
