#pragma once

// panelctl as a process of its own on a simulated gateway, in real time.

#include "sim/gateway.h"

#include <string>
#include <sys/types.h>
#include <vector>

struct Outcome {
    int status = -1; // exit status; -1 when the tool was killed
    std::string output;
    std::string errors;
};

// A run of the tool. It is killed with this object.
class ToolProcess {
  public:
    ToolProcess(sim::Gateway& gateway, const std::vector<std::string>& arguments);
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    // Waits until its standard output has so many lines.
    void waitForLines(std::size_t count) const;
    void signal(int number) const;
    // Waits for its end.
    Outcome finish();

  private:
    pid_t child_ = -1;
    int output_ = -1;
    int errors_ = -1;
};

// Runs the tool to its end.
Outcome panelctl(sim::Gateway& gateway, const std::vector<std::string>& arguments);
