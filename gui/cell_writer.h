#pragma once
// Writes 1-bit bitmaps, above all the cells of characters, onto the plain screen: every pixel is
// written, lit or dark. Almost all that a page draws goes this way, so the pixels of a byte are
// unrolled; each of them still is a write of its own.
// Runs with the library lock held.

#include "gui/pixel_writes.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
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

// A column of a cell: what one byte of each source row holds, at most eight pixels wide.
struct CellColumn {
    std::uint8_t* to; // byte of the first pixel
    std::ptrdiff_t stride;
    const std::uint8_t* from;
    std::ptrdiff_t bytesPerLine;
    unsigned shift; // place of the first pixel in the source byte
    unsigned flip;  // all bits set when ink is dark
    int rows;
};

// Writes a column whose pixels have fixed places in the screen's bytes.
using CellColumnWriter = void (*)(const CellColumn&);

// The writer for each place of the first pixel in its byte on the screen, 0 to 7, and each count
// of pixels, 1 to 8.
extern const std::array<std::array<CellColumnWriter, 8>, 8> cellColumnWriters;

inline void writeCell(const Cell& cell) {
    CellColumn column{.to = nullptr,
                      .stride = static_cast<std::ptrdiff_t>(bytesPerRow()),
                      .from = nullptr,
                      .bytesPerLine = cell.bytesPerLine,
                      .shift = 0,
                      .flip = cell.isInkLit ? 0U : ~0U,
                      .rows = cell.ysize};
    std::uint8_t* const row = byteOfPixel(0, cell.y);
    auto x = static_cast<unsigned>(cell.x);
    auto place = static_cast<unsigned>(cell.xOffset);
    const unsigned end = place + static_cast<unsigned>(cell.xsize);
    while (place < end) {
        column.to = row + x / CHAR_BIT;
        column.from = cell.data + place / CHAR_BIT;
        column.shift = place % CHAR_BIT;
        const unsigned count = std::min(CHAR_BIT - column.shift, end - place);
        cellColumnWriters[x % CHAR_BIT][count - 1](column);
        x += count;
        place += count;
    }
}
