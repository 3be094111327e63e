// panelctl say and panelctl queue: bytes in the queue, and nothing lost by looking.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sys/msg.h>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;
using testing::Not;

struct Message {
    long type;
    std::string bytes;
    friend bool operator==(const Message&, const Message&) = default;
    friend void PrintTo(const Message& message, std::ostream* out) {
        *out << message.type << " " << testing::PrintToString(message.bytes);
    }
};

// Takes everything out of the gateway's queue.
std::vector<Message> drain(const sim::Gateway& gateway) {
    struct {
        long type;
        char text[8192];
    } buffer;
    std::vector<Message> messages;
    const int id = msgget(gateway.queueKey(), 0);
    ssize_t size = 0;
    while ((size = msgrcv(id, &buffer, sizeof buffer.text, 0, IPC_NOWAIT)) >= 0) {
        messages.push_back({buffer.type, std::string(buffer.text, static_cast<std::size_t>(size))});
    }
    return messages;
}

TEST(Say, SendsTheBytesThatThePanelTakes) {
    const struct {
        std::vector<std::string> arguments;
        Message message;
    } cases[] = {
        {{"link up"}, {1, "link up\0"s}},
        {{"link", "up", "again"}, {1, "link up again\0"s}},
        {{"--type", "7", "x"}, {7, "x\0"s}},
        {{""}, {1, "\0"s}},
        {{"--", "-1 dBm"}, {1, "-1 dBm\0"s}},
        {{"报警 7"}, {1, "\xB1\xA8\xBE\xAF 7\0"s}},
        {{std::string(67, 'a')}, {1, std::string(67, 'a') + '\0'}},
        {{std::string(68, 'a')}, {1, std::string(68, 'a')}},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        auto arguments = c.arguments;
        arguments.insert(arguments.begin(), "say");
        EXPECT_EQ(panelctl(gateway, arguments).status, 0);
        EXPECT_EQ(drain(gateway), std::vector{c.message});
    }
}

TEST(Say, CountsTheLengthInBytesOfThePanelAndNotOfTheShell) {
    sim::Gateway gateway;
    std::string text;
    for (int i = 0; i < 34; ++i) {
        text += "报"; // three bytes in UTF-8, two on the panel
    }
    EXPECT_EQ(panelctl(gateway, {"say", text}).status, 0);
    EXPECT_EQ(drain(gateway).at(0).bytes.size(), 68U);
    EXPECT_EQ(panelctl(gateway, {"say", text, "x"}).status, 1);
    EXPECT_TRUE(drain(gateway).empty());
}

TEST(Say, RefusesWithTheReasonAndSendsNothing) {
    const struct {
        std::string text;
        const char* reason;
    } cases[] = {
        {std::string(69, 'a'), "69 bytes and the panel takes 68"},
        {"5 €", "no code for '€'"},
        {"abc\xff", "byte 4 of the text is not UTF-8"},
        {"cut \xe6\xb8", "byte 5 of the text is not UTF-8"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        const Outcome outcome = panelctl(gateway, {"say", c.text});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr(c.reason));
        EXPECT_EQ(gateway.logLinesWaiting(), 0U);
    }
}

TEST(Say, WarnsOfWhatThePanelLosesAndSendsItAllTheSame) {
    const struct {
        const char* text;
        const char* warning;
    } cases[] = {
        {"up (eth0), ok?", "lacks '(', ')', ',' and '?'"},
        {"温度", "lacks '温'"},
        {"a\tb", "lacks '\\x09'"},
        {"eighteen letters, 18 + 1", "only the first"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        const Outcome outcome = panelctl(gateway, {"say", c.text});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.errors, HasSubstr(c.warning));
        EXPECT_EQ(drain(gateway).size(), 1U);
    }
    const Outcome fits = panelctl(gateway, {"say", "18 letters: as are"});
    EXPECT_THAT(fits.errors, Not(HasSubstr("font"))) << fits.errors;
    EXPECT_THAT(fits.errors, Not(HasSubstr("fit")));
}

TEST(Say, TellsOfAFullQueueAndOfABlockedOne) {
    sim::Gateway gateway;
    gateway.sendLogBytes(std::string(69, 'x'));
    EXPECT_THAT(panelctl(gateway, {"say", "a"}).errors, HasSubstr("blocks the queue"));
    while (gateway.sendLogBytes(std::string(68, 'x'))) {
    }
    const Outcome outcome = panelctl(gateway, {"say", std::string(68, 'a')});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("the queue is full"));
}

