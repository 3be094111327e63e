#pragma once

// Lives the same day once for every call that the daemon makes into the system, with that call
// failing, and requires that the daemon outlives it and is right again afterwards.

#include "sim/control.h"

// Lives the day undisturbed and says what went wrong. True when nothing did.
bool walkThroughTheDay(const sim::Panel& panel);

// Prints how many failures were injected and what came of them. `full` takes every occurrence of a
// call (of a frequent one some hundreds) instead of the first, a middle one and the last. False
// when a failure harmed the daemon or was never reached.
bool sweep(const sim::Panel& panel, bool full);
