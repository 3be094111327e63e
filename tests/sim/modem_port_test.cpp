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

    static bool waitFor(int descriptor, timeval&& timeout) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(descriptor, &set);
        return select(descriptor + 1, &set, nullptr, nullptr, &timeout) == 1;
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
    EXPECT_TRUE(waitFor(port, std::move(timeout)));
    EXPECT_EQ(gateway.monotonic() - start, 20ms);
    EXPECT_EQ(timeout.tv_sec, 1);
    EXPECT_EQ(timeout.tv_usec, 990'000);
    EXPECT_EQ(readChunk(port), "\r\nOK\r\n");
    EXPECT_FALSE(waitFor(port, std::move(timeout)));
    EXPECT_EQ(timeout.tv_sec + timeout.tv_usec, 0);
    EXPECT_EQ(gateway.monotonic() - start, 2010ms);
    close(port);
}

TEST_F(ModemPortTest, AFlushDropsWhatHasArrivedAndNeverACommand) {
    const int port = openRaw();
    for (int i = 0; i < 200; ++i) {
        send(port, "at\r\n");
        ASSERT_TRUE(waitFor(port, {0, 100'000})) << i;
        ASSERT_EQ(readChunk(port), "\r\nOK\r\n") << i;
    }
    gateway.editModem([](sim::ModemFacts& facts) { facts.answerDelayUs = 0; });
    send(port, "at\r\n");
    EXPECT_FALSE(waitFor(port, {0, 500'000}));
    ASSERT_EQ(write(port, "at\r\n", 4), 4);
    tcdrain(port);
    EXPECT_TRUE(waitFor(port, {0, 0}));
    close(port);
}

TEST_F(ModemPortTest, WhatArrivesBetweenTwoOpeningsIsLost) {
    int port = openRaw();
    send(port, "at+csq\r\n");
    close(port);
    gateway.pass(1s);
    port = openRaw();
    EXPECT_FALSE(waitFor(port, {0, 100'000}));
    send(port, "at\r\n");
    EXPECT_TRUE(waitFor(port, {0, 100'000}));
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
    EXPECT_TRUE(waitFor(second, {0, 100'000}));
    close(second);
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
