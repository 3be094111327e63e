#include "modem/at_transaction.h"

#include "base/decimal.h"
#include "modem/dialogue_limit.h"

#include <cstdio>
#include <cstring>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int pollWait = 10000; // microseconds
constexpr int markerPolls = 50;
constexpr int valuePolls = 10;
using ReplyBuffer = char[replyBufferSize];
using Field = char[8];

// One poll of the port ends in one of these ways.
enum class PollResult {
    Quiet, // nothing came in time (or select failed)
    Chunk, // the buffer holds a new chunk
    Ended, // the read failed or the port is at its end
};

// Waits up to `waitMicroseconds` for one chunk and reads it into `chunk` as a C string.
PollResult pollChunk(int fd, int waitMicroseconds, ReplyBuffer& chunk) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout{0, waitMicroseconds};
    if (select(fd + 1, &readable, nullptr, nullptr, &timeout) <= 0 || !FD_ISSET(fd, &readable)) {
        return PollResult::Quiet;
    }
    chunk[0] = '\0';
    const ssize_t count = read(fd, chunk, replyBufferSize - 1);
    if (count <= 0) {
        return PollResult::Ended;
    }
    chunk[count] = '\0';
    return PollResult::Chunk;
}

bool contains(const char* text, const char* part) {
    return part != nullptr && std::strstr(text, part) != nullptr;
}

struct Wait {
    int polls;
    int microseconds; // per poll
};

// Sends `command` and waits for a chunk with `markerA` or `markerB`. True when `chunk` holds it.
bool awaitChunk(int fd, const char* command, const char* markerA, const char* markerB, Wait wait,
                ReplyBuffer& chunk) {
    writeCommand(fd, command);
    for (int poll = 0; poll < wait.polls && !DialogueLimit::isReached(); ++poll) {
        const PollResult result = pollChunk(fd, wait.microseconds, chunk);
        if (result == PollResult::Ended) {
            return false;
        }
        if (result == PollResult::Quiet) {
            continue;
        }
        if (contains(chunk, markerA) || contains(chunk, markerB)) {
            return true;
        }
        if (contains(chunk, "ERROR")) {
            return false;
        }
    }
    return false;
}

// The number that `scan` finds in the chunk with `prefix`; noAnswer when none came.
int queryNumber(int fd, const char* command, const char* prefix,
                void (*scan)(const ReplyBuffer& chunk, Field& field)) {
    ReplyBuffer chunk;
    if (!awaitChunk(fd, command, prefix, nullptr, {valuePolls, pollWait}, chunk)) {
        return noAnswer;
    }
    Field field = {};
    scan(chunk, field);
    return parseDecimal(field);
}

// Maps a ^SYSINFO system mode to the numbering of queryNetworkMode.
int networkCodeOfSystemMode(int systemMode) {
    switch (systemMode) {
    case 3:
        return 1;
    case 4:
        return 4;
    case 5:
        return 9;
    case 17:
        return 8;
    default:
        return noAnswer;
    }
}

} // namespace

void writeCommand(int fd, const char* command) {
    if (DialogueLimit::isReached()) {
        return;
    }
    // A command that could not be written is answered by silence, which every
    // caller bounds.
    [[maybe_unused]] const ssize_t written = write(fd, command, std::strlen(command));
    tcdrain(fd);
    tcflush(fd, TCIOFLUSH);
}

int sendAtCommand(int fd, const char* command, const char* markerA, const char* markerB,
                  int pollWaitMicroseconds) {
    ReplyBuffer chunk;
    return awaitChunk(fd, command, markerA, markerB, {markerPolls, pollWaitMicroseconds}, chunk)
               ? 1
               : 0;
}

int checkSimReady(int fd) {
    return sendAtCommand(fd, "at+cpin?\r\n", "OK", nullptr, pollWait);
}

int checkRegistered(int fd) {
    return sendAtCommand(fd, "at+creg?\r\n", "+CREG: 0,1", "+CREG: 0,5", pollWait);
}

int querySignalQuality(int fd) {
    return queryNumber(fd, "at+csq\r\n", "+CSQ:", [](const ReplyBuffer& chunk, Field& field) {
        std::sscanf(chunk, "%*[^:]:%7[^,]", field);
    });
}

int queryNetworkMode(int fd) {
    return queryNumber(fd, "at+cnsmod?\r\n",
                       "+CNSMOD:", [](const ReplyBuffer& chunk, Field& field) {
                           std::sscanf(chunk, "%*[^:]:%*[^,],%7s", field);
                       });
}

int querySysInfoMode(int fd) {
    return networkCodeOfSystemMode(
        queryNumber(fd, "AT^SYSINFO\r\n", "^SYSINFO:", [](const ReplyBuffer& chunk, Field& field) {
            std::sscanf(chunk, "%*[^,],%*[^,],%*[^,],%7[^,],%*s", field);
        }));
}
