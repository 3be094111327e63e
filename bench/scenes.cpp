// Scenes whose cost in instructions callgrind counts, drawn into memory that stands for the panel:
//
//   valgrind --tool=callgrind --toggle-collect='measuredScene*' build/release/bench/scenes SCENE
//
// Each is drawn once to warm up and once while counting. Prints the pixels that it writes.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"
#include "pages/icons.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <random>

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

void drawClockPage() {
    GUI_DrawBitmap(&IconClock, 10, 18);
    GUI_SetFont(&GUI_FontProp19);
    GUI_DispStringAt("09:05:03", 48, 10);
    GUI_DispStringAt("2024-03-18", 35, 35);
}

void drawEthernetPage() {
    GUI_DrawBitmap(&IconEthernet, 6, 5);
    GUI_SetFont(&GUI_FontMono10x19);
    GUI_SetTextMode(GUI_TM_REV);
    GUI_DispStringAt("ETH 1 CONF", 26, 4);
    GUI_SetTextMode(GUI_TM_NORMAL);
    GUI_SetFont(&GUI_FontMono6x12);
    GUI_DispStringAt("IP Address:", 15, 26);
    GUI_DispStringHCenterAt("192.168.100.100", 64, 42);
}

void fillRectangle() {
    GUI_FillRect(13, 20, 52, 39);
}

void drawOutline() {
    constexpr std::array<GUI_POINT, 4> corners = {{{0, 0}, {127, 0}, {127, 63}, {0, 63}}};
    GUI_DrawPolygon(corners.data(), static_cast<int>(corners.size()), 0, 0);
}

std::array<std::array<int, 4>, 1000> randomLines;

void chooseLines() {
    std::mt19937 random(1);
    const auto below = [&random](unsigned limit) { return static_cast<int>(random() % limit); };
    for (auto& line : randomLines) {
        line = {below(width), below(height), below(width), below(height)};
    }
}

void drawLines() {
    for (const auto& [x0, y0, x1, y1] : randomLines) {
        LCD_DrawLine(x0, y0, x1, y1);
    }
}

struct Scene {
    const char* name;
    int pixels; // 0: not counted
    void (*draw)();
};

constexpr std::array<Scene, 5> scenes = {{{"clock", 3350, drawClockPage},
                                          {"ethernet", 4028, drawEthernetPage},
                                          {"fill", 800, fillRectangle},
                                          {"outline", 384, drawOutline},
                                          {"lines", 0, drawLines}}};

} // namespace

// The function that callgrind watches for.
extern "C" [[gnu::noinline]] void measuredScene(void (*draw)()) {
    draw();
}

int main(int argc, char** argv) {
    attachMemory();
    chooseLines();
    for (const Scene& scene : scenes) {
        if (argc == 2 && std::strcmp(argv[1], scene.name) == 0) {
            scene.draw();
            measuredScene(scene.draw);
            std::printf("%d\n", scene.pixels);
            return 0;
        }
    }
    return 1;
}
