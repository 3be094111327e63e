// The virtual clock as the threads of a program meet it.

#include "sim/gateway.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <gtest/gtest.h>
#include <mutex>
#include <sched.h>
#include <string>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::Call;

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

// Real time in which the virtual clock must not move.
void workForAWhile() {
    timespec pause{0, 20'000'000};
    syscall(SYS_nanosleep, &pause, nullptr);
}

TEST_F(VirtualClockTest, SleepingMovesBothClocksAtOnce) {
    timeval wall{};
    gettimeofday(&wall, nullptr);
    EXPECT_EQ(wall.tv_sec, 1'709'543'103);
    for (int i = 0; i < 1200; ++i) {
        usleep(50'000);
    }
    EXPECT_EQ(passed(), 60'000);
    gettimeofday(&wall, nullptr);
    EXPECT_EQ(wall.tv_sec, 1'709'543'163);
    EXPECT_EQ(gateway.control().sleeps.main, 1200U);
    EXPECT_EQ(gateway.control().sleeps.mainLastUs, 50'000U);
    gateway.pass(1h);
    EXPECT_EQ(gateway.control().sleeps.main, 1200U);
    EXPECT_EQ(passed(), 3'660'000);
}

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

TEST_F(VirtualClockTest, ThreadsOfOneDeadlineWakeInTheOrderInWhichTheyWentToSleep) {
    std::mutex mutex;
    std::string order;
    const auto sleeper = [&](char mark, std::chrono::nanoseconds first) {
        return [&, mark, first] {
            gateway.pass(first);
            for (int i = 0; i < 3; ++i) {
                usleep(10'000);
                const std::lock_guard guard(mutex);
                order += mark;
            }
        };
    };
    // From 30 ms on both wake at the same moments, and the late one went to sleep first.
    std::thread early(sleeper('e', 20ms));
    std::thread late(sleeper('l', 30ms));
    early.join();
    late.join();
    EXPECT_EQ(order, "elelel");
}

TEST_F(VirtualClockTest, ANewThreadHoldsTimeUntilItSleepsItself) {
    long seen = -1;
    std::thread thread([&] {
        workForAWhile();
        seen = passed();
    });
    usleep(1'000'000);
    EXPECT_EQ(passed(), 1000);
    thread.join();
    EXPECT_EQ(seen, 0);
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

TEST_F(VirtualClockTest, OnTheRealClockTimePassesByItself) {
    gateway.setClockMode(sim::ClockMode::Real);
    const std::chrono::nanoseconds before = gateway.monotonic();
    EXPECT_LT(before - start, 1s);
    workForAWhile();
    usleep(10'000);
    EXPECT_GE(gateway.monotonic() - before, 30ms);
    gateway.setWallClock(1000);
    timeval wall{};
    gettimeofday(&wall, nullptr);
    EXPECT_GE(wall.tv_sec, 1000);
    EXPECT_LT(wall.tv_sec, 1010);
}

} // namespace
