#include "tests/gui/panel.h"

#include <cstring>

namespace {

TEST(Context, TurnsColorsIntoIndicesByTheirBrightness) {
    const std::pair<std::uint32_t, int> cases[] = {{0x7F7F7F, 0}, {0x7F7F80, 1}, {0x807F7F, 1},
                                                   {0xFF0000, 0}, {0x00FF7E, 0}, {0x00FF7F, 1},
                                                   {0xFFFFFF, 1}};
    for (const auto& [color, index] : cases) {
        EXPECT_EQ(LCD_Color2Index(color), index) << std::hex << color;
    }
    EXPECT_EQ(LCD_Index2Color(0), 0U);
    EXPECT_EQ(LCD_Index2Color(3), 0xFFFFFFU);
}

TEST(Context, SwapsTheIndicesOnlyWhenTheReverseBitChanges) {
    Panel panel;
    EXPECT_EQ(GUI_SetDrawMode(GUI_DM_REV), GUI_DM_NORMAL);
    EXPECT_EQ(GUI_SetDrawMode(GUI_DM_REV | GUI_DM_TRANS), GUI_DM_REV);
    EXPECT_EQ(indices(), 10);
    LCD_SetColor(0x000000); // entry 0 while reversed
    EXPECT_EQ(indices(), 0);
    LCD_SetBkColor(0xFFFFFF); // entry 1 while reversed
    EXPECT_EQ(indices(), 1);
    EXPECT_EQ(GUI_SetDrawMode(GUI_DM_XOR), GUI_DM_REV | GUI_DM_TRANS);
    EXPECT_EQ(indices(), 10);
    LCD_SetColorIndex(7);
    LCD_SetColor(0x000000); // the stored colour: nothing is written
    EXPECT_EQ(indices(), 17);
}

TEST(Context, ASecondInitResetsColorsFontClipModeAndSlotsOnly) {
    Panel panel(128, 64, 2); // twice the memory that its pixels take
    panel.fill(0xFF);
    GUI_DecChar = ',';
    GUI_SetFont(&GUI_FontMono10x19);                     // claims a slot
    std::memset(&GUI_Context, 0x55, sizeof GUI_Context); // reversed and inverting too

    EXPECT_EQ(GUI_Init(), 0);

    EXPECT_EQ(std::ranges::count(panel.bytes(), 0), 2048);
    const GUI_CONTEXT& now = GUI_Context;
    EXPECT_EQ(std::tuple(indices(), now.Color, now.DrawMode, now.pFont, now.ClipRect.y1,
                         now.pEncodeAPI, GUI_DecChar, GUI_CurrentTaskSlot,
                         GUI_aTaskContext[0].TaskId, GUI_aTaskContext[3].Context.pFont),
              std::tuple(1, 0xFFFFFFU, GUI_DM_NORMAL, &GUI_Font6x8, 63, &GUI__API_TableNone, '.',
                         -1, 0U, &GUI_Font6x8));
    // What stays.
    EXPECT_EQ(std::tuple(now.TextMode, now.TextAlign, now.DispPosY, now.DrawPosY, now.LBorder),
              std::tuple(0x5555, 0x5555, 0x5555, 0x5555, 0x5555));
}

} // namespace
