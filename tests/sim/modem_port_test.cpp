// The modem's serial port as a program meets it: a real line with settings of its own, answers that
// arrive on the virtual clock.

#include "sim/gateway.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::Call;

class ModemPortTest : public testing::Test {
  protected:
    ModemPortTest() { gateway.attach(); }

    // Opens the port and takes the line out of its cooked state, as every user does.
    static int openRaw() {
        const int descriptor = open("/dev/mux3", O_RDWR | O_NOCTTY | O_NONBLOCK);
        termios settings{};
        tcgetattr(descriptor, &settings);
        cfmakeraw(&settings);
        tcsetattr(descriptor, TCSANOW, &settings);
        return descriptor;
    }

    static void send(int descriptor, std::string_view command) {
        ASSERT_EQ(write(descriptor, command.data(), command.size()),
                  static_cast<ssize_t>(command.size()));
        tcdrain(descriptor);
        tcflush(descriptor, TCIOFLUSH);
    }

    static bool waitFor(int descriptor, timeval& timeout) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(descriptor, &set);
        const int count = select(descriptor + 1, &set, nullptr, nullptr, &timeout);
        EXPECT_EQ(count == 1, FD_ISSET(descriptor, &set) != 0);
        return count == 1;
    }

    static bool waitFor(int descriptor, suseconds_t microseconds) {
        timeval timeout{0, microseconds};
        return waitFor(descriptor, timeout);
    }

    static std::string readChunk(int descriptor) {
        std::array<char, 2048> bytes;
        const ssize_t count = read(descriptor, bytes.data(), bytes.size());
        return count < 0 ? "" : std::string(bytes.data(), static_cast<std::size_t>(count));
    }

    static std::ptrdiff_t openDescriptors() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    }

    sim::Gateway gateway;
};

