#include "app/log_receiver.h"

#include "app/log_store.h"

#include <cstring>
#include <new>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <unistd.h>

namespace {

constexpr int queueMode = 0666;
constexpr useconds_t receivePeriod = 500000; // microseconds
constexpr std::size_t receiverStackSize = 1048576;

struct LogMessage {
    long type; // any value; messages of every type are taken, oldest first
    char text[logLineLength];
};

// A line for which there is no memory is dropped; those before it stay.
void storeLine(const LogMessage& message) {
    std::list<std::string>& lines = logStore.lines;
    try {
        lines.emplace_front(message.text, strnlen(message.text, sizeof message.text));
    } catch (const std::bad_alloc&) {
        return;
    }
    while (lines.size() > LogStore::kept) {
        lines.pop_back();
    }
}

} // namespace

int msgQueueId = -1;

int openLogQueue() {
    msgQueueId = msgget(logQueueKey, IPC_CREAT | queueMode);
    return msgQueueId == -1 ? -1 : 0;
}

int startLogReceiver() {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, receiverStackSize);
    pthread_t thread{};
    const int error = pthread_create(&thread, &attributes, logReceiverThread, nullptr);
    pthread_attr_destroy(&attributes);
    return error == 0 ? 0 : -1;
}

void receiveLogMessage() {
    constexpr long anyType = 0;
    LogMessage message{};
    if (msgrcv(msgQueueId, &message, sizeof message.text, anyType, IPC_NOWAIT) == -1) {
        return;
    }
    const LogLock lock;
    storeLine(message);
}

void* logReceiverThread(void* /*unused*/) {
    for (;;) {
        receiveLogMessage();
        usleep(receivePeriod);
    }
}
