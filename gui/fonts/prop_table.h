#pragma once
// Tables of a proportional font out of its glyph sheets, computed while the program compiles: the
// packed bitmaps, one record per character and the chain of code ranges, all derived from the
// codes and rows of the sheets. Every glyph is as wide as its advance.

#include "gui/fonts/glyph_sheet.h"
#include "gui/lcd.h"

template <typename Sheet>
constexpr auto makeCharInfos(const Sheet& sheet, const std::uint8_t* bitmap) {
    std::array<GUI_CharInfo, std::tuple_size_v<decltype(Sheet::glyphs)>> infos{};
    for (std::size_t i = 0; i < infos.size(); ++i) {
        const SheetGlyph& glyph = sheet.glyphs[i];
        infos[i] = {glyph.width, glyph.width, glyph.bytesPerLine, bitmap + glyph.offset};
    }
    return infos;
}

// True when glyph i continues the range of the glyph before it.
template <typename Glyphs>
constexpr bool continuesRange(const Glyphs& glyphs, std::size_t i) {
    return i > 0 && glyphs[i].code == glyphs[i - 1].code + 1;
}

template <typename Glyphs>
constexpr std::size_t countRanges(const Glyphs& glyphs) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        count += continuesRange(glyphs, i) ? 0 : 1;
    }
    return count;
}

template <std::size_t count>
struct RangeChain {
    GUI_PropRange ranges[count];
};

// The chain of the glyphs' ranges. self is where the result will stand, after the range that
// follows its last one, or null.
template <std::size_t count, typename Glyphs>
constexpr RangeChain<count> chainRanges(const Glyphs& glyphs, const GUI_CharInfo* infos,
                                        const GUI_PropRange* self, const GUI_PropRange* after) {
    RangeChain<count> chain{};
    std::size_t used = 0;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const std::uint16_t code = glyphs[i].code;
        if (!continuesRange(glyphs, i)) {
            const GUI_PropRange* const next = used + 1 < count ? self + used + 1 : after;
            chain.ranges[used++] = {code, code, infos + i, next};
        }
        chain.ranges[used - 1].Last = code;
    }
    return chain;
}

// Ends a chain of tables.
struct NoPropTable {
    static constexpr const GUI_PropRange* first() { return nullptr; }
};

// The tables of one sheet; the ranges of Next, which holds higher codes, follow behind its own.
template <typename Art, std::size_t rows, std::size_t fixedWidth, typename Next = NoPropTable>
struct PropTable {
    static constexpr auto sheet = readGlyphSheet<Art, rows, fixedWidth>();
    static constexpr auto bitmap = sheet.bitmap;
    static constexpr auto infos = makeCharInfos(sheet, bitmap.data());
    static constexpr std::size_t rangeCount = countRanges(sheet.glyphs);
    static const RangeChain<rangeCount> chain;
    static constexpr const GUI_PropRange* first() { return chain.ranges; }
};

// Outside of the class, where the chain may name its own address.
template <typename Art, std::size_t rows, std::size_t fixedWidth, typename Next>
constinit const RangeChain<PropTable<Art, rows, fixedWidth, Next>::rangeCount>
    PropTable<Art, rows, fixedWidth, Next>::chain =
        chainRanges<rangeCount>(sheet.glyphs, infos.data(), chain.ranges, Next::first());

// Record of a font with one sheet of single-byte characters, asciiWidth pixels wide (0: each as
// wide as it is drawn), and one of two-byte characters in square cells.
template <typename AsciiArt, typename DoubleByteArt, std::uint8_t height, std::size_t asciiWidth>
constexpr GUI_Font makePropFont() {
    using DoubleByteTable = PropTable<DoubleByteArt, height, height>;
    using Table = PropTable<AsciiArt, height, asciiWidth, DoubleByteTable>;
    return {.pfDispChar = GUI_PropDispChar,
            .pfGetCharDistX = GUI_PropGetCharDistX,
            .pfGetFontInfo = GUI_PropGetFontInfo,
            .pfIsInFont = GUI_PropIsInFont,
            .pafEncode = &GUI__API_TableDoubleByte,
            .YSize = height,
            .YDist = height,
            .XMag = 1,
            .YMag = 1,
            .pData = Table::first(),
            .Baseline = 0,
            .LHeight = 0,
            .CHeight = 0};
}
