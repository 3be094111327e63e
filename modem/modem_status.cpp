#include "modem/modem_status.h"

#include "base/decimal.h"
#include "modem/at_transaction.h"
#include "modem/combined_reply.h"
#include "modem/dialogue_limit.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr int csqNotMeasurable = 99;
constexpr timeval pauseBehindData{0, 50000};

// Bars for the first number of +CSQ; 0 for 99, -1 and every value that has no bars.
std::int32_t signalLevelOf(std::int32_t csq) {
    struct Step {
        std::int32_t highest; // csq, inclusive
        std::int32_t level;
    };
    // +CSQ stops at 31, yet 32 still counts as full strength.
    constexpr Step steps[] = {{9, 1}, {17, 2}, {24, 3}, {32, 4}};
    if (csq < 0 || csq == csqNotMeasurable) {
        return 0;
    }
    for (const Step& step : steps) {
        if (csq <= step.highest) {
            return step.level;
        }
    }
    return 0;
}

// --- Kind 2: one command at a time ------------------------------------------

// Collects the answer to a command that has just been written. The time-out record
// is passed on from poll to poll: select leaves in it what remains of the wait.
std::size_t collectAnswer(int fd, char* capture, std::size_t size) {
    constexpr int polls = 20;
    timeval timeout{2, 10000};
    std::size_t held = 0;
    for (int poll = 0; poll < polls; ++poll) {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        if (select(fd + 1, &readable, nullptr, nullptr, &timeout) <= 0) {
            break;
        }
        if (!FD_ISSET(fd, &readable)) {
            continue;
        }
        const ssize_t count = read(fd, capture + held, size - held);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            held += static_cast<std::size_t>(count);
            timeout = pauseBehindData;
        }
    }
    return held;
}

// Who made the modem, by its answer to AT+CGMI. One that names both is AirM2M's.
enum class ModemMaker { None = -1, Simcom = 1, AirM2M = 2, Refused = 3 };

ModemMaker modemMakerOf(const char* answer) {
    if (std::strstr(answer, "AirM2M") != nullptr) {
        return ModemMaker::AirM2M;
    }
    if (std::strstr(answer, "SIMCOM") != nullptr) {
        return ModemMaker::Simcom;
    }
    return std::strstr(answer, "ERROR") != nullptr ? ModemMaker::Refused : ModemMaker::None;
}

ModemMaker queryMaker(int fd) {
    char capture[replyBufferSize + 1];
    writeCommand(fd, "AT+CGMI\r\n");
    const std::size_t held = collectAnswer(fd, capture, replyBufferSize);
    capture[held] = '\0';
    return modemMakerOf(capture);
}

// Up to three attempts, as long as the modem answers 0 (no service yet).
std::int32_t queryNetworkType(int fd, ModemMaker maker) {
    constexpr int attempts = 3;
    int (*query)(int) = maker == ModemMaker::Simcom   ? queryNetworkMode
                        : maker == ModemMaker::AirM2M ? querySysInfoMode
                                                      : nullptr;
    if (query == nullptr) {
        return 0;
    }
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (const int code = query(fd); code != 0) {
            return code;
        }
    }
    return 0;
}

// A check that failed is made once more.
bool succeeds(int (*check)(int fd), int fd) {
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (check(fd) == 1) {
            return true;
        }
    }
    return false;
}

void queryStepwise(int fd, ModemStatus& status) {
    const bool simReady = succeeds(checkSimReady, fd);
    const bool registered = succeeds(checkRegistered, fd);
    status.simReady = simReady ? 1 : 0;
    status.registered = registered ? 1 : 0;

    // The signal is asked for in any case; without SIM or network it means nothing.
    status.csq = querySignalQuality(fd);
    if (status.csq == 0) {
        status.csq = querySignalQuality(fd);
    }
    if (!simReady || !registered) {
        status.csq = noAnswer;
    }
    status.networkType = queryNetworkType(fd, queryMaker(fd));
    status.signalLevel = signalLevelOf(status.csq);
}

// --- Kind 1: three commands at once -----------------------------------------

// Collects the combined answer. The read set is built once: the first wait that
// expires empties it and uses up the time-out, so the remaining polls return at once.
std::size_t collectCombinedReply(int fd, char (&reply)[replyBufferSize]) {
    constexpr int polls = 10;
    constexpr std::size_t room = replyBufferSize - 1;
    char chunk[replyBufferSize];
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout{3, 0};
    std::size_t held = 0;
    for (int poll = 0; poll < polls && !DialogueLimit::isReached(); ++poll) {
        if (select(fd + 1, &readable, nullptr, nullptr, &timeout) <= 0 ||
            !FD_ISSET(fd, &readable)) {
            continue;
        }
        const ssize_t count = read(fd, chunk, replyBufferSize - 1);
        if (count <= 0) {
            break;
        }
        const std::size_t taken = std::min(static_cast<std::size_t>(count), room - held);
        std::memcpy(reply + held, chunk, taken);
        held += taken;
        if (held == room) {
            break;
        }
        timeout = pauseBehindData;
    }
    return held;
}

void queryCombined(int fd, ModemStatus& status) {
    constexpr std::int32_t assumedNetworkType = 2;
    char reply[replyBufferSize] = {};
    writeCommand(fd, "at+cpin?\r\nat+creg?\r\nat+csq\r\n");
    const std::size_t held = collectCombinedReply(fd, reply);
    reply[held] = '\0';
    status.networkType = assumedNetworkType;
    parseCombinedReply(reply, &status);
}

} // namespace

void parseCombinedReply(const char* text, ModemStatus* status) {
    if (text == nullptr || status == nullptr) {
        return;
    }
    const auto contains = [](std::string_view part, std::string_view marker) {
        return part.find(marker) != std::string_view::npos;
    };
    const CombinedReply reply = divideCombinedReply(text);
    status->simReady = contains(reply.sim, "OK") ? 1 : 0;
    status->registered =
        contains(reply.registration, "+CREG: 0,1") || contains(reply.registration, "+CREG: 0,5")
            ? 1
            : 0;
    if (!contains(reply.signal, "+CSQ:")) {
        // One bar at strength 0: the modem is there, its signal answer is not.
        status->csq = 0;
        status->signalLevel = 1;
        return;
    }
    char answer[replyBufferSize] = {};
    reply.signal.copy(answer, replyBufferSize - 1);
    char field[16] = {};
    std::sscanf(answer, "%*[^:]:%15[^,]", field);
    status->csq = parseDecimal(field);
    status->signalLevel = signalLevelOf(status->csq);
}

void queryModemStatus(std::uint8_t kind, int fd, ModemStatus* status) {
    switch (kind) {
    case modelStepwise:
        queryStepwise(fd, *status);
        break;
    case modelCombined:
        queryCombined(fd, *status);
        break;
    default:
        break;
    }
}
