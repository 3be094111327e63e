// A walk through every page of the panel: the unmodified daemon on a simulated gateway in virtual
// time, its button pressed as a person would, and a picture taken at each stop. The same programs
// always give the same pictures. One thread. Prints nothing.
#pragma once

#include <string>
#include <vector>

#include "picture/bitmap.h"
#include "sim/gateway.h"
#include "sim/terminal_desk.h"

namespace sim {

struct PagePicture {
    std::string name;  // "clock", "ethernet-1-address"; fit for a file name
    std::string title; // "Clock", "Ethernet port 1, address"
    picture::Bitmap picture;
};

struct Walk {
    std::vector<PagePicture> pages;
    std::string failure; // empty when every page was reached
    std::string output;  // what the daemon wrote, both streams
};

// Walks the whole cycle of the panel by short presses until the clock page is back, then holds the
// button until the reboot page. Fails when the daemon ends, a page is blank or the same as another
// one, the cycle does not close, or the reboot is not asked for exactly once.
Walk walkPages(const Programs& programs, Panel panel);

} // namespace sim
