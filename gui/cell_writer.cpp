#include "gui/cell_writer.h"

#include "gui/pixel_writes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace {

constexpr unsigned bitsPerByte = 8;

// The part of a cell that falls into one column of screen bytes.
struct CellColumn {
    std::uint8_t* to;
    std::ptrdiff_t stride;
    const std::uint8_t* from;
    std::ptrdiff_t bytesPerLine;
    std::ptrdiff_t secondByte; // 1 when the pixels reach into the next source byte, else 0
    unsigned shift;            // place of the first pixel in the source byte
    unsigned flip;             // all bits set when ink is dark
    int rows;
};

// Source pixels are read through a window of two bytes; its highest bit is the first pixel.
constexpr unsigned windowTop = 0x8000;

template <unsigned bit>
inline void writeLit(std::uint8_t* byte, bool isLit) {
    if (isLit) {
        writePixel<PixelAction::Set>(byte, bit);
    } else {
        writePixel<PixelAction::Clear>(byte, bit);
    }
}

template <unsigned first, unsigned... place>
inline void writeWindow(std::uint8_t* byte, unsigned window,
                        std::integer_sequence<unsigned, place...> /*places*/) {
    (writeLit<1U << (first + place)>(byte, (window & windowTop >> place) != 0), ...);
}

// Writes pixels first to last of each byte of the column, one after the other.
template <unsigned first, unsigned last>
void writeColumn(const CellColumn& column) {
    // Copies, which the pixel writes cannot change.
    const auto [start, stride, source, bytesPerLine, secondByte, shift, flip, rows] = column;
    std::uint8_t* to = start;
    const std::uint8_t* from = source;
    for (int left = rows; left > 0; --left, to += stride, from += bytesPerLine) {
        const unsigned pair = static_cast<unsigned>(from[0]) << bitsPerByte | from[secondByte];
        writeWindow<first>(to, (pair << shift) ^ flip,
                           std::make_integer_sequence<unsigned, last - first + 1>{});
    }
}

using ColumnWriter = void (*)(const CellColumn&);

template <unsigned... pair>
constexpr auto makeColumnWriters(std::integer_sequence<unsigned, pair...> /*pairs*/) {
    return std::array<ColumnWriter, sizeof...(pair)>{
        writeColumn<std::min(pair / 8, pair % 8), std::max(pair / 8, pair % 8)>...};
}

// The writer for each first and last pixel, at 8 * first + last.
constexpr auto columnWriters = makeColumnWriters(std::make_integer_sequence<unsigned, 64>{});

} // namespace

void writeCell(const Cell& cell) {
    CellColumn column{.to = byteOfPixel(cell.x, cell.y),
                      .stride = static_cast<std::ptrdiff_t>(bytesPerRow()),
                      .from = nullptr,
                      .bytesPerLine = cell.bytesPerLine,
                      .secondByte = 0,
                      .shift = 0,
                      .flip = cell.isInkLit ? 0U : ~0U,
                      .rows = cell.ysize};
    unsigned first = static_cast<unsigned>(cell.x) % bitsPerByte;
    auto place = static_cast<unsigned>(cell.xOffset);
    const unsigned end = place + static_cast<unsigned>(cell.xsize);
    for (; place < end; first = 0, ++column.to) {
        const unsigned count = std::min(bitsPerByte - first, end - place);
        column.from = cell.data + place / bitsPerByte;
        column.shift = place % bitsPerByte;
        column.secondByte = column.shift + count > bitsPerByte ? 1 : 0;
        columnWriters[bitsPerByte * first + first + count - 1](column);
        place += count;
    }
}
