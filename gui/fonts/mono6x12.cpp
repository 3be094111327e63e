#include "gui/fonts/prop_table.h"

namespace {

constexpr std::uint8_t height = 12;
constexpr std::size_t asciiWidth = 6;

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

} // namespace

constinit const GUI_Font GUI_FontMono6x12 =
    makePropFont<AsciiArt, DoubleByteArt, height, asciiWidth>();
