// panelctl say and panelctl queue: bytes in the queue, and nothing lost by looking.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/msg.h>

namespace {

using namespace std::string_literals;
using testing::AllOf;
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

TEST(Say, SendsTheBytesThatThePanelTakesWithAWarningOfWhatItLoses) {
    const struct {
        std::vector<std::string> arguments;
        Message message;
        const char* warning;
    } cases[] = {
        {{"link", "up", "again"}, {1, "link up again\0"s}, ""},
        {{"--type", "7", "--", "-1 dBm"}, {7, "-1 dBm\0"s}, ""},
        {{"报警 7"}, {1, "\xB1\xA8\xBE\xAF 7\0"s}, ""},
        {{std::string(67, 'a')}, {1, std::string(67, 'a') + '\0'}, "only the first"},
        {{std::string(68, 'a')}, {1, std::string(68, 'a')}, "only the first"},
        {{"(eth0), ok?"}, {1, "(eth0), ok?\0"s}, "lacks '(', ')', ',' and '?'"},
        {{"a\t温"}, {1, "a\t\xCE\xC2\0"s}, "lacks '\\x09' and '温'"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        auto arguments = c.arguments;
        arguments.insert(arguments.begin(), "say");
        const Outcome outcome = panelctl(gateway, arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(drain(gateway), std::vector{c.message});
        EXPECT_THAT(outcome.errors, HasSubstr(c.warning));
    }
    EXPECT_THAT(panelctl(gateway, {"say", "18 letters: as are"}).errors,
                AllOf(Not(HasSubstr("font")), Not(HasSubstr("fit")), Not(HasSubstr("page"))));
    gateway.setPanel(sim::panel32);
    EXPECT_THAT(panelctl(gateway, {"say", "x"}).errors, HasSubstr("has no page for log lines"));
}

TEST(Say, RefusesWithTheReasonAndSendsNothing) {
    const struct {
        std::string text;
        const char* reason;
    } cases[] = {
        {std::string(69, 'a'), "69 bytes and the panel takes 68"},
        {"5 €", "no code for '€'"},
        {"cut \xe6\xb8", "byte 5 of the text is not UTF-8"},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        const Outcome outcome = panelctl(gateway, {"say", c.text});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr(c.reason));
        EXPECT_EQ(gateway.logLinesWaiting(), 0U);
    }
    while (gateway.sendLogBytes(std::string(69, 'x'))) {
    }
    EXPECT_THAT(panelctl(gateway, {"say", std::string(68, 'a')}).errors,
                HasSubstr("the queue is full"));
}

TEST(Queue, ListsWhatWaitsAndDropsTheStuckMessageAlone) {
    sim::Gateway gateway;
    const std::vector<Message> behind = {{1, "\xB1\xA8\xBE\xAF\0"s},
                                         {9, std::string(68, 'z')},
                                         {4, std::string(70, 'd')},
                                         {2, "a\x01\xb1"}};
    gateway.sendLogBytes(std::string(69, 'a'), 5);
    for (const Message& message : behind) {
        gateway.sendLogBytes(message.bytes, message.type);
    }
    EXPECT_THAT(panelctl(gateway, {"say", "b"}).errors, HasSubstr("blocks the queue"));
    const Outcome list = panelctl(gateway, {"queue"});
    EXPECT_EQ(list.status, 1);
    EXPECT_THAT(list.output,
                AllOf(HasSubstr("6 messages, 217 of"), HasSubstr("it blocks the 5 messages behind"),
                      HasSubstr("  2  type 1  5 bytes  \"报警\"\n"),
                      HasSubstr("  5  type 2  3 bytes  \"a\\x01\\xb1\"\n"),
                      HasSubstr("it will block the 2 messages behind")));

    const Outcome drop = panelctl(gateway, {"queue", "--drop-stuck"});
    EXPECT_EQ(drop.status, 0);
    EXPECT_THAT(drop.output, HasSubstr("type 5, 69 bytes"));
    // The next one can be taken: nothing more is dropped.
    EXPECT_THAT(panelctl(gateway, {"queue", "--drop-stuck"}).output, HasSubstr("nothing is stuck"));
    auto left = drain(gateway);
    left.pop_back();
    EXPECT_EQ(left, behind);
    EXPECT_EQ(panelctl(gateway, {"queue"}).status, 0);
}

TEST(Queue, WithoutAQueueSaysSoAndMakesNone) {
    sim::Gateway gateway;
    msgctl(msgget(gateway.queueKey(), 0), IPC_RMID, nullptr);
    const Outcome outcome = panelctl(gateway, {"queue", "--drop-stuck"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("there is no queue with key 80"));
    EXPECT_EQ(msgget(gateway.queueKey(), 0), -1);
}

// A kernel that does not copy messages: what their sizes say must do.
TEST(Queue, WithoutCopiesJudgesByTheSizes) {
    const struct {
        std::vector<std::size_t> sizes;
        int status;
        const char* verdict;
        std::size_t leftByDrop;
    } cases[] = {
        {{}, 0, "cannot be seen", 0},
        {{68}, 0, "none is too long", 1},
        {{30, 38}, 0, "none is too long", 2},
        {{69}, 1, "at least one is too long", 0},
        {{68, 70}, 1, "at least one is too long", 2},
    };
    for (const auto& c : cases) {
        sim::Gateway gateway;
        for (const std::size_t size : c.sizes) {
            gateway.sendLogBytes(std::string(size, 'x'));
        }
        gateway.failCall(sim::Call::MsgRcv, ENOSYS);
        const Outcome outcome = panelctl(gateway, {"queue"});
        EXPECT_EQ(outcome.status, c.status) << outcome.output;
        EXPECT_THAT(outcome.output, HasSubstr(c.verdict));
        gateway.failCall(sim::Call::MsgRcv, ENOSYS);
        panelctl(gateway, {"queue", "--drop-stuck"});
        EXPECT_EQ(gateway.logLinesWaiting(), c.leftByDrop);
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
}

} // namespace
