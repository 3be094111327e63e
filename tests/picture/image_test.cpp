#include "picture/image.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace picture {
namespace {

constexpr int Bezel = 3; // dots

std::string freshFile(const char* name) {
    std::string file = testing::TempDir() + name;
    std::remove(file.c_str());
    return file;
}

Rgb colourOf(const Image& image, int x, int y) {
    return image.pixels.at(static_cast<std::size_t>(y * image.width + x));
}

int brightness(Rgb colour) {
    return colour.red + colour.green + colour.blue;
}

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(PanelImage, EveryDotIsAFieldOfTheChosenScaleInsideTheBezel) {
    const Bitmap bitmap = fromText("#.\n.#\n..\n").value();
    for (int scale = SmallestScale; scale <= 5; ++scale) {
        const Image image = panelImage(bitmap, scale);
        ASSERT_EQ(image.width, (2 + 2 * Bezel) * scale);
        ASSERT_EQ(image.height, (3 + 2 * Bezel) * scale);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 2; ++x) {
                const Rgb colour = colourOf(image, (x + Bezel) * scale, (y + Bezel) * scale);
                EXPECT_EQ(brightness(colour) > 400, bitmap.at(x, y)) << x << ',' << y;
            }
        }
    }
}

TEST(PanelImage, NeighbouringDotsStayApartFromScaleThreeOn) {
    const Bitmap bitmap = fromText("##\n##\n").value();
    const auto shadesAcross = [&](int scale) {
        const Image image = panelImage(bitmap, scale);
        std::set<int> shades;
        for (int x = Bezel * scale; x < (Bezel + 2) * scale; ++x)
            shades.insert(brightness(colourOf(image, x, Bezel * scale)));
        return shades.size();
    };
    EXPECT_EQ(shadesAcross(2), 1U);
    EXPECT_GT(shadesAcross(3), 1U);
}

TEST(PanelImage, ScalesOutOfRangeAreBroughtIntoIt) {
    const Bitmap bitmap(1, 1);
    EXPECT_EQ(panelImage(bitmap, 0), panelImage(bitmap, SmallestScale));
    EXPECT_EQ(panelImage(bitmap, 1000).width, panelImage(bitmap, LargestScale).width);
}

TEST(Png, DecodesToTheColoursThatWereWritten) {
    Bitmap bitmap(128, 64);
    for (int i = 0; i < 64; ++i)
        bitmap.set(2 * i, i, true);
    const std::string file = freshFile("png_decodes.png");
    std::string reason;
    ASSERT_TRUE(writePng(bitmap, 4, file, &reason)) << reason;
    const auto image = readPng(file, &reason);
    ASSERT_TRUE(image) << reason;
    EXPECT_TRUE(*image == panelImage(bitmap, 4));
}

TEST(Png, TheSamePictureGivesTheSameBytes) {
    const Bitmap bitmap = fromText("#.#\n.#.\n").value();
    const std::string first = freshFile("png_first.png");
    const std::string second = freshFile("png_second.png");
    ASSERT_TRUE(writePng(bitmap, 3, first));
    ASSERT_TRUE(writePng(bitmap, 3, second));
    EXPECT_FALSE(contentOf(first).empty());
    EXPECT_EQ(contentOf(first), contentOf(second));
}

TEST(Png, WhatCannotBeWrittenOrReadFailsWithTheFileInTheReason) {
    const std::string nowhere = testing::TempDir() + "no-such-folder/picture.png";
    std::string reason;
    EXPECT_FALSE(writePng(Bitmap(1, 1), 1, nowhere, &reason));
    EXPECT_NE(reason.find(nowhere), std::string::npos) << reason;
    reason.clear();
    EXPECT_FALSE(writePng(Image{}, freshFile("png_empty.png"), &reason));
    EXPECT_FALSE(reason.empty());
    EXPECT_FALSE(readPng(nowhere, &reason));
    EXPECT_NE(reason.find(nowhere), std::string::npos) << reason;
}

TEST(Png, ADamagedFileIsRefused) {
    const std::string file = freshFile("png_damaged.png");
    ASSERT_TRUE(writePng(Bitmap(64, 64), 4, file));
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    std::string reason;
    EXPECT_FALSE(readPng(file, &reason));
    EXPECT_FALSE(reason.empty());
}

} // namespace
} // namespace picture
