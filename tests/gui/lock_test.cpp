#include "tests/gui/panel.h"

#include <barrier>
#include <thread>

namespace {

TEST(Lock, CountsNestedCallsAndSwitchesAtTheOutermostOnly) {
    Panel panel;
    GUI_Lock();
    const std::int32_t slot = GUI_CurrentTaskSlot;
    GUI_Lock();
    GUI_FillRect(0, 0, 3, 3);
    EXPECT_EQ(GUI_LockCnt, 2);
    EXPECT_EQ(GUI_CurrentTaskSlot, slot);
    GUI_Unlock();
    GUI_Unlock();
    EXPECT_EQ(GUI_LockCnt, 0);
    EXPECT_EQ(GUI_LockOwner, pthread_self()); // not cleared
}

const std::vector<GUI_Font> fonts(400);

// Marks fields from all over the context with a number; returns the number they bore before.
std::int16_t mark(int number) {
    GUI_Lock();
    const auto next = static_cast<std::int16_t>(number);
    const std::int16_t previous = GUI_Context.ClipRect.x0;
    EXPECT_EQ(GUI_Context.pFont, previous == 0 ? &GUI_Font6x8 : fonts.data() + previous);
    EXPECT_EQ(GUI_Context.TextMode, previous);
    EXPECT_EQ(GUI_Context.TextAlign, previous);
    EXPECT_EQ(GUI_Context.BkColor, static_cast<std::uint32_t>(previous));
    GUI_Context.ClipRect.x0 = next;
    GUI_SetFont(fonts.data() + number);
    GUI_SetTextMode(next);
    GUI_SetTextAlign(next);
    LCD_SetBkColor(static_cast<std::uint32_t>(number));
    GUI_Unlock();
    return previous;
}

// The threads live at the same time, so that their ids differ; they take turns.
TEST(Lock, FourThreadsHaveContextsOfTheirOwnAndTheFifthSharesTheFirst) {
    constexpr int newThreads = 4;
    Panel panel;
    mark(100); // this thread has slot 0
    std::barrier turn(newThreads);
    std::vector<std::int16_t> seen;
    const auto work = [&](int own) {
        for (int i = 0; i < 2 * newThreads; ++i) {
            if (i % newThreads == own) {
                seen.push_back(mark(200 + i));
            }
            turn.arrive_and_wait();
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < newThreads; ++i) {
            threads.emplace_back(work, i);
        }
    }
    // A slot begins with what the first context was at the last GUI_Init; the fourth new thread
    // works in slot 0 and sees what this one has set.
    EXPECT_EQ(seen, (std::vector<std::int16_t>{0, 0, 0, 100, 200, 201, 202, 203}));
    EXPECT_EQ(mark(1), 207);
}

TEST(Lock, SixThreadsDrawWithoutDisturbingEachOther) {
    constexpr int bandHeight = 10;
    Panel panel;
    const auto draw = [](int top) {
        const auto y = static_cast<std::int16_t>(top);
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
    {
        std::vector<std::jthread> threads;
        for (int top = 0; top < 6 * bandHeight; top += bandHeight) {
            threads.emplace_back(draw, top);
        }
    }
    EXPECT_EQ(GUI_LockCnt, 0);
    EXPECT_EQ(std::ranges::count(panel.bytes().first(960), 0xFF), 960);
    EXPECT_EQ(std::ranges::count(panel.bytes().last(64), 0), 64);
}

} // namespace
