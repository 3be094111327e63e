// A shell on a simulated gateway: the daemon runs on it in real time, and every program that the
// shell starts sees the gateway in place of this machine. One thread.
#pragma once

#include "sim/terminal_desk.h"

namespace sim {

// Runs $SHELL, or bash, and waits for its end, then ends the daemon too. The shell's own status,
// or 1 with a message on standard error when it cannot be started.
int runShell(const Programs& programs, Panel panel);

} // namespace sim
