#include "gui/fonts/glyph_pairs.h"
#include "gui/fonts/glyph_sheet.h"

#include <gtest/gtest.h>

namespace {

TEST(GlyphSheet, MistakesAreFoundInTheirLine) {
    const struct {
        const char* text;
        SheetMistake mistake;
        std::size_t line;
    } cases[] = {{"@ 41 A\n..\n##", SheetMistake::None, 4},
                 {"@ 41 A\n..\n###\n", SheetMistake::RowWidth, 3},
                 {"@ 41 A\n..\n@ 42 B\n", SheetMistake::RowCount, 3},
                 {"@ 41 A\n..\n..\n..\n", SheetMistake::RowCount, 4},
                 {"@ 41 A\n..\n.x\n", SheetMistake::UnknownLine, 3},
                 {"@ 10041 A\n", SheetMistake::BadCode, 1},
                 {"@ 41 A\n..\n..\n@ 41 A\n", SheetMistake::CodeOrder, 4},
                 {"\n\n", SheetMistake::NoGlyph, 3}};
    for (const auto& c : cases) {
        const SheetSize size = measureSheet(c.text, 2, 2);
        EXPECT_EQ(size.mistake, c.mistake) << c.text;
        EXPECT_EQ(size.line, c.line) << c.text;
    }
    EXPECT_EQ(parseGlyphPairs<2>("# remark\n90 1 -\n91 - 2 label\n", 0x90, 3).mistakeLine, 0U);
    EXPECT_EQ(parseGlyphPairs<2>("90 1 -\n92 1 -\n", 0x90, 3).mistakeLine, 2U);
    EXPECT_EQ(parseGlyphPairs<2>("90 1 -\n91 3 -\n", 0x90, 3).mistakeLine, 2U);
}

} // namespace
