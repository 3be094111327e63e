// What the fuzz targets share.
#pragma once

#include "sim/gateway.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

// libFuzzer's driver itself leaves an object behind when the process has static destructors.
// NOLINTNEXTLINE(misc-definitions-in-headers): each target has one source
extern "C" const char* __lsan_default_suppressions() {
    return "leak:fuzzer::FuzzerDriver";
}

inline void require(bool held, const char* what) {
    if (!held) {
        std::fprintf(stderr, "violated: %s\n", what);
        std::abort();
    }
}

// A gateway that lives as long as the process. The clocks stay as they are: libFuzzer measures its
// own run by them. The daemon's messages are not wanted.
inline sim::Gateway& attachedGateway() {
    static sim::Gateway gateway;
    static const bool attached = [] {
        const std::time_t now = std::time(nullptr);
        gateway.attach();
        gateway.setClockMode(sim::ClockMode::Real);
        gateway.setWallClock(now);
        return std::freopen("/dev/null", "w", stdout) != nullptr;
    }();
    require(attached, "attached");
    return gateway;
}
