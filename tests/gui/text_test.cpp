#include "tests/gui/panel.h"

namespace {

// Two made-up fonts: bars as high as their code modulo 4 says, and blocks for two bytes. They are
// drawn outside of the clip rectangle too, which shows the lines that are left out for lying there.

int madeUpDistX(std::uint16_t code) {
    return code > 0xFF ? 5 : code == '.' ? 0 : 2;
}

void drawMadeUp(std::uint16_t code) {
    const int x = GUI_Context.DispPosX;
    const int bottom = GUI_Context.DispPosY + 3;
    const GUI_RECT clip = GUI_Context.ClipRect;
    LCD_SetClipRectMax(&GUI_Context.ClipRect);
    GUI_FillRect(x, bottom - code % 4, x + madeUpDistX(code) - 2, bottom);
    GUI_Context.ClipRect = clip;
    GUI_Context.DispPosX = coordinate(x + madeUpDistX(code));
}

constexpr GUI_Font madeUpFont(const GUI_LineAPI* lines) {
    return {drawMadeUp, madeUpDistX, nullptr, nullptr, lines, 4, 6, 1, 1, nullptr, 0, 0, 0};
}

const GUI_Font single = madeUpFont(nullptr);
const GUI_Font twoByte = madeUpFont(&GUI__API_TableDoubleByte);

// Two pixels, one above the other, at the cursor, wherever that is.
void markCursor() {
    LCD_SetClipRectMax(&GUI_Context.ClipRect);
    const int x = GUI_Context.DispPosX;
    GUI_FillRect(x, GUI_Context.DispPosY, x, GUI_Context.DispPosY + 1);
}

// Each text has a framed field of its own, six in a row of the picture, which is its clip
// rectangle; the cursor that it leaves is marked. The rows of the picture show
// - alignments: right and centre together, which is neither; an odd width; lines behind feeds
// - a return, which is a character or none; vertical alignments, 8 being a centre too; a high byte
// - a cut character, which is left out; one that takes a line feed with it; then lines above the
//   clip rectangle, with their last row inside, left of it, with their last column inside
// - right of it, with the first row and column inside, its second line below it; no text; texts
//   whose ends lie past 16 bits, so that they seem to lie on the left, and just not past them
TEST(Text, Layout) {
    constexpr int right = GUI_TA_RIGHT;
    constexpr int center = GUI_TA_HCENTER;
    const struct {
        const GUI_Font& font;
        int align;
        std::string text;
        int x, y; // in the field
    } cases[] = {{single, right | center, "abc", 10, 5},
                 {twoByte, center, "a\xB0\xA2", 10, 5},
                 {single, 0, "a\nbc", 12, 3},
                 {single, right, "a\nbc", 12, 3},
                 {twoByte, center, "a\nbc", 12, 3},
                 {single, 0, "a\n\nb\n", 12, 0},
                 {single, 0, "a\rb", 10, 5},
                 {twoByte, 0, "a\rb", 10, 5},
                 {single, GUI_TA_BOTTOM, "abc", 10, 5},
                 {single, GUI_TA_VCENTER, "a\nb", 10, 5},
                 {twoByte, 8, "abc", 10, 5},
                 {single, 0, "\xB2", 10, 5},
                 {twoByte, 0, std::string("a\xB2\0\nb", 5), 10, 5},
                 {twoByte, 0, "\xB2\nb", 10, 5},
                 {single, 0, "abc", 10, -6},
                 {single, 0, "abc", 10, -5},
                 {single, 0, "abc", -6, 5},
                 {single, 0, "abc", -5, 5},
                 {twoByte, 0, "abc", 24, 5},
                 {single, 0, "abc", 23, 15},
                 {twoByte, 0, "a\nb", 10, 10},
                 {single, 0, "", 10, 5},
                 {single, 0, std::string(16400, 'a'), 10, 5},
                 {single, 0, std::string(16250, 'a'), 10, 11}};
    Panel panel(240, 128);
    int number = 0;
    for (const auto& [font, align, text, x, y] : cases) {
        const int left = 2 + 40 * (number % 6);
        const int top = 8 + 30 * (number / 6);
        GUI_InvertRect(left - 1, top - 1, left + 24, top + 16);
        GUI_InvertRect(left, top, left + 23, top + 15);
        setClip(left, top, left + 23, top + 15);
        GUI_Context.LBorder = coordinate(left + 1);
        GUI_SetFont(&font);
        GUI_SetTextAlign(coordinate(align));
        GUI_DispStringAt(text.c_str(), coordinate(left + x), coordinate(top + y));
        EXPECT_EQ(GUI_Context.TextAlign, align & 12) << text;
        markCursor();
        ++number;
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/layout"));
}

TEST(Text, HCenterHoldsForOneStringAndLeavesTheAlignment) {
    Panel panel;
    GUI_SetFont(&GUI_FontMono10x19);
    GUI_SetFont(nullptr); // changes nothing
    for (const std::int16_t align : {GUI_TA_LEFT, GUI_TA_BOTTOM, GUI_TA_RIGHT}) {
        GUI_SetTextAlign(align);
        GUI_DispStringHCenterAt("AB", 64, 20);
        // Centred from 54 on; with right alignment the two cancel out and it starts at 64.
        EXPECT_EQ(GUI_Context.DispPosX, align == GUI_TA_RIGHT ? 84 : 74);
        EXPECT_EQ(GUI_Context.TextAlign, align);
    }
}

std::string styled;

TEST(Text, NumbersSingleCharactersAndLineSteps) {
    Panel panel(48, 24);
    GUI_SetFont(&single);
    GUI_Context.LBorder = 7;
    GUI_pfDispCharStyle = [](std::uint16_t code) { styled += static_cast<char>(code); };
    GUI_DispDecAt(-5, 30, 2, 3);
    markCursor();
    GUI_GotoXY(10, 4);
    GUI_DispChar('a');
    GUI_DispChar('\r');
    markCursor();
    GUI_DispChar('\n');
    GUI_DispString("b");
    GUI_DispNextLine();
    GUI_DispString(nullptr);
    markCursor();
    GUI_pfDispCharStyle = nullptr;
    EXPECT_EQ(styled, "-05ab");
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/line-steps"));
}

TEST(Text, DecimalTable) {
    const struct {
        std::int32_t value;
        std::uint8_t length, shift;
        std::string expected;
    } cases[] = {{314, 4, 2, "3.14"},
                 {-7, 3, 0, "-07"},
                 {123, 2, 0, "99"},
                 {-123, 3, 0, "-99"},
                 {7, 0, 0, ""},
                 {-7, 1, 0, "-"},
                 {1000000000, 9, 0, "999999999"},
                 {INT32_MIN, 10, 0, "-999999999"},
                 {INT32_MIN, 3, 1, "-.9"},
                 {-314, 11, 2, "-0000003.14"},
                 {42, 3, 9, "42"},
                 {42, 200, 0, "000000042"}};
    for (const auto& [value, length, shift, expected] : cases) {
        char text[16] = "###############";
        char* end = text;
        GUI_AddDec(value, length, shift, &end);
        EXPECT_EQ(text, expected) << value;
        EXPECT_EQ(end - text, std::ssize(expected)) << value;
    }
}

} // namespace
