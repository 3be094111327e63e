#pragma once

// Waiting on a word that two processes may share, straight from the kernel: sanitizers do not see
// these waits, so the simulated gateway never orders threads in their eyes and hides no race.

#include <atomic>
#include <climits>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sim {

// Sleeps while `word` holds `expected`, at most `timeout` (null: for ever). May return early.
inline void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected,
                      const timespec* timeout = nullptr) {
    syscall(SYS_futex, &word, FUTEX_WAIT, expected, timeout, nullptr, 0);
}

// Changes the word and ends all waits on it.
inline void futexBump(std::atomic<std::uint32_t>& word) {
    ++word;
    syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace sim
