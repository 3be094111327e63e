#include "tests/gui/panel.h"
#include "tests/support/stdout_capture.h"

#include <climits>

namespace {

TEST(Driver, SaysWhichPixelLiesBehindTheEndAndLeavesTheMemory) {
    Panel panel;
    const auto complaints = [](int x, int y) {
        return outputOf([=] { LCD_DriverXorPixel(x, y); }); // reads and writes
    };
    for (const auto& [x, y] : {std::pair{0, 64}, {128, 63}, {-8, 65}, {0, INT_MAX}}) {
        const std::string tail =
            " x=" + std::to_string(x) + " y=" + std::to_string(y) + " is out of limit\n";
        EXPECT_EQ(complaints(x, y), std::string("Get").append(tail).append("Set").append(tail));
    }
    EXPECT_EQ(complaints(-1, 0) + complaints(0, -1) + complaints(-2147483647, 5), "");
    EXPECT_EQ(std::ranges::count(panel.bytes(), 0), 1024);
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

// Bytes of video memory that are mapped; 100 end within row 6.
TEST(Driver, DrawsSilentlyInWhatIsMapped) {
    for (const int mapped : {0, 100}) {
        Panel panel;
        pbMapMem = mapped == 0 ? nullptr : pbMapMem;
        ulVideoMemByteSize = static_cast<std::uint32_t>(mapped == 0 ? 1024 : mapped);
        EXPECT_EQ(outputOf(drawEverything), "");
        GUI_Init();
        GUI_FillRect(0, 0, 127, 63);
        EXPECT_EQ(std::ranges::count(panel.bytes().first(100), 0xFF), mapped);
        EXPECT_EQ(std::ranges::count(panel.bytes().last(924), 0), 924);
    }
}

TEST(Driver, AcceptsAnySizeAndDepthThatTheKernelMayReport) {
    for (const int width : {0, 1, 7, 8, 255}) {
        for (const int depth : {0, 1, 2, 8, 16, 24, 32, 255}) {
            SCOPED_TRACE(std::to_string(width) + " x 3, depth " + std::to_string(depth));
            Panel panel(width, 3, depth);
            outputOf(drawEverything); // complaints about the pixels behind the end
        }
    }
}

TEST(Driver, ConvertsPalettesOfUpTo256Colors) {
    const std::vector<std::uint32_t> colors(257, 0xFFFFFF);
    const GUI_Palette palettes[] = {
        {256, 0, colors.data()}, {257, 0, colors.data()}, {2, 0, nullptr}};
    EXPECT_EQ(LCD_GetPalConvTable(&palettes[0]), LCD__aConvTable);
    EXPECT_EQ(LCD__aConvTable[255], 1);
    EXPECT_EQ(LCD_GetPalConvTable(&palettes[1]), nullptr);
    EXPECT_EQ(LCD_GetPalConvTable(&palettes[2]), nullptr);
}

} // namespace
