#pragma once

// Catching what the daemon's libraries print.
//
// The readers report their failures on standard output, where the daemon's log is; here it
// belongs to the tool. Only while one thread runs.

#include <functional>
#include <string>

namespace ctl {

// Runs `action` and returns what it wrote to standard output, which stays untouched.
std::string captureOutput(const std::function<void()>& action);

} // namespace ctl
