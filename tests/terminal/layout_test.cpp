#include "sim/terminal_layout.h"

#include <gtest/gtest.h>

namespace sim {
namespace {

using picture::CellKind;

constexpr int facts = 10;

bool overlap(const Area& a, const Area& b) {
    return a.left < b.left + b.columns && b.left < a.left + a.columns && a.top < b.top + b.rows &&
           b.top < a.top + a.rows;
}

bool insideOf(const Area& area, int columns, int rows) {
    return area.left >= 0 && area.top >= 0 && area.columns > 0 && area.rows > 0 &&
           area.left + area.columns <= columns && area.top + area.rows <= rows;
}

TEST(Layout, ThePanelTakesTheLargestCellsThatLeaveRoomForTheRest) {
    const struct {
        int columns;
        int rows;
        int panelHeight;
        CellKind cells;
    } cases[] = {
        {130, 42, 64, CellKind::HalfBlocks}, {129, 50, 64, CellKind::Quadrants},
        {140, 36, 64, CellKind::Quadrants},  {80, 24, 64, CellKind::Braille},
        {140, 26, 32, CellKind::HalfBlocks}, {80, 24, 32, CellKind::Quadrants},
    };
    for (const auto& one : cases) {
        const auto layout = chooseLayout(one.columns, one.rows, one.panelHeight, facts);
        ASSERT_TRUE(layout) << one.columns << " x " << one.rows;
        EXPECT_EQ(layout->cells, one.cells) << one.columns << " x " << one.rows;
    }
}

TEST(Layout, EveryTerminalFrom80x24OnHasRoomForEverything) {
    for (const int panelHeight : {64, 32}) {
        for (int columns = smallestColumns; columns <= 240; ++columns) {
            for (int rows = smallestRows; rows <= 80; ++rows) {
                SCOPED_TRACE(testing::Message() << columns << " x " << rows);
                const auto layout = chooseLayout(columns, rows, panelHeight, facts);
                ASSERT_TRUE(layout);
                const Area areas[] = {layout->panel, layout->facts, layout->remarks, layout->keys};
                for (const Area& area : areas)
                    ASSERT_TRUE(insideOf(area, columns, rows));
                for (const Area& one : areas)
                    for (const Area& other : areas)
                        ASSERT_TRUE(&one == &other || !overlap(one, other));
                ASSERT_GE(layout->facts.rows * layout->factColumns, facts);
            }
        }
    }
}

TEST(Layout, ATooSmallTerminalHasNoneAndFixedCellsAreKeptOrRefused) {
    EXPECT_FALSE(chooseLayout(smallestColumns, 20, 64, facts));
    EXPECT_FALSE(chooseLayout(60, 50, 64, facts));
    EXPECT_EQ(chooseLayout(200, 60, 64, facts, CellKind::Braille)->cells, CellKind::Braille);
    EXPECT_FALSE(chooseLayout(80, 24, 64, facts, CellKind::HalfBlocks));
}

} // namespace
} // namespace sim
