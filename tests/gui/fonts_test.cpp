#include "tests/gui/panel.h"
#include "tests/support/golden.h"

#include "gui/fonts/font_functions.h"

#include <sstream>

namespace {

// Each character that the current font has: code, advance, pixels of ink.
std::string listCharacters(Panel& panel) {
    const GUI_Font& font = *GUI_Context.pFont;
    std::ostringstream list;
    for (unsigned i = 0; i <= 0xFFFF; ++i) {
        const auto code = static_cast<std::uint16_t>(i);
        if (font.pfIsInFont(&font, code) == 0) {
            continue;
        }
        const int advance = GUI_GetCharDistX(code);
        panel.fill(0);
        GUI_GotoXY(0, 0);
        GUI_DispChar(code);
        EXPECT_EQ(GUI_Context.DispPosX, advance) << code;
        list << std::hex << std::uppercase << code << std::dec << ' ' << advance << ' '
             << panel.picture().litCount() << '\n';
    }
    return list.str();
}

TEST(Fonts, HoldTheirCharactersAndNoOthers) {
    const struct {
        const char* golden;
        const GUI_Font& font;
        int height;
        int flags;
    } fonts[] = {{"fonts/font6x8", GUI_Font6x8, 8, GUI_FONTINFO_MONO},
                 {"fonts/mono6x12", GUI_FontMono6x12, 12, GUI_FONTINFO_PROP},
                 {"fonts/mono10x19", GUI_FontMono10x19, 19, GUI_FONTINFO_PROP},
                 {"fonts/prop19", GUI_FontProp19, 19, GUI_FONTINFO_PROP}};
    Panel panel;
    for (const auto& [golden, font, height, flags] : fonts) {
        GUI_SetFont(&font);
        EXPECT_TRUE(golden::matchesList(listCharacters(panel), golden));
        EXPECT_EQ(font.YSize, height);
        EXPECT_EQ(font.YDist, height);
        GUI_FontInfo info{};
        font.pfGetFontInfo(&font, &info);
        EXPECT_EQ(info.Flags, flags);
    }
}

// Sixteen codes to a row, from 20 on; what lies between 7E and A0 shows no letter.
TEST(Fonts, Font6x8ShowsLatin1) {
    Panel panel(96, 112);
    for (int row = 0; row < 14; ++row) {
        std::string codes;
        for (int column = 0; column < 16; ++column) {
            codes += static_cast<char>(0x20 + 16 * row + column);
        }
        GUI_DispStringAt(codes.c_str(), 0, static_cast<std::int16_t>(8 * row));
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "fonts/latin1"));
}

// An accented letter behind a gap, and a character that its font lacks, on a dark and on a lit
// screen in each text mode. An accent is never drawn in xor mode: with the transparent bit that
// mode draws nothing.
TEST(Fonts, TextModesPaintTheCells) {
    Panel panel(160, 24);
    GUI_FillRect(80, 0, 159, 23);
    int left = 2;
    for (const int mode : {GUI_TM_NORMAL, GUI_TM_REV, GUI_TM_TRANS, GUI_TM_XOR, GUI_TM_NORMAL,
                           GUI_TM_REV, GUI_TM_TRANS, GUI_TM_XOR}) {
        const auto x = static_cast<std::int16_t>(left);
        GUI_SetTextMode(static_cast<std::int16_t>(mode));
        GUI_SetFont(&GUI_Font6x8);
        GUI_DispStringAt("\x9F\xE0", x, 1);
        GUI_SetFont(&GUI_FontMono6x12);
        GUI_DispStringAt("A(b", x, 11);
        EXPECT_EQ(GUI_Context.DrawMode, GUI_DM_NORMAL);
        left += 20;
    }
    EXPECT_TRUE(golden::matches(panel.picture(), "fonts/text-modes"));
}

// A font of one glyph, three times as wide and twice as high as its picture.
TEST(Fonts, MagnifiedFontsDrawBlocksAndAdvanceByThem) {
    static constexpr std::uint8_t glyph[] = {0b1000'0000, 0b0100'0000};
    static constexpr GUI_CharInfo infos[] = {{2, 2, 1, glyph}};
    static constexpr GUI_PropRange range = {'x', 'x', infos, nullptr};
    GUI_Font font = GUI_FontMono6x12;
    font.YSize = 2;
    font.XMag = 3;
    font.YMag = 2;
    font.pData = &range;
    Panel panel(16, 6);
    GUI_SetFont(&font);
    GUI_SetTextMode(GUI_TM_REV);
    GUI_DispStringAt("xyx", 1, 1);
    EXPECT_EQ(GUI_Context.DispPosX, 13);
    EXPECT_TRUE(golden::matchesText(panel.picture(), R"(
................
....###...###...
....###...###...
.###...###......
.###...###......
................
)"));
}

} // namespace
