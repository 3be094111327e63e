// panelctl say and panelctl queue: bytes in the queue, and nothing lost by looking.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <cerrno>
#include <sys/msg.h>

namespace {

using namespace std::string_literals;
using Message = std::pair<long, std::string>;
using Messages = std::vector<Message>;

int queueOf(const sim::Gateway& gateway) {
    return msgget(gateway.queueKey(), 0);
}

// Takes everything out of the gateway's queue.
Messages drain(const sim::Gateway& gateway) {
    struct {
        long type;
        char text[8192];
    } buffer;
    Messages messages;
    ssize_t size = 0;
    while ((size = msgrcv(queueOf(gateway), &buffer, sizeof buffer.text, 0, IPC_NOWAIT)) >= 0) {
        messages.emplace_back(buffer.type, std::string(buffer.text, static_cast<size_t>(size)));
    }
    return messages;
}

TEST(Say, SendsTheBytesThatThePanelTakesAndTellsWhatItLosesOrRefuses) {
    const std::string a68(68, 'a');
    const auto fits = AllOf(Not(HasSubstr("font")), Not(HasSubstr("fit")), Not(HasSubstr("page")));
    const struct {
        std::string arguments;
        Messages messages;
        Matcher<std::string> said;
    } cases[] = {
        {"link up again", {{1, "link up again\0"s}}, fits},
        {"'18 letters: as are'", {{1, "18 letters: as are\0"s}}, fits},
        {"--type 7 -- '-1 dBm'", {{7, "-1 dBm\0"s}}, fits},
        {"报警 7", {{1, "\xB1\xA8\xBE\xAF 7\0"s}}, fits},
        {a68.substr(1), {{1, a68.substr(1) + '\0'}}, HasSubstr("only the first 18 characters fit")},
        {a68, {{1, a68}}, HasSubstr("only the first")},
        {"'(eth0), ok?'", {{1, "(eth0), ok?\0"s}}, HasSubstr("lacks '(', ')', ',' and '?'")},
        {"'a\t温'", {{1, "a\t\xCE\xC2\0"s}}, HasSubstr("lacks '\\x09' and '温'")},
        {a68 + "a", {}, HasSubstr("69 bytes and the panel takes 68")},
        {"'5 €'", {}, HasSubstr("no code for '€'")},
        {"a\u202e", {}, HasSubstr("no code for '\\u202e'")},
        {"'cut \xe6\xb8'", {}, HasSubstr("byte 5 of the text is not UTF-8")},
    };
    sim::Gateway gateway;
    for (const auto& c : cases) {
        expectOutcome(gateway, "say " + c.arguments, c.messages.empty() ? 1 : 0, "", c.said);
        EXPECT_EQ(drain(gateway), c.messages);
    }
    while (gateway.sendLogBytes(std::string(69, 'x'))) {
    }
    expectOutcome(gateway, "say " + a68, 1, "", HasSubstr("the queue is full"));
    drain(gateway);
    gateway.setPanel(sim::panel32);
    expectOutcome(gateway, "say x", 0, "", HasSubstr("has no page for log lines"));
}

TEST(Queue, ListsWhatWaitsAndDropsTheStuckMessageAlone) {
    sim::Gateway gateway;
    const Messages behind = {{1, "\xB1\xA8\xBE\xAF\x1b\n\0"s},
                             {9, std::string(68, 'z')},
                             {4, std::string(70, 'd')},
                             {2, "a\x01\xb1"}};
    gateway.sendLogBytes(std::string(69, 'a'), 5);
    for (const auto& [type, bytes] : behind) {
        gateway.sendLogBytes(bytes, type);
    }
    expectOutcome(gateway, "say b", 0, "", HasSubstr("blocks the queue"));
    const std::string takes = "too long, the panel takes 68 bytes: it ";
    // Its owner may have made it smaller than what waits in it.
    msqid_ds settings{};
    msgctl(queueOf(gateway), IPC_STAT, &settings);
    settings.msg_qbytes = 60;
    msgctl(queueOf(gateway), IPC_SET, &settings);
    expectOutcome(gateway, "queue", 1,
                  "queue 80: 6 messages, 219 of 60 bytes\n"
                  "  1  type 5  69 bytes  \"" +
                      std::string(69, 'a') + "\"\n     " + takes +
                      "blocks the 5 messages behind it\n"
                      "  2  type 1  7 bytes  \"报警\\x1b\\n\"\n"
                      "  3  type 9  68 bytes  \"" +
                      behind[1].second +
                      "\"\n"
                      "  4  type 4  70 bytes  \"" +
                      behind[2].second + "\"\n     " + takes +
                      "will block the 2 messages behind it\n"
                      "  5  type 2  3 bytes  \"a\\x01\\xb1\"\n"
                      "  6  type 1  2 bytes  \"b\"\n",
                  "");
    expectOutcome(gateway, "queue --drop-stuck", 0, HasSubstr("type 5, 69 bytes"), "");
    // The next one can be taken: nothing more is dropped.
    expectOutcome(gateway, "queue --drop-stuck", 0, HasSubstr("nothing is stuck"), "");
    Messages left = drain(gateway);
    left.pop_back();
    EXPECT_EQ(left, behind);
    msgctl(queueOf(gateway), IPC_RMID, nullptr);
    expectOutcome(gateway, "queue --drop-stuck", 1, "", HasSubstr("there is no queue with key 80"));
    EXPECT_EQ(queueOf(gateway), -1) << "looking has made one";
}

// A kernel that does not copy messages: what their sizes say must do, and what the daemon takes.
TEST(Queue, WithoutCopiesJudgesByTheSizesAndByTheDaemon) {
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
        expectOutcome(gateway, "queue", c.status, HasSubstr(c.verdict), "");
        gateway.failCall(sim::Call::MsgRcv, ENOSYS);
        panelctl(gateway, "queue --drop-stuck");
        EXPECT_EQ(gateway.logLinesWaiting(), c.leftByDrop);
    }
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    gateway.failCall(sim::Call::MsgRcv, ENOSYS, 1, true); // the daemon takes none either
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    gateway.sendLogBytes(std::string(75, 'x'));
    gateway.sendLogBytes("y");
    expectOutcome(gateway, "queue", 1, HasSubstr("takes none of them"), "");
}

} // namespace
