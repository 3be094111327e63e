#pragma once

// The navigation rules: which page and sub-page a key leads to.
//
// They change the scheduler's current page and sub-page and nothing else. Main thread
// only. Prints nothing.

#include "app/key_input.h"

#include <cstdint>

// The key handlers of PageTable, given the page and sub-page shown. A long press leads to the
// reboot page. A short one leads to the next sub-page (on the channel page to the next configured
// channel up to 16), behind the last to the next page that applies.
void onKeyDefault(std::uint8_t page, std::uint8_t subPage, KeyEvent key);
void onKeyChannel(std::uint8_t page, std::uint8_t subPage, KeyEvent key);

// Passes over a current page that does not apply: the SIM status page on the 32-line panel, and
// with it the SIM log page behind it; the channel page without channels (a smallest channel of 16
// counts as none); the reserved row. Opens the channel page on the smallest channel.
void skipInapplicablePages();
