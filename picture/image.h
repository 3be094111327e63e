// Colour pictures of the panel for the documentation and for people: the panel's dots drawn
// large, light on dark glass, and PNG files of them. The same bitmap and scale always give the
// same bytes. Any thread may call it. Prints nothing; failures come back with a reason.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "picture/bitmap.h"

namespace picture {

struct Rgb {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
    friend bool operator==(const Rgb&, const Rgb&) = default;
};
static_assert(sizeof(Rgb) == 3, "rows of Rgb are handed to libpng as they are");

struct Image {
    int width = 0;
    int height = 0;
    std::vector<Rgb> pixels; // row by row
    friend bool operator==(const Image&, const Image&) = default;
};

constexpr int smallestScale = 1;
constexpr int largestScale = 32;

// The panel with scale x scale image pixels to a dot, within a bezel three dots wide. The scale
// is brought into smallestScale..largestScale; from 3 on the dots are set apart by dark gaps.
Image panelImage(const Bitmap& bitmap, int scale);

// Writes an image of at most 256 colours as a PNG file with a palette. False with a reason when
// the file cannot be written; what stood in it is then lost.
bool writePng(const Image& image, const std::string& file, std::string* reason = nullptr);

// The same to an open stream, which is flushed and stays open; the reason names no file.
bool writePng(const Image& image, std::FILE* stream, std::string* reason = nullptr);

// The two steps above in one.
bool writePng(const Bitmap& bitmap, int scale, const std::string& file,
              std::string* reason = nullptr);

// The decoded colours of a PNG file of any kind; nothing, with a reason, when it is not readable.
std::optional<Image> readPng(const std::string& file, std::string* reason = nullptr);

} // namespace picture
