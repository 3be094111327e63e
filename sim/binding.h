#pragma once

// Which gateway the interposer of this process works on: the one that `panel_gateway_attach` named
// or, in a process with the preloaded object, the one of the environment. Any thread may ask.

#include "sim/control.h"

namespace sim {

// The attached control block, or null: then every redirected place is refused.
ControlBlock* attachedBlock();

} // namespace sim
