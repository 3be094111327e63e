#pragma once

// Waiting on a word that two processes may share, straight from the kernel: sanitizers do not see
// these waits, so the simulated gateway never orders threads in their eyes and hides no race.

#include <atomic>
#include <cerrno>
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

inline void futexWakeAll(std::atomic<std::uint32_t>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

// A lock among the threads of one process.
class FutexMutex {
  public:
    void lock() {
        std::uint32_t state = free;
        if (word_.compare_exchange_strong(state, taken)) {
            return;
        }
        while (word_.exchange(contended) != free) {
            futexWait(word_, contended);
        }
    }

    void unlock() {
        if (word_.exchange(free) == contended) {
            futexWakeAll(word_);
        }
    }

  private:
    static constexpr std::uint32_t free = 0;
    static constexpr std::uint32_t taken = 1;
    static constexpr std::uint32_t contended = 2;

    std::atomic<std::uint32_t> word_{free};
};

} // namespace sim
