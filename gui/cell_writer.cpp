#include "gui/cell_writer.h"

#include <utility>

namespace {

template <unsigned bit>
inline void writeLit(std::uint8_t* byte, bool isLit) {
    if (isLit) {
        writePixel<PixelAction::Set>(byte, bit);
    } else {
        writePixel<PixelAction::Clear>(byte, bit);
    }
}

// Writes the pixels of a source byte, its highest bit first, from pixel `first` of the screen's
// byte on; those that do not fit there go into the next one.
template <unsigned first, unsigned... place>
inline void writeRow(std::uint8_t* to, unsigned pixels,
                     std::integer_sequence<unsigned, place...> /*places*/) {
    constexpr unsigned highest = 0x80;
    (writeLit<1U << (first + place) % 8>(to + (first + place) / 8,
                                         (pixels & highest >> place) != 0),
     ...);
}

template <unsigned first, unsigned count>
void writeColumn(const CellColumn& column) {
    // Copies, which the pixel writes cannot change.
    const auto [start, stride, source, bytesPerLine, shift, flip, rows] = column;
    std::uint8_t* to = start;
    const std::uint8_t* from = source;
    for (int left = rows; left > 0; --left, to += stride, from += bytesPerLine) {
        writeRow<first>(to, (unsigned{*from} << shift) ^ flip,
                        std::make_integer_sequence<unsigned, count>{});
    }
}

template <unsigned first, unsigned... place>
constexpr std::array<CellColumnWriter, 8>
writersFrom(std::integer_sequence<unsigned, place...> /*places*/) {
    return {writeColumn<first, place + 1>...};
}

template <unsigned... first>
constexpr std::array<std::array<CellColumnWriter, 8>, 8>
allWriters(std::integer_sequence<unsigned, first...> /*firsts*/) {
    return {writersFrom<first>(std::make_integer_sequence<unsigned, 8>{})...};
}

} // namespace

constinit const std::array<std::array<CellColumnWriter, 8>, 8> cellColumnWriters =
    allWriters(std::make_integer_sequence<unsigned, 8>{});
