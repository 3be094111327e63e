// The panel drawn with a terminal's character cells. Three kinds, from large to small; only half
// blocks keep the pixels square on the usual terminal, the others fit small windows. The rows
// are UTF-8 without colours or control characters. Any thread may call it. Prints nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "picture/bitmap.h"

namespace picture {

enum class CellKind {
    HalfBlocks, // 1 x 2 pixels per cell
    Quadrants,  // 2 x 2 pixels per cell
    Braille,    // 2 x 4 pixels per cell
};

struct CellSize {
    int columns;
    int rows;
    friend bool operator==(const CellSize&, const CellSize&) = default;
};

// Cells that a picture of width x height pixels takes; the last column or row may be partly used.
CellSize cellSize(CellKind kind, int width, int height);

// The picture as rows of cells, each of cellSize(...).columns characters.
std::vector<std::string> renderCells(const Bitmap& bitmap, CellKind kind);

// The kind called "half", "quadrants" or "braille".
std::optional<CellKind> cellKindByName(std::string_view name);

} // namespace picture
