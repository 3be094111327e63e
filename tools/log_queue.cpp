#include "tools/log_queue.h"

#include "app/log_receiver.h"
#include "app/log_store.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

namespace {

// Three receive periods of the daemon's thread. The stamp of a receipt counts whole seconds,
// so the watch must reach over the turn of one.
constexpr useconds_t watchTime = 1600000; // microseconds

} // namespace

bool ctl::isTooLong(const QueueMessage& message) {
    return message.bytes.size() > logLineLength;
}

std::string ctl::textOf(const QueueMessage& message) {
    return message.bytes.substr(0, message.bytes.find('\0'));
}

std::optional<ctl::LogQueue> ctl::LogQueue::open() {
    const int identifier = msgget(logQueueKey, 0);
    if (identifier == -1) {
        return std::nullopt;
    }
    return LogQueue(identifier);
}

std::optional<ctl::QueueFacts> ctl::LogQueue::facts() const {
    msqid_ds status{};
    if (msgctl(identifier_, IPC_STAT, &status) == -1) {
        return std::nullopt;
    }
    return QueueFacts{status.msg_qnum,  status.__msg_cbytes, status.msg_qbytes,
                      status.msg_lspid, status.msg_lrpid,    status.msg_rtime};
}

std::optional<std::vector<ctl::QueueMessage>> ctl::LogQueue::copies(int& error) const {
    std::vector<QueueMessage> messages;
    for (;;) {
        // With MSG_COPY the type is the place in the queue, counted from 0.
        auto message = receive(static_cast<long>(messages.size()), MSG_COPY);
        if (!message && errno != ENOMSG) {
            error = errno;
            return std::nullopt;
        }
        if (!message) {
            return messages;
        }
        messages.push_back(std::move(*message));
    }
}

std::optional<ctl::QueueMessage> ctl::LogQueue::takeOldest() {
    constexpr long anyType = 0;
    return receive(anyType, 0);
}

std::optional<ctl::QueueMessage> ctl::LogQueue::receive(long type, int flags) const {
    const auto status = facts();
    if (!status) {
        return std::nullopt;
    }
    // No message is larger than the queue, or than what waits where its owner made it smaller
    // since.
    const std::size_t largest = std::max(status->capacity, status->bytes);
    std::vector<long> buffer(largest / sizeof(long) + 2);
    const std::size_t room = (buffer.size() - 1) * sizeof(long);
    const ssize_t size = msgrcv(identifier_, buffer.data(), room, type, flags | IPC_NOWAIT);
    if (size == -1) {
        return std::nullopt;
    }
    const char* text = reinterpret_cast<const char*>(buffer.data() + 1);
    return QueueMessage{buffer[0], std::string(text, static_cast<std::size_t>(size))};
}

bool ctl::LogQueue::put(const QueueMessage& message) const {
    std::vector<long> buffer(message.bytes.size() / sizeof(long) + 2);
    buffer[0] = message.type;
    std::memcpy(buffer.data() + 1, message.bytes.data(), message.bytes.size());
    return msgsnd(identifier_, buffer.data(), message.bytes.size(), IPC_NOWAIT) == 0;
}

bool ctl::LogQueue::seemsStuck() const {
    const auto before = facts();
    usleep(watchTime);
    const auto after = facts();
    return before && after && before->waiting > 0 && after->waiting >= before->waiting &&
           after->lastReceived == before->lastReceived;
}
