// What comes in from outside as lines: answers to every transaction of the modem from a peer that
// sends any chunks and then hangs up, its combined answer by itself, and log messages through the
// real queue onto the page.

#include "app/log_receiver.h"
#include "app/log_store.h"
#include "gui/gui.h"
#include "modem/at_transaction.h"
#include "modem/combined_reply.h"
#include "modem/modem_status.h"
#include "pages/pages.h"
#include "tests/fuzz/fuzz.h"

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int most = 12; // chunks of an answer, messages

constexpr void (*dialogues[])(int line, ModemStatus& status) = {
    [](int line, ModemStatus& /*unused*/) { checkSimReady(line); },
    [](int line, ModemStatus& /*unused*/) { checkRegistered(line); },
    [](int line, ModemStatus& /*unused*/) { querySignalQuality(line); },
    [](int line, ModemStatus& /*unused*/) { queryNetworkMode(line); },
    [](int line, ModemStatus& /*unused*/) { querySysInfoMode(line); },
    [](int line, ModemStatus& status) { queryModemStatus(modelCombined, line, &status); },
    [](int line, ModemStatus& status) { queryModemStatus(modelStepwise, line, &status); },
};

void converse(decltype(*dialogues) dialogue, FuzzedDataProvider& input) {
    // A sequenced socket keeps the chunks apart, and the end of it costs no waiting.
    int pair[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) == 0, "a socket pair");
    for (int chunks = 0; chunks < most && input.remaining_bytes() > 0; ++chunks) {
        const std::string chunk = input.ConsumeRandomLengthString(700);
        require(chunk.empty() || send(pair[1], chunk.data(), chunk.size(), 0) >= 0, "it is sent");
    }
    shutdown(pair[1], SHUT_WR);
    ModemStatus status{};
    dialogue(pair[0], status);
    require(status.signalLevel >= 0 && status.signalLevel <= 4, "0 to 4 bars");
    close(pair[0]);
    close(pair[1]);
}

void divideReply(const std::string& text) {
    const CombinedReply reply = divideCombinedReply(text);
    for (const std::string_view part : {reply.sim, reply.registration, reply.signal}) {
        require(part.empty() || (part.data() >= text.data() && part.size() <= 511 &&
                                 part.data() + part.size() <= text.data() + text.size()),
                "a part lies within the text");
    }
    ModemStatus status{};
    parseCombinedReply(text.c_str(), &status);
    require(status.simReady <= 1 && status.registered <= 1, "flags are 0 or 1");
    require(status.signalLevel >= 0 && status.signalLevel <= 4, "0 to 4 bars");
}

void receiveLog(FuzzedDataProvider& input) {
    sim::Gateway& gateway = attachedGateway();
    static const bool ready = openLogQueue() == 0;
    require(ready, "the queue is there");
    for (int messages = 0; messages < most && input.remaining_bytes() > 0; ++messages) {
        const std::string text = input.ConsumeRandomLengthString(100);
        const auto type = input.ConsumeIntegralInRange<std::int32_t>(1, 1000);
        require(gateway.sendLogBytes(text, type), "the queue takes the message");
        receiveLogMessage();
        if (text.size() > logLineLength) {
            require(gateway.takeLogLine(), "a message that is too long stays");
            continue;
        }
        require(logStore.lines.size() <= LogStore::kept, "at most two lines");
        require(logStore.lines.front() == text.c_str(), "the newest line stands first");
        drawSimLogPage(5, 0);
    }
    require(gateway.canaryIntact(), "nothing is written behind the video memory");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    attachedGateway();
    GUI_Init();
    pthread_mutex_init(&logStore.logMutex, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const int operation = input.ConsumeIntegralInRange(0, 8);
    if (operation == 8) {
        receiveLog(input);
    } else if (operation == 7) {
        divideReply(input.ConsumeRemainingBytesAsString());
    } else {
        converse(dialogues[operation], input);
    }
    return 0;
}
