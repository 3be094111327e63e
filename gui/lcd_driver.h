#pragma once
// Framebuffer driver: pixels written straight into the mapped video memory of /dev/fb0.
// Runs with the library lock held, or inside GUI_Init; it has no lock of its own. The raw
// operations know no clip rectangle: callers pass coordinates inside the screen. LCD_FillRect and
// LCD_DrawBitmap clip. Prints what goes wrong at opening, and accesses behind the end of the
// screen. Without a mapping the video memory counts as empty and pixels are refused silently.
//
// Layout, one bit per pixel: rows follow each other from y = 0, LCD_XSIZE / 8 bytes each. Pixel
// (x, y) is bit x mod 8 (bit 0 leftmost) of byte x / 8 + (LCD_XSIZE * y) / 8; a set bit is lit.

#include "gui/gui.h"

#include <cstdint>

// Behind the right and lower edge of any panel, pixels.
inline constexpr int farEdge = 4095;

extern std::uint8_t LCD_XSIZE;        // pixels
extern std::uint8_t LCD_YSIZE;        // pixels
extern std::uint8_t LCD_BITSPERPIXEL; // bits
extern int fdFrameBuffer;             // -1: not open
extern std::uint8_t* pbMapMem;        // null: nothing mapped
extern std::uint32_t ulVideoMemByteSize;
extern std::uint8_t LCD__aConvTable[256]; // pixel indices of the palette converted last

// Opens the device on the first call only; clears the video memory on every call.
void LCD_DriverInit();
// Opens /dev/fb0, asks for its size and maps it. A failure is printed and leaves no mapping.
void LCD_DriverOpen();
// Hands the colour of each pixel index to the panel's palette.
void LCD_DriverInitLUT();
// Steps of a panel's controller; this display needs none of them.
int LCD_DriverInitController();
void LCD_DriverOn();
void LCD_DriverSetLUTEntry(int index, std::uint32_t color);

// 0 or 1; 0 with a message behind the end of the screen, 0 where nothing is mapped.
int LCD_DriverGetPixelIndex(int x, int y);
// 0 clears, any other index sets; nothing (with a message) behind the end of the screen.
void LCD_DriverSetPixelIndex(int x, int y, int index);
// Writes the highest index minus the present one: inverts a 1-bit pixel.
void LCD_DriverXorPixel(int x, int y);
// Foreground index, or inversion when DrawMode has the XOR bit.
void LCD_DriverDrawHLine(int x0, int y, int x1);
void LCD_DriverFillRect(int x0, int y0, int x1, int y1);
// Draws a clipped bitmap of 1, 2, 4 or 8 bits per pixel in the mode DrawMode & 3. xOffset is the
// place of the first pixel in the first byte of a row (0 for 8 bits); it counts in x too.
void LCD_DriverDrawBitmap(int x0, int y0, int xsize, int ysize, int bitsPerPixel, int bytesPerLine,
                          const std::uint8_t* data, int xOffset, const std::uint8_t* table);

// Fills the part of the rectangle inside the clip rectangle.
void LCD_FillRect(int x0, int y0, int x1, int y1);
// Draws the part of the bitmap inside the clip rectangle; a pixel becomes a block of
// xMag x yMag. The table turns pixel values into pixel indices (null: values are indices;
// 1-bit bitmaps drawn unmagnified in the normal mode need one).
void LCD_DrawBitmap(int x0, int y0, int xsize, int ysize, int xMag, int yMag, int bitsPerPixel,
                    int bytesPerLine, const std::uint8_t* data, const std::uint8_t* table);
// Converts a palette to pixel indices. Null for no palette, no colours or more than 256 of them.
const std::uint8_t* LCD_GetPalConvTable(const GUI_Palette* palette);