TEST(Queue, ListsEverythingAndTakesNothing) {
    sim::Gateway gateway;
    const std::vector<Message> sent = {
        {3, "first\0"s}, {1, "\xB1\xA8\xBE\xAF\0"s}, {9, std::string(68, 'z')}, {2, "a\x01\xb1"}};
    for (const Message& message : sent) {
        ASSERT_TRUE(gateway.sendLogBytes(message.bytes, message.type));
    }
    const Outcome outcome = panelctl(gateway, {"queue"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("4 messages, 82 of"));
    EXPECT_THAT(outcome.output, HasSubstr("  1  type 3  6 bytes  \"first\"\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  2  type 1  5 bytes  \"报警\"\n"));
    EXPECT_THAT(outcome.output, HasSubstr("  4  type 2  3 bytes  \"a\\x01\\xb1\"\n"));
    EXPECT_EQ(drain(gateway), sent);
    EXPECT_EQ(panelctl(gateway, {"queue"}).status, 0);
}

TEST(Queue, DropsTheStuckMessageAloneAndLeavesTheLinesBehindIt) {
    sim::Gateway gateway;
    const std::vector<Message> behind = {
        {5, "b\0"s}, {1, std::string(68, 'c')}, {4, std::string(70, 'd')}, {1, "e\0"s}};
    gateway.sendLogBytes(std::string(69, 'a'), 5);
    for (const Message& message : behind) {
        gateway.sendLogBytes(message.bytes, message.type);
    }
    const Outcome before = panelctl(gateway, {"queue"});
    EXPECT_EQ(before.status, 1);
    EXPECT_THAT(before.output, HasSubstr("it blocks the 4 messages behind it"));
    EXPECT_THAT(before.output, HasSubstr("it will block the 1 message behind it"));

    const Outcome drop = panelctl(gateway, {"queue", "--drop-stuck"});
    EXPECT_EQ(drop.status, 0);
    EXPECT_THAT(drop.output, HasSubstr("type 5, 69 bytes"));
    // The next one can be taken: nothing more is dropped.
    const Outcome again = panelctl(gateway, {"queue", "--drop-stuck"});
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.output, HasSubstr("nothing is stuck"));
    EXPECT_EQ(drain(gateway), behind);
}

TEST(Queue, ARunningDaemonGoesOnBehindTheDroppedMessage) {
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    gateway.sendLogBytes(std::string(69, 'a'));
    gateway.sendLogLine("behind");
    panel.advance(1200ms);
    ASSERT_EQ(gateway.logLinesWaiting(), 2U);
    EXPECT_EQ(panelctl(gateway, {"queue", "--drop-stuck"}).status, 0);
    panel.advance(1200ms);
    EXPECT_EQ(gateway.logLinesWaiting(), 0U);
}

TEST(Queue, WithoutAQueueSaysSo) {
    sim::Gateway gateway;
    msgctl(msgget(gateway.queueKey(), 0), IPC_RMID, nullptr);
    for (const auto& arguments :
         {std::vector<std::string>{"queue"}, std::vector<std::string>{"queue", "--drop-stuck"}}) {
        const Outcome outcome = panelctl(gateway, arguments);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr("there is no queue with key 80"));
    }
    EXPECT_EQ(msgget(gateway.queueKey(), 0), -1); // looking makes none
}

// A kernel that does not copy messages: what their sizes say must do.
TEST(Queue, WithoutCopiesJudgesByTheSizes) {
    const struct {
        std::vector<std::size_t> sizes;
        int status;
        const char* verdict;
    } cases[] = {
        {{}, 0, "cannot be seen"},
        {{68}, 0, "none is too long"},
        {{30, 38}, 0, "none is too long"},
        {{69}, 1, "at least one is too long"},
        {{68, 70}, 1, "at least one is too long"},
    };
    for (const auto& c : cases) {
        sim::Gateway gateway;
        gateway.failCall(sim::Call::MsgRcv, ENOSYS, 1, true);
        for (const std::size_t size : c.sizes) {
            gateway.sendLogBytes(std::string(size, 'x'));
        }
        const Outcome outcome = panelctl(gateway, {"queue"});
        EXPECT_EQ(outcome.status, c.status) << outcome.output;
        EXPECT_THAT(outcome.output, HasSubstr(c.verdict));
        EXPECT_EQ(gateway.logLinesWaiting(), c.sizes.size());
    }
}

TEST(Queue, WithoutCopiesWatchesWhetherTheDaemonTakesAny) {
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    gateway.failCall(sim::Call::MsgRcv, ENOSYS, 1, true); // the daemon takes none either
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    gateway.sendLogBytes(std::string(75, 'x'));
    gateway.sendLogBytes("y");
    const Outcome stuck = panelctl(gateway, {"queue"});
    EXPECT_EQ(stuck.status, 1);
    EXPECT_THAT(stuck.output, HasSubstr("takes none of them"));
    EXPECT_EQ(gateway.logLinesWaiting(), 2U);
}

TEST(Queue, WithoutCopiesDropsALoneMessageThatIsTooLong) {
    for (const std::size_t size : {68U, 69U}) {
        sim::Gateway gateway;
        gateway.failCall(sim::Call::MsgRcv, ENOSYS);
        gateway.sendLogBytes(std::string(size, 'x'));
        EXPECT_EQ(panelctl(gateway, {"queue", "--drop-stuck"}).status, 0);
        EXPECT_EQ(gateway.logLinesWaiting(), size == 68U ? 1U : 0U);
    }
}

} // namespace
