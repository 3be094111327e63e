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

TEST_F(LogReceiver, KeepsTheTwoNewestLinesUpToTheirFirstNulWhateverTheirTypes) {
    const std::string longest(68, 'x');
    const struct {
        std::string bytes;
        long type;
        std::string stored;
    } messages[] = {
        {"a", 7, "<a>"},
        {longest, 1, "<" + longest + "><a>"},
        {std::string("cut\0off", 7), 2000000000, "<cut><" + longest + ">"},
        {"short", 3, "<short><cut>"}, // follows longer ones: nothing of them may be left
        {"", 1, "<><short>"},
        {std::string(69, 'y'), 1, "<><short>"}, // too long: it holds up the rest
        {"behind", 1, "<><short>"},
    };
    EXPECT_EQ(storedLines(), "");
    for (const auto& [bytes, type, stored] : messages) {
        ASSERT_TRUE(gateway.sendLogBytes(bytes, type));
        receiveLogMessage();
        EXPECT_EQ(storedLines(), stored);
    }
    ASSERT_TRUE(gateway.takeLogLine());
    receiveLogMessage();
    EXPECT_EQ(storedLines(), "<behind><>");
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
}

} // namespace
