// What the simulated modem says, and when.

#include "sim/modem.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

using namespace sim;

constexpr Nanoseconds millisecond = 1'000'000;

class ModemTest : public testing::Test {
  protected:
    ModemTest() { ordinaryModem(facts); }

    // Everything that arrives within `limit`, as "ms:text|" with "/" for line ends.
    std::string arrivals(Nanoseconds limit = 5000 * millisecond) {
        std::string text;
        ModemChunk chunk{};
        while (modem.take(limit, chunk)) {
            text += std::to_string(chunk.due / millisecond) + ":" +
                    (chunk.hangUp ? std::string("hangup") : readable(chunk.bytes)) + "|";
        }
        return text;
    }

    std::string ask(std::string_view command) {
        modem.feed(facts, command, 0);
        return arrivals();
    }

    static std::string readable(std::string_view bytes) {
        std::string text;
        for (const char c : bytes) {
            if (c != '\r') {
                text += c == '\n' ? '/' : c;
            }
        }
        return text;
    }

    void addScriptRow(std::string_view command, std::uint16_t uses,
                      std::initializer_list<std::pair<std::uint32_t, std::string_view>> steps) {
        ModemScript& script = facts.script;
        ScriptRow& row = script.rows[script.rowCount++];
        command.copy(row.command, sizeof row.command - 1);
        row.firstStep = nextStep;
        row.stepCount = static_cast<std::uint16_t>(steps.size());
        row.uses = uses;
        for (const auto& [delay, bytes] : steps) {
            script.steps[nextStep++] = {delay, nextByte, static_cast<std::uint32_t>(bytes.size()),
                                        0};
            bytes.copy(script.bytes + nextByte, bytes.size());
            nextByte += static_cast<std::uint32_t>(bytes.size());
        }
        ++script.generation;
    }

    ModemFacts facts;
    Modem modem;
    std::uint16_t nextStep = 0;
    std::uint32_t nextByte = 0;
};

