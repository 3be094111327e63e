#pragma once

// The panel's message queue as seen from outside: what waits in it, and whether a message that
// is too long for the panel keeps the others back.
//
// Looking takes nothing and changes no order. Kernels without the means to copy a message
// (CONFIG_CHECKPOINT_RESTORE) show only how much waits. Prints nothing.

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ctl {

struct QueueFacts {
    std::size_t waiting;  // messages
    std::size_t bytes;    // text bytes of all of them
    std::size_t capacity; // bytes
    pid_t lastSender;     // 0: nobody yet
    pid_t lastReceiver;
    std::time_t lastReceived; // seconds since the epoch
};

struct QueueMessage {
    long type;
    std::string bytes; // the whole text, its terminating zero included
};

// True for a message that the panel can never take.
bool isTooLong(const QueueMessage& message);

// The message's text up to its first zero byte, as the panel would show it.
std::string textOf(const QueueMessage& message);

class LogQueue {
  public:
    // Opens the queue if there is one; it is not created.
    static std::optional<LogQueue> open();

    std::optional<QueueFacts> facts() const;

    // Copies of all waiting messages, oldest first; nothing, with the error number in `error`,
    // when this kernel or the queue's owner does not allow it.
    std::optional<std::vector<QueueMessage>> copies(int& error) const;

    // Takes the oldest message out; nothing, with errno set, when there is none or it may not
    // be taken.
    std::optional<QueueMessage> takeOldest();

    // Puts a message at the end. False, with errno set, when the queue refuses it.
    bool put(const QueueMessage& message) const;

    // Watches the queue for some receive periods of the daemon. True when messages wait and
    // nobody took one: what a running daemon leaves waiting is stuck.
    bool seemsStuck() const;

  private:
    explicit LogQueue(int identifier) : identifier_(identifier) {}
    std::optional<QueueMessage> receive(long type, int flags) const;

    int identifier_;
};

} // namespace ctl
