// Draws the desk on the terminal with ncurses: the panel in its frame, how things stand, what was
// said and what the keys do. Only the thread that began curses uses it.
#pragma once

#include <optional>
#include <string>

#include "picture/cells.h"
#include "sim/terminal_desk.h"
#include "sim/terminal_facts.h"

namespace sim {

struct Area;
struct Layout;

// What the front itself is in the middle of.
struct FrontState {
    bool help = false;
    std::string question;                   // shown in place of the last remark when not empty
    std::optional<std::wstring> typed;      // behind the question, with a cursor
    std::optional<picture::CellKind> cells; // fixed by the person
};

class View {
  public:
    // Sets up colours where the terminal has them. Curses has been started.
    View();

    // Draws everything for the terminal's present size.
    void draw(const Desk& desk, const DeskFacts& facts, const FrontState& state);

  private:
    void drawPanel(const Desk& desk, const Layout& layout);
    void drawFrame(const Desk& desk, const Area& area);
    void drawFacts(const Desk& desk, const DeskFacts& facts, const Layout& layout);
    void drawRemarks(const Desk& desk, const FrontState& state, const Area& area);
    void drawKeys(const Layout& layout);
    void drawHelp(const Desk& desk);
    void drawEnd(const Desk& desk, const Area& area);
    void drawTooSmall(int columns, int rows);
    void put(int left, int top, int columns, const std::string& text, unsigned long look);

    // Attributes of curses.
    unsigned long lit;
    unsigned long dark;
    unsigned long frame;
    unsigned long label;
    unsigned long plain;
    unsigned long bad;
    unsigned long quiet;
    unsigned long strong;
};

} // namespace sim
