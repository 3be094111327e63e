#pragma once

// Video memory of a test, attached to the driver.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"
#include "tests/support/golden.h"

#include <algorithm>
#include <cstdint>
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
    // Nothing was written before or behind the video memory and no operation kept the lock.
    ~Panel() {
        const std::span all(memory_);
        EXPECT_EQ(std::ranges::count(all.first(guard), canary), guard);
        EXPECT_EQ(std::ranges::count(all.last(guard), canary), guard);
        EXPECT_EQ(GUI_LockCnt, 0);
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

  private:
    static constexpr std::ptrdiff_t guard = 64;
    static constexpr std::uint8_t canary = 0xA5;

    std::size_t size_;
    std::vector<std::uint8_t> memory_;
};

inline std::int16_t coordinate(int value) {
    return static_cast<std::int16_t>(value);
}

inline void setClip(int x0, int y0, int x1, int y1) {
    GUI_Context.ClipRect = {coordinate(x0), coordinate(y0), coordinate(x1), coordinate(y1)};
}

// The colour indices, background and foreground, as one number of two digits.
inline int indices() {
    return GUI_Context.aColorIndex[0] * 10 + GUI_Context.aColorIndex[1];
}
