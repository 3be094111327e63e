#include "tests/gui/panel.h"

namespace {

// ---- Two made-up fonts that write down what they are asked to draw -----------------------------

std::string drawn;

int madeUpDistX(std::uint16_t code) {
    return code > 0xFF ? 5 : code == '.' ? 0 : 2;
}

std::string cursor() {
    return std::to_string(GUI_Context.DispPosX) + ',' + std::to_string(GUI_Context.DispPosY);
}

void drawMadeUp(std::uint16_t code) {
    const std::string name = code > 0xFF ? "wide" : std::string(1, static_cast<char>(code));
    drawn += name + '@' + cursor() + ' ';
    GUI_Context.DispPosX = static_cast<std::int16_t>(GUI_Context.DispPosX + madeUpDistX(code));
}

constexpr GUI_Font madeUpFont(const GUI_LineAPI* lines) {
    return {drawMadeUp, madeUpDistX, nullptr, nullptr, lines, 4, 6, 1, 1, nullptr, 0, 0, 0};
}

const GUI_Font singleFont = madeUpFont(nullptr);
const GUI_Font doubleFont = madeUpFont(&GUI__API_TableDoubleByte);

struct Layout {
    const char* name;
    const GUI_Font* font;
    int align;
    std::string text;
    std::int16_t x, y;
    std::string drawn; // the characters and, behind a bar, where the cursor is left
};

TEST(Text, LayoutTable) {
    constexpr int right = GUI_TA_RIGHT;
    constexpr int center = GUI_TA_HCENTER;
    const GUI_Font* const one = &singleFont;
    const GUI_Font* const two = &doubleFont;
    const std::string cut("a\xB0\0\nb", 5);
    // The left border is at 3.
    const Layout cases[] = {
        {"left", one, 0, "ab", 10, 20, "a@10,20 b@12,20 | 14,20"},
        {"right", one, right, "ab", 10, 20, "a@6,20 b@8,20 | 10,20"},
        {"centre, half cut", two, center, "a\xB0\xA1", 10, 20, "a@7,20 wide@9,20 | 14,20"},
        {"right and centre", one, right | center, "ab", 10, 20, "a@10,20 b@12,20 | 14,20"},
        {"line at border", one, 0, "a\nbc", 20, 10, "a@20,10 b@3,16 c@5,16 | 7,16"},
        {"lines right", one, right, "a\nbc", 20, 10, "a@18,10 b@16,16 c@18,16 | 20,16"},
        {"lines centred", two, center, "a\nbc", 20, 10, "a@19,10 b@18,16 c@20,16 | 22,16"},
        {"empty line, feed at end", one, 0, "a\n\nb\n", 20, 10, "a@20,10 b@3,22 | 3,28"},
        {"return drawn", one, 0, "a\rb", 10, 20, "a@10,20 \r@12,20 b@14,20 | 16,20"},
        {"return not drawn", two, 0, "a\rb", 10, 20, "a@10,20 b@12,20 | 16,20"},
        {"bottom", one, GUI_TA_BOTTOM, "a", 10, 20, "a@10,17 | 12,20"},
        {"vertical centre", one, GUI_TA_VCENTER, "a\nb", 10, 20, "a@10,18 b@3,24 | 5,26"},
        {"8 is vertical centre too", two, 8, "a", 10, 20, "a@10,18 | 12,20"},
        {"high byte", one, 0, "\xB0", 10, 20, "\xB0@10,20 | 12,20"},
        {"cut character", two, 0, cut, 10, 20, "a@10,20 | 12,20"},
        {"lead takes feed", two, 0, "\xB0\nb", 10, 20, "wide@10,20 b@15,20 | 17,20"},
        {"above the clip rectangle", one, 0, "ab", 10, -6, "| 14,-6"},
        {"its last row inside", one, 0, "ab", 10, -5, "a@10,-5 b@12,-5 | 14,-5"},
        {"left of it", one, 0, "ab", -4, 20, "| 0,20"},
        {"one column inside", one, 0, "ab", -3, 20, "a@-3,20 b@-1,20 | 1,20"},
        {"right of it", two, 0, "ab", 128, 20, "| 132,20"},
        {"last column and row", one, 0, "ab", 127, 63, "a@127,63 b@129,63 | 131,63"},
        {"past 16 bits", one, 0, std::string(16400, 'a'), 10, 20, "| -32726,20"},
        {"below it", two, 0, "a\nb", 10, 58, "a@10,58 | 5,64"},
    };
    for (const Layout& c : cases) {
        Panel panel;
        GUI_Context.LBorder = 3;
        GUI_SetFont(c.font);
        GUI_SetTextAlign(static_cast<std::int16_t>(c.align));
        drawn.clear();
        GUI_DispStringAt(c.text.c_str(), c.x, c.y);
        EXPECT_EQ(drawn + "| " + cursor(), c.drawn) << c.name;
        EXPECT_EQ(GUI_Context.TextAlign, c.align & 12) << c.name;
    }
}

TEST(Text, HCenterHoldsForOneStringAndLeavesTheAlignment) {
    Panel panel;
    GUI_SetFont(&GUI_FontMono10x19);
    GUI_SetFont(nullptr); // changes nothing
    for (const std::int16_t align : {GUI_TA_LEFT, GUI_TA_BOTTOM, GUI_TA_RIGHT}) {
        GUI_Context.TextAlign &= GUI_TA_LEFT;
        GUI_Context.TextAlign |= align;
        GUI_DispStringHCenterAt("AB", 64, 20);
        // Centred from 54 on; with right alignment the two cancel out and it starts at 64.
        EXPECT_EQ(GUI_Context.DispPosX, align == GUI_TA_RIGHT ? 84 : 74);
        EXPECT_EQ(GUI_Context.TextAlign, align);
    }
}

TEST(Text, NumbersSingleCharactersAndLineSteps) {
    Panel panel;
    GUI_SetFont(&singleFont);
    GUI_Context.LBorder = 7;
    drawn.clear();
    static std::string styled;
    styled.clear();
    GUI_pfDispCharStyle = [](std::uint16_t code) { styled += static_cast<char>(code); };
    GUI_DispDecAt(-5, 10, 20, 3);
    GUI_GotoXY(10, 20);
    GUI_DispChar('a');
    GUI_DispChar('\r');
    GUI_DispChar('\n');
    GUI_DispString("b");
    GUI_DispNextLine();
    GUI_DispString(nullptr);
    GUI_pfDispCharStyle = nullptr;
    EXPECT_EQ(drawn, "-@10,20 0@12,20 5@14,20 a@10,20 b@7,26 ");
    EXPECT_EQ(styled, "-05ab");
    EXPECT_EQ(cursor(), "7,32");
}

// ---- Decimal numbers ---------------------------------------------------------------------------

TEST(Text, DecimalTable) {
    const struct {
        std::int32_t value;
        std::uint8_t length, shift;
        const char* expected;
    } cases[] = {{314, 4, 2, "3.14"},
                 {-7, 3, 0, "-07"},
                 {5, 2, 0, "05"},
                 {123, 2, 0, "99"},
                 {-123, 3, 0, "-99"},
                 {7, 0, 0, ""},
                 {-7, 1, 0, "-"},
                 {1000000000, 9, 0, "999999999"},
                 {INT32_MAX, 9, 0, "999999999"},
                 {INT32_MIN, 10, 0, "-999999999"},
                 {INT32_MIN, 3, 1, "-.9"},
                 {-314, 11, 2, "-0000003.14"},
                 {42, 3, 9, "42"},
                 {42, 200, 0, "000000042"}};
    GUI_DecChar = '.';
    for (const auto& c : cases) {
        char text[16] = "###############";
        char* end = text;
        GUI_AddDec(c.value, c.length, c.shift, &end);
        EXPECT_STREQ(text, c.expected) << c.value;
        EXPECT_EQ(end, text + std::string_view(c.expected).size()) << c.value;
    }
}

} // namespace
