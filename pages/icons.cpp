#include "pages/icons.h"

#include <array>
#include <cstddef>

namespace {

constexpr std::size_t bitsPerByte = 8;

// Packs a picture of '#' (lit) and '.' rows, each ended by a line feed, behind a leading
// one; the most significant bit of a byte is the leftmost pixel.
template <std::size_t Width, std::size_t Height, std::size_t Length>
constexpr auto packPicture(const char (&picture)[Length]) {
    static_assert(Width % bitsPerByte == 0);
    static_assert(Length == 1 + (Width + 1) * Height + 1, "a row is too long, short or missing");
    std::array<std::uint8_t, Width / bitsPerByte * Height> bytes{};
    for (std::size_t y = 0; y < Height; ++y) {
        for (std::size_t x = 0; x < Width; ++x) {
            if (picture[1 + y * (Width + 1) + x] == '#') {
                const std::size_t byte = (y * Width + x) / bitsPerByte;
                bytes[byte] = static_cast<std::uint8_t>(bytes[byte] | 0x80U >> x % bitsPerByte);
            }
        }
    }
    return bytes;
}

constexpr auto iconClockBits = packPicture<24, 24>(R"(
...####...####...####...
..######..####..######..
.######..........######.
######..########..######
#####.############.#####
####.##############.####
.##.#####..##..#####.##.
.#.####....##....####.#.
...###.....##.....###...
..####.....##.....####..
..###......##......###..
..###......##......###..
..####....####....####..
..####....####....####..
..###......####....###..
..###........###...###..
..####........##..####..
...###............###...
...####..........####...
....#####..##..#####....
.....##############.....
......############......
.....##############.....
.....##..........##.....
)");

constexpr auto iconInfoBits = packPicture<24, 24>(R"(
........................
........................
.........######.........
........########........
......############......
.....######..######.....
....######....######....
....######....######....
...########..########...
...##################...
...########..########...
...#######...########...
...######....########...
...########..########...
...########..#.######...
....#######....#####....
....#######...######....
.....##############.....
......###########.......
.......#########........
..........###...........
........................
........................
........................
)");

constexpr auto iconEthernetBits = packPicture<16, 16>(R"(
................
.##############.
.##..........##.
.#............#.
.#....####....#.
.#..########..#.
.#.##########.#.
.#.##########.#.
.#.##########.#.
.#.##########.#.
.#.##########.#.
.#.##########.#.
.#............#.
.##..........##.
.##############.
................
)");

// Whatever the current colours: a clear bit is dark, a set bit is lit (mid grey already
// counts as lit on a display of one bit).
constexpr std::uint32_t iconColours[] = {0x000000, 0x808080};
constexpr GUI_Palette iconPalette = {2, 0, iconColours};

template <std::uint16_t Width, std::uint16_t Height, std::size_t Size>
constexpr GUI_Bitmap iconBitmap(const std::array<std::uint8_t, Size>& bits) {
    constexpr std::uint16_t bytesPerLine = Width / bitsPerByte;
    static_assert(Size == std::size_t{bytesPerLine} * Height);
    return {Width, Height, bytesPerLine, 1, bits.data(), &iconPalette, nullptr};
}

} // namespace

const GUI_Bitmap IconClock = iconBitmap<24, 24>(iconClockBits);
const GUI_Bitmap IconInfo = iconBitmap<24, 24>(iconInfoBits);
const GUI_Bitmap IconEthernet = iconBitmap<16, 16>(iconEthernetBits);
