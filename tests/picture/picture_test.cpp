// Pictures as text, terminal cells and PNG.

#include "picture/cells.h"
#include "picture/image.h"
#include "tests/support/golden.h"

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

TEST(BitmapDifference, SizesDifferEvenWhereEverythingIsDark) {
    EXPECT_EQ(firstDifference(Bitmap(3, 1), Bitmap(1, 2)), (Pixel{1, 0}));
    EXPECT_EQ(diffText(Bitmap(3, 1), Bitmap(1, 2)), ".??\n?..\n");
}

// Those of Braille show in the pictures of the tool.
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
    EXPECT_EQ(cellSize(CellKind::Braille, 3, 5), (CellSize{2, 2}));
}

// In three scales, dots and bezel; from scale 3 on the dots are set apart.
TEST(PanelImage, EveryDotIsAFieldOfTheChosenScaleInsideTheBezelAndIsReadAsItWasWritten) {
    const std::string file = testing::TempDir() + "picture_test.png";
    const Bitmap bitmap = fromText("#.\n.#\n..\n").value();
    Bitmap bright(72, 45);
    int left = 0;
    for (const int scale : {1, 3, 5}) {
        ASSERT_TRUE(writePng(bitmap, scale, file));
        const Image image = readPng(file).value();
        ASSERT_EQ(image, panelImage(bitmap, scale));
        for (int i = 0; i < image.width * image.height; ++i) {
            const auto [red, green, blue] = image.pixels.at(static_cast<std::size_t>(i));
            bright.set(left + i % image.width, i / image.width, red + green + blue > 400);
        }
        left += image.width;
    }
    EXPECT_TRUE(golden::matches(bright, "picture/dots"));
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    EXPECT_FALSE(readPng(file));
    std::filesystem::remove(file);
    std::string reason;
    EXPECT_FALSE(writePng(bitmap, 1, "/no-such-folder/picture.png", &reason));
    EXPECT_NE(reason.find("/no-such-folder"), std::string::npos) << reason;
}

} // namespace
} // namespace picture
