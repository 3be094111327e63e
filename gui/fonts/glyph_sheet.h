#pragma once
// Reads glyph sheets (pictures of glyphs as text) into packed bitmaps while the program compiles.
// A sheet is a text of glyphs: a line "@ HEX label" with the character code, then one line of
// `.` and `#` per pixel row. The codes ascend. A sheet with a mistake does not compile: the
// template argument `line` beside the message says where it is.
//
// Bitmap of a glyph: rows from top to bottom, each in whole bytes, leftmost pixel in the highest
// bit, 1 is ink, unused bits at the right are 0. Glyphs follow each other without gaps.

#include "gui/fonts/font_functions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

struct SheetGlyph {
    std::uint16_t code;
    std::uint8_t width; // pixels
    std::uint8_t bytesPerLine;
    std::size_t offset; // into the sheet's bitmap
};

template <std::size_t glyphCount, std::size_t byteCount>
struct GlyphSheet {
    std::array<SheetGlyph, glyphCount> glyphs;
    std::array<std::uint8_t, byteCount> bitmap;
};

struct SheetSize {
    std::size_t glyphs = 0;
    std::size_t bytes = 0;
    std::size_t wrongLine = 0; // 0: none
};

// The lines of a text, one after the other. A plain walk: what the standard library offers for it
// takes the compiler several times as many steps.
class SheetLines {
  public:
    constexpr explicit SheetLines(std::string_view text)
        : next_(text.data()), end_(text.data() + text.size()) {}

    constexpr bool isAtEnd() const { return next_ == end_; }

    // The walk to the line's end may begin behind the characters it is known to have.
    constexpr std::string_view next(std::size_t knownLength = 0) {
        const char* const begin = next_;
        const char* end = begin + knownLength;
        while (end != end_ && *end != '\n') {
            ++end;
        }
        next_ = end == end_ ? end : end + 1;
        return {begin, static_cast<std::size_t>(end - begin)};
    }

  private:
    const char* next_;
    const char* end_;
};

constexpr bool isGlyphHeader(std::string_view line) {
    return !line.empty() && line[0] == '@';
}

constexpr bool isGlyphRow(std::string_view line) {
    for (const char c : line) {
        if (c != '.' && c != '#') {
            return false;
        }
    }
    return !line.empty();
}

// Value of one to four hexadecimal digits up to a space or the end of the text, else -1.
constexpr int readCode(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    constexpr std::size_t longest = 4;
    const std::string_view word = text.substr(0, text.find(' '));
    if (word.empty() || word.size() > longest) {
        return -1;
    }
    int value = 0;
    for (const char c : word) {
        const std::size_t digit = digits.find(c);
        if (digit == std::string_view::npos) {
            return -1;
        }
        value = value * 16 + static_cast<int>(digit);
    }
    return value;
}

// Code in a glyph header, which begins with an at sign and a space.
constexpr int readHeaderCode(std::string_view header) {
    return header.substr(0, 2) == "@ " ? readCode(header.substr(2)) : -1;
}

constexpr std::size_t bytesForPixels(std::size_t pixels) {
    return (pixels + 7) / 8;
}

// Counts the glyphs and bytes of a sheet, up to the first line that is wrong. fixedWidth 0 lets
// every glyph have a width of its own, which its first row tells.
constexpr SheetSize measureSheet(std::string_view text, std::size_t rows, std::size_t fixedWidth) {
    SheetSize size;
    int lastCode = -1;
    std::size_t width = 0;
    std::size_t rowsLeft = 0; // of the present glyph
    std::size_t number = 1;
    for (SheetLines lines(text); !lines.isAtEnd(); ++number) {
        const std::string_view line = lines.next();
        bool isRight = line.empty();
        if (rowsLeft != 0) {
            width = width == 0 ? line.size() : width;
            isRight = isGlyphRow(line) && line.size() == width;
            --rowsLeft;
            size.bytes += bytesForPixels(width);
        } else if (isGlyphHeader(line)) {
            const int code = readHeaderCode(line);
            isRight = code > lastCode;
            lastCode = code;
            width = fixedWidth;
            rowsLeft = rows;
            ++size.glyphs;
        }
        if (!isRight) {
            size.wrongLine = number;
            return size;
        }
    }
    size.wrongLine = rowsLeft != 0 || size.glyphs == 0 ? number : 0;
    return size;
}

template <std::size_t line>
constexpr void requireNoWrongLine() {
    static_assert(line == 0, "glyph sheet: this line is no header with an ascending code of up to "
                             "four hexadecimal digits and no row of . and # as wide as its glyph, "
                             "or the glyph before it has too few or too many rows");
}

// Packs a row; the bytes must be 0 before.
constexpr void packRow(std::string_view row, std::uint8_t* bytes) {
    const char* const pixels = row.data();
    for (std::size_t x = 0, width = row.size(); x < width; ++x) {
        const unsigned ink = pixels[x] == '#' ? 0x80U >> (x % 8) : 0U;
        bytes[x / 8] = static_cast<std::uint8_t>(bytes[x / 8] | ink);
    }
}

// Passes over empty lines.
constexpr std::string_view nextHeader(SheetLines& lines) {
    std::string_view line = lines.next();
    while (line.empty()) {
        line = lines.next();
    }
    return line;
}

// Reads Art::text, glyphs of the given height and, unless it is 0, width.
template <typename Art, std::size_t rows, std::size_t fixedWidth = 0>
constexpr auto readGlyphSheet() {
    constexpr SheetSize size = measureSheet(Art::text, rows, fixedWidth);
    requireNoWrongLine<size.wrongLine>();
    GlyphSheet<size.glyphs, size.bytes> sheet{};
    std::size_t bytesRead = 0;
    SheetLines lines(Art::text);
    for (SheetGlyph& glyph : sheet.glyphs) {
        const std::string_view header = nextHeader(lines);
        std::string_view row = lines.next(fixedWidth);
        glyph.code = static_cast<std::uint16_t>(readHeaderCode(header));
        glyph.width = static_cast<std::uint8_t>(row.size());
        glyph.bytesPerLine = static_cast<std::uint8_t>(bytesForPixels(row.size()));
        glyph.offset = bytesRead;
        for (std::size_t y = 0; y < rows; ++y) {
            row = y == 0 ? row : lines.next(glyph.width);
            packRow(row, sheet.bitmap.data() + bytesRead);
            bytesRead += glyph.bytesPerLine;
        }
    }
    return sheet;
}
