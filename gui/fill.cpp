#include "gui/pixel_writes.h"

#include <algorithm>

namespace {

// Row of count pixels, the first being pixel firstPixel (0 leftmost) of the byte.
template <PixelAction action>
inline void writeRow(std::uint8_t* byte, unsigned firstPixel, unsigned count) {
    if (firstPixel != 0) {
        const unsigned end = std::min(8U, firstPixel + count);
        for (unsigned bit = 1U << firstPixel; bit != 1U << end; bit <<= 1) {
            writePixel<action>(byte, bit);
        }
        count -= end - firstPixel;
        ++byte;
    }
    // Four bytes at a time, so that the loop's own steps weigh less than the pixels.
    for (; count >= 32; count -= 32, byte += 4) {
        writeWholeByte<action>(byte);
        writeWholeByte<action>(byte + 1);
        writeWholeByte<action>(byte + 2);
        writeWholeByte<action>(byte + 3);
    }
    for (; count >= 8; count -= 8, ++byte) {
        writeWholeByte<action>(byte);
    }
    for (unsigned bit = 1U; bit != 1U << count; bit <<= 1) {
        writePixel<action>(byte, bit);
    }
}

// Not inlined: its registers would be saved for every row, 9 % of a fill.
[[gnu::noinline]] void drawCheckedHLine(int x0, int y, int x1) {
    const bool isInverting = (GUI_Context.DrawMode & GUI_DM_XOR) != 0;
    for (int x = x0; x <= x1; ++x) {
        if (isInverting) {
            LCD_DriverXorPixel(x, y);
        } else {
            LCD_DriverSetPixelIndex(x, y, GUI_Context.aColorIndex[1]);
        }
    }
}

} // namespace

void LCD_DriverDrawHLine(int x0, int y, int x1) {
    if (x0 > x1) {
        return;
    }
    if (!isPlainScreen(x0, y, x1, y)) {
        drawCheckedHLine(x0, y, x1);
        return;
    }
    withAction(foregroundAction(), [=]<PixelAction action>(PixelActionConstant<action>) {
        const auto first = static_cast<unsigned>(x0);
        writeRow<action>(byteOfPixel(x0, y), first % 8, static_cast<unsigned>(x1) - first + 1);
    });
}

void LCD_DriverFillRect(int x0, int y0, int x1, int y1) {
    for (int y = y0; y <= y1; ++y) {
        LCD_DriverDrawHLine(x0, y, x1);
    }
}

void LCD_FillRect(int x0, int y0, int x1, int y1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    x0 = std::max<int>(x0, clip.x0);
    x1 = std::min<int>(x1, clip.x1);
    if (x0 > x1) {
        return;
    }
    y1 = std::min<int>(y1, clip.y1);
    y0 = std::max<int>(y0, clip.y0);
    if (y0 > y1) {
        return;
    }
    LCD_DriverFillRect(x0, y0, x1, y1);
}

void GUI_FillRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    LCD_FillRect(x0, y0, x1, y1);
    GUI_Unlock();
}

void GUI_InvertRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    const std::uint8_t previous = GUI_SetDrawMode(GUI_DM_XOR);
    LCD_FillRect(x0, y0, x1, y1);
    GUI_SetDrawMode(previous);
    GUI_Unlock();
}

void GUI_ClearRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    const std::uint8_t previous = LCD_SetDrawMode(GUI_DM_REV);
    LCD_FillRect(x0, y0, x1, y1);
    LCD_SetDrawMode(previous);
    GUI_Unlock();
}

void GUI_Clear() {
    GUI_Lock();
    GUI_GotoXY(0, 0);
    GUI_ClearRect(-farEdge, -farEdge, farEdge, farEdge);
    GUI_Unlock();
}
