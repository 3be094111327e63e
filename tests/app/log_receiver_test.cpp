#include "app/log_receiver.h"

#include "app/log_store.h"
#include "tests/support/gateway_test.h"

#include <cerrno>

namespace {

using namespace std::chrono_literals;

// The lines as they stand, newest first, each in angle brackets.
std::string storedLines() {
    std::string text;
    const LogLock lock;
    for (const std::string& line : logStore.lines) {
        text += "<" + line + ">";
    }
    return text;
}

class LogReceiver : public GatewayTest {
  protected:
    LogReceiver() {
        pthread_mutex_init(&logStore.logMutex, nullptr);
        openLogQueue();
    }
};

TEST_F(LogReceiver, TheTwoNewestLinesAreKeptWhateverTheirTypes) {
    EXPECT_EQ(storedLines(), "");
    const std::pair<const char*, long> messages[] = {
        {"a", 7}, {"b", 1}, {"", 2000000000}, {"d", 3}};
    for (const auto& [text, type] : messages) {
        ASSERT_TRUE(gateway.sendLogLine(text, type));
    }
    for (const char* expected : {"<a>", "<b><a>", "<><b>", "<d><>", "<d><>"}) {
        receiveLogMessage();
        EXPECT_EQ(storedLines(), expected);
    }
}

TEST_F(LogReceiver, AMessageIsTakenUpToItsFirstNulAndOneThatIsTooLongHoldsUpTheRest) {
    const std::string longest(68, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {longest, longest},
        {std::string("cut\0off", 7), "cut"},
        {"short", "short"}, // follows longer ones: nothing of them may be left
        {std::string(69, 'y'), "short"},
        {"behind", "short"},
    };
    for (const auto& [bytes, line] : cases) {
        ASSERT_TRUE(gateway.sendLogBytes(bytes));
        EXPECT_EQ(outputOf(receiveLogMessage), "");
        EXPECT_EQ(logStore.lines.front(), line);
    }
    ASSERT_TRUE(gateway.takeLogLine());
    receiveLogMessage();
    EXPECT_EQ(storedLines(), "<behind><short>");
}

TEST_F(LogReceiver, TheThreadTakesTwoLinesASecondWhileAnotherThreadReads) {
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(gateway.sendLogLine("line " + std::to_string(i)));
    }
    ASSERT_EQ(startLogReceiver(), 0);
    gateway.pass(10ms); // looks come behind the turns of the receiver
    for (std::size_t left = 9; left > 0; --left) {
        EXPECT_EQ(gateway.logLinesWaiting(), left);
        EXPECT_LE(storedLines().size(), std::string("<line 1><line 0>").size());
        gateway.pass(500ms);
    }
    EXPECT_EQ(storedLines(), "<line 9><line 8>");
    gateway.pass(10s);
    ASSERT_TRUE(gateway.sendLogLine("late"));
    gateway.pass(500ms);
    EXPECT_EQ(storedLines(), "<late><line 9>");
}

} // namespace