TEST_F(ModemTest, AnswersFollowTheFacts) {
    struct Case {
        std::function<void(ModemFacts&)> edit;
        const char* command;
        const char* answer;
    };
    const auto ordinary = [](ModemFacts&) {};
    const Case cases[] = {
        {ordinary, "at+cpin?\r\n", "20:/+CPIN: READY//OK/|"},
        {[](ModemFacts& f) { f.simCard = SimCard::NeedsPin; }, "at+cpin?\r\n",
         "20:/+CPIN: SIM PIN//OK/|"},
        {[](ModemFacts& f) { f.simCard = SimCard::Absent; }, "at+cpin?\r\n",
         "20:/+CME ERROR: 10/|"},
        {ordinary, "at+creg?\r\n", "20:/+CREG: 0,1//OK/|"},
        {[](ModemFacts& f) { f.registration = 5; }, "AT+CREG?\r\n", "20:/+CREG: 0,5//OK/|"},
        {ordinary, "at+csq\r\n", "20:/+CSQ: 20,99//OK/|"},
        {[](ModemFacts& f) { f.csq = 99; }, "at+csq\r", "20:/+CSQ: 99,99//OK/|"},
        {[](ModemFacts& f) { f.csq = -1; }, "at+csq\r\n", ""},
        {[](ModemFacts& f) { f.fieldPadding = 8; }, "at+csq\r\n", "20:/+CSQ: 0000000020,99//OK/|"},
        {ordinary, "AT+CGMI\r\n", "20:/SIMCOM INCORPORATED//OK/|"},
        {[](ModemFacts& f) { f.maker = Maker::AirM2m; }, "AT+CGMI\r\n", "20:/AirM2M//OK/|"},
        {[](ModemFacts& f) { f.maker = Maker::Neither; }, "AT+CGMI\r\n", "20:/GENERIC//OK/|"},
        {ordinary, "at+cnsmod?\r\n", "20:/+CNSMOD: 0,8//OK/|"},
        {ordinary, "AT^SYSINFO\r\n", "20:/ERROR/|"},
        {[](ModemFacts& f) { f.maker = Maker::AirM2m; }, "AT^SYSINFO\r\n",
         "20:/^SYSINFO: 2,3,0,17,1//OK/|"},
        {[](ModemFacts& f) { f.maker = Maker::AirM2m; }, "at+cnsmod?\r\n", "20:/ERROR/|"},
        {[](ModemFacts& f) { f.errorCommands = bit(Command::Csq); }, "at+csq\r\n", "20:/ERROR/|"},
        {[](ModemFacts& f) { f.silentCommands = everyCommand; }, "at+cpin?\r\nAT+CGMI\r\n", ""},
        {[](ModemFacts& f) { f.echo = Echo::Joined; }, "at+csq\r\n",
         "20:at+csq//+CSQ: 20,99//OK/|"},
        {[](ModemFacts& f) { f.echo = Echo::Separate; }, "at+csq\r\n",
         "10:at+csq/|20:/+CSQ: 20,99//OK/|"},
        {[](ModemFacts& f) { f.answerDelayUs = 700'000; }, "at\r\n", "700:/OK/|"},
        {[](ModemFacts& f) {
             f.chunkBytes = 9;
             f.chunkGapUs = 2000;
         },
         "at+csq\r\n", "20:/+CSQ: 2|22:0,99//O|24:K/|"},
        {[](ModemFacts& f) {
             std::strcpy(f.unsolicited, "RING");
             f.unsolicitedDelayUs = 3000;
         },
         "at\r\n", "3:/RING/|20:/OK/|"},
    };
    for (const Case& row : cases) {
        ordinaryModem(facts);
        row.edit(facts);
        EXPECT_EQ(ask(row.command), row.answer) << row.command;
    }
}

TEST_F(ModemTest, CommandsOfOneWriteAreAnsweredOneAfterTheOther) {
    EXPECT_EQ(ask("at+cpin?\r\nat+creg?\r\nat+csq\r\n"),
              "20:/+CPIN: READY//OK/|25:/+CREG: 0,1//OK/|30:/+CSQ: 20,99//OK/|");
}

TEST_F(ModemTest, ALineMayComeInPieces) {
    EXPECT_EQ(ask("at+c"), "");
    EXPECT_EQ(ask("sq\r"), "20:/+CSQ: 20,99//OK/|");
    EXPECT_EQ(ask(std::string(1000, 'x') + "\r\n"), "20:/ERROR/|");
}

TEST_F(ModemTest, LeadingZerosStartAgainWithEachOpening) {
    facts.csqLeadingZeros = 1;
    facts.modeLeadingZeros = 2;
    for (int session = 0; session < 2; ++session) {
        modem.opened(facts, 0);
        EXPECT_EQ(ask("at+csq\r"), "20:/+CSQ: 0,99//OK/|");
        EXPECT_EQ(ask("at+csq\r"), "20:/+CSQ: 20,99//OK/|");
        EXPECT_EQ(ask("at+cnsmod?\r"), "20:/+CNSMOD: 0,0//OK/|");
        EXPECT_EQ(ask("at+cnsmod?\r"), "20:/+CNSMOD: 0,0//OK/|");
        EXPECT_EQ(ask("at+cnsmod?\r"), "20:/+CNSMOD: 0,8//OK/|");
    }
}

TEST_F(ModemTest, OpeningLosesWhatHasArrivedAndKeepsWhatIsStillToCome) {
    modem.feed(facts, "at\r", 0);
    modem.feed(facts, "at+csq\r", 30 * millisecond);
    modem.opened(facts, 40 * millisecond);
    EXPECT_EQ(arrivals(), "50:/+CSQ: 20,99//OK/|");
}

TEST_F(ModemTest, ChatterNeverEnds) {
    facts.chatterPeriodUs = 4000;
    std::strcpy(facts.chatter, "x");
    modem.opened(facts, 0);
    modem.feed(facts, "at\r", 0);
    EXPECT_EQ(arrivals(10 * millisecond), "4:x|8:x|");
    EXPECT_EQ(arrivals(21 * millisecond), "12:x|16:x|20:x|20:/OK/|");
    EXPECT_EQ(modem.nextDue(), 24 * millisecond);
}

TEST_F(ModemTest, AScriptAnswersUntilItIsUsedUp) {
    addScriptRow("at+csq", 1, {{1000, "+CSQ"}, {2000, ": 3,1\r\n"}});
    addScriptRow("at+csq", 2, {});
    EXPECT_EQ(ask("at+csq\r\n"), "1:+CSQ|3:: 3,1/|");
    EXPECT_EQ(ask("at+csq\r\n"), "");
    EXPECT_EQ(ask("at+csq\r\n"), "");
    EXPECT_EQ(ask("at+csq\r\n"), "20:/+CSQ: 20,99//OK/|");
    EXPECT_EQ(ask("AT+CGMI\r\n"), "20:/SIMCOM INCORPORATED//OK/|");
}

TEST_F(ModemTest, AScriptRowCanStandForAWholeWrite) {
    addScriptRow("at+creg?", 0, {{1000, "one line"}});
    addScriptRow("at+cpin?\r\nat+creg?", 0, {{5000, "both"}});
    EXPECT_EQ(ask("at+cpin?\r\nat+creg?\r\n"), "5:both|");
    EXPECT_EQ(ask("at+creg?\r\n"), "1:one line|");
}

TEST_F(ModemTest, LongRepliesArriveWholeAndInOrder) {
    std::string reply;
    for (int i = 0; i < 700; ++i) {
        reply += static_cast<char>('a' + i % 26);
    }
    addScriptRow("at", 0, {{1000, reply}, {0, "end"}});
    modem.feed(facts, "at\r", 0);
    std::string received;
    ModemChunk chunk{};
    while (modem.take(millisecond, chunk)) {
        received += chunk.bytes;
    }
    EXPECT_EQ(received, reply + "end");
    EXPECT_EQ(modem.dropped(), 0U);
}

TEST_F(ModemTest, AFullScheduleLosesBytesAndCountsThem) {
    for (int i = 0; i < 1000; ++i) {
        modem.feed(facts, "at\r", 0);
    }
    EXPECT_GT(modem.dropped(), 0U);
}

} // namespace
