// Log messages of any length and contents, through the real queue onto the page.

#include "app/log_receiver.h"
#include "app/log_store.h"
#include "pages/pages.h"
#include "sim/gateway.h"
#include "tests/fuzz/fuzz_gateway.h"
#include "tests/fuzz/fuzz_screen.h"

#include <string>

namespace {

sim::Gateway& gateway() {
    static sim::Gateway sandbox;
    static const bool attached = [] {
        fuzz::attachInRealTime(sandbox);
        GUI_Init();
        pthread_mutex_init(&logStore.logMutex, nullptr);
        return openLogQueue() == 0;
    }();
    fuzz::require(attached, "attached");
    return sandbox;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() > 0) {
        const std::string text = input.ConsumeRandomLengthString(100);
        const auto type = input.ConsumeIntegralInRange<std::int32_t>(1, 1000);
        fuzz::require(gateway().sendLogBytes(text, type), "the queue takes the message");
        receiveLogMessage();
        if (text.size() > logLineLength) {
            fuzz::require(gateway().takeLogLine(), "a message that is too long stays");
            continue;
        }
        fuzz::require(logStore.lines.size() <= LogStore::kept, "at most two lines");
        fuzz::require(logStore.lines.front() == text.c_str(), "the newest line stands first");
        drawSimLogPage(5, 0);
    }
    fuzz::require(gateway().canaryIntact(), "nothing is written behind the video memory");
    return 0;
}
