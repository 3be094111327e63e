#pragma once

// The two newest log lines that other processes sent to the panel, newest first.
//
// The log receiver's thread inserts, the SIM log page copies, both under logMutex and
// without calling anything else while they hold it. Storage is fixed: taking a line
// never allocates. Prints nothing.

#include <array>
#include <cstddef>
#include <pthread.h>

// Longest text of a log message, bytes; a line this long has no NUL in its message.
inline constexpr std::size_t logLineLength = 68;

// A list of at most two lines.
class LogLines {
  public:
    static constexpr std::size_t kept = 2;

    // Puts `text` (at most `logLineLength` bytes, up to its first NUL) at the front and
    // drops the oldest line when there are more than two.
    void pushFront(const char* text);

    std::size_t size() const { return size_; }
    // Line `index` < size(), 0 the newest; NUL-terminated.
    const char* operator[](std::size_t index) const { return lines_[index].data(); }

  private:
    using Line = std::array<char, logLineLength + 1>;
    std::array<Line, kept> lines_{};
    std::size_t size_ = 0;
};

struct LogStore {
    LogLines lines;
    pthread_mutex_t logMutex; // initialised at start-up, before the receiver's thread
};

extern LogStore logStore;

// Holds logMutex for the length of a scope.
class LogLock {
  public:
    LogLock() { pthread_mutex_lock(&logStore.logMutex); }
    ~LogLock() { pthread_mutex_unlock(&logStore.logMutex); }
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;
};
