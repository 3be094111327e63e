// Primitives whose cost in instructions callgrind counts (bench/instructions.py), drawn into memory
// that stands for the panel. Each is drawn once to warm up and once as measuredScene. Prints its
// name and the pixels that it writes.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <array>
#include <cstdio>

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

void fillRectangle() {
    GUI_FillRect(13, 20, 52, 39);
}

void drawOutline() {
    constexpr std::array<GUI_POINT, 4> corners = {{{0, 0}, {127, 0}, {127, 63}, {0, 63}}};
    GUI_DrawPolygon(corners.data(), static_cast<int>(corners.size()), 0, 0);
}

// In all directions, from edge to edge.
void drawLines() {
    for (int x = 0; x < width; ++x) {
        LCD_DrawLine(x, 0, width - 1 - x, height - 1);
    }
    for (int y = 0; y < height; ++y) {
        LCD_DrawLine(0, y, width - 1, height - 1 - y);
    }
}

} // namespace

// The function that callgrind watches for.
extern "C" [[gnu::noinline]] void measuredScene(void (*draw)()) {
    draw();
}

int main() {
    attachMemory();
    const struct {
        const char* name;
        int pixels;
        void (*draw)();
    } scenes[] = {
        {"fill", 800, fillRectangle}, {"outline", 384, drawOutline}, {"lines", 18496, drawLines}};
    for (const auto& scene : scenes) {
        scene.draw();
        measuredScene(scene.draw);
        std::printf("%s %d\n", scene.name, scene.pixels);
    }
}
