#include "gui/pixel_writes.h"
#include "gui/sloped_line.h"

#include <algorithm>

namespace {

bool isInside(int value, int low, int high) {
    return value >= low && value <= high;
}

// Both kinds of panel are 128 pixels wide. Their columns are walked in constant steps and several
// rows at a time, so that the loop's own steps weigh less than the pixels.
constexpr std::size_t panelStride = 16;
constexpr int rowsAtOnce = 16;

template <PixelAction action, std::size_t... row>
inline void writeRows(std::uint8_t* byte, unsigned bit, std::index_sequence<row...> /*rows*/) {
    (writePixel<action>(byte + row * panelStride, bit), ...);
}

// Column of count pixels in the same place of their bytes, which are stride apart.
template <PixelAction action>
inline void writeColumn(std::uint8_t* byte, unsigned bit, std::size_t stride, int count) {
    if (stride == panelStride) {
        for (; count >= rowsAtOnce; count -= rowsAtOnce, byte += rowsAtOnce * panelStride) {
            writeRows<action>(byte, bit, std::make_index_sequence<rowsAtOnce>{});
        }
    }
    for (; count > 0; --count, byte += stride) {
        writePixel<action>(byte, bit);
    }
}

[[gnu::noinline]] void drawCheckedVLine(int x, int y0, int y1) {
    for (int y = y0; y <= y1; ++y) {
        LCD_DrawPixel(x, y);
    }
}

void drawVLine(int x, int y0, int y1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    y0 = std::max<int>(y0, clip.y0);
    y1 = std::min<int>(y1, clip.y1);
    if (!isInside(x, clip.x0, clip.x1) || y0 > y1) {
        return;
    }
    if (!isPlainScreen(x, y0, x, y1)) {
        drawCheckedVLine(x, y0, y1);
        return;
    }
    withAction(foregroundAction(), [=]<PixelAction action>(PixelActionConstant<action>) {
        const unsigned bit = 1U << (static_cast<unsigned>(x) % 8);
        writeColumn<action>(byteOfPixel(x, y0), bit, bytesPerRow(), y1 - y0 + 1);
    });
}

} // namespace

void LCD_DrawPixel(int x, int y) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    if (!isInside(x, clip.x0, clip.x1) || !isInside(y, clip.y0, clip.y1)) {
        return;
    }
    if ((GUI_Context.DrawMode & GUI_DM_XOR) != 0) {
        LCD_DriverXorPixel(x, y);
    } else {
        LCD_DriverSetPixelIndex(x, y, GUI_Context.aColorIndex[1]);
    }
}

void LCD_DrawPoint(int x, int y) {
    LCD_DrawPixel(x, y);
}

void LCD_DrawHLine(int x0, int y, int x1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    if (!isInside(y, clip.y0, clip.y1)) {
        return;
    }
    x0 = std::max<int>(x0, clip.x0);
    x1 = std::min<int>(x1, clip.x1);
    if (x0 > x1) {
        return;
    }
    LCD_DriverDrawHLine(x0, y, x1);
}

void LCD_DrawLine(int x0, int y0, int x1, int y1) {
    if (x0 == x1 && y0 == y1) {
        LCD_DrawPoint(x0, y0);
    } else if (y0 == y1) {
        LCD_DrawHLine(std::min(x0, x1), y0, std::max(x0, x1));
    } else if (x0 == x1) {
        drawVLine(x0, std::min(y0, y1), std::max(y0, y1));
    } else {
        LCD_DrawSlopedLine(x0, y0, x1, y1);
    }
}
