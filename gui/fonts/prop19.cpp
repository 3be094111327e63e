#include "gui/fonts/prop_table.h"
#include "gui/lcd.h"

namespace {

constexpr std::uint8_t height = 19;
constexpr std::size_t asciiWidth = 0; // every glyph its own
constexpr std::size_t doubleByteWidth = 19;

struct AsciiArt {
    static constexpr std::string_view text =
#include "gui/fonts/prop19_ascii.art"
        ;
};

struct DoubleByteArt {
    static constexpr std::string_view text =
#include "gui/fonts/prop19_gb.art"
        ;
};

using DoubleByteTable = PropTable<DoubleByteArt, height, doubleByteWidth>;
using Table = PropTable<AsciiArt, height, asciiWidth, DoubleByteTable>;

} // namespace

const GUI_Font GUI_FontProp19 = {.pfDispChar = GUI_PropDispChar,
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
