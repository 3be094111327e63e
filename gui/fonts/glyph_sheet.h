#pragma once
// Reads glyph sheets (pictures of glyphs as text) into packed bitmaps while the program compiles.
// A sheet is a text of glyphs: a line "@ HEX label" with the character code, then one line of
// `.` and `#` per pixel row. The codes ascend. A sheet with a mistake does not compile: the
// message says what is wrong, the template argument `line` where.
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

enum class SheetMistake { None, UnknownLine, BadCode, CodeOrder, RowWidth, RowCount, NoGlyph };

struct SheetSize {
    std::size_t glyphs = 0;
    std::size_t bytes = 0;
    SheetMistake mistake = SheetMistake::None;
    std::size_t line = 1; // where the mistake was found
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

// Counts the glyphs and bytes of a sheet and looks for mistakes. fixedWidth 0 lets every glyph
// have a width of its own, which its first row tells.
constexpr SheetSize measureSheet(std::string_view text, std::size_t rows, std::size_t fixedWidth) {
    SheetSize size;
    int lastCode = -1;
    std::size_t width = 0;
    std::size_t rowsLeft = 0; // of the present glyph
    SheetLines lines(text);
    for (; !lines.isAtEnd(); ++size.line) {
        const std::string_view line = lines.next();
        if (isGlyphHeader(line)) {
            const int code = readHeaderCode(line);
            size.mistake = rowsLeft != 0      ? SheetMistake::RowCount
                           : code < 0         ? SheetMistake::BadCode
                           : code <= lastCode ? SheetMistake::CodeOrder
                                              : SheetMistake::None;
            lastCode = code;
            width = fixedWidth;
            rowsLeft = rows;
            ++size.glyphs;
        } else if (isGlyphRow(line)) {
            width = width == 0 ? line.size() : width;
            size.mistake = rowsLeft == 0          ? SheetMistake::RowCount
                           : line.size() != width ? SheetMistake::RowWidth
                                                  : SheetMistake::None;
            --rowsLeft;
            size.bytes += bytesForPixels(width);
        } else if (!line.empty()) {
            size.mistake = SheetMistake::UnknownLine;
        } else if (rowsLeft != 0) {
            size.mistake = SheetMistake::RowCount;
        }
        if (size.mistake != SheetMistake::None) {
            return size;
        }
    }
    if (rowsLeft != 0) {
        size.mistake = SheetMistake::RowCount;
    } else if (size.glyphs == 0) {
        size.mistake = SheetMistake::NoGlyph;
    }
    return size;
}

template <SheetMistake mistake, std::size_t line>
constexpr void requireNoMistake() {
    static_assert(mistake != SheetMistake::UnknownLine,
                  "glyph sheet: a line is neither a glyph header nor a row of . and #");
    static_assert(mistake != SheetMistake::BadCode,
                  "glyph sheet: a glyph header bears no code of up to four hexadecimal digits");
    static_assert(mistake != SheetMistake::CodeOrder, "glyph sheet: the codes do not ascend");
    static_assert(mistake != SheetMistake::RowWidth,
                  "glyph sheet: a row is wider or narrower than its glyph");
    static_assert(mistake != SheetMistake::RowCount,
                  "glyph sheet: a glyph has too few or too many rows");
    static_assert(mistake != SheetMistake::NoGlyph, "glyph sheet: there is no glyph in it");
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
    requireNoMistake<size.mistake, size.line>();
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
