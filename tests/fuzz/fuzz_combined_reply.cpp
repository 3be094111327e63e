// The combined answer of the kind-1 dialogue, any text.

#include "modem/combined_reply.h"
#include "modem/modem_status.h"
#include "tests/fuzz/fuzz_screen.h"

#include <string>

namespace {

// A part lies within the text, or is empty.
bool liesWithin(std::string_view part, std::string_view text) {
    return part.empty() ||
           (part.data() >= text.data() && part.data() + part.size() <= text.data() + text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const CombinedReply reply = divideCombinedReply(text);
    for (const std::string_view part : {reply.sim, reply.registration, reply.signal}) {
        fuzz::require(liesWithin(part, text) && part.size() <= 511, "a part lies within the text");
    }
    ModemStatus status{};
    parseCombinedReply(text.c_str(), &status);
    fuzz::require(status.simReady <= 1 && status.registered <= 1, "flags are 0 or 1");
    const bool noAnswer = status.csq == 0 && status.signalLevel == 1;
    fuzz::require(noAnswer || status.signalLevel == signalLevelOf(status.csq),
                  "the level follows from csq");
    return 0;
}
