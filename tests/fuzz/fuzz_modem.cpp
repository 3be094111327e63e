// What comes in from outside as lines: answers to every transaction of the modem from a peer that
// sends any chunks and then hangs up, and log messages through the real queue onto the page.

#include "app/log_receiver.h"
#include "app/log_store.h"
#include "device/file_descriptor.h"
#include "gui/gui.h"
#include "modem/at_transaction.h"
#include "modem/modem_status.h"
#include "pages/pages.h"
#include "tests/fuzz/fuzz.h"

#include <sys/socket.h>

namespace {

constexpr int most = 12; // chunks of an answer, messages

constexpr int (*transactions[])(int line) = {checkSimReady, checkRegistered, querySignalQuality,
                                             queryNetworkMode, querySysInfoMode};

// A transaction, behind them the dialogue of either kind.
void converse(std::size_t number, FuzzedDataProvider& input, ModemStatus& status) {
    // A sequenced socket keeps the chunks apart, and the end of it costs no waiting.
    int pair[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) == 0, "a socket pair");
    const FileDescriptor line(pair[0]);
    const FileDescriptor peer(pair[1]);
    for (int chunks = 0; chunks < most && input.remaining_bytes() > 0; ++chunks) {
        const std::string chunk = input.ConsumeRandomLengthString(700);
        require(chunk.empty() || send(pair[1], chunk.data(), chunk.size(), 0) >= 0, "it is sent");
    }
    shutdown(pair[1], SHUT_WR);
    if (number < std::size(transactions)) {
        transactions[number](pair[0]);
    } else {
        const std::size_t kind = number - std::size(transactions) + modelCombined;
        queryModemStatus(static_cast<std::uint8_t>(kind), pair[0], &status);
    }
}

void receiveLog(FuzzedDataProvider& input) {
    sim::Gateway& gateway = attachedGateway();
    for (int messages = 0; messages < most && input.remaining_bytes() > 0; ++messages) {
        const std::string text = input.ConsumeRandomLengthString(100);
        require(gateway.sendLogBytes(text), "the queue takes the message");
        receiveLogMessage();
        if (text.size() > logLineLength) {
            require(gateway.takeLogLine(), "a message that is too long stays");
            continue;
        }
        require(logStore.lines.size() <= LogStore::kept, "at most two lines");
        require(logStore.lines.front() == std::string_view(text.c_str()),
                "the newest line stands first");
        drawSimLogPage(5, 0);
    }
    require(gateway.canaryIntact(), "nothing is written behind the video memory");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    attachedGateway();
    GUI_Init();
    require(openLogQueue() == 0, "the queue is there");
    pthread_mutex_init(&logStore.logMutex, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    ModemStatus status{};
    const auto operation = input.ConsumeIntegralInRange<std::size_t>(0, 7);
    if (operation == 7) {
        receiveLog(input);
    } else {
        converse(operation, input, status);
    }
    require(status.simReady <= 1 && status.registered <= 1, "flags are 0 or 1");
    require(status.signalLevel >= 0 && status.signalLevel <= 4, "0 to 4 bars");
    return 0;
}
