#pragma once
// Pixel writes into a piece of video memory that was checked as a whole beforehand.
// The panel takes what stands in the mapped bytes, and every pixel is one read-modify-write of
// its byte. Fences for the compiler, which cost no instruction, stand before and behind each one.
// Either alone keeps the compiler from joining neighbouring pixels of a byte into one write. The
// other one keeps the reading and the writing of a pixel on the same side of the condition that
// chooses its value, where they are one instruction: without it a page of text costs a quarter
// more. Runs with the library lock held, or inside GUI_Init.

#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

enum class PixelAction { Clear, Set, Invert };

template <PixelAction action>
inline void writePixel(std::uint8_t* byte, unsigned bit) {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if constexpr (action == PixelAction::Clear) {
        *byte = static_cast<std::uint8_t>(*byte & ~bit);
    } else if constexpr (action == PixelAction::Set) {
        *byte = static_cast<std::uint8_t>(*byte | bit);
    } else {
        *byte = static_cast<std::uint8_t>(*byte ^ bit);
    }
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

template <PixelAction action, unsigned... place>
inline void writePlaces(std::uint8_t* byte, std::integer_sequence<unsigned, place...> /*places*/) {
    (writePixel<action>(byte, 1U << place), ...);
}

// Writes the eight pixels of a byte, one after the other.
template <PixelAction action>
inline void writeWholeByte(std::uint8_t* byte) {
    writePlaces<action>(byte, std::make_integer_sequence<unsigned, 8>{});
}

// What drawing in the foreground does to a pixel in the present draw mode (on a 1-bit panel).
inline PixelAction foregroundAction() {
    if ((GUI_Context.DrawMode & GUI_DM_XOR) != 0) {
        return PixelAction::Invert;
    }
    return GUI_Context.aColorIndex[1] == 0 ? PixelAction::Clear : PixelAction::Set;
}

template <PixelAction action>
using PixelActionConstant = std::integral_constant<PixelAction, action>;

// Calls draw with the action as a type, so that its loops are compiled once per action.
template <typename Draw>
inline void withAction(PixelAction action, Draw draw) {
    switch (action) {
    case PixelAction::Clear:
        return draw(PixelActionConstant<PixelAction::Clear>{});
    case PixelAction::Set:
        return draw(PixelActionConstant<PixelAction::Set>{});
    case PixelAction::Invert:
        return draw(PixelActionConstant<PixelAction::Invert>{});
    }
}

// Bytes of a row of the plain screen, and the offset and address of a pixel's byte on it.
inline unsigned bytesPerRow() {
    return LCD_XSIZE / 8U;
}

inline unsigned offsetOfPixel(int x, int y) {
    return static_cast<unsigned>(y) * bytesPerRow() + static_cast<unsigned>(x) / 8;
}

inline std::uint8_t* byteOfPixel(int x, int y) {
    return pbMapMem + offsetOfPixel(x, y);
}

// True when each pixel of the rectangle (x0 <= x1, y0 <= y1) can be written without looking at it
// alone: all of it is on the screen and mapped, one bit stands for one pixel, and rows begin with
// a byte. Otherwise the pixels go through LCD_DriverSetPixelIndex, one by one, with its checks
// and messages.
inline bool isPlainScreen(int x0, int y0, int x1, int y1) {
    return (x0 | y0) >= 0 && x1 < LCD_XSIZE && y1 < LCD_YSIZE && LCD_BITSPERPIXEL == 1 &&
           LCD_XSIZE % 8 == 0 && pbMapMem != nullptr && offsetOfPixel(x1, y1) < ulVideoMemByteSize;
}
