#include "tests/gui/panel.h"

#include <functional>
#include <thread>

namespace {

const std::vector<GUI_Font> fonts(51);

// Marks fields from all over the context with a number; returns the number they bore before.
std::int16_t mark(std::int16_t number) {
    GUI_Lock();
    const GUI_CONTEXT& now = GUI_Context;
    const std::int16_t before = now.ClipRect.x0;
    EXPECT_EQ(
        std::tuple(now.pFont, now.TextMode, now.TextAlign, std::int64_t{now.BkColor}),
        std::tuple(before == 0 ? &GUI_Font6x8 : fonts.data() + before, before, before, before));
    setClip(number, 0, 0, 0);
    GUI_SetFont(fonts.data() + number);
    GUI_SetTextMode(number);
    GUI_SetTextAlign(number);
    LCD_SetBkColor(static_cast<std::uint32_t>(number));
    GUI_Unlock();
    return before;
}

// Marks this thread's context before and behind the life of the next thread, so that all five live
// at the same time and their ids differ.
void nest(std::int16_t number, std::vector<std::int16_t>& seen) {
    seen.push_back(mark(number));
    if (number < 5) {
        std::jthread(nest, coordinate(number + 1), std::ref(seen)).join();
    }
    seen.push_back(mark(coordinate(10 * number)));
}

TEST(Lock, FourThreadsHaveContextsOfTheirOwnAndTheFifthSharesTheFirst) {
    Panel panel;
    std::vector<std::int16_t> seen;
    nest(1, seen);
    // A slot begins with what the first context was at the last GUI_Init; the fifth thread sees
    // what the first one has set, and the other way round.
    EXPECT_EQ(seen, (std::vector<std::int16_t>{0, 0, 0, 0, 1, 5, 4, 3, 2, 50}));
}

TEST(Lock, SixThreadsDrawWithoutDisturbingEachOther) {
    constexpr int bandHeight = 10;
    Panel panel;
    const auto draw = [](int top) {
        for (int i = 0; i < 300; ++i) {
            GUI_SetFont(&GUI_Font6x8); // of all threads: their texts stay in their bands
            GUI_DispStringAt("drawing", 3, coordinate(top));
            GUI_DispStringHCenterAt("here", 64, coordinate(top));
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
    EXPECT_EQ(std::ranges::count(panel.bytes().first(960), 0xFF), 960);
    EXPECT_EQ(std::ranges::count(panel.bytes().last(64), 0), 64);
}

} // namespace
