#include "tests/gui/panel.h"
#include "tests/support/stdout_capture.h"

namespace {

TEST(Driver, PlacesEachPixelByTheFormulaAlsoOnOddWidths) {
    const struct {
        int width, height, x, y;
        std::size_t byte;
        unsigned bit;
    } places[] = {{128, 64, 8, 0, 1, 0},
                  {128, 64, 127, 63, 1023, 7},
                  {100, 20, 99, 0, 12, 3},
                  {100, 20, 0, 1, 12, 0},
                  {100, 20, 4, 1, 12, 4}};
    for (const auto& place : places) {
        Panel panel(place.width, place.height);
        LCD_DriverSetPixelIndex(place.x, place.y, 2);
        EXPECT_EQ(panel.bytes()[place.byte], 1U << place.bit) << place.x << ',' << place.y;
        EXPECT_EQ(std::ranges::count(panel.bytes(), 0), std::ssize(panel.bytes()) - 1);
        EXPECT_EQ(LCD_DriverGetPixelIndex(place.x, place.y), 1);
        LCD_DriverXorPixel(place.x, place.y);
        EXPECT_EQ(LCD_DriverGetPixelIndex(place.x, place.y), 0);
    }
}

TEST(Driver, SaysWhichPixelLiesBehindTheEndAndLeavesTheMemory) {
    struct Case {
        int x, y;
        const char* coordinates; // empty: refused silently
    };
    Panel panel;
    for (const Case& c : {Case{0, 64, "x=0 y=64"},
                          {128, 63, "x=128 y=63"},
                          {-8, 65, "x=-8 y=65"},
                          {0, 2147483647, "x=0 y=2147483647"},
                          {-1, 0, ""},
                          {0, -1, ""},
                          {-2147483647, 5, ""}}) {
        const auto expected = [&](const std::string& word) {
            return *c.coordinates == 0 ? "" : word + " " + c.coordinates + " is out of limit\n";
        };
        EXPECT_EQ(outputOf([&] { LCD_DriverSetPixelIndex(c.x, c.y, 1); }), expected("Set"));
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(LCD_DriverGetPixelIndex(c.x, c.y), 0); }),
                  expected("Get"));
        EXPECT_EQ(outputOf([&] { LCD_DriverXorPixel(c.x, c.y); }),
                  expected("Get") + expected("Set"));
    }
    EXPECT_EQ(std::ranges::count(panel.bytes(), 0), 1024);
    EXPECT_TRUE(panel.isIntact());
    // Beyond the right edge lies the next row.
    LCD_DriverSetPixelIndex(130, 2, 1);
    EXPECT_EQ(LCD_DriverGetPixelIndex(2, 3), 1);
}

void drawEverything() {
    GUI_Clear();
    GUI_FillRect(-5, -5, 300, 300);
    GUI_InvertRect(3, 3, 40, 20);
    LCD_DrawLine(-9, -9, 200, 90);
    LCD_DrawLine(5, -9, 5, 90);
    GUI_SetFont(&GUI_FontProp19);
    GUI_DispStringAt("09:05:03", -4, -4);
}

TEST(Driver, DrawsNothingAndStaysSilentWithoutAWholeMapping) {
    {
        Panel panel;
        pbMapMem = nullptr;
        EXPECT_EQ(outputOf(drawEverything), "");
        EXPECT_EQ(outputOf([] { LCD_DriverSetPixelIndex(0, 64, 1); }),
                  "Set x=0 y=64 is out of limit\n");
        GUI_Init();
        EXPECT_EQ(std::ranges::count(panel.bytes(), 0), 1024);
    }
    Panel panel;
    ulVideoMemByteSize = 100; // ends within row 6
    EXPECT_EQ(outputOf([] { GUI_FillRect(0, 0, 127, 63); }), "");
    EXPECT_EQ(std::ranges::count(panel.bytes().first(100), 0xFF), 100);
    EXPECT_EQ(std::ranges::count(panel.bytes().last(924), 0), 924);
}

TEST(Driver, AcceptsAnySizeAndDepthThatTheKernelMayReport) {
    for (const int width : {0, 1, 7, 8, 255}) {
        for (const int depth : {0, 1, 2, 8, 16, 24, 32, 255}) {
            bool isIntact = false;
            outputOf([&] { // complaints about the pixels behind the end
                Panel panel(width, 3, depth);
                drawEverything();
                isIntact = panel.isIntact();
            });
            EXPECT_TRUE(isIntact) << width << ' ' << depth;
        }
    }
}

TEST(Driver, ConvertsPalettesOfUpTo256Colors) {
    const std::vector<std::uint32_t> colors(257, 0xFFFFFF);
    const GUI_Palette largest = {256, 0, colors.data()};
    const GUI_Palette tooLarge = {257, 0, colors.data()};
    const GUI_Palette empty = {2, 0, nullptr};
    EXPECT_EQ(LCD_GetPalConvTable(&largest), LCD__aConvTable);
    EXPECT_EQ(LCD__aConvTable[255], 1);
    EXPECT_EQ(LCD_GetPalConvTable(&tooLarge), nullptr);
    EXPECT_EQ(LCD_GetPalConvTable(&empty), nullptr);
    EXPECT_EQ(LCD_GetPalConvTable(nullptr), nullptr);
}

} // namespace
