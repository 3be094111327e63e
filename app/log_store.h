#pragma once

// The two newest log lines that other processes sent to the panel, newest first.
//
// The log receiver's thread inserts, the SIM log page copies, both under logMutex and
// without calling anything else of the daemon while they hold it. Prints nothing.

#include <cstddef>
#include <list>
#include <pthread.h>
#include <string>

// Longest text of a log message, bytes; a line this long has no NUL in its message.
inline constexpr std::size_t logLineLength = 68;

struct LogStore {
    static constexpr std::size_t kept = 2; // lines

    std::list<std::string> lines; // newest first, at most `kept`
    pthread_mutex_t logMutex;     // initialised at start-up, before the receiver's thread
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
