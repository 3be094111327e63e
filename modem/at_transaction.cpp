#include "modem/at_transaction.h"

#include "modem/decimal.h"

#include <cstdio>
#include <cstring>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int pollWait = 10000; // microseconds
constexpr int markerPolls = 50;
constexpr int valuePolls = 10;

// One poll of the port ends in one of these ways.
enum class PollResult {
    Quiet, // nothing came in time (or select failed)
    Chunk, // the buffer holds a new chunk
    Ended, // the read failed or the port is at its end
};

// Waits up to `waitMicroseconds` for one chunk and reads it into `chunk` as a C string.
PollResult pollChunk(int fd, int waitMicroseconds, char (&chunk)[replyBufferSize]) {
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

// Sends `command` and waits for a chunk with `prefix`. True when `chunk` holds it.
bool queryChunk(int fd, const char* command, const char* prefix, char (&chunk)[replyBufferSize]) {
    writeCommand(fd, command);
    for (int poll = 0; poll < valuePolls; ++poll) {
        const PollResult result = pollChunk(fd, pollWait, chunk);
        if (result == PollResult::Ended) {
            return false;
        }
        if (result == PollResult::Quiet) {
            continue;
        }
        if (contains(chunk, prefix)) {
            return true;
        }
        if (contains(chunk, "ERROR")) {
            return false;
        }
    }
    return false;
}

// Takes one field of a chunk by its scan format, which limits it to 7 characters.
int scanField(const char* chunk, const char* format) {
    char field[8] = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::sscanf(chunk, format, field);
#pragma GCC diagnostic pop
    return parseDecimal(field);
}

} // namespace

void writeCommand(int fd, const char* command) {
    // A command that could not be written is answered by silence, which every
    // caller bounds.
    [[maybe_unused]] const ssize_t written = write(fd, command, std::strlen(command));
    tcdrain(fd);
    tcflush(fd, TCIOFLUSH);
}

int sendAtCommand(int fd, const char* command, const char* markerA, const char* markerB,
                  int pollWaitMicroseconds) {
    char chunk[replyBufferSize];
    writeCommand(fd, command);
    for (int poll = 0; poll < markerPolls; ++poll) {
        const PollResult result = pollChunk(fd, pollWaitMicroseconds, chunk);
        if (result == PollResult::Ended) {
            return 0;
        }
        if (result == PollResult::Quiet) {
            continue;
        }
        if (contains(chunk, markerA) || contains(chunk, markerB)) {
            return 1;
        }
        if (contains(chunk, "ERROR")) {
            return 0;
        }
    }
    return 0;
}

int checkSimReady(int fd) {
    return sendAtCommand(fd, "at+cpin?\r\n", "OK", nullptr, pollWait);
}

int checkRegistered(int fd) {
    return sendAtCommand(fd, "at+creg?\r\n", "+CREG: 0,1", "+CREG: 0,5", pollWait);
}

int querySignalQuality(int fd) {
    char chunk[replyBufferSize];
    return queryChunk(fd, "at+csq\r\n", "+CSQ:", chunk) ? scanFirstNumber(chunk) : noAnswer;
}

int queryNetworkMode(int fd) {
    char chunk[replyBufferSize];
    return queryChunk(fd, "at+cnsmod?\r\n", "+CNSMOD:", chunk) ? scanNetworkMode(chunk) : noAnswer;
}

int querySysInfoMode(int fd) {
    char chunk[replyBufferSize];
    return queryChunk(fd, "AT^SYSINFO\r\n", "^SYSINFO:", chunk)
               ? networkCodeOfSystemMode(scanSystemMode(chunk))
               : noAnswer;
}

int scanFirstNumber(const char* chunk) {
    return scanField(chunk, "%*[^:]:%7[^,]");
}

int scanNetworkMode(const char* chunk) {
    return scanField(chunk, "%*[^:]:%*[^,],%7s");
}

int scanSystemMode(const char* chunk) {
    return scanField(chunk, "%*[^,],%*[^,],%*[^,],%7[^,],%*s");
}

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