TEST_F(ModemPortTest, SelectReturnsWithTheAnswerAndLeavesTheRestOfItsTime) {
    const int port = openRaw();
    send(port, "at\r\n");
    const auto start = gateway.monotonic();
    timeval timeout{2, 10'000};
    EXPECT_TRUE(waitFor(port, timeout));
    EXPECT_EQ(gateway.monotonic() - start, 20ms);
    EXPECT_EQ(timeout.tv_sec, 1);
    EXPECT_EQ(timeout.tv_usec, 990'000);
    EXPECT_EQ(readChunk(port), "\r\nOK\r\n");
    EXPECT_FALSE(waitFor(port, timeout));
    EXPECT_EQ(timeout.tv_sec, 0);
    EXPECT_EQ(timeout.tv_usec, 0);
    EXPECT_EQ(gateway.monotonic() - start, 2010ms);
    close(port);
}

TEST_F(ModemPortTest, AFlushDropsWhatHasArrivedAndNeverACommand) {
    const int port = openRaw();
    for (int i = 0; i < 200; ++i) {
        send(port, "at\r\n");
        ASSERT_TRUE(waitFor(port, 100'000)) << i;
        ASSERT_EQ(readChunk(port), "\r\nOK\r\n") << i;
    }
    gateway.editModem([](sim::ModemFacts& facts) { facts.answerDelayUs = 0; });
    send(port, "at\r\n");
    EXPECT_FALSE(waitFor(port, 500'000));
    ASSERT_EQ(write(port, "at\r\n", 4), 4);
    tcdrain(port);
    EXPECT_TRUE(waitFor(port, 0));
    close(port);
}

TEST_F(ModemPortTest, AnAnswerAfterTheFlushOfTheNextCommandIsStillThere) {
    gateway.editModem([](sim::ModemFacts& facts) { facts.answerDelayUs = 150'000; });
    const int port = openRaw();
    send(port, "at+csq\r\n");
    EXPECT_FALSE(waitFor(port, 100'000));
    send(port, "at\r\n");
    EXPECT_TRUE(waitFor(port, 100'000));
    EXPECT_EQ(readChunk(port), "\r\n+CSQ: 20,99\r\n\r\nOK\r\n");
    close(port);
}

TEST_F(ModemPortTest, BytesOfOneMomentAreReadTogetherAndOthersApart) {
    const std::string longText(1500, 'z');
    gateway.scriptModem(
        {{"long", {{1ms, longText}}, 0}, {"split", {{1ms, "O"}, {3ms, "K\r\n"}}, 0}});
    const int port = openRaw();
    for (int i = 0; i < 20; ++i) {
        send(port, "long\r\n");
        ASSERT_TRUE(waitFor(port, 10'000));
        ASSERT_EQ(readChunk(port), longText);
    }
    send(port, "split\r\n");
    EXPECT_TRUE(waitFor(port, 10'000));
    EXPECT_EQ(readChunk(port), "O");
    EXPECT_TRUE(waitFor(port, 10'000));
    EXPECT_EQ(readChunk(port), "K\r\n");
    close(port);
}

TEST_F(ModemPortTest, AHangUpIsTheEndOfFile) {
    gateway.scriptModem({{"at", {{1ms, "bye", true}}, 0}});
    int port = openRaw();
    send(port, "at\r\n");
    EXPECT_TRUE(waitFor(port, 10'000));
    std::array<char, 16> bytes;
    EXPECT_EQ(read(port, bytes.data(), bytes.size()), 0);
    close(port);
    port = openRaw();
    send(port, "at+csq\r\n");
    EXPECT_TRUE(waitFor(port, 30'000));
    close(port);
}

TEST_F(ModemPortTest, ThePortCanBeMissingOrVanish) {
    gateway.editModem([](sim::ModemFacts& facts) { facts.opensLeft = 2; });
    for (const bool there : {true, true, false}) {
        const int port = open("/dev/mux3", O_RDWR | O_NOCTTY);
        EXPECT_EQ(port >= 0, there);
        close(port);
    }
    EXPECT_EQ(errno, EBADF);
    gateway.editModem(sim::ordinaryModem);
    gateway.setModemPresent(false);
    EXPECT_EQ(open("/dev/mux3", O_RDWR | O_NOCTTY), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ModemPortTest, LineSettingsAreRealAndRecordedAsAsked) {
    const int port = open("/dev/mux3", O_RDWR | O_NOCTTY);
    termios settings{};
    ASSERT_EQ(tcgetattr(port, &settings), 0);
    EXPECT_NE(settings.c_lflag & ICANON, 0U);
    EXPECT_NE(settings.c_lflag & ECHO, 0U);
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    ASSERT_EQ(tcsetattr(port, TCSANOW, &settings), 0);
    cfsetspeed(&settings, B0);
    ASSERT_EQ(tcsetattr(port, TCSADRAIN, &settings), 0);
    ASSERT_EQ(tcgetattr(port, &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO), 0U);

    const std::vector<sim::LineSettings> asked = gateway.lineSettings();
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_EQ(asked[0].controlFlags & CBAUD, unsigned{B115200});
    EXPECT_EQ(asked[0].action, TCSANOW);
    EXPECT_EQ(asked[1].controlFlags & CBAUD, unsigned{B0});
    EXPECT_EQ(asked[1].action, TCSADRAIN);
    EXPECT_EQ(gateway.calls(Call::TcSetAttr), 2U);
    close(port);
}

TEST_F(ModemPortTest, WhatArrivesBetweenTwoOpeningsIsLost) {
    int port = openRaw();
    send(port, "at+csq\r\n");
    close(port);
    gateway.pass(1s);
    port = openRaw();
    EXPECT_FALSE(waitFor(port, 100'000));
    send(port, "at\r\n");
    EXPECT_TRUE(waitFor(port, 100'000));
    EXPECT_EQ(readChunk(port), "\r\nOK\r\n");
    close(port);
}

TEST_F(ModemPortTest, NoDescriptorIsLeftAfterTheLastClose) {
    const std::ptrdiff_t before = openDescriptors();
    const int first = openRaw();
    const int second = open("/dev/mux3", O_RDWR | O_NOCTTY);
    EXPECT_EQ(openDescriptors(), before + 3);
    close(first);
    send(second, "at\r\n");
    EXPECT_TRUE(waitFor(second, 100'000));
    close(second);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ModemPortTest, TheConversationIsWrittenDown) {
    const int port = openRaw();
    const auto start = gateway.monotonic();
    send(port, "at\r\n");
    EXPECT_TRUE(waitFor(port, 100'000));
    close(port);
    const std::vector<sim::Utterance> transcript = gateway.transcript();
    ASSERT_EQ(transcript.size(), 2U);
    EXPECT_FALSE(transcript[0].fromModem);
    EXPECT_EQ(transcript[0].bytes, "at\r\n");
    EXPECT_EQ(transcript[0].at, start);
    EXPECT_TRUE(transcript[1].fromModem);
    EXPECT_EQ(transcript[1].at, start + 20ms);
    EXPECT_EQ(gateway.sentByModem(), "\r\nOK\r\n");
}

TEST_F(ModemPortTest, SerialCallsCanFail) {
    const int port = openRaw();
    gateway.failCall(Call::Write, EIO, 1, false, sim::Path::ModemPort);
    EXPECT_EQ(write(port, "at\r\n", 4), -1);
    for (const Call call : {Call::TcDrain, Call::TcFlush, Call::Select}) {
        gateway.failCall(call, EINTR);
    }
    EXPECT_EQ(tcdrain(port), -1);
    EXPECT_EQ(tcflush(port, TCIOFLUSH), -1);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(port, &set);
    timeval timeout{0, 1000};
    EXPECT_EQ(select(port + 1, &set, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(gateway.sentToModem(), "");
    close(port);
}

} // namespace
