#include "tests/gui/panel.h"

namespace {

// One to four points. An edge that is drawn twice is gone in XOR mode.
TEST(Primitives, PolygonClosesUnlessItsLastPointIsItsFirst) {
    const GUI_POINT points[] = {{5, 0}, {0, 0}, {5, 2}, {5, 0}};
    Panel panel(32, 5);
    GUI_SetDrawMode(GUI_DM_XOR);
    for (int count = 1; count <= 4; ++count) {
        GUI_DrawPolygon(points, count, 8 * count - 7, 1);
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/polygons"));
}

// In each draw mode: a rectangle inverted, another inverted twice, and the clip rectangle below
// them cleared.
TEST(Primitives, InvertAndClearDoTheSameInAnyMode) {
    Panel panel(128, 8);
    panel.fill(0x5A);
    for (int mode = 0; mode < 8; ++mode) {
        const int left = 16 * mode;
        LCD_SetClipRectMax(&GUI_Context.ClipRect);
        GUI_SetDrawMode(static_cast<std::uint8_t>(mode));
        GUI_InvertRect(left + 1, 1, left + 6, 2);
        GUI_InvertRect(left + 9, 1, left + 14, 2);
        GUI_InvertRect(left + 9, 1, left + 14, 2);
        GUI_GotoXY(5, 6);
        setClip(left + 2, 4, left + 11, 6);
        GUI_Clear();
        EXPECT_EQ(GUI_Context.DrawMode, mode);
        EXPECT_EQ(GUI_Context.DispPosX + GUI_Context.DispPosY, 0);
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/invert-and-clear"));
}

// With an opaque palette, a transparent one and none, each in four modes. The ground has lit and
// dark pixels below those of the bitmap, whether these are set or clear.
TEST(Primitives, PaletteDecidesTheIndicesOfABitmapAndNullTakesTheCurrentColors) {
    static constexpr std::uint8_t checker[] = {0b1010'0000, 0b0101'0000};
    static constexpr std::uint32_t colors[] = {0x000000, 0x808080};
    const GUI_Palette opaque = {2, 0, colors};
    const GUI_Palette clear = {2, 1, colors};
    Panel panel(96, 4);
    panel.fill(0b0110'0110);
    int x = 1;
    for (const GUI_Palette* const palette :
         {&opaque, &clear, static_cast<const GUI_Palette*>(nullptr)}) {
        const GUI_Bitmap bitmap = {4, 2, 1, 1, checker, palette, nullptr};
        for (const std::uint8_t mode : {GUI_DM_NORMAL, GUI_DM_REV, GUI_DM_TRANS, GUI_DM_XOR}) {
            GUI_SetDrawMode(mode);
            GUI_DrawBitmap(&bitmap, std::exchange(x, x + 8), 1);
            EXPECT_EQ(GUI_Context.DrawMode, mode);
        }
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/palettes"));
}

} // namespace
