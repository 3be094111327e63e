#include "tests/gui/panel.h"
#include "tests/support/golden.h"

namespace {

int randomX(Dice& dice) {
    return dice.between(-30, LCD_XSIZE + 30);
}
int randomY(Dice& dice) {
    return dice.between(-30, LCD_YSIZE + 30);
}

TEST(Primitives, FillsEqualTheModel) {
    compareWithModel(1500, GUI_DM_XOR | GUI_DM_REV, [](Dice& dice, PanelModel& model) {
        const int x0 = randomX(dice);
        const int y0 = randomY(dice);
        const int x1 = x0 + dice.between(-3, 60);
        const int y1 = dice.between(0, 3) == 0 ? y0 : y0 + dice.between(-3, 40);
        if (y0 == y1 && dice.between(0, 1) == 0) {
            LCD_DrawHLine(x0, y0, x1);
        } else {
            GUI_FillRect(x0, y0, x1, y1);
        }
        for (int y = y0; y <= y1; ++y) {
            for (int x = x0; x <= x1; ++x) {
                model.draw(x, y);
            }
        }
    });
}

// The line as it is defined, with a division for each pixel.
void drawModelLine(PanelModel& model, int x0, int y0, int x1, int y1) {
    const bool isSteep = std::abs(y1 - y0) > std::abs(x1 - x0);
    if (isSteep) {
        std::swap(x0, y0);
        std::swap(x1, y1);
    }
    int n = x1 - x0;
    int m = y1 - y0;
    if (n < 0) {
        n = -n;
        m = -m;
        x0 = x1;
        y0 = y1;
    }
    int sum = m < 0 ? -(n / 2) : n / 2;
    for (int i = 0; i <= n; ++i, sum += m) {
        const int minor = y0 + (n == 0 ? 0 : sum / n);
        isSteep ? model.draw(minor, x0 + i) : model.draw(x0 + i, minor);
    }
}

TEST(Primitives, LinesEqualTheModel) {
    compareWithModel(1500, GUI_DM_XOR | GUI_DM_REV, [](Dice& dice, PanelModel& model) {
        const int reach = dice.between(0, 4) == 0 ? 32000 : 0; // now and then a very long line
        const int x0 = randomX(dice) + dice.between(-reach, reach);
        const int y0 = randomY(dice) + dice.between(-reach, reach);
        const int kind = dice.between(0, 5);
        const int x1 = kind == 0 ? x0 : randomX(dice);
        const int y1 = kind == 1 ? y0 : randomY(dice);
        LCD_DrawLine(x0, y0, x1, y1);
        drawModelLine(model, x0, y0, x1, y1);
    });
}

// One to four points. An edge that is drawn twice is gone in XOR mode.
TEST(Primitives, PolygonClosesUnlessItsLastPointIsItsFirst) {
    const GUI_POINT points[] = {{5, 0}, {0, 0}, {5, 2}, {5, 0}};
    Panel panel(32, 5);
    GUI_SetDrawMode(GUI_DM_XOR);
    for (int count = 1; count <= 4; ++count) {
        GUI_DrawPolygon(points, count, 8 * count - 7, 1);
    }
    EXPECT_TRUE(golden::matchesText(panel.picture(), R"(
................................
...................###.....###..
...................##.#....##.#.
.....................#.......#..
................................
)"));
}

TEST(Primitives, InvertTwiceRestoresAndClearEmptiesTheClipRectangleInAnyMode) {
    for (std::uint8_t mode = 0; mode < 8; ++mode) {
        Panel panel(16, 4);
        panel.fill(0x5A);
        GUI_SetDrawMode(mode);
        GUI_InvertRect(2, 1, 9, 2);
        EXPECT_FALSE(panel.picture().at(3, 1));
        GUI_InvertRect(2, 1, 9, 2);
        EXPECT_EQ(std::ranges::count(panel.bytes(), 0x5A), 8);
        GUI_GotoXY(5, 6);
        GUI_Context.ClipRect = {0, 1, 11, 3};
        GUI_Clear(); // of the clip rectangle
        EXPECT_TRUE(golden::matchesText(panel.picture(), R"(
.#.##.#..#.##.#.
............#.#.
............#.#.
............#.#.
)")) << int{mode};
        EXPECT_EQ(GUI_Context.DrawMode, mode);
        EXPECT_EQ(GUI_Context.DispPosX + GUI_Context.DispPosY, 0);
    }
}

} // namespace
