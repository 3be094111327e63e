// A panel's video memory for the fuzz targets, allocated to the byte, so that the address
// sanitizer sees every access beyond it.
#pragma once

#include "gui/gui.h"
#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <vector>

namespace fuzz {

inline void require(bool held, const char* what) {
    if (!held) {
        std::fprintf(stderr, "violated: %s\n", what);
        std::abort();
    }
}

class Screen {
  public:
    // A screen of the given lines, each byte filled with `fill`, default context.
    Screen(std::uint8_t lines, std::uint8_t fill)
        : size_(LCD_XSIZE / 8U * lines), memory_(new std::uint8_t[size_]) {
        LCD_YSIZE = lines;
        pbMapMem = memory_.get();
        ulVideoMemByteSize = static_cast<std::uint32_t>(size_);
        GUI_Init();
        std::fill_n(memory_.get(), size_, fill);
        before_.assign(memory_.get(), memory_.get() + size_);
    }
    ~Screen() {
        pbMapMem = nullptr;
        ulVideoMemByteSize = 0;
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // Nothing outside the clip rectangle may have changed.
    void checkOutsideClip() const {
        const GUI_RECT& clip = GUI_Context.ClipRect;
        for (int y = 0; y < LCD_YSIZE; ++y) {
            for (int x = 0; x < LCD_XSIZE; ++x) {
                const bool inside = x >= clip.x0 && x <= clip.x1 && y >= clip.y0 && y <= clip.y1;
                require(inside || lit(memory_.get(), x, y) == lit(before_.data(), x, y),
                        "a pixel outside the clip rectangle changed");
            }
        }
    }

  private:
    static bool lit(const std::uint8_t* memory, int x, int y) {
        return (memory[y * (LCD_XSIZE / 8) + x / 8] >> (x % 8) & 1) != 0;
    }

    std::size_t size_;
    std::unique_ptr<std::uint8_t[]> memory_;
    std::vector<std::uint8_t> before_;
};

// A clip rectangle on the screen, possibly a single pixel.
inline GUI_RECT consumeClip(FuzzedDataProvider& input) {
    const auto x0 = input.ConsumeIntegralInRange<std::int16_t>(0, LCD_XSIZE - 1);
    const auto y0 = input.ConsumeIntegralInRange<std::int16_t>(0, LCD_YSIZE - 1);
    return {x0, y0, input.ConsumeIntegralInRange<std::int16_t>(x0, LCD_XSIZE - 1),
            input.ConsumeIntegralInRange<std::int16_t>(y0, LCD_YSIZE - 1)};
}

} // namespace fuzz
