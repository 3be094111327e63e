#include "tests/gui/panel.h"

#include <latch>
#include <thread>

namespace {

template <typename Action>
void inNewThread(Action action) {
    std::thread(action).join();
}

TEST(Lock, CountsNestedCallsAndSwitchesAtTheOutermostOnly) {
    Panel panel;
    GUI_Lock();
    const std::int32_t slot = GUI_CurrentTaskSlot;
    GUI_Lock();
    GUI_FillRect(0, 0, 3, 3);
    EXPECT_EQ(GUI_LockCnt, 2);
    EXPECT_EQ(GUI_LockOwner, pthread_self());
    EXPECT_EQ(GUI_CurrentTaskSlot, slot);
    GUI_Unlock();
    GUI_Unlock();
    EXPECT_EQ(GUI_LockCnt, 0);
    EXPECT_EQ(GUI_LockOwner, pthread_self()); // not cleared
}

// The threads live at the same time, so that their ids differ; they take turns.
TEST(Lock, FourThreadsHaveContextsOfTheirOwnAndTheFifthSharesTheFirst) {
    Panel panel;
    GUI_SetTextMode(100); // this thread has slot 0
    std::vector<std::thread> threads;
    std::vector<std::int16_t> before(4);
    std::vector<std::int16_t> after(4);
    std::atomic<int> turn{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            const auto index = static_cast<std::size_t>(i);
            const auto wait = [&](int own) {
                for (int now = turn; now != own; now = turn) {
                    turn.wait(now);
                }
            };
            const auto pass = [&] {
                ++turn;
                turn.notify_all();
            };
            wait(i);
            before[index] = GUI_SetTextMode(static_cast<std::int16_t>(200 + i));
            pass();
            wait(4 + i);
            after[index] = GUI_SetTextMode(static_cast<std::int16_t>(300 + i));
            pass();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // A slot begins with what the first context was at the last GUI_Init; the fourth new thread
    // works in slot 0 and sees what this one has set.
    EXPECT_EQ(before, (std::vector<std::int16_t>{0, 0, 0, 100}));
    EXPECT_EQ(after, (std::vector<std::int16_t>{200, 201, 202, 203}));
    EXPECT_EQ(GUI_SetTextMode(0), 303);
}

TEST(Lock, SixThreadsDrawWithoutDisturbingEachOther) {
    constexpr int threadCount = 6;
    constexpr int bandHeight = 10;
    Panel panel;
    std::latch start(threadCount);
    const auto draw = [&](int top) {
        const auto y = static_cast<std::int16_t>(top);
        start.arrive_and_wait();
        for (int i = 0; i < 300; ++i) {
            GUI_SetFont(&GUI_Font6x8); // of all threads: their texts stay in their bands
            GUI_DispStringAt("drawing", 3, y);
            GUI_DispStringHCenterAt("here", 64, y);
            GUI_InvertRect(0, top, 127, top + bandHeight - 1);
            GUI_ClearRect(0, top, 127, top + bandHeight - 1);
            LCD_DriverGetPixelIndex(0, 63); // outside of all bands
        }
        GUI_FillRect(0, top, 127, top + bandHeight - 1);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back(draw, i * bandHeight);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(GUI_LockCnt, 0);
    EXPECT_EQ(std::ranges::count(panel.bytes().first(960), 0xFF), 960);
    EXPECT_EQ(std::ranges::count(panel.bytes().last(64), 0), 64);
}

} // namespace
