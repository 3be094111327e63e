// Pictures as text, terminal cells and PNG.

#include "picture/cells.h"
#include "picture/image.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace picture {
namespace {

using Rows = std::vector<std::string>;

TEST(Bitmap, BitZeroOfAByteIsLeftmostAndEachRowBeginsOnAByte) {
    const std::vector<std::uint8_t> memory = {0x01, 0xFD, 0x00, 0x02};
    EXPECT_EQ(toText(Bitmap::fromVideoMemory(memory, 10, 2)), "#.......#.\n"
                                                              ".........#\n");
    EXPECT_EQ(toText(Bitmap::fromVideoMemory(memory, 32, 2)).substr(33),
              std::string(32, '.') + '\n');
}

TEST(BitmapText, RefusesRowsThatAreNoPictureAndNamesThem) {
    const std::pair<const char*, const char*> cases[] = {
        {"##\n#\n", "row 1"}, {"##\n\n##\n", "row 1"}, {"# \n", "row 0"}, {"#\n.\nx\n", "row 2"}};
    for (const auto& [text, row] : cases) {
        std::string reason;
        EXPECT_FALSE(fromText(text, &reason)) << text;
        EXPECT_EQ(reason.substr(0, 5), row) << text;
    }
    EXPECT_EQ(toText(fromText("#.\r\n.#").value()), "#.\n.#\n");
}

TEST(BitmapDifference, NamesTheTopmostThenLeftmostPixelAndMarksAll) {
    const Bitmap expected = fromText("...\n#..\n...\n").value();
    const Bitmap actual = fromText("...\n..#\n#..\n").value();
    EXPECT_FALSE(firstDifference(expected, expected));
    EXPECT_EQ(firstDifference(expected, actual), (Pixel{0, 1}));
    EXPECT_EQ(diffText(expected, actual), "...\n-.+\n+..\n");
    // Sizes differ even where everything is dark.
    EXPECT_EQ(firstDifference(Bitmap(3, 1), Bitmap(1, 2)), (Pixel{1, 0}));
    EXPECT_EQ(diffText(Bitmap(3, 1), Bitmap(1, 2)), ".??\n?..\n");
}

TEST(Cells, EveryPatternHasItsGlyph) {
    const Bitmap halves = fromText(".#.#\n"
                                   "..##\n"
                                   "####\n")
                              .value();
    EXPECT_EQ(renderCells(halves, CellKind::HalfBlocks), (Rows{" ▀▄█", "▀▀▀▀"}));
    const Bitmap quadrants = fromText("..#..###..#..###..#..###..#..###\n"
                                      "........#.#.#.#..#.#.#.#########\n")
                                 .value();
    EXPECT_EQ(renderCells(quadrants, CellKind::Quadrants), Rows{" ▘▝▀▖▌▞▛▗▚▐▜▄▙▟█"});
    // One cell for each dot.
    Bitmap dots(16, 4);
    for (int cell = 0; cell < 8; ++cell) {
        dots.set(2 * cell + cell % 2, cell / 2, true);
    }
    EXPECT_EQ(renderCells(dots, CellKind::Braille), Rows{"⠁⠈⠂⠐⠄⠠⡀⢀"});
    EXPECT_EQ(cellSize(CellKind::Braille, 3, 5), (CellSize{2, 2}));
}

TEST(PanelImage, EveryDotIsAFieldOfTheChosenScaleInsideTheBezelAndIsReadAsItWasWritten) {
    constexpr int bezel = 3; // dots
    const std::string file = testing::TempDir() + "picture_test.png";
    const Bitmap bitmap = fromText("#.\n.#\n..\n").value();
    for (const int scale : {1, 3, 5}) {
        ASSERT_TRUE(writePng(bitmap, scale, file));
        const Image image = readPng(file).value();
        ASSERT_EQ(image, panelImage(bitmap, scale));
        ASSERT_EQ(image.width, (2 + 2 * bezel) * scale);
        ASSERT_EQ(image.height, (3 + 2 * bezel) * scale);
        Bitmap dots(2, 3);
        for (int i = 0; i < 6; ++i) {
            const int place = (i / 2 + bezel) * scale * image.width + (i % 2 + bezel) * scale;
            const Rgb colour = image.pixels.at(static_cast<std::size_t>(place));
            dots.set(i % 2, i / 2, colour.red + colour.green + colour.blue > 400);
        }
        EXPECT_EQ(dots, bitmap);
    }
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    EXPECT_FALSE(readPng(file));
    std::filesystem::remove(file);
    std::string reason;
    EXPECT_FALSE(writePng(bitmap, 1, "/no-such-folder/picture.png", &reason));
    EXPECT_NE(reason.find("/no-such-folder"), std::string::npos) << reason;
}

} // namespace
} // namespace picture
