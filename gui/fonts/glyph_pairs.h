#pragma once
// Reads the list of glyph pairs of a monospaced font while the program compiles: one line per
// code with the code in hexadecimal, the base and the overlay glyph in decimal or `-` for none,
// and a label. Lines that begin with # are remarks. The codes follow each other without gaps.

#include "gui/fonts/glyph_sheet.h"

// Walks over the words of a line.
class PairWords {
  public:
    constexpr explicit PairWords(std::string_view line) : rest_(line) {}

    constexpr std::string_view next() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
        const std::string_view word = rest_.substr(0, rest_.find(' '));
        rest_.remove_prefix(word.size());
        return word;
    }

  private:
    std::string_view rest_;
};

constexpr int noGlyph = -1;
constexpr int badNumber = -2;

// noGlyph for a dash, badNumber for what is neither a dash nor a number below glyphCount.
constexpr int readGlyphIndex(std::string_view word, std::size_t glyphCount) {
    if (word == "-") {
        return noGlyph;
    }
    std::size_t value = 0;
    for (const char c : word) {
        if (c < '0' || c > '9') {
            return badNumber;
        }
        value = value * 10 + static_cast<std::size_t>(c - '0');
    }
    return word.empty() || value >= glyphCount ? badNumber : static_cast<int>(value);
}

constexpr bool isPairLine(std::string_view line) {
    return !line.empty() && line[0] != '#';
}

template <std::size_t count>
struct GlyphPairs {
    std::array<GUI_CharTrans, count> pairs{};
    std::size_t mistakeLine = 0; // 0: none
};

// Reads the pairs of the codes firstCode to firstCode + count - 1.
template <std::size_t count>
constexpr GlyphPairs<count> parseGlyphPairs(std::string_view text, int firstCode,
                                            std::size_t glyphCount) {
    GlyphPairs<count> result;
    std::size_t pairsRead = 0;
    std::size_t lineNumber = 0;
    for (SheetLines lines(text); !lines.isAtEnd();) {
        const std::string_view line = lines.next();
        ++lineNumber;
        if (!isPairLine(line)) {
            continue;
        }
        PairWords words(line);
        const int code = readCode(words.next());
        const int base = readGlyphIndex(words.next(), glyphCount);
        const int overlay = readGlyphIndex(words.next(), glyphCount);
        if (pairsRead == count || code != firstCode + static_cast<int>(pairsRead) ||
            base == badNumber || overlay == badNumber) {
            result.mistakeLine = lineNumber;
            return result;
        }
        result.pairs[pairsRead++] = {static_cast<std::int16_t>(base),
                                     static_cast<std::int16_t>(overlay)};
    }
    result.mistakeLine = pairsRead == count ? 0 : lineNumber;
    return result;
}

template <std::size_t line>
constexpr void requireGoodPairs() {
    static_assert(line == 0, "glyph pairs: a code is missing or out of order, or a glyph index is "
                             "not in the sheet");
}

// Reads List::text.
template <typename List, int firstCode, int lastCode, std::size_t glyphCount>
constexpr auto readGlyphPairs() {
    constexpr auto result = parseGlyphPairs<static_cast<std::size_t>(lastCode - firstCode + 1)>(
        List::text, firstCode, glyphCount);
    requireGoodPairs<result.mistakeLine>();
    return result.pairs;
}
