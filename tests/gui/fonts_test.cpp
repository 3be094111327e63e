#include "tests/gui/panel.h"
#include "tests/support/golden.h"

#include "gui/fonts/font_functions.h"

#include <map>
#include <set>
#include <sstream>

namespace {

using Widths = std::map<std::uint16_t, int>; // character code, advance

const std::string asciiOfFixedFonts =
    " !#%&*+-./0123456789:=ABCDEFGHIJKLMNOPQRSTUVWXYZ\\abcdefghijklmnopqrstuvwxyz{}~\"@|";

const char* const doubleByteOfFixedFonts =
    "A3A1 A3A4 A3A8 A3A9 A3AC A3BA A3BB A3BF B0B4 B0CB B0E6 B1A3 B1A8 B1BE B1C8 B1E4 B2A8 B2C9 "
    "B2E2 B3A3 B3CC B3D8 B3E5 B3F6 B4AE B5A5 B5BD B5C4 B5C6 B5CD B5D8 B5E7 B5F7 B6A8 B6AF B6C8 "
    "B6CB B6CF B6FE B7FB B7FE B8BA B8D0 B8DF B8E6 B9A4 B9A6 B9D8 B9FD BAA3 BAC5 BAC9 BBA4 BBFB "
    "BCAF BCCC BCEC BCFC BCFE BDC7 BDD3 BDE9 BDFB BEAD BEAF BEB2 BEC5 BFA8 BFAA BFD5 BFDA C1AC "
    "C1BF C1D0 C1F7 C1F9 C2CA C2EB C2F6 C3BB C3F7 C4AC C4DC C5E4 C6B5 C6BD C6DF C6F4 C6F7 C7EB "
    "C8B1 C8CF C8DD C8EB C8ED C8FD C9DC CAA3 CAAE CAB9 CAD3 CAE4 CAFD CBB5 CBC4 CCAC CCE5 CDA3 "
    "CDA8 CDB3 CDE2 CDF8 CEB4 CEDE CEE5 CEF1 CEF3 CFA2 CFB5 CFDE CFDF CFE0 CFFB D0A7 D0AD D0B3 "
    "D0C5 D0CE D0D0 D0D4 D0EE D0F2 D1B6 D1B9 D1DA D2BB D2D1 D2E5 D2E9 D2EC D2F4 D3B2 D3C3 D3D0 "
    "D3E0 D4B4 D4C6 D4CB D4D8 D4DA D4DD D5BC D5FD D6B5 D6B7 D6B9 D6C3 D6C6 D6D0 D7B4 D7D3 D7D4 "
    "D7D6 D7DC D7E9";

const char* const doubleByteOfProp19 =
    "B0CB B0E6 B1A8 B1BE B1C8 B1E4 B1ED B5D8 B5E7 B6CB B6FE B7FE B9D8 BAC5 BCFE BDFB BEAF BEC5 "
    "BFDA C1D0 C1F7 C1F9 C2CA C2EB C4DC C5E4 C6DF C6F7 C8B1 C8ED C8FD C9CF CAAE CAB9 CBC4 CDF8 "
    "CEE5 CEF1 CEF3 CFA2 CFC2 CFDF CFE0 D0C5 D0F2 D1B9 D1DA D2BB D2C7 D3B2 D4C6 D6B7 D6B9 D6C3 "
    "D6C7 D7D3";

// Character and advance, in turn.
const char* const asciiOfProp19 =
    "! 4 \" 8 # 13 $ 9 % 16 & 14 ( 6 ) 6 * 8 + 13 , 4 - 6 . 4 / 9 0 9 1 9 2 9 3 9 4 9 5 9 6 9 7 9 "
    "8 9 9 9 : 4 ; 4 < 13 = 13 > 13 @ 17 A 13 B 12 C 12 D 15 E 12 F 11 G 15 H 14 I 7 J 6 K 14 "
    "L 11 M 16 N 15 O 15 P 11 Q 15 R 12 S 9 T 12 U 13 V 13 W 17 X 13 Y 12 Z 12 \\ 9 ^ 9 a 8 b 10 "
    "c 8 d 9 e 8 f 6 g 9 h 10 i 4 j 4 k 9 l 4 m 15 n 10 o 10 p 10 q 9 r 6 s 7 t 6 u 9 v 9 w 13 "
    "x 9 y 8 z 8 ~ 13";

Widths widthsOf(std::string_view ascii, const char* doubleByteCodes, int doubleByteWidth) {
    Widths widths = {{' ', 5}};
    std::istringstream pairs{std::string(ascii)};
    char c = 0;
    for (int width = 0; pairs >> c >> width;) {
        widths[static_cast<std::uint16_t>(c)] = width;
    }
    std::istringstream codes(doubleByteCodes);
    for (unsigned code = 0; codes >> std::hex >> code;) {
        widths[static_cast<std::uint16_t>(code)] = doubleByteWidth;
    }
    return widths;
}

Widths fixedWidths(int ascii, int doubleByte) {
    Widths widths = widthsOf("", doubleByteOfFixedFonts, doubleByte);
    for (const char c : asciiOfFixedFonts) {
        widths[static_cast<std::uint16_t>(c)] = ascii;
    }
    return widths;
}

bool hasInk(const std::uint8_t* glyph, int bytes) {
    return std::any_of(glyph, glyph + bytes, [](std::uint8_t byte) { return byte != 0; });
}

TEST(Fonts, PropFontsHoldTheirCharactersAndNoOthersInAscendingRanges) {
    const struct {
        const GUI_Font& font;
        int height;
        Widths widths;
        std::size_t characters;
        int ranges;
    } fonts[] = {
        {GUI_FontMono6x12, 12, fixedWidths(6, 12), 81 + 165, 8 + 160},
        {GUI_FontMono10x19, 19, fixedWidths(10, 19), 81 + 165, 8 + 160},
        {GUI_FontProp19, 19, widthsOf(asciiOfProp19, doubleByteOfProp19, 19), 86 + 56, 7 + 55}};
    Panel panel;
    for (const auto& [font, height, widths, characters, rangeCount] : fonts) {
        GUI_SetFont(&font);
        EXPECT_EQ(font.YSize, height);
        EXPECT_EQ(font.YDist, height);
        EXPECT_EQ(widths.size(), characters);
        for (int i = 0; i <= 0xFFFF; ++i) {
            const auto code = static_cast<std::uint16_t>(i);
            const auto entry = widths.find(code);
            const int width = entry == widths.end() ? 0 : entry->second;
            ASSERT_EQ(font.pfIsInFont(&font, code), width != 0) << std::hex << code;
            ASSERT_EQ(GUI_GetCharDistX(code), width) << std::hex << code;
        }
        GUI_FontInfo info{};
        font.pfGetFontInfo(&font, &info);
        EXPECT_EQ(info.Flags, 1);
        int ranges = 0;
        int previousLast = -2;
        for (const auto* range = static_cast<const GUI_PropRange*>(font.pData); range != nullptr;
             range = range->pNext, ++ranges) {
            EXPECT_GT(range->First, previousLast + 1); // ascending, not overlapping, not split
            previousLast = range->Last;
            for (int code = range->First; code <= range->Last; ++code) {
                const GUI_CharInfo& glyph = range->pCharInfo[code - range->First];
                EXPECT_EQ(hasInk(glyph.pData, height * glyph.BytesPerLine), code != ' ');
            }
        }
        EXPECT_EQ(ranges, rangeCount);
    }
}

TEST(Fonts, MissingCharactersLeaveNoGapButIn6x8) {
    Panel panel;
    GUI_SetFont(&GUI_FontMono6x12);
    GUI_DispStringAt("A(B?C", 0, 0);
    EXPECT_EQ(GUI_Context.DispPosX, 3 * 6);
    GUI_SetFont(&GUI_Font6x8);
    GUI_DispStringAt("A\x80\x9F", 0, 0);
    EXPECT_EQ(GUI_Context.DispPosX, 3 * 6);
    EXPECT_EQ(GUI_Font6x8.pfIsInFont(&GUI_Font6x8, 0x80), 0);
    EXPECT_EQ(GUI_Font6x8.pfIsInFont(&GUI_Font6x8, 0x9F), 1); // in the list, without a glyph
}

TEST(Fonts, Font6x8HasItsPairsAndNineSpareGlyphs) {
    const auto& data = *static_cast<const GUI_MonoFontData*>(GUI_Font6x8.pData);
    GUI_FontInfo info{};
    GUI_Font6x8.pfGetFontInfo(&GUI_Font6x8, &info);
    EXPECT_EQ(info.Flags, 2);
    EXPECT_EQ(GUI_Font6x8.pafEncode, nullptr);
    const GUI_CharTrans* const pairs = data.pTrans->pPairs;
    std::set<int> used;
    for (int code = 0x90; code <= 0xFF; ++code) {
        const auto& [base, overlay] = pairs[code - 0x90];
        if (code <= 0x95) {
            EXPECT_EQ(base, 157 + code - 0x90);
        }
        EXPECT_EQ(base < 0, code >= 0x96 && code <= 0x9F) << std::hex << code;
        EXPECT_LT(std::max(base, overlay), 163);
        used.insert({base, overlay});
    }
    EXPECT_EQ(pairs[0xE0 - 0x90].Base, 'a' - ' ');
    EXPECT_EQ(pairs[0xE0 - 0x90].Overlay, 96);
    for (int glyph = 1; glyph < 163; ++glyph) { // nine are spare, every other one can be seen
        const bool isSpare = glyph >= 148 && glyph <= 156;
        EXPECT_EQ(hasInk(data.pData + glyph * 8, 8), !isSpare) << glyph;
        EXPECT_EQ(glyph >= 95 && !used.contains(glyph), isSpare) << glyph;
    }
}

// A letter with its accent on a dark and on a lit screen, in each text mode. An accent is never
// drawn in xor mode: with the transparent bit that mode draws nothing.
TEST(Fonts, TextModesPaintTheCellOfAnAccentedLetter) {
    Panel panel(64, 10);
    GUI_FillRect(32, 0, 63, 9);
    int left = 0;
    for (const int mode : {GUI_TM_NORMAL, GUI_TM_REV, GUI_TM_TRANS, GUI_TM_XOR, GUI_TM_NORMAL,
                           GUI_TM_REV, GUI_TM_TRANS, GUI_TM_XOR}) {
        GUI_SetTextMode(static_cast<std::int16_t>(mode));
        GUI_DispStringAt("\xE0", static_cast<std::int16_t>(left + 1), 1);
        EXPECT_EQ(GUI_Context.DrawMode, GUI_DM_NORMAL);
        left += 8;
    }
    EXPECT_TRUE(golden::matchesText(panel.picture(), R"(
................................################################
..#......#.####...#.............#.#....###.#####################
...#.....##.###....#............#..#...####.####################
..###....#...##...###.....###...#.###..###...#############...###
.....#...####.#......#.......#..#....#.######.###############.##
..####...#....#...####....####..#.####.###....############....##
.#...#....###.#..#...#...#...#..##...#.##.###.###########.###.##
..####...#....#...####....####..#.####.###....############....##
.........######.................#......#########################
................................################################
)"));
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
