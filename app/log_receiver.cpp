#include "app/log_receiver.h"

#include "pages/log_store.h"

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

} // namespace

int msgQueueId = -1;

int openLogQueue() {
    msgQueueId = msgget(logQueueKey, IPC_CREAT | queueMode);
    return msgQueueId == -1 ? -1 : 0;
}

int startLogReceiver() {
    // Where attributes are not to be had, a thread with the default stack serves as well.
    pthread_attr_t attributes;
    const bool attributesUsable = pthread_attr_init(&attributes) == 0;
    if (attributesUsable) {
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_attr_setstacksize(&attributes, receiverStackSize);
    }
    pthread_t thread{};
    const int error = pthread_create(&thread, attributesUsable ? &attributes : nullptr,
                                     logReceiverThread, nullptr);
    if (attributesUsable) {
        pthread_attr_destroy(&attributes);
    } else if (error == 0) {
        pthread_detach(thread);
    }
    return error == 0 ? 0 : -1;
}

void receiveLogMessage() {
    constexpr long anyType = 0;
    LogMessage message{};
    if (msgrcv(msgQueueId, &message, sizeof message.text, anyType, IPC_NOWAIT) == -1) {
        return;
    }
    const LogLock lock;
    logStore.lines.pushFront(message.text);
}

void* logReceiverThread(void* /*unused*/) {
    for (;;) {
        receiveLogMessage();
        usleep(receivePeriod);
    }
}
