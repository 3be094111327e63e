#include "tests/gui/panel.h"

namespace {

// Two made-up fonts: bars as high as their code modulo 4 says, and blocks for two bytes. They are
// drawn outside of the clip rectangle too, which shows the lines that are left out for lying there.

int madeUpDistX(std::uint16_t code) {
    return code > 0xFF ? 5 : 2;
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

// Each text has a framed field of its own, five in a row of the picture, which is its clip
// rectangle; the cursor that it leaves is marked. The rows of the picture show
// - alignments: right and centre together, which is neither; an odd width centred, 8 being a
//   vertical centre too; feeds; a return, which is a character or none, a high byte, and a cut
//   character that takes a line feed with it
// - a character cut at the end, which is left out; lines above, left and right of the clip
//   rectangle, and with their second line below it
// - its first and its last pixel alone; texts whose ends lie past 16 bits, so that they seem to lie
//   on the left, and just not past them
TEST(Text, Layout) {
    constexpr int center = GUI_TA_HCENTER;
    const struct {
        const GUI_Font& font;
        int align;
        std::string text;
        int x, y; // in the field
    } cases[] = {{single, GUI_TA_RIGHT | center, "abc", 10, 5},
                 {twoByte, center | 8, "a\xB0\xA2\nbc", 12, 5},
                 {single, GUI_TA_RIGHT | GUI_TA_BOTTOM, "a\nbc", 12, 6},
                 {single, GUI_TA_VCENTER, "a\n\nbc\n", 12, 2},
                 {single, 0, "a\r\xB2", 10, 5},
                 {twoByte, 0, "a\r\xB2\nb", 10, 5},
                 {twoByte, 0, std::string("a\xB2\0\nb", 5), 10, 5},
                 {single, 0, "abc", 10, -6},
                 {single, 0, "abc", -6, 5},
                 {twoByte, 0, "abc", 24, 5},
                 {twoByte, 0, "a\nb", 10, 10},
                 {single, 0, "abc", -5, -5},
                 {single, 0, "abc", 23, 15},
                 {single, 0, std::string(16400, 'a'), 10, 5},
                 {single, 0, std::string(16250, 'a'), 10, 11}};
    Panel panel(200, 98);
    int number = 0;
    for (const auto& [font, align, text, x, y] : cases) {
        const int left = 2 + 40 * (number % 5);
        const int top = 8 + 30 * (number / 5);
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

std::string styled;

// At the left a number, single characters and steps between lines. At the right a centred text,
// which leaves the alignment; with right alignment the two cancel out.
TEST(Text, SingleCharactersLineStepsAndCentredTexts) {
    Panel panel(64, 24);
    GUI_SetFont(&single);
    GUI_SetFont(nullptr); // changes nothing
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
    for (std::int16_t y = 2;
         const std::int16_t align : {GUI_TA_LEFT, GUI_TA_RIGHT, GUI_TA_BOTTOM}) {
        GUI_SetTextAlign(align);
        GUI_DispStringHCenterAt("cbc", 50, std::exchange(y, coordinate(y + 7)));
        EXPECT_EQ(GUI_Context.TextAlign, align);
        markCursor();
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/line-steps"));
}

// A number a row.
TEST(Text, DecimalsAreCutToTheirLength) {
    const struct {
        std::int32_t value;
        std::uint8_t length, shift;
    } cases[] = {{314, 4, 2},   {123, 2, 0},        {-123, 3, 0},       {7, 0, 0},
                 {-7, 1, 0},    {1000000000, 9, 0}, {INT32_MIN, 10, 0}, {INT32_MIN, 3, 1},
                 {-314, 11, 2}, {42, 3, 9},         {42, 200, 0}};
    Panel panel(72, 88);
    for (std::int16_t y = 0; const auto& [value, length, shift] : cases) {
        char text[16] = "###############";
        char* end = text;
        GUI_AddDec(value, length, shift, &end);
        EXPECT_EQ(*end, '\0') << value;
        GUI_DispStringAt(text, 0, std::exchange(y, coordinate(y + 8)));
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "gui/decimals"));
}

} // namespace
