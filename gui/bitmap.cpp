#include "gui/cell_writer.h"
#include "gui/pixel_writes.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <utility>

std::uint8_t LCD__aConvTable[256];

namespace {

// How a bitmap's pixels become pixel indices: its depth, its rows and its translation table.
struct Source {
    const std::uint8_t* data; // current row
    int bytesPerLine;
    int depth;                 // bits per pixel, 1 to 8
    const std::uint8_t* table; // null: values are indices

    // Value of the pixel at a place of the current row, the leftmost in the highest bits.
    unsigned value(int place) const {
        const int perByte = CHAR_BIT / depth;
        const unsigned byte = data[place / perByte];
        const unsigned aligned = (byte << (place % perByte * depth)) & 0xFF;
        return aligned >> (CHAR_BIT - depth);
    }

    std::uint8_t index(unsigned value) const {
        return table != nullptr ? table[value] : static_cast<std::uint8_t>(value);
    }
};

// ---- On the screen: nothing is left to clip ---------------------------------------------------

// Top-left corner and extent on the screen; the first pixel's place in the source's rows.
struct Extent {
    int x;
    int y;
    int xsize;
    int ysize;
    int place;
};

void drawPixel(int x, int y, int mode, const Source& source, unsigned value) {
    if (mode == GUI_DM_XOR) {
        if (source.depth == 1 && value != 0) {
            LCD_DriverXorPixel(x, y);
        }
    } else if (mode == GUI_DM_NORMAL || value != 0) {
        LCD_DriverSetPixelIndex(x, y, source.index(value));
    }
}

bool isDrawableDepth(int depth) {
    return depth == 1 || depth == 2 || depth == 4 || depth == 8;
}

// Not inlined: its registers would be saved for every glyph.
[[gnu::noinline]] void drawPixelByPixel(Extent to, int mode, Source source) {
    if (!isDrawableDepth(source.depth) || mode == (GUI_DM_XOR | GUI_DM_TRANS)) {
        return;
    }
    for (int row = 0; row < to.ysize; ++row, source.data += source.bytesPerLine) {
        for (int i = 0; i < to.xsize; ++i) {
            drawPixel(to.x + i, to.y + row, mode, source, source.value(to.place + i));
        }
    }
}

// The usual case, a glyph: both values are written, one of them lit.
inline bool isCell(const Extent& to, int mode, const Source& source) {
    return source.depth == 1 && mode == GUI_DM_NORMAL &&
           (source.index(0) == 0) != (source.index(1) == 0) &&
           isPlainScreen(to.x, to.y, to.x + to.xsize - 1, to.y + to.ysize - 1);
}

} // namespace

void LCD_DriverDrawBitmap(int x0, int y0, int xsize, int ysize, int bitsPerPixel, int bytesPerLine,
                          const std::uint8_t* data, int xOffset, const std::uint8_t* table) {
    if (xsize < 1 || ysize < 1) {
        return;
    }
    const int mode = GUI_Context.DrawMode & (GUI_DM_XOR | GUI_DM_TRANS);
    const int place = bitsPerPixel == CHAR_BIT ? 0 : xOffset;
    const Extent to{x0 + place, y0, xsize, ysize, place};
    const Source source{data, bytesPerLine, bitsPerPixel, table};
    if (isCell(to, mode, source)) {
        writeCell({to.x, y0, xsize, ysize, data, bytesPerLine, place, source.index(1) != 0});
    } else {
        drawPixelByPixel(to, mode, source);
    }
}

namespace {

// ---- Clipping ---------------------------------------------------------------------------------

bool blocksIntersect(std::int64_t low, std::int64_t high, int clipLow, int clipHigh) {
    return clipLow <= high && low <= clipHigh;
}

// Flattened: ten arguments per glyph would weigh more than its clipping.
[[gnu::flatten]] inline void drawClipped(int x0, int y0, int xsize, int ysize, Source source) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    const auto left = std::max<std::int64_t>(x0, clip.x0);
    const auto top = std::max<std::int64_t>(y0, clip.y0);
    const auto right = std::min<std::int64_t>(std::int64_t{x0} + xsize - 1, clip.x1);
    const auto bottom = std::min<std::int64_t>(std::int64_t{y0} + ysize - 1, clip.y1);
    if (left > right || top > bottom) {
        return;
    }
    // At the left whole bytes are passed over; the pixels to skip in the next one are the offset.
    int xOffset = 0;
    if (left > x0) {
        const int perByte = CHAR_BIT / source.depth;
        const std::int64_t hidden = left - x0;
        source.data += hidden / perByte;
        xOffset = static_cast<int>(hidden % perByte);
    }
    source.data += (top - y0) * source.bytesPerLine;
    LCD_DriverDrawBitmap(static_cast<int>(left) - xOffset, static_cast<int>(top),
                         static_cast<int>(right - left + 1), static_cast<int>(bottom - top + 1),
                         source.depth, source.bytesPerLine, source.data, xOffset, source.table);
}

