// Fills, polygons, bitmaps of every depth and magnification, strings and numbers in all fonts,
// modes and alignments against the clip rectangle. Everything lies on the heap and is exactly as
// long as it need be: the address sanitizer sees every access beyond it.

#include "gui/gui.h"
#include "gui/lcd.h"
#include "gui/lcd_driver.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

constexpr const GUI_Font* fonts[] = {&GUI_Font6x8, &GUI_FontMono6x12, &GUI_FontMono10x19,
                                     &GUI_FontProp19};

// On the panel or beside it.
std::int16_t coordinate(FuzzedDataProvider& input) {
    return input.ConsumeIntegralInRange<std::int16_t>(-200, 300);
}

void drawRectangle(FuzzedDataProvider& input) {
    constexpr decltype(&GUI_FillRect) operations[] = {GUI_FillRect, GUI_InvertRect, GUI_ClearRect};
    input.PickValueInArray(operations)(coordinate(input), coordinate(input), coordinate(input),
                                       coordinate(input));
}

void drawPolygon(FuzzedDataProvider& input) {
    std::vector<GUI_POINT> points(input.ConsumeIntegralInRange<std::size_t>(1, 6));
    for (GUI_POINT& point : points) {
        point = {coordinate(input), coordinate(input)};
    }
    GUI_DrawPolygon(points.data(), static_cast<int>(points.size()), coordinate(input),
                    coordinate(input));
}

void drawBitmap(FuzzedDataProvider& input) {
    std::vector<std::uint8_t> identity(256);
    std::iota(identity.begin(), identity.end(), std::uint8_t{0});
    const int depth = 1 << input.ConsumeIntegralInRange(0, 4);
    const int xsize = input.ConsumeIntegralInRange(0, 40);
    const int ysize = input.ConsumeIntegralInRange(0, 24);
    const int bytesPerLine = (xsize * depth + 7) / 8 + input.ConsumeIntegralInRange(0, 2);
    const auto size = std::size_t(bytesPerLine) * std::size_t(ysize);
    std::vector<std::uint8_t> pixels = input.ConsumeBytes<std::uint8_t>(size);
    pixels.resize(size);
    pixels.shrink_to_fit();
    const bool needsTable = depth == 1 || input.ConsumeBool();
    LCD_DrawBitmap(coordinate(input), coordinate(input), xsize, ysize,
                   input.ConsumeIntegralInRange(1, 3), input.ConsumeIntegralInRange(1, 3), depth,
                   bytesPerLine, pixels.data(), needsTable ? identity.data() : nullptr);
}

void drawText(FuzzedDataProvider& input) {
    GUI_SetFont(input.PickValueInArray(fonts));
    GUI_SetTextMode(input.ConsumeIntegralInRange<std::int16_t>(0, 7));
    const auto align = input.ConsumeIntegralInRange<std::int16_t>(0, 15);
    GUI_SetTextAlign(align);
    std::vector<char> text(input.ConsumeIntegralInRange<std::size_t>(1, 81));
    input.ConsumeData(text.data(), text.size() - 1);
    GUI_DispStringHCenterAt(text.data(), coordinate(input), coordinate(input));
    require(GUI_Context.TextAlign == align, "centring leaves the alignment as it was");
    GUI_DispStringAt(text.data(), coordinate(input), coordinate(input));
    require((GUI_Context.TextAlign & 3) == 0, "alignment holds for one string only");
    GUI_DispDecAt(input.ConsumeIntegral<std::int32_t>(), coordinate(input), coordinate(input),
                  input.ConsumeIntegralInRange<std::uint8_t>(0, 9));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    LCD_YSIZE = input.ConsumeBool() ? 64 : 32;
    std::vector<std::uint8_t> memory(std::size_t{LCD_XSIZE} / 8 * LCD_YSIZE);
    pbMapMem = memory.data();
    ulVideoMemByteSize = static_cast<std::uint32_t>(memory.size());
    GUI_Init();
    const std::uint8_t fill = input.ConsumeBool() ? 0xFF : 0x00;
    std::ranges::fill(memory, fill);
    GUI_RECT& clip = GUI_Context.ClipRect;
    clip.x0 = input.ConsumeIntegralInRange<std::int16_t>(0, std::int16_t(LCD_XSIZE - 1));
    clip.y0 = input.ConsumeIntegralInRange<std::int16_t>(0, std::int16_t(LCD_YSIZE - 1));
    clip.x1 = input.ConsumeIntegralInRange<std::int16_t>(clip.x0, std::int16_t(LCD_XSIZE - 1));
    clip.y1 = input.ConsumeIntegralInRange<std::int16_t>(clip.y0, std::int16_t(LCD_YSIZE - 1));
    constexpr decltype(&drawText) drawers[] = {drawRectangle, drawPolygon, drawBitmap, drawText};
    while (input.remaining_bytes() > 0) {
        const auto mode = input.ConsumeIntegralInRange<std::uint8_t>(0, 7);
        GUI_SetDrawMode(mode);
        input.PickValueInArray(drawers)(input);
        require(GUI_Context.DrawMode == mode, "the draw mode is put back");
    }
    for (int y = 0; y < LCD_YSIZE; ++y) {
        for (int x = 0; x < LCD_XSIZE; ++x) {
            const bool inside = x >= clip.x0 && x <= clip.x1 && y >= clip.y0 && y <= clip.y1;
            const std::uint8_t byte = memory[static_cast<std::size_t>(y * LCD_XSIZE + x) / 8];
            require(inside || ((byte ^ fill) >> (x % 8) & 1) == 0, "a pixel beside it changed");
        }
    }
    return 0;
}
