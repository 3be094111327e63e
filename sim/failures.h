#pragma once

// Failures of calls that the gateway's stand-in leaves alone: memory and reads.
// A second preloaded object, panel_failures.so, makes one of them fail by a plan that it shares
// with the harness through the file `failuresFileName` of the sandbox. Without that file it only
// passes calls on.

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace sim {

inline constexpr const char* failuresFileName = "failures";

enum class LibraryCall : std::uint32_t {
    Malloc, // malloc, calloc and realloc, those of the libraries included
    Read,
};
inline constexpr std::size_t libraryCallCount = static_cast<std::size_t>(LibraryCall::Read) + 1;

struct LibraryFailures {
    std::atomic<std::int32_t> owner;  // the process that counts: the first one started; 0: none yet
    std::atomic<std::uint32_t> armed; // 1 while the plan is in force
    std::atomic<LibraryCall> call;
    std::atomic<std::uint64_t> nth; // the first call that fails, counted from 1
    std::atomic<std::uint32_t> persistent;
    std::atomic<std::int32_t> error;
    std::atomic<std::uint64_t> seen[libraryCallCount];
    std::atomic<std::uint64_t> hits;
    std::atomic<std::uint64_t> watchedSizes[2]; // allocations of these sizes, bytes, ...
    std::atomic<std::uint32_t> watchedHit;      // ... set this when they are made to fail
};

} // namespace sim
