#include "tests/gui/panel.h"
#include "tests/support/golden.h"

namespace {

// A bitmap with random contents whose data ends with its last byte.
struct RandomBitmap {
    int xsize, ysize, depth, bytesPerLine;
    std::vector<std::uint8_t> data;

    explicit RandomBitmap(Dice& dice)
        : xsize(dice.between(1, 40)), ysize(dice.between(1, 24)), depth(1 << dice.between(0, 3)),
          bytesPerLine((xsize * depth + 7) / 8 + dice.between(0, 1)),
          data(static_cast<std::size_t>(bytesPerLine * ysize)) {
        std::ranges::generate(data,
                              [&] { return static_cast<std::uint8_t>(dice.between(0, 255)); });
    }
    // The pixels as a string of bits, the highest bit of each byte first.
    unsigned value(int x, int y) const {
        unsigned result = 0;
        for (int bit = x * depth; bit < (x + 1) * depth; ++bit) {
            const unsigned byte = data[static_cast<std::size_t>(y * bytesPerLine + bit / 8)];
            result = result << 1 | (byte >> (7 - bit % 8) & 1);
        }
        return result;
    }
};

// What one pixel does: a block filled in its index. Unmagnified, only 1-bit pixels are inverted.
void drawModelPixel(PanelModel& model, const GUI_RECT& block, bool isPlain, int depth,
                    unsigned value, int index) {
    const int mode = GUI_Context.DrawMode & (GUI_DM_XOR | GUI_DM_TRANS);
    const bool isInverted = mode == GUI_DM_XOR && depth == 1 && value != 0;
    if (((mode & GUI_DM_TRANS) != 0 && value == 0) ||
        (isPlain && (mode & GUI_DM_XOR) != 0 && !isInverted)) {
        return;
    }
    for (int y = block.y0; y < block.y1; ++y) {
        for (int x = block.x0; x < block.x1; ++x) {
            model.draw(x, y, index);
        }
    }
}

void drawBoth(Dice& dice, PanelModel& model) {
    const RandomBitmap bitmap(dice);
    std::vector<std::uint8_t> table(256);
    std::ranges::generate(table, [&] { return static_cast<std::uint8_t>(dice.between(0, 2)); });
    const bool isMagnified = dice.between(0, 2) == 0;
    const int xMag = isMagnified ? dice.between(0, 4) : 1;
    const int yMag = isMagnified ? dice.between(0, 4) : dice.between(0, 1);
    const int x0 = dice.between(-45, LCD_XSIZE + 5);
    const int y0 = dice.between(-28, LCD_YSIZE + 5);
    // The live colour indices serve as the table of 1-bit glyphs.
    const int kind = dice.between(0, 2);
    const std::uint8_t* const used = kind == 0 && bitmap.depth == 1 ? GUI_Context.aColorIndex
                                     : kind == 1                    ? table.data()
                                                                    : nullptr;
    const bool isPlain = (xMag | yMag) == 1;
    const int width = isPlain ? 1 : xMag;
    const int height = isPlain ? 1 : yMag;
    for (int i = 0; i < bitmap.xsize * bitmap.ysize; ++i) {
        const int x = i % bitmap.xsize;
        const int y = i / bitmap.xsize;
        const auto left = static_cast<std::int16_t>(x0 + x * width);
        const auto top = static_cast<std::int16_t>(y0 + y * height);
        const unsigned value = bitmap.value(x, y);
        drawModelPixel(model,
                       {left, top, static_cast<std::int16_t>(left + width),
                        static_cast<std::int16_t>(top + height)},
                       isPlain, bitmap.depth, value,
                       used != nullptr ? used[value] : static_cast<int>(value));
    }
    LCD_DrawBitmap(x0, y0, bitmap.xsize, bitmap.ysize, xMag, yMag, bitmap.depth,
                   bitmap.bytesPerLine, bitmap.data.data(), used);
}

TEST(Bitmaps, EqualTheModelInAllDepthsMagnificationsModesTablesAndClips) {
    compareWithModel(2500, GUI_DM_XOR | GUI_DM_TRANS | GUI_DM_REV, drawBoth);
}

TEST(Bitmaps, OtherDepthsDrawNothing) {
    Panel panel(16, 4);
    const std::vector<std::uint8_t> data(64, 0xFF);
    for (const int depth : {-1, 0, 16, 24, 32}) {
        LCD_DrawBitmap(0, 0, 4, 2, 1, 1, depth, 8, data.data(), nullptr);
        LCD_DrawBitmap(0, 0, 4, 2, 2, 2, depth, 8, data.data(), nullptr);
    }
    LCD_DrawBitmap(-3, -1, 4, 4, 1, 1, 3, 8, data.data(), nullptr);
    EXPECT_EQ(panel.picture().litCount(), 0U);
}

constexpr std::uint8_t checker[] = {0b1010'0000, 0b0101'0000};
constexpr std::uint32_t darkAndLight[] = {0x000000, 0x808080};
constexpr GUI_Palette opaquePalette = {2, 0, darkAndLight};
constexpr GUI_Palette transparentPalette = {2, 1, darkAndLight};

TEST(Bitmaps, PaletteDecidesTheIndicesAndNullTakesTheCurrentColors) {
    const struct {
        const GUI_Palette* palette;
        std::uint8_t mode;
        bool isLit; // the screen beforehand
    } cases[] = {{&opaquePalette, 0, false},
                 {&opaquePalette, GUI_DM_REV, false},
                 {&opaquePalette, GUI_DM_TRANS, true},
                 {&opaquePalette, GUI_DM_XOR, true},
                 {&transparentPalette, 0, false},
                 {&transparentPalette, 0, true},
                 {nullptr, 0, false},
                 {nullptr, GUI_DM_REV, false}};
    Panel panel(64, 4);
    GUI_Bitmap bitmap = {4, 2, 1, 1, checker, nullptr, nullptr};
    int left = 0;
    for (const auto& [palette, mode, isLit] : cases) {
        GUI_SetDrawMode(isLit ? GUI_DM_NORMAL : GUI_DM_REV);
        GUI_FillRect(left, 0, left + 7, 3);
        GUI_SetDrawMode(mode);
        bitmap.pPal = palette;
        GUI_DrawBitmap(&bitmap, left + 1, 1);
        EXPECT_EQ(GUI_Context.DrawMode, mode);
        left += 8;
    }
    EXPECT_TRUE(golden::matchesText(panel.picture(), R"(
................################........########................
.#.#.....#.#....##.#.####.#.####.#.#....########.#.#......#.#...
..#.#.....#.#...#.#.######.#.###..#.#...########..#.#....#.#....
................################........########................
)"));
}

} // namespace
