#include "gui/fonts/glyph_sheet.h"

namespace {

constexpr std::uint8_t width = 6;
constexpr std::uint8_t height = 8;
constexpr std::uint16_t firstDirect = 0x20; // glyph 0
constexpr std::uint16_t lastDirect = 0x7E;
constexpr std::uint16_t firstTranslated = 0x90;
constexpr std::uint16_t lastTranslated = 0xFF;

struct Art {
    static constexpr std::string_view text =
#include "gui/fonts/font6x8.art"
        ;
};

constexpr auto sheet = readGlyphSheet<Art, height, width>();
constexpr auto bitmap = sheet.bitmap;

constexpr std::int16_t none = -1;
constexpr GUI_CharTrans pairs[] = {
#include "gui/fonts/font6x8_pairs.txt"
};
static_assert(std::size(pairs) == lastTranslated - firstTranslated + 1, "one pair for each code");
static_assert(std::ranges::all_of(pairs,
                                  [](const GUI_CharTrans& pair) {
                                      constexpr auto end = std::int16_t{sheet.glyphs.size()};
                                      return pair.Base < end && pair.Overlay < end;
                                  }),
              "the glyphs of the pairs are in the sheet");

constexpr GUI_CharTransList translation = {firstTranslated, lastTranslated, pairs};

constexpr GUI_MonoFontData data = {.pData = bitmap.data(),
                                   .pTransData = bitmap.data(),
                                   .pTrans = &translation,
                                   .FirstChar = firstDirect,
                                   .LastChar = lastDirect,
                                   .XSize = width,
                                   .XDist = width,
                                   .BytesPerLine = bytesForPixels(width)};

} // namespace

const GUI_Font GUI_Font6x8 = {.pfDispChar = GUI_MonoDispChar,
                              .pfGetCharDistX = GUI_MonoGetCharDistX,
                              .pfGetFontInfo = GUI_MonoGetFontInfo,
                              .pfIsInFont = GUI_MonoIsInFont,
                              .pafEncode = nullptr,
                              .YSize = height,
                              .YDist = height,
                              .XMag = 1,
                              .YMag = 1,
                              .pData = &data,
                              .Baseline = 7,
                              .LHeight = 5,
                              .CHeight = 7};
