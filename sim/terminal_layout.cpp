#include "sim/terminal_layout.h"

#include <algorithm>

namespace sim {
namespace {

constexpr int panelWidth = 128;
constexpr int frame = 2; // both sides
constexpr int gap = 1;   // between the panel and what stands beside it
constexpr int keyRows = 2;
constexpr int uprightKeyColumns = 13;
constexpr int uprightKeyRows = 18;
constexpr int factWidth = 40;
constexpr int besideWidth = 46;
constexpr int fewestRemarks = 1;
constexpr int fewestRemarksBeside = 4;

// Facts and remarks to the right of the panel, keys below everything.
std::optional<Layout> beside(Layout layout, int columns, int rows, int facts) {
    const int left = layout.panel.columns + gap;
    const int width = columns - left;
    const int height = rows - keyRows;
    if (width < besideWidth || height < layout.panel.rows || height < facts + fewestRemarksBeside)
        return std::nullopt;
    layout.facts = {left, 0, width, facts};
    layout.factColumns = 1;
    layout.remarks = {left, facts + gap, width, height - facts - gap};
    layout.keys = {0, height, columns, keyRows};
    layout.keysUpright = false;
    return layout;
}

// Facts and remarks below the panel, keys to its right or below everything.
std::optional<Layout> below(Layout layout, int columns, int rows, int facts) {
    const int right = columns - layout.panel.columns - gap;
    layout.keysUpright = right >= uprightKeyColumns && layout.panel.rows >= uprightKeyRows;
    layout.factColumns = std::max(columns / factWidth, 1);
    const int factRows = (facts + layout.factColumns - 1) / layout.factColumns;
    const int top = layout.panel.rows;
    const int bottom = layout.keysUpright ? rows : rows - keyRows;
    if (right < -gap || bottom - top - factRows < fewestRemarks)
        return std::nullopt;
    layout.facts = {0, top, columns, factRows};
    layout.remarks = {0, top + factRows, columns, bottom - top - factRows};
    layout.keys = layout.keysUpright ? Area{layout.panel.columns + gap, 0, right, layout.panel.rows}
                                     : Area{0, bottom, columns, keyRows};
    return layout;
}

} // namespace

std::optional<Layout> chooseLayout(int columns, int rows, int panelHeight, int facts,
                                   std::optional<picture::CellKind> cells) {
    using picture::CellKind;
    for (const CellKind kind : {CellKind::HalfBlocks, CellKind::Quadrants, CellKind::Braille}) {
        if (cells && *cells != kind)
            continue;
        const picture::CellSize size = picture::cellSize(kind, panelWidth, panelHeight);
        Layout layout{};
        layout.cells = kind;
        layout.panel = {0, 0, size.columns + frame, size.rows + frame};
        if (const auto found = beside(layout, columns, rows, facts))
            return found;
        if (const auto found = below(layout, columns, rows, facts))
            return found;
    }
    return std::nullopt;
}

} // namespace sim
