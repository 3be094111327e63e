// What the simulated modem says, and when, where no test of the daemon's own dialogues shows it.

#include "sim/modem.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace sim;

constexpr Nanoseconds millisecond = 1'000'000;

// Everything that arrives within 25 ms, as "ms:text|" with "/" for line ends.
std::string arrivals(Modem& modem) {
    std::string text;
    ModemChunk chunk{};
    while (modem.take(25 * millisecond, chunk)) {
        text += std::to_string(chunk.due / millisecond) + ":";
        for (const char c : chunk.bytes) {
            text += c == '\r' ? "" : c == '\n' ? "/" : std::string(1, c);
        }
        text += "|";
    }
    return text;
}

TEST(ModemTest, AnswersFollowTheFacts) {
    using F = ModemFacts;
    const struct {
        std::function<void(F&)> edit;
        const char* command;
        const char* answer;
    } cases[] = {
        {[](F& f) { f.maker = Maker::AirM2m; }, "at+cnsmod?\r\n", "20:/ERROR/|"},
        {[](F& f) { f.chunkBytes = 9, f.chunkGapUs = 2000; }, "at+csq\r\n",
         "20:/+CSQ: 2|22:0,99//O|24:K/|"},
        {[](F& f) { std::strcpy(f.chatter, "x"), f.chatterPeriodUs = 9000; }, "at\r\n",
         "9:x|18:x|20:/OK/|"},
    };
    for (const auto& [edit, command, answer] : cases) {
        ModemFacts facts;
        ordinaryModem(facts);
        edit(facts);
        Modem modem;
        modem.opened(facts, 0);
        modem.feed(facts, command, 0);
        EXPECT_EQ(arrivals(modem), answer) << command;
    }
}

} // namespace
