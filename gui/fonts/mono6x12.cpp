#include "gui/fonts/prop_table.h"
#include "gui/lcd.h"

namespace {

constexpr std::uint8_t height = 12;
constexpr std::size_t asciiWidth = 6;
constexpr std::size_t doubleByteWidth = 12;

struct AsciiArt {
    static constexpr std::string_view text =
#include "gui/fonts/mono6x12_ascii.art"
        ;
};

struct DoubleByteArt {
    static constexpr std::string_view text =
#include "gui/fonts/mono6x12_gb.art"
        ;
};

using DoubleByteTable = PropTable<DoubleByteArt, height, doubleByteWidth>;
using Table = PropTable<AsciiArt, height, asciiWidth, DoubleByteTable>;

} // namespace

const GUI_Font GUI_FontMono6x12 = {.pfDispChar = GUI_PropDispChar,
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
