#pragma once

// Video memory of a test, attached to the driver, and a plain model of it: what the documented
// formulas say, pixel by pixel, without any thought of speed.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"
#include "picture/bitmap.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <vector>

class Panel {
  public:
    explicit Panel(int width = 128, int height = 64, int bitsPerPixel = 1)
        : size_(static_cast<std::size_t>(width * height * bitsPerPixel / 8)),
          memory_(size_ + 2 * guard, canary) {
        GUI_Context = {};
        LCD_XSIZE = static_cast<std::uint8_t>(width);
        LCD_YSIZE = static_cast<std::uint8_t>(height);
        LCD_BITSPERPIXEL = static_cast<std::uint8_t>(bitsPerPixel);
        pbMapMem = memory_.data() + guard;
        ulVideoMemByteSize = static_cast<std::uint32_t>(size_);
        GUI_Init();
    }
    ~Panel() {
        pbMapMem = nullptr;
        ulVideoMemByteSize = 0;
    }
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    std::span<std::uint8_t> bytes() { return std::span(memory_).subspan(guard, size_); }
    void fill(std::uint8_t value) { std::ranges::fill(bytes(), value); }
    picture::Bitmap picture() {
        return picture::Bitmap::fromVideoMemory(bytes(), LCD_XSIZE, LCD_YSIZE);
    }
    // False when something wrote before or behind the video memory.
    bool isIntact() const {
        const auto isCanary = [](std::uint8_t byte) { return byte == canary; };
        const std::span all(memory_);
        return std::ranges::all_of(all.first(guard), isCanary) &&
               std::ranges::all_of(all.last(guard), isCanary);
    }

  private:
    static constexpr std::size_t guard = 64;
    static constexpr std::uint8_t canary = 0xA5;

    std::size_t size_;
    std::vector<std::uint8_t> memory_;
};

class PanelModel {
  public:
    explicit PanelModel(Panel& panel) : bytes(panel.bytes().begin(), panel.bytes().end()) {}

    std::vector<std::uint8_t> bytes;

    // What drawing in the foreground does to a pixel inside the clip rectangle.
    void draw(int x, int y, int index = GUI_Context.aColorIndex[1]) {
        const GUI_RECT& clip = GUI_Context.ClipRect;
        std::uint8_t* const byte = byteOf(x, y);
        if (byte == nullptr || x < clip.x0 || x > clip.x1 || y < clip.y0 || y > clip.y1) {
            return;
        }
        const unsigned bit = 1U << (x % 8);
        if ((GUI_Context.DrawMode & GUI_DM_XOR) != 0) {
            index = (1 << LCD_BITSPERPIXEL) - 1 - ((*byte & bit) != 0 ? 1 : 0);
        }
        *byte = static_cast<std::uint8_t>(index != 0 ? *byte | bit : *byte & ~bit);
    }

  private:
    std::uint8_t* byteOf(int x, int y) {
        const int offset = x / 8 + (LCD_XSIZE * y) / 8;
        const bool isRefused = x < 0 || y < 0 || offset >= (LCD_XSIZE * LCD_YSIZE) >> 3;
        return isRefused ? nullptr : &bytes.at(static_cast<std::size_t>(offset));
    }
};

// Random numbers of a test, the same in every run.
class Dice {
  public:
    int between(int low, int high) {
        return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1));
    }
    // Contents of the screen before a drawing: dark, lit or noise.
    void scramble(Panel& panel) {
        const int kind = between(0, 2);
        for (std::uint8_t& byte : panel.bytes()) {
            byte = static_cast<std::uint8_t>(kind == 0 ? 0 : kind == 1 ? 0xFF : between(0, 255));
        }
    }
    // Colours, draw mode and a clip rectangle inside the screen.
    void chooseContext(std::uint8_t modeBits) {
        LCD_SetDrawMode(GUI_DM_NORMAL);
        LCD_SetColorIndex(static_cast<std::uint8_t>(between(0, 1)));
        LCD_SetBkColorIndex(static_cast<std::uint8_t>(between(0, 2)));
        LCD_SetDrawMode(static_cast<std::uint8_t>(between(0, 7) & modeBits));
        LCD_SetClipRectMax(&GUI_Context.ClipRect);
        if (between(0, 2) != 0) {
            const auto x0 = static_cast<std::int16_t>(between(0, LCD_XSIZE - 1));
            const auto y0 = static_cast<std::int16_t>(between(0, LCD_YSIZE - 1));
            GUI_Context.ClipRect = {x0, y0, static_cast<std::int16_t>(between(x0, LCD_XSIZE - 1)),
                                    static_cast<std::int16_t>(between(y0, LCD_YSIZE - 1))};
        }
    }

  private:
    std::mt19937 engine_{20};
};

// Panels for random drawing: both real sizes, and sizes and depths that no panel has. On the odd
// ones rows share bytes, so the order of the pixels shows.
struct PanelKind {
    int width;
    int height;
    int bitsPerPixel;
};
inline constexpr PanelKind panelKinds[] = {{128, 64, 1}, {128, 32, 1}, {24, 16, 1}, {100, 20, 1},
                                           {12, 8, 1},   {32, 8, 2},   {16, 8, 8},  {248, 31, 1}};

// Draws at random, `rounds` times on every kind of panel. draw(dice, model) draws once through the
// library and once into the model.
template <typename Draw>
void compareWithModel(int rounds, std::uint8_t modeBits, Draw draw) {
    for (const auto& [width, height, bitsPerPixel] : panelKinds) {
        Panel panel(width, height, bitsPerPixel);
        Dice dice;
        for (int round = 0; round < rounds; ++round) {
            dice.scramble(panel);
            dice.chooseContext(modeBits);
            const int colors = GUI_Context.aColorIndex[0] * 256 + GUI_Context.aColorIndex[1];
            PanelModel model(panel);
            draw(dice, model);
            ASSERT_TRUE(std::ranges::equal(panel.bytes(), model.bytes))
                << "round " << round << " on " << width << " x " << height;
            ASSERT_TRUE(panel.isIntact());
            ASSERT_EQ(colors, GUI_Context.aColorIndex[0] * 256 + GUI_Context.aColorIndex[1]);
        }
    }
}
