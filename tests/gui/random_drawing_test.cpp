// Random drawing, compared with a model of each primitive: what its documented formula says, put
// into a second memory pixel by pixel through the driver, without any thought of speed.

#include "tests/gui/panel.h"

#include <random>

namespace {

// Random numbers of a test, the same in every run.
class Dice {
  public:
    int between(int low, int high) {
        return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1));
    }
    bool oneIn(int count) { return between(1, count) == count; }
    std::vector<std::uint8_t> bytes(std::size_t count, int highest) {
        std::vector<std::uint8_t> result(count);
        for (std::uint8_t& byte : result) {
            byte = static_cast<std::uint8_t>(between(0, highest));
        }
        return result;
    }
    // Up to 30 pixels off the screen.
    int x() { return between(-30, LCD_XSIZE + 30); }
    int y() { return between(-30, LCD_YSIZE + 30); }

  private:
    std::mt19937 engine_{20};
};

using Memory = std::vector<std::uint8_t>;

// What drawing in the foreground, or in this index, does to a pixel, done in the model.
void draw(Memory& model, int x, int y, int index = GUI_Context.aColorIndex[1]) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    if (x < clip.x0 || x > clip.x1 || y < clip.y0 || y > clip.y1) {
        return;
    }
    std::uint8_t* const panelMemory = std::exchange(pbMapMem, model.data());
    (GUI_Context.DrawMode & GUI_DM_XOR) != 0 ? LCD_DriverXorPixel(x, y)
                                             : LCD_DriverSetPixelIndex(x, y, index);
    pbMapMem = panelMemory;
}

// A noisy screen; colours, draw mode and, mostly, a clip rectangle inside the screen.
void chooseGround(Dice& dice, Panel& panel, int modeBits) {
    std::ranges::copy(dice.bytes(panel.bytes().size(), 255), panel.bytes().begin());
    LCD_SetDrawMode(GUI_DM_NORMAL);
    LCD_SetColorIndex(static_cast<std::uint8_t>(dice.between(0, 1)));
    LCD_SetBkColorIndex(static_cast<std::uint8_t>(dice.between(0, 2)));
    LCD_SetDrawMode(static_cast<std::uint8_t>(dice.between(0, 7) & modeBits));
    LCD_SetClipRectMax(&GUI_Context.ClipRect);
    if (!dice.oneIn(3)) {
        const int x0 = dice.between(0, LCD_XSIZE - 1);
        const int y0 = dice.between(0, LCD_YSIZE - 1);
        setClip(x0, y0, dice.between(x0, LCD_XSIZE - 1), dice.between(y0, LCD_YSIZE - 1));
    }
}

// Lets drawBoth(dice, model) draw `rounds` times, once through the library and once into the model,
// on each of both real panels and of sizes and depths that no panel has. Where rows share bytes the
// order of the pixels shows.
template <typename DrawBoth>
void compareWithModel(int rounds, int modeBits, DrawBoth drawBoth) {
    const std::array<int, 3> kinds[] = {{128, 64, 1}, {128, 32, 1}, {24, 16, 1}, {100, 20, 1},
                                        {12, 8, 1},   {32, 8, 2},   {16, 8, 8},  {248, 31, 1}};
    for (const auto& [width, height, bitsPerPixel] : kinds) {
        Panel panel(width, height, bitsPerPixel);
        Dice dice;
        for (int round = 0; round < rounds; ++round) {
            chooseGround(dice, panel, modeBits);
            const int colors = indices();
            Memory model(panel.bytes().begin(), panel.bytes().end());
            drawBoth(dice, model);
            ASSERT_TRUE(std::ranges::equal(panel.bytes(), model))
                << "round " << round << " on " << width << " x " << height;
            ASSERT_EQ(colors, indices());
        }
    }
}

TEST(RandomDrawing, FillsEqualTheModel) {
    compareWithModel(1500, GUI_DM_XOR | GUI_DM_REV, [](Dice& dice, Memory& model) {
        const int x0 = dice.x();
        const int y0 = dice.y();
        const int x1 = x0 + dice.between(-3, 60);
        const int y1 = y0 + (dice.oneIn(4) ? 0 : dice.between(-3, 40));
        y0 == y1 ? LCD_DrawHLine(x0, y0, x1) : GUI_FillRect(x0, y0, x1, y1);
        for (int y = y0; y <= y1; ++y) {
            for (int x = x0; x <= x1; ++x) {
                draw(model, x, y);
            }
        }
    });
}

