#pragma once

// The pages of a running daemon, one after the other, as pictures that can be compared with those
// of another daemon on an equal gateway. Used from tests only.

#include "picture/bitmap.h"
#include "sim/panel_process.h"

#include <vector>

namespace walk {

// More short presses than any cycle has pages.
inline constexpr int pressesPerCycle = 17;

// The clock page as tests/golden shows it, and the moment that it shows.
picture::Bitmap clockGolden(const sim::Panel& panel);
inline constexpr std::time_t clockMoment = 1'709'543'103; // 2024-03-04 09:05:03 UTC

// A short press at the moment of the golden clock, and what the panel shows then.
picture::Bitmap pageAfterPress(sim::Gateway& gateway, sim::PanelProcess& panel);

// Presses until the clock page is shown; false when it does not come.
bool findTheClock(sim::Gateway& gateway, sim::PanelProcess& panel, const picture::Bitmap& clock);

// Every page from the one behind the clock on, at least a whole cycle. The clock is looked at at
// once, every other page after its timer redraws: the modem has been asked again by then.
std::vector<picture::Bitmap> collectPages(sim::Gateway& gateway, sim::PanelProcess& panel,
                                          const picture::Bitmap& clock);

// Gives the gateway back every fact that it had when it was made.
void restoreFacts(sim::Gateway& gateway);

// Open descriptors of a process.
std::size_t openDescriptors(pid_t process);

} // namespace walk
