#include "gui/fonts/prop_table.h"

namespace {

constexpr std::uint8_t height = 19;
constexpr std::size_t asciiWidth = 10;

struct AsciiArt {
    static constexpr std::string_view text =
#include "gui/fonts/mono10x19_ascii.art"
        ;
};

struct DoubleByteArt {
    static constexpr std::string_view text =
#include "gui/fonts/mono10x19_gb.art"
        ;
};

} // namespace

constinit const GUI_Font GUI_FontMono10x19 =
    makePropFont<AsciiArt, DoubleByteArt, height, asciiWidth>();
