// Where the terminal front puts what: the panel in the largest cells that leave room for the rest,
// on 80 x 24 and up. A pure rule without a terminal. Prints nothing.
#pragma once

#include <optional>

#include "picture/cells.h"

namespace sim {

struct Area {
    int left;
    int top;
    int columns;
    int rows;
    friend bool operator==(const Area&, const Area&) = default;
};

struct Layout {
    picture::CellKind cells;
    Area panel;       // with its frame
    Area facts;       // filled column by column
    int factColumns;  // how many columns of facts stand side by side
    Area remarks;     // its last row takes what is being typed
    Area keys;        // what the keys do
    bool keysUpright; // one key a row, else all in a row
};

inline constexpr int smallestColumns = 80;
inline constexpr int smallestRows = 24;

// The layout for a terminal of this size, a panel of 128 x panelHeight pixels and so many facts;
// with cells given, only with these. Nothing when the terminal is too small.
std::optional<Layout> chooseLayout(int columns, int rows, int panelHeight, int facts,
                                   std::optional<picture::CellKind> cells = std::nullopt);

} // namespace sim
