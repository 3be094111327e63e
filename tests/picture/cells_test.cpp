#include "picture/cells.h"

#include <gtest/gtest.h>

namespace picture {
namespace {

using Rows = std::vector<std::string>;

Bitmap bitmapOf(const char* text) {
    return fromText(text).value();
}

TEST(Cells, SizesOfThePanelsFitTheTerminalsTheyAreMeantFor) {
    EXPECT_EQ(cellSize(CellKind::HalfBlocks, 128, 64), (CellSize{128, 32}));
    EXPECT_EQ(cellSize(CellKind::Quadrants, 128, 64), (CellSize{64, 32}));
    EXPECT_EQ(cellSize(CellKind::Braille, 128, 64), (CellSize{64, 16}));
    EXPECT_EQ(cellSize(CellKind::Quadrants, 128, 32), (CellSize{64, 16}));
    EXPECT_EQ(cellSize(CellKind::Braille, 3, 5), (CellSize{2, 2}));
}

TEST(Cells, HalfBlocksShowTwoPixelsOneAboveTheOther) {
    EXPECT_EQ(renderCells(bitmapOf(".#.#\n..##\n####\n"), CellKind::HalfBlocks),
              (Rows{" ▀▄█", "▀▀▀▀"}));
}

TEST(Cells, EveryQuadrantPatternHasItsOwnGlyph) {
    // Columns 2n and 2n + 1 hold pattern n: bit 0 top left, 1 top right, 2 bottom left, 3 bottom
    // right.
    Bitmap bitmap(32, 2);
    for (int pattern = 0; pattern < 16; ++pattern)
        for (int bit = 0; bit < 4; ++bit)
            bitmap.set(2 * pattern + bit % 2, bit / 2, (pattern >> bit & 1) != 0);
    EXPECT_EQ(renderCells(bitmap, CellKind::Quadrants), Rows{" ▘▝▀▖▌▞▛▗▚▐▜▄▙▟█"});
}

TEST(Cells, EveryBrailleDotStandsWhereItsPixelIs) {
    const struct {
        Pixel pixel;
        const char* glyph;
    } cases[] = {{{0, 0}, "⠁"}, {{1, 0}, "⠈"}, {{0, 1}, "⠂"}, {{1, 1}, "⠐"},
                 {{0, 2}, "⠄"}, {{1, 2}, "⠠"}, {{0, 3}, "⡀"}, {{1, 3}, "⢀"}};
    for (const auto& one : cases) {
        Bitmap bitmap(2, 4);
        bitmap.set(one.pixel.x, one.pixel.y, true);
        EXPECT_EQ(renderCells(bitmap, CellKind::Braille), Rows{one.glyph});
    }
    EXPECT_EQ(renderCells(bitmapOf("##\n##\n##\n##\n"), CellKind::Braille), Rows{"⣿"});
}

TEST(Cells, KindsAreFoundByTheirNames) {
    EXPECT_EQ(cellKindByName("half"), CellKind::HalfBlocks);
    EXPECT_EQ(cellKindByName("quadrants"), CellKind::Quadrants);
    EXPECT_EQ(cellKindByName("braille"), CellKind::Braille);
    EXPECT_FALSE(cellKindByName("sixel"));
}

} // namespace
} // namespace picture
