#include "picture/cells.h"

#include <array>

namespace picture {
namespace {

// Pixels of a cell are numbered row by row; bit n of a pattern is pixel n.
constexpr std::array<const char*, 4> halfBlockGlyphs = {" ", "▀", "▄", "█"};
constexpr std::array<const char*, 16> quadrantGlyphs = {
    " ", "▘", "▝", "▀", "▖", "▌", "▞", "▛", "▗", "▚", "▐", "▜", "▄", "▙", "▟", "█",
};

// Braille numbers its dots down the left column, then down the right one, and adds the bottom
// pair last: dot n is bit n of the code.
constexpr std::array<unsigned, 8> brailleDots = {0, 3, 1, 4, 2, 5, 6, 7};

struct CellShape {
    int width; // pixels
    int height;
};

constexpr CellShape shapeOf(CellKind kind) {
    switch (kind) {
    case CellKind::HalfBlocks:
        return {1, 2};
    case CellKind::Quadrants:
        return {2, 2};
    case CellKind::Braille:
        break;
    }
    return {2, 4};
}

unsigned patternAt(const Bitmap& bitmap, CellShape shape, int left, int top) {
    unsigned pattern = 0;
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) {
            if (bitmap.at(left + x, top + y)) {
                pattern |= 1U << (y * shape.width + x);
            }
        }
    }
    return pattern;
}

// Code points U+2800 to U+28FF in UTF-8.
std::string brailleGlyph(unsigned pattern) {
    unsigned dots = 0;
    for (std::size_t pixel = 0; pixel < brailleDots.size(); ++pixel) {
        if ((pattern >> pixel & 1) != 0) {
            dots |= 1U << brailleDots[pixel];
        }
    }
    return {'\xE2', static_cast<char>(0xA0U | dots >> 6), static_cast<char>(0x80U | (dots & 0x3F))};
}

std::string glyphOf(CellKind kind, unsigned pattern) {
    if (kind == CellKind::HalfBlocks) {
        return halfBlockGlyphs[pattern];
    }
    if (kind == CellKind::Quadrants) {
        return quadrantGlyphs[pattern];
    }
    return brailleGlyph(pattern);
}

} // namespace

CellSize cellSize(CellKind kind, int width, int height) {
    const CellShape shape = shapeOf(kind);
    return {(width + shape.width - 1) / shape.width, (height + shape.height - 1) / shape.height};
}

std::vector<std::string> renderCells(const Bitmap& bitmap, CellKind kind) {
    const CellShape shape = shapeOf(kind);
    const CellSize size = cellSize(kind, bitmap.width(), bitmap.height());
    std::vector<std::string> rows;
    for (int row = 0; row < size.rows; ++row) {
        std::string text;
        for (int column = 0; column < size.columns; ++column) {
            text +=
                glyphOf(kind, patternAt(bitmap, shape, column * shape.width, row * shape.height));
        }
        rows.push_back(text);
    }
    return rows;
}

std::optional<CellKind> cellKindByName(std::string_view name) {
    if (name == "half") {
        return CellKind::HalfBlocks;
    }
    if (name == "quadrants") {
        return CellKind::Quadrants;
    }
    if (name == "braille") {
        return CellKind::Braille;
    }
    return std::nullopt;
}

} // namespace picture
