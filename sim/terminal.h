// The terminal front of the simulated gateway: shows the panel live and turns keys into presses of
// the button and changes of facts, until the person quits or a signal asks for the end. Takes the
// terminal over and gives it back on every way out. One thread, one front at a time.
#pragma once

#include <optional>

#include "picture/cells.h"
#include "sim/terminal_desk.h"

namespace sim {

struct FrontOptions {
    Programs programs;
    Panel panel = panel64;
    std::optional<picture::CellKind> cells; // nothing: the largest that fit
};

// Runs the front. The process status to end with: 0 after q, 128 and the signal's number after a
// signal; nothing when this terminal cannot place its cursor, with nothing changed.
std::optional<int> runFront(const FrontOptions& options);

} // namespace sim
