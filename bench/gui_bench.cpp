// Time of the graphics library's primitives, on memory of their own.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

constexpr int width = 128;
constexpr int height = 64;

std::array<std::uint8_t, width * height / 8> videoMemory;

// The first GUI_Init finds no framebuffer; from then on the memory here is the panel.
void attachMemory() {
    GUI_Init();
    pbMapMem = videoMemory.data();
    ulVideoMemByteSize = videoMemory.size();
    GUI_Init();
}

void fillRectangle(benchmark::State& state) {
    attachMemory();
    for (auto pass : state) {
        GUI_FillRect(13, 20, 52, 39);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 40 * 20);
}
BENCHMARK(fillRectangle);

void clearScreen(benchmark::State& state) {
    attachMemory();
    for (auto pass : state) {
        GUI_Clear();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}
BENCHMARK(clearScreen);

void outline(benchmark::State& state) {
    attachMemory();
    constexpr std::array<GUI_POINT, 4> corners = {{{0, 0}, {127, 0}, {127, 63}, {0, 63}}};
    for (auto pass : state) {
        GUI_DrawPolygon(corners.data(), static_cast<int>(corners.size()), 0, 0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * (2 * width + 2 * height - 4));
}
BENCHMARK(outline);

void text(benchmark::State& state, const GUI_Font* font, std::int16_t mode) {
    attachMemory();
    GUI_SetFont(font);
    GUI_SetTextMode(mode);
    for (auto pass : state) {
        GUI_DispStringAt("192.168.1", 3, 5);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 9);
}
BENCHMARK_CAPTURE(text, font6x8, &GUI_Font6x8, GUI_TM_NORMAL);
BENCHMARK_CAPTURE(text, mono6x12, &GUI_FontMono6x12, GUI_TM_NORMAL);
BENCHMARK_CAPTURE(text, mono10x19, &GUI_FontMono10x19, GUI_TM_NORMAL);
BENCHMARK_CAPTURE(text, mono10x19Reversed, &GUI_FontMono10x19, GUI_TM_REV);
BENCHMARK_CAPTURE(text, prop19, &GUI_FontProp19, GUI_TM_NORMAL);
BENCHMARK_CAPTURE(text, prop19Transparent, &GUI_FontProp19, GUI_TM_TRANS);

void bitmap(benchmark::State& state, std::uint16_t bitsPerPixel) {
    attachMemory();
    static constexpr std::array<std::uint8_t, 24 * 24> pixels{};
    const auto bytesPerLine = static_cast<std::uint16_t>(24 * bitsPerPixel / 8);
    const GUI_Bitmap picture = {24,      24,     bytesPerLine, bitsPerPixel, pixels.data(),
                                nullptr, nullptr};
    for (auto pass : state) {
        GUI_DrawBitmap(&picture, 11, 18);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 24 * 24);
}
BENCHMARK_CAPTURE(bitmap, bits1, 1);
BENCHMARK_CAPTURE(bitmap, bits2, 2);
BENCHMARK_CAPTURE(bitmap, bits8, 8);

} // namespace

BENCHMARK_MAIN();
