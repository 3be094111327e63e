// Fills, lines, polygons and bitmaps of every depth and magnification against the clip
// rectangle.

#include "tests/fuzz/fuzz_screen.h"

namespace {

constexpr std::uint8_t modes[] = {0, 1, 2, 3, 4, 5, 6, 7};
constexpr int depths[] = {1, 2, 4, 8, 16};

int consumeX(FuzzedDataProvider& input) {
    return input.ConsumeIntegralInRange(-200, 300);
}
int consumeY(FuzzedDataProvider& input) {
    return input.ConsumeIntegralInRange(-100, 150);
}

// Draws a bitmap whose data are exactly as long as its rows need.
void drawBitmap(FuzzedDataProvider& input) {
    static const std::vector<std::uint8_t> identity = [] {
        std::vector<std::uint8_t> table(256);
        for (std::size_t value = 0; value < table.size(); ++value) {
            table[value] = static_cast<std::uint8_t>(value);
        }
        return table;
    }();
    const int depth = input.PickValueInArray(depths);
    const int xsize = input.ConsumeIntegralInRange(0, 40);
    const int ysize = input.ConsumeIntegralInRange(0, 24);
    const int bytesPerLine = (xsize * depth + 7) / 8 + input.ConsumeIntegralInRange(0, 2);
    const std::size_t size =
        static_cast<std::size_t>(bytesPerLine) * static_cast<std::size_t>(ysize);
    std::vector<std::uint8_t> pixels = input.ConsumeBytes<std::uint8_t>(size);
    pixels.resize(size);
    pixels.shrink_to_fit();
    const bool needsTable = depth == 1 || input.ConsumeBool();
    LCD_DrawBitmap(consumeX(input), consumeY(input), xsize, ysize,
                   input.ConsumeIntegralInRange(1, 3), input.ConsumeIntegralInRange(1, 3), depth,
                   bytesPerLine, pixels.data(), needsTable ? identity.data() : nullptr);
}

void drawPolygon(FuzzedDataProvider& input) {
    std::vector<GUI_POINT> points(input.ConsumeIntegralInRange<std::size_t>(1, 6));
    for (GUI_POINT& point : points) {
        point = {static_cast<std::int16_t>(consumeX(input)),
                 static_cast<std::int16_t>(consumeY(input))};
    }
    GUI_DrawPolygon(points.data(), static_cast<int>(points.size()), consumeX(input),
                    consumeY(input));
}

void drawSomething(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
        GUI_FillRect(consumeX(input), consumeY(input), consumeX(input), consumeY(input));
        break;
    case 1:
        GUI_InvertRect(consumeX(input), consumeY(input), consumeX(input), consumeY(input));
        break;
    case 2:
        GUI_ClearRect(consumeX(input), consumeY(input), consumeX(input), consumeY(input));
        break;
    case 3:
        drawPolygon(input);
        break;
    default:
        drawBitmap(input);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const fuzz::Screen screen(input.ConsumeBool() ? 64 : 32, input.ConsumeBool() ? 0xFF : 0x00);
    GUI_Context.ClipRect = fuzz::consumeClip(input);
    while (input.remaining_bytes() > 0) {
        const std::uint8_t mode = input.PickValueInArray(modes);
        GUI_SetDrawMode(mode);
        drawSomething(input);
        fuzz::require(GUI_Context.DrawMode == mode, "the draw mode is put back");
    }
    screen.checkOutsideClip();
    return 0;
}
