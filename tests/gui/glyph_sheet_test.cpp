#include "gui/fonts/glyph_sheet.h"

#include <gtest/gtest.h>

namespace {

TEST(GlyphSheet, TheFirstWrongLineIsFound) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"@ 41 A\n..\n##\n\n@ 42 B\n..\n##", 0},
        {"@ 41 A\n..\n###\n", 3},        // too wide
        {"@ 41 A\n..\n.x\n", 3},         // neither paper nor ink
        {"@ 41 A\n..\n", 3},             // the last one is missing
        {"@ 41 A\n..\n..\n..\n", 4},     // one too many
        {"@ 10041 A\n", 1},              // no code of four digits
        {"@ 41 A\n..\n..\n@ 41 A\n", 4}, // not ascending
        {"\n\n", 3}};                    // no glyph
    for (const auto& [text, wrongLine] : cases) {
        EXPECT_EQ(measureSheet(text, 2, 2).wrongLine, wrongLine) << text;
    }
}

} // namespace
