// Cost of drawing in instructions, counted by callgrind:
//
//   valgrind --tool=callgrind --callgrind-out-file=/dev/null
//       --toggle-collect='measuredScene*' build/release/bench/gui_cost SCENE
//
// Each scene is drawn once to warm up and once while counting, into a piece of memory that stands
// for the panel. Without a scene the program lists them with the pixels that each one writes.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <random>

namespace {

constexpr int width = 128;
constexpr int height = 64;

std::array<std::uint8_t, width * height / 8> videoMemory;

// What GUI_Init sets up, but on memory of our own: a real panel stays untouched.
void attachMemory() {
    pbMapMem = videoMemory.data();
    ulVideoMemByteSize = videoMemory.size();
    GUI_Context.pClipRect = &GUI_Context.ClipRect;
    GUI_Context.PenSize = 1;
    GUI_Context.pFont = &GUI_Font6x8;
    GUI_Context.pEncodeAPI = &GUI__API_TableNone;
    LCD_SetColor(0xFFFFFF);
    LCD_InitDisplay();
}

constexpr std::array<std::uint8_t, 72> iconData = {
    0x1E, 0x3C, 0x78, 0x3F, 0x3C, 0xFC, 0x7E, 0x00, 0x7E, 0xFC, 0xFF, 0x3F, 0xFB, 0xFF, 0xDF,
    0xF7, 0xFF, 0xEF, 0x6F, 0x99, 0xF6, 0x5E, 0x18, 0x7A, 0x1C, 0x18, 0x38, 0x3C, 0x18, 0x3C,
    0x38, 0x18, 0x1C, 0x38, 0x18, 0x1C, 0x3C, 0x3C, 0x3C, 0x3C, 0x3C, 0x3C, 0x38, 0x1E, 0x1C,
    0x38, 0x07, 0x1C, 0x3C, 0x03, 0x3C, 0x1C, 0x00, 0x38, 0x1E, 0x00, 0x78, 0x0F, 0x99, 0xF0,
    0x07, 0xFF, 0xE0, 0x03, 0xFF, 0xC0, 0x07, 0xFF, 0xE0, 0x06, 0x00, 0x60};
constexpr std::array<std::uint32_t, 2> colors = {0x000000, 0x808080};
constexpr GUI_Palette palette = {2, 0, colors.data()};
constexpr GUI_Bitmap largeIcon = {24, 24, 3, 1, iconData.data(), &palette, nullptr};
constexpr GUI_Bitmap smallIcon = {16, 16, 3, 1, iconData.data(), &palette, nullptr};

// Icon, time and date: 3,350 pixels.
void drawClockPage() {
    GUI_DrawBitmap(&largeIcon, 10, 18);
    GUI_SetFont(&GUI_FontProp19);
    GUI_DispStringAt("09:05:03", 48, 10);
    GUI_DispStringAt("2024-03-18", 35, 35);
}

// Icon, title in reverse, label and address: 4,028 pixels.
void drawEthernetPage() {
    GUI_DrawBitmap(&smallIcon, 6, 5);
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

struct Ends {
    int x0, y0, x1, y1;
};

std::array<Ends, 1000> randomLines;

void chooseLines() {
    std::mt19937 random(1);
    const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    for (Ends& line : randomLines) {
        line = {below(width), below(height), below(width), below(height)};
    }
}

void drawLines() {
    for (const Ends& line : randomLines) {
        LCD_DrawLine(line.x0, line.y0, line.x1, line.y1);
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
        if (argc < 2) {
            std::printf("%-10s %5d pixels\n", scene.name, scene.pixels);
        } else if (std::strcmp(argv[1], scene.name) == 0) {
            scene.draw();
            measuredScene(scene.draw);
            return 0;
        }
    }
    return argc < 2 ? 0 : 1;
}