// A division for each pixel, from the end with the lower coordinate along the longer side.
void drawModelLine(Memory& model, GUI_POINT from, GUI_POINT to) {
    const bool isSteep = std::abs(to.y - from.y) > std::abs(to.x - from.x);
    if (isSteep ? to.y < from.y : to.x < from.x) {
        std::swap(from, to);
    }
    const std::int64_t n = isSteep ? to.y - from.y : to.x - from.x;
    const std::int64_t m = isSteep ? to.x - from.x : to.y - from.y;
    for (int i = 0; i <= n; ++i) {
        const int minor = n == 0 ? 0 : static_cast<int>(((m < 0 ? -(n / 2) : n / 2) + i * m) / n);
        draw(model, from.x + (isSteep ? minor : i), from.y + (isSteep ? i : minor));
    }
}

TEST(RandomDrawing, LinesEqualTheModel) {
    compareWithModel(1500, GUI_DM_XOR | GUI_DM_REV, [](Dice& dice, Memory& model) {
        const int reach = dice.oneIn(5) ? 32000 : 0; // now and then a very long line
        const auto x0 = coordinate(dice.x() + dice.between(-reach, reach));
        const auto y0 = coordinate(dice.y() + dice.between(-reach, reach));
        const auto x1 = dice.oneIn(6) ? x0 : coordinate(dice.x());
        const auto y1 = dice.oneIn(6) ? y0 : coordinate(dice.y());
        LCD_DrawLine(x0, y0, x1, y1);
        drawModelLine(model, {x0, y0}, {x1, y1});
    });
}

// The pixel as a number: a string of bits, the highest bit of each byte first.
int valueAt(const std::uint8_t* line, int x, int depth) {
    int value = 0;
    for (int bit = x * depth; bit < (x + 1) * depth; ++bit) {
        value = value << 1 | (line[bit / 8] >> (7 - bit % 8) & 1);
    }
    return value;
}

// Unmagnified, only 1-bit pixels are inverted.
bool isDrawn(int value, int depth, bool isPlain) {
    const int mode = GUI_Context.DrawMode & (GUI_DM_XOR | GUI_DM_TRANS);
    const bool isInverted = mode == GUI_DM_XOR && depth == 1 && value != 0;
    return ((mode & GUI_DM_TRANS) == 0 || value != 0) &&
           (!isPlain || (mode & GUI_DM_XOR) == 0 || isInverted);
}

// Pixels are blocks of xMag x yMag; other depths than 1, 2, 4 and 8 bits draw nothing.
TEST(RandomDrawing, BitmapsEqualTheModel) {
    compareWithModel(2000, GUI_DM_XOR | GUI_DM_TRANS | GUI_DM_REV, [](Dice& dice, Memory& model) {
        const int otherDepths[] = {-1, 0, 3, 16, 32};
        const bool isShown = !dice.oneIn(9);
        const int depth = isShown ? 1 << dice.between(0, 3) : otherDepths[dice.between(0, 4)];
        const int xsize = dice.between(1, 40);
        const int ysize = dice.between(1, 24);
        const int bytesPerLine = (xsize * std::max(depth, 1) + 7) / 8 + dice.between(0, 1);
        const auto data = dice.bytes(std::size_t(bytesPerLine) * std::size_t(ysize), 255);
        const auto table = dice.bytes(256, 2);
        // The live colour indices serve as the table of 1-bit glyphs.
        const std::uint8_t* const indices = dice.oneIn(3)                 ? nullptr
                                            : dice.oneIn(2) && depth == 1 ? GUI_Context.aColorIndex
                                                                          : table.data();
        const bool isMagnified = dice.oneIn(3) && depth != 3;
        const int xMag = isMagnified ? dice.between(0, 4) : 1;
        const int yMag = isMagnified ? dice.between(0, 4) : dice.between(0, 1);
        const bool isPlain = (xMag | yMag) == 1;
        const int width = isPlain ? 1 : xMag;
        const int height = isPlain ? 1 : yMag;
        const int x0 = dice.between(-45, LCD_XSIZE + 5);
        const int y0 = dice.between(-28, LCD_YSIZE + 5);
        LCD_DrawBitmap(x0, y0, xsize, ysize, xMag, yMag, depth, bytesPerLine, data.data(), indices);
        for (int i = 0; isShown && i < xsize * ysize; ++i) {
            const int left = x0 + i % xsize * width;
            const int top = y0 + i / xsize * height;
            const int value = valueAt(&data[std::size_t(i / xsize) * std::size_t(bytesPerLine)],
                                      i % xsize, depth);
            const int pixels = isDrawn(value, depth, isPlain) ? width * height : 0;
            for (int j = 0; j < pixels; ++j) {
                draw(model, left + j % width, top + j / width,
                     indices != nullptr ? indices[value] : value);
            }
        }
    });
}

} // namespace
