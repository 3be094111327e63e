#pragma once

// panelctl as a process of its own on a simulated gateway, in real time.

#include "sim/gateway.h"
#include "tests/tools/texts.h"

#include <cstdlib>
#include <vector>

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

// The command that runs the tool, for a shell.
inline std::string commandOf(sim::Gateway& gateway, const std::vector<std::string>& arguments) {
    gateway.setClockMode(sim::ClockMode::Real);
    std::string command = "ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0 "
                          "LD_PRELOAD=" PANELD_INTERPOSER " " +
                          std::string(sim::gatewayVariable) + "=" + gateway.folder() +
                          " " PANELD_PANELCTL;
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    return command;
}

// Runs the tool to its end.
inline Outcome panelctl(sim::Gateway& gateway, const std::vector<std::string>& arguments) {
    const std::string file = gateway.folder() + "/panelctl";
    const std::string command = commandOf(gateway, arguments) + " > " + file + ".out 2> " + file;
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), contentsOf(file + ".out"), contentsOf(file)};
}
