#pragma once
// Writes 1-bit bitmaps, above all the cells of characters, onto the plain screen: every pixel is
// written, lit or dark. Almost all that a page draws goes this way, so the pixels of a byte are
// unrolled; each of them still is a write of its own.
// Runs with the library lock held.

#include <cstdint>

struct Cell {
    int x; // top-left corner on the screen; all of the cell lies on it
    int y;
    int xsize; // pixels, at least 1
    int ysize;
    const std::uint8_t* data; // rows of bytesPerLine bytes, leftmost pixel in the highest bit
    int bytesPerLine;
    int xOffset;   // place of the first pixel in its row
    bool isInkLit; // pixels of value 1 lit and of value 0 dark, or the other way round
};

void writeCell(const Cell& cell);
