#include "tests/gui/panel.h"

#include "gui/fonts/font_functions.h"

#include <sstream>

namespace {

// A font's height, distance of lines and kind; each character that it has: code, advance, pixels of
// ink.
std::string listFont(const GUI_Font& font) {
    Panel panel;
    GUI_SetFont(&font);
    GUI_FontInfo info{};
    font.pfGetFontInfo(&font, &info);
    std::ostringstream list;
    list << int{font.YSize} << ' ' << int{font.YDist}
         << (info.Flags == GUI_FONTINFO_MONO ? " mono\n" : " proportional\n");
    for (unsigned i = 0; i <= 0xFFFF; ++i) {
        const auto code = static_cast<std::uint16_t>(i);
        if (font.pfIsInFont(&font, code) == 0) {
            continue;
        }
        const int advance = GUI_GetCharDistX(code);
        GUI_Clear();
        GUI_DispChar(code);
        EXPECT_EQ(GUI_Context.DispPosX, advance) << code;
        list << std::hex << std::uppercase << code << std::dec << ' ' << advance << ' '
             << panel.picture().litCount() << '\n';
    }
    return list.str();
}

TEST(Fonts, HoldTheirCharactersAndNoOthers) {
    EXPECT_TRUE(golden::matchesList(listFont(GUI_Font6x8), "fonts/font6x8"));
    EXPECT_TRUE(golden::matchesList(listFont(GUI_FontMono6x12), "fonts/mono6x12"));
    EXPECT_TRUE(golden::matchesList(listFont(GUI_FontMono10x19), "fonts/mono10x19"));
    EXPECT_TRUE(golden::matchesList(listFont(GUI_FontProp19), "fonts/prop19"));
}

// Sixteen codes to a row, from 20 on; what lies between 7E and A0 shows no letter.
TEST(Fonts, Font6x8ShowsLatin1) {
    Panel panel(96, 112);
    for (int i = 0; i < 14 * 16; ++i) {
        GUI_GotoXY(coordinate(i % 16 * 6), coordinate(i / 16 * 8));
        GUI_DispChar(static_cast<std::uint16_t>(0x20 + i));
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "fonts/latin1"));
}

// An accented letter behind a gap, and a character that its font lacks, on a dark and on a lit
// screen in each text mode; below them magnified glyphs. An accent is never drawn in xor mode: with
// the transparent bit that mode draws nothing.
TEST(Fonts, TextModesPaintTheCells) {
    GUI_Font large = GUI_FontMono6x12;
    large.XMag = 3;
    large.YMag = 2;
    Panel panel(160, 48);
    GUI_FillRect(80, 0, 159, 23);
    const std::int16_t modes[] = {GUI_TM_NORMAL, GUI_TM_REV, GUI_TM_TRANS, GUI_TM_XOR};
    for (std::int16_t left = 2; left < 160; left = coordinate(left + 20)) {
        GUI_SetTextMode(modes[left / 20 % 4]);
        GUI_SetFont(&GUI_Font6x8);
        GUI_DispStringAt("\x9F\xE0", left, 1);
        GUI_SetFont(&GUI_FontMono6x12);
        GUI_DispStringAt("A(b", left, 11);
        EXPECT_EQ(GUI_Context.DrawMode, GUI_DM_NORMAL);
    }
    GUI_SetTextMode(GUI_TM_REV);
    GUI_SetFont(&large);
    GUI_DispStringAt("A(b", 2, 24);
    EXPECT_TRUE(golden::matches(panel.picture(), "fonts/text-modes"));
}

} // namespace
