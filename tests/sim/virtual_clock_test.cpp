// The virtual clock as the threads of a program meet it.

#include "sim/gateway.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

class VirtualClockTest : public testing::Test {
  protected:
    VirtualClockTest() { gateway.attach(); }

    // Milliseconds of virtual time since the start of the test.
    long passed() const {
        return static_cast<long>((gateway.monotonic() - start) / std::chrono::milliseconds(1));
    }

    sim::Gateway gateway;
    std::chrono::nanoseconds start = gateway.monotonic();
};

TEST_F(VirtualClockTest, ThreadsWakeInTheOrderOfTheirDeadlines) {
    std::mutex mutex;
    std::string order;
    const auto sleeper = [&](char mark, useconds_t period) {
        return [&, mark, period] {
            for (int i = 0; i < 3; ++i) {
                usleep(period);
                const std::lock_guard guard(mutex);
                order += mark + std::to_string(passed()) + " ";
            }
        };
    };
    std::thread slow(sleeper('s', 40'000));
    std::thread quick(sleeper('q', 15'000));
    slow.join();
    quick.join();
    EXPECT_EQ(order, "q15 q30 s40 q45 s80 s120 ");
}

TEST_F(VirtualClockTest, NoTimePassesBetweenTheEndOfAThreadAndItsJoin) {
    std::atomic<bool> stop{false};
    std::thread ticking([&] {
        while (!stop) {
            usleep(7'000);
        }
    });
    std::thread worker([] { usleep(300'000); });
    worker.join();
    EXPECT_EQ(passed(), 300);
    stop = true;
    ticking.join();
}

} // namespace
