// The virtual clock as the threads of a program meet it.

#include "sim/gateway.h"

#include <chrono>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

TEST(VirtualClockTest, ThreadsWakeInTheOrderOfTheirDeadlinesAndTimeGoesOnWithoutThem) {
    sim::Gateway gateway;
    gateway.attach();
    const auto passed = [&, start = gateway.monotonic()] {
        return (gateway.monotonic() - start) / 1ms;
    };
    std::mutex mutex;
    std::string order;
    const auto sleeper = [&](char mark, useconds_t period) {
        for (int i = 0; i < 3; ++i) {
            usleep(period);
            const std::lock_guard guard(mutex);
            order += mark + std::to_string(passed()) + " ";
        }
    };
    std::thread slow(sleeper, 's', 40'000);
    std::thread quick(sleeper, 'q', 15'000);
    usleep(200'000);
    slow.join();
    quick.join();
    EXPECT_EQ(order, "q15 q30 s40 q45 s80 s120 ");
    EXPECT_EQ(passed(), 200);
}

} // namespace
