#pragma once

// Looking for other processes in /proc. Processes of other users are found by their name, what
// they hold open only by root. Prints nothing.

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace ctl {

inline constexpr const char* daemonName = "paneld";

struct Process {
    pid_t id;
    std::string name; // at most 15 characters, as the kernel keeps it
};

// The processes called `name`, this one excepted.
std::vector<Process> processesNamed(std::string_view name);

// The processes that hold the file open, this one excepted.
std::vector<Process> processesHolding(const std::string& path);

} // namespace ctl
