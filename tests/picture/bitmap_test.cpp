#include "picture/bitmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace picture {
namespace {

Bitmap randomBitmap(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    Bitmap bitmap(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            bitmap.set(x, y, (random() & 1) != 0);
    return bitmap;
}

TEST(Bitmap, BitZeroOfAByteIsTheLeftmostPixel) {
    const std::vector<std::uint8_t> memory = {0x01, 0x80, 0x06, 0x00};
    EXPECT_EQ(toText(Bitmap::fromVideoMemory(memory, 16, 2)), "#..............#\n"
                                                              ".##.............\n");
}

TEST(Bitmap, ARowThatEndsInsideAByteStillBeginsOnAByte) {
    const std::vector<std::uint8_t> memory = {0xFF, 0xFD, 0x00, 0x02};
    EXPECT_EQ(toText(Bitmap::fromVideoMemory(memory, 10, 2)), "#########.\n"
                                                              ".........#\n");
}

TEST(Bitmap, PixelsPastTheEndOfTheMemoryStayDark) {
    const std::vector<std::uint8_t> memory = {0xFF};
    EXPECT_EQ(toText(Bitmap::fromVideoMemory(memory, 8, 2)), "########\n........\n");
}

TEST(Bitmap, PixelsOutsideAreDarkAndCannotBeSet) {
    Bitmap bitmap(2, 2);
    for (const Pixel& pixel : {Pixel{-1, 0}, Pixel{0, -1}, Pixel{2, 0}, Pixel{0, 2}}) {
        bitmap.set(pixel.x, pixel.y, true);
        EXPECT_FALSE(bitmap.at(pixel.x, pixel.y));
    }
    EXPECT_EQ(bitmap.litCount(), 0U);
    EXPECT_EQ(Bitmap(-3, 5).width(), 0);
}

TEST(BitmapText, ReadsBackWhatItWrote) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        const Bitmap bitmap = randomBitmap(1 + static_cast<int>(seed) * 7, 33, seed);
        EXPECT_EQ(fromText(toText(bitmap)), bitmap);
    }
}

TEST(BitmapText, AcceptsOtherLineEnds) {
    EXPECT_EQ(toText(fromText("#.\r\n.#").value()), "#.\n.#\n");
    EXPECT_EQ(fromText("").value(), Bitmap());
}

TEST(BitmapText, RefusesRowsThatAreNoPictureAndNamesThem) {
    const struct {
        const char* text;
        const char* row;
    } cases[] = {{"##\n#\n", "row 1"},
                 {"#\n##\n", "row 1"},
                 {"##\n\n##\n", "row 1"},
                 {"# \n", "row 0"},
                 {"#\n.\nx\n", "row 2"}};
    for (const auto& one : cases) {
        std::string reason;
        EXPECT_FALSE(fromText(one.text, &reason)) << one.text;
        EXPECT_EQ(reason.substr(0, 5), one.row) << one.text;
    }
}

TEST(BitmapDifference, EqualPicturesHaveNone) {
    const Bitmap bitmap = randomBitmap(30, 10, 1);
    EXPECT_FALSE(firstDifference(bitmap, bitmap));
    EXPECT_EQ(diffText(bitmap, bitmap), toText(bitmap));
}

TEST(BitmapDifference, TheTopmostThenLeftmostPixelIsNamed) {
    const Bitmap expected = fromText("...\n#..\n...\n").value();
    const Bitmap actual = fromText("...\n..#\n#..\n").value();
    EXPECT_EQ(firstDifference(expected, actual), (Pixel{0, 1}));
    EXPECT_EQ(diffText(expected, actual), "...\n-.+\n+..\n");
}

TEST(BitmapDifference, SizesDifferEvenWhereEverythingIsDark) {
    const Bitmap wide(3, 1);
    const Bitmap tall(1, 2);
    EXPECT_EQ(firstDifference(wide, tall), (Pixel{1, 0}));
    EXPECT_EQ(diffText(wide, tall), ".??\n?..\n");
}

} // namespace
} // namespace picture
