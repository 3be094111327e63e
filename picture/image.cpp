#include "picture/image.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

namespace picture {
namespace {

constexpr int bezelDots = 3;
constexpr int smallestScaleWithGaps = 3;
constexpr std::size_t largestPalette = 256;

constexpr Rgb bezel = {38, 42, 48};
constexpr Rgb glass = {4, 6, 10};
constexpr Rgb darkDot = {11, 15, 21};
constexpr Rgb litDot = {190, 236, 255};
// A gap shines with the light of the dots around it; indexed by how many of them are lit.
constexpr std::array<Rgb, 5> gap = {
    glass, {16, 26, 36}, {44, 66, 82}, {52, 76, 94}, {70, 98, 118},
};

int glow(const Bitmap& bitmap, int x, int y, bool gapColumn, bool gapRow) {
    int lit = bitmap.at(x, y) ? 1 : 0;
    if (gapColumn && bitmap.at(x + 1, y)) {
        ++lit;
    }
    if (gapRow && bitmap.at(x, y + 1)) {
        ++lit;
    }
    if (gapColumn && gapRow && bitmap.at(x + 1, y + 1)) {
        ++lit;
    }
    return lit;
}

// The colour of one image pixel; left and top count from the first dot's corner and may be
// negative in the bezel.
Rgb colourAt(const Bitmap& bitmap, int scale, int left, int top) {
    const int x = left / scale;
    const int y = top / scale;
    if (left < 0 || top < 0 || x >= bitmap.width() || y >= bitmap.height()) {
        const bool onGlass = left >= -scale && top >= -scale &&
                             left < (bitmap.width() + 1) * scale &&
                             top < (bitmap.height() + 1) * scale;
        return onGlass ? glass : bezel;
    }
    const bool gaps = scale >= smallestScaleWithGaps;
    const bool gapColumn = gaps && left % scale == scale - 1;
    const bool gapRow = gaps && top % scale == scale - 1;
    if (gapColumn || gapRow) {
        return gap[static_cast<std::size_t>(glow(bitmap, x, y, gapColumn, gapRow))];
    }
    return bitmap.at(x, y) ? litDot : darkDot;
}

bool fail(std::string* reason, const std::string& what) {
    if (reason != nullptr) {
        *reason = what;
    }
    return false;
}

// The number of each pixel's colour in palette, which grows by the colours found; empty when
// there are too many.
std::vector<std::uint8_t> indexColours(const Image& image, std::vector<Rgb>& palette) {
    std::vector<std::uint8_t> indices;
    indices.reserve(image.pixels.size());
    for (const Rgb& colour : image.pixels) {
        auto place = std::find(palette.begin(), palette.end(), colour);
        if (place == palette.end()) {
            if (palette.size() == largestPalette) {
                return {};
            }
            place = palette.insert(palette.end(), colour);
        }
        indices.push_back(static_cast<std::uint8_t>(place - palette.begin()));
    }
    return indices;
}

} // namespace

Image panelImage(const Bitmap& bitmap, int scale) {
    scale = std::clamp(scale, smallestScale, largestScale);
    const int border = bezelDots * scale;
    Image image;
    image.width = bitmap.width() * scale + 2 * border;
    image.height = bitmap.height() * scale + 2 * border;
    image.pixels.reserve(static_cast<std::size_t>(image.width) *
                         static_cast<std::size_t>(image.height));
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            image.pixels.push_back(colourAt(bitmap, scale, x - border, y - border));
        }
    }
    return image;
}

bool writePng(const Image& image, std::FILE* stream, std::string* reason) {
    std::vector<Rgb> palette;
    const std::vector<std::uint8_t> indices = indexColours(image, palette);
    if (indices.empty()) {
        return fail(reason, "no pixels, or more than 256 colours");
    }
    png_image control{};
    control.version = PNG_IMAGE_VERSION;
    control.width = static_cast<png_uint_32>(image.width);
    control.height = static_cast<png_uint_32>(image.height);
    control.format = PNG_FORMAT_RGB_COLORMAP;
    control.colormap_entries = static_cast<png_uint_32>(palette.size());
    if (png_image_write_to_stdio(&control, stream, 0, indices.data(), 0, palette.data()) == 0) {
        return fail(reason, control.message);
    }
    return std::fflush(stream) == 0 || fail(reason, std::generic_category().message(errno));
}

bool writePng(const Image& image, const std::string& file, std::string* reason) {
    std::FILE* stream = std::fopen(file.c_str(), "wb");
    if (stream == nullptr) {
        return fail(reason, file + ": " + std::generic_category().message(errno));
    }
    std::string why;
    const bool written = writePng(image, stream, &why);
    std::fclose(stream);
    return written || fail(reason, file + ": " + why);
}

bool writePng(const Bitmap& bitmap, int scale, const std::string& file, std::string* reason) {
    return writePng(panelImage(bitmap, scale), file, reason);
}

std::optional<Image> readPng(const std::string& file, std::string* reason) {
    png_image control{};
    control.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&control, file.c_str()) == 0) {
        fail(reason, file + ": " + control.message);
        return std::nullopt;
    }
    control.format = PNG_FORMAT_RGB;
    Image image;
    image.width = static_cast<int>(control.width);
    image.height = static_cast<int>(control.height);
    image.pixels.resize(static_cast<std::size_t>(control.width) * control.height);
    if (png_image_finish_read(&control, nullptr, image.pixels.data(), 0, nullptr) == 0) {
        fail(reason, file + ": " + control.message);
        return std::nullopt;
    }
    return image;
}

} // namespace picture
