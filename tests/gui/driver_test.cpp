#include "tests/gui/panel.h"
#include "tests/support/stdout_capture.h"

#include <climits>

namespace {

TEST(Driver, SaysWhichPixelLiesBehindTheEndAndLeavesTheMemory) {
    Panel panel;
    const auto complaints = [](int x, int y) {
        return outputOf([=] {
            LCD_DriverSetPixelIndex(x, y, 1);
            LCD_DriverGetPixelIndex(x, y);
            LCD_DriverXorPixel(x, y);
        });
    };
    for (const auto& [x, y] : {std::pair{0, 64}, {128, 63}, {-8, 65}, {0, INT_MAX}}) {
        const std::string tail =
            " x=" + std::to_string(x) + " y=" + std::to_string(y) + " is out of limit\n";
        EXPECT_EQ(complaints(x, y), "Set" + tail + "Get" + tail + "Get" + tail + "Set" + tail);
    }
    EXPECT_EQ(complaints(-1, 0) + complaints(0, -1) + complaints(-2147483647, 5), "");
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
    LCD_DrawLine(0, INT_MAX - 2, 3, INT_MAX); // a step further is no coordinate
    GUI_SetFont(&GUI_FontProp19);
    GUI_DispStringAt("09:05:03", -4, -4);
}

TEST(Driver, DrawsNothingAndStaysSilentWithoutAWholeMapping) {
    {
        Panel panel;
        pbMapMem = nullptr;
        EXPECT_EQ(outputOf(drawEverything), "");
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
