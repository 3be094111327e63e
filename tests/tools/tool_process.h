#pragma once

// panelctl as a process of its own on a simulated gateway, in real time, and looking through texts.
// Used from tests only.

#include "sim/gateway.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <string>

using testing::AllOf;
using testing::HasSubstr;
using testing::Matcher;
using testing::Not;

inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// What the first group of the pattern matches, anywhere in the text.
inline std::set<std::string> allMatches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

inline std::string replaced(const std::string& text, const char* pattern, const char* by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

// The command that runs the tool with arguments as a shell takes them.
inline std::string commandOf(sim::Gateway& gateway, const std::string& arguments) {
    gateway.setClockMode(sim::ClockMode::Real);
    return "ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0 "
           "LD_PRELOAD=" PANELD_INTERPOSER " " +
           (sim::gatewayVariable + ("=" + gateway.folder())) + " " PANELD_PANELCTL " " + arguments;
}

// Runs the tool to its end.
inline Outcome panelctl(sim::Gateway& gateway, const std::string& arguments) {
    const std::string file = gateway.folder() + "/panelctl";
    const std::string command = commandOf(gateway, arguments) + " > " + file + ".out 2> " + file;
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), contentsOf(file + ".out"), contentsOf(file)};
}

// Runs it and looks at all that came of it.
inline void expectOutcome(sim::Gateway& gateway, const std::string& arguments, int status,
                          const Matcher<std::string>& output, const Matcher<std::string>& errors) {
    const Outcome outcome = panelctl(gateway, arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_THAT(outcome.output, output) << arguments;
    EXPECT_THAT(outcome.errors, errors) << arguments;
}
