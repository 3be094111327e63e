#include "gui/fonts/glyph_pairs.h"
#include "gui/fonts/glyph_sheet.h"

#include <gtest/gtest.h>

namespace {

TEST(GlyphSheet, TellsEachMistakeAndItsLine) {
    struct Case {
        const char* text;
        SheetMistake mistake;
        std::size_t line;
    };
    for (const Case& c :
         {Case{"@ 41 A\n..\n##\n", SheetMistake::None, 4},
          {"@ 41 A\n..\n##", SheetMistake::None, 4},
          {"@ 41 A\n..\n###\n", SheetMistake::RowWidth, 3},
          {"@ 41 A\n...\n...\n", SheetMistake::RowWidth, 2}, // wider than the font allows
          {"@ 41 A\n..\n@ 42 B\n", SheetMistake::RowCount, 3},
          {"@ 41 A\n..\n..\n..\n", SheetMistake::RowCount, 4},
          {"@ 41 A\n..\n\n..\n", SheetMistake::RowCount, 3},
          {"@ 41 A\n..\n", SheetMistake::RowCount, 3},
          {"..\n", SheetMistake::RowCount, 1},
          {"@ 41 A\n..\n.x\n", SheetMistake::UnknownLine, 3},
          {"@ 4G A\n..\n..\n", SheetMistake::BadCode, 1},
          {"@ 10041 A\n", SheetMistake::BadCode, 1},
          {"@41\n", SheetMistake::BadCode, 1},
          {"@ 42 B\n..\n..\n@ 41 A\n", SheetMistake::CodeOrder, 4},
          {"@ 41 A\n..\n..\n@ 41 A\n", SheetMistake::CodeOrder, 4},
          {"\n\n", SheetMistake::NoGlyph, 3}}) {
        const SheetSize size = measureSheet(c.text, 2, 2);
        EXPECT_EQ(size.mistake, c.mistake) << c.text;
        EXPECT_EQ(size.line, c.line) << c.text;
    }
}

TEST(GlyphPairs, TellTheLineOfAMistake) {
    struct Case {
        const char* text;
        std::size_t line;
    };
    for (const Case& c : {Case{"# remark\n90 1 -\n91 - 2 label\n", 0},
                          {"90 1 -\n92 1 -\n", 2},
                          {"90 1 -\n", 1},
                          {"90 1 -\n91 3 -\n", 2},
                          {"90 1 -\n91 1\n", 2},
                          {"90 1 -\n91 x -\n", 2},
                          {"90 1 -\n91 1 -\n92 1 -\n", 3}}) {
        EXPECT_EQ(parseGlyphPairs<2>(c.text, 0x90, 3).mistakeLine, c.line) << c.text;
    }
}

} // namespace
