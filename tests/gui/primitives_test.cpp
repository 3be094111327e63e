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

constexpr std::uint8_t checker[] = {0b1010'0000, 0b0101'0000};
constexpr std::uint32_t darkAndLight[] = {0x000000, 0x808080};
constexpr GUI_Palette opaquePalette = {2, 0, darkAndLight};
constexpr GUI_Palette transparentPalette = {2, 1, darkAndLight};

TEST(Primitives, PaletteDecidesTheIndicesOfABitmapAndNullTakesTheCurrentColors) {
    const struct {
        const GUI_Palette* palette;
        std::uint8_t mode;
        std::uint8_t ground; // the screen beforehand
    } cases[] = {{&opaquePalette, 0, 0},
                 {&opaquePalette, GUI_DM_REV, 0},
                 {&opaquePalette, GUI_DM_TRANS, 0xFF},
                 {&opaquePalette, GUI_DM_XOR, 0xFF},
                 {&transparentPalette, 0, 0},
                 {&transparentPalette, 0, 0xFF},
                 {nullptr, 0, 0},
                 {nullptr, GUI_DM_REV, 0}};
    Panel panel(64, 4);
    GUI_Bitmap bitmap = {4, 2, 1, 1, checker, nullptr, nullptr};
    for (int column = 0; const auto& [palette, mode, ground] : cases) {
        for (int row = 0; row < 4; ++row) {
            pbMapMem[8 * row + column] = ground;
        }
        GUI_SetDrawMode(mode);
        bitmap.pPal = palette;
        GUI_DrawBitmap(&bitmap, 8 * column + 1, 1);
        EXPECT_EQ(GUI_Context.DrawMode, mode);
        ++column;
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/palettes"));
}

} // namespace
