// Every modem transaction against a peer that sends random chunks and then hangs up.

#include "modem/at_transaction.h"
#include "modem/modem_status.h"
#include "tests/fuzz/fuzz_screen.h"

#include <string>
#include <sys/socket.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const int operation = input.ConsumeIntegralInRange(0, 6);
    // A sequenced socket keeps the chunks apart, and the end of it costs no waiting.
    int pair[2];
    fuzz::require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) == 0, "a socket pair");
    for (int chunks = 0; chunks < 12 && input.remaining_bytes() > 0; ++chunks) {
        const std::string chunk = input.ConsumeRandomLengthString(700);
        if (!chunk.empty()) {
            fuzz::require(send(pair[1], chunk.data(), chunk.size(), 0) >= 0, "a chunk is sent");
        }
    }
    shutdown(pair[1], SHUT_WR);
    ModemStatus status{};
    switch (operation) {
    case 0:
        checkSimReady(pair[0]);
        break;
    case 1:
        checkRegistered(pair[0]);
        break;
    case 2:
        querySignalQuality(pair[0]);
        break;
    case 3:
        queryNetworkMode(pair[0]);
        break;
    case 4:
        querySysInfoMode(pair[0]);
        break;
    case 5:
        queryModemStatus(modelCombined, pair[0], &status);
        break;
    default:
        queryModemStatus(modelStepwise, pair[0], &status);
        break;
    }
    fuzz::require(status.signalLevel >= 0 && status.signalLevel <= 4, "0 to 4 bars");
    close(pair[0]);
    close(pair[1]);
    return 0;
}
