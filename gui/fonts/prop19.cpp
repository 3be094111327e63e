#include "gui/fonts/prop_table.h"

namespace {

constexpr std::uint8_t height = 19;
constexpr std::size_t asciiWidth = 0; // every glyph its own

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

} // namespace

constinit const GUI_Font GUI_FontProp19 =
    makePropFont<AsciiArt, DoubleByteArt, height, asciiWidth>();
