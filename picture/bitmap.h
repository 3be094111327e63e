// A picture of the panel: one bit per pixel, as the panel shows it, and its form as text, a row
// of '#' (lit) and '.' (dark) per line. Knows nothing of the daemon or of where the bytes come
// from. Plain values without shared state, so any thread may use them. Prints nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace picture {

struct Pixel {
    int x;
    int y;
    friend bool operator==(const Pixel&, const Pixel&) = default;
};

class Bitmap {
  public:
    Bitmap() = default;

    // A dark picture of width x height pixels; negative sizes count as 0.
    Bitmap(int width, int height);

    // The picture in a panel's video memory: a row is width / 8 bytes (rounded up), bit 0 of a
    // byte its leftmost pixel. Pixels past the end of the memory stay dark.
    static Bitmap fromVideoMemory(std::span<const std::uint8_t> memory, int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }

    // Whether the pixel is lit; pixels outside the picture are dark.
    bool at(int x, int y) const;

    // Pixels outside the picture are left alone.
    void set(int x, int y, bool lit);

    // Number of lit pixels.
    std::size_t litCount() const;

    friend bool operator==(const Bitmap&, const Bitmap&) = default;

  private:
    bool contains(int x, int y) const;
    std::size_t index(int x, int y) const;

    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> pixels_; // one byte per pixel, 0 or 1, row by row
};

// Rows of '#' and '.', each ended by a line feed.
std::string toText(const Bitmap& bitmap);

// The picture that such rows show; the last line feed may be absent and carriage returns before
// line feeds are ignored. Nothing when a row has another length than the first or holds another
// character; reason, if given, then names the row.
std::optional<Bitmap> fromText(std::string_view text, std::string* reason = nullptr);

// The topmost, then leftmost pixel that differs; a pixel outside one picture differs from any
// inside the other. Nothing when the pictures are equal.
std::optional<Pixel> firstDifference(const Bitmap& expected, const Bitmap& actual);

// Both pictures laid over each other as rows of text: '#' lit in both, '.' dark in both, '+' lit
// only in actual, '-' lit only in expected, '?' inside one picture only.
std::string diffText(const Bitmap& expected, const Bitmap& actual);

} // namespace picture