void drawMagnifiedRow(int x0, int xsize, int xMag, int yTop, int yBottom, const Source& source) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    const bool isTransparent = (GUI_Context.DrawMode & GUI_DM_TRANS) != 0;
    for (int i = 0; i < xsize; ++i) {
        const unsigned value = source.value(i);
        const std::int64_t left = x0 + std::int64_t{xMag} * i;
        const std::int64_t right = left + xMag - 1;
        if ((value == 0 && isTransparent) || !blocksIntersect(left, right, clip.x0, clip.x1)) {
            continue;
        }
        // The table may be aColorIndex itself: it is whole again before the next pixel.
        const std::uint8_t index = source.index(value);
        const std::uint8_t foreground = std::exchange(GUI_Context.aColorIndex[1], index);
        LCD_FillRect(static_cast<int>(left), yTop, static_cast<int>(right), yBottom);
        GUI_Context.aColorIndex[1] = foreground;
    }
}

void drawMagnified(int x0, int y0, int xsize, int ysize, int xMag, int yMag, Source source) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    for (int row = 0; row < ysize; ++row, source.data += source.bytesPerLine) {
        const std::int64_t top = y0 + std::int64_t{yMag} * row;
        const std::int64_t bottom = top + yMag - 1;
        if (blocksIntersect(top, bottom, clip.y0, clip.y1)) {
            drawMagnifiedRow(x0, xsize, xMag, static_cast<int>(top), static_cast<int>(bottom),
                             source);
        }
    }
}

} // namespace

void LCD_DrawBitmap(int x0, int y0, int xsize, int ysize, int xMag, int yMag, int bitsPerPixel,
                    int bytesPerLine, const std::uint8_t* data, const std::uint8_t* table) {
    if (bitsPerPixel < 1 || bitsPerPixel > CHAR_BIT) {
        return;
    }
    const Source source{data, bytesPerLine, bitsPerPixel, table};
    if ((xMag | yMag) == 1) {
        drawClipped(x0, y0, xsize, ysize, source);
    } else {
        drawMagnified(x0, y0, xsize, ysize, xMag, yMag, source);
    }
}

const std::uint8_t* LCD_GetPalConvTable(const GUI_Palette* palette) {
    constexpr std::int32_t tableSize = sizeof LCD__aConvTable;
    if (palette == nullptr || palette->pPalEntries == nullptr || palette->NumEntries > tableSize) {
        return nullptr;
    }
    for (std::int32_t i = 0; i < palette->NumEntries; ++i) {
        LCD__aConvTable[i] = LCD_Color2Index(palette->pPalEntries[i]);
    }
    return LCD__aConvTable;
}

void GUI__DrawBitmap(const GUI_Bitmap* bitmap, int x, int y) {
    const GUI_Palette* const palette = bitmap->pPal;
    const std::uint8_t previous = GUI_SetDrawMode(GUI_DM_NORMAL);
    const bool isTransparent = palette != nullptr && palette->HasTrans != 0;
    GUI_SetDrawMode(static_cast<std::uint8_t>(isTransparent ? previous | GUI_DM_TRANS
                                                            : previous & ~GUI_DM_TRANS));
    const std::uint8_t* table = LCD_GetPalConvTable(palette);
    if (table == nullptr && bitmap->BitsPerPixel == 1) {
        table = GUI_Context.aColorIndex;
    }
    LCD_DrawBitmap(x, y, bitmap->XSize, bitmap->YSize, 1, 1, bitmap->BitsPerPixel,
                   bitmap->BytesPerLine, bitmap->pData, table);
    GUI_SetDrawMode(previous);
}

void GUI_DrawBitmap(const GUI_Bitmap* bitmap, int x, int y) {
    GUI_Lock();
    GUI__DrawBitmap(bitmap, x, y);
    GUI_Unlock();
}
