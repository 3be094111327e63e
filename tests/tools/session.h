#pragma once

// A session at a simulated gateway in real time, where panelctl is typed, as the text that the
// person sees. It is compared with tests/golden/tools. Used from tests only.

#include "sim/panel_process.h"
#include "tests/support/golden.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <regex>
#include <set>
#include <string>

using namespace std::string_literals;

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

inline std::string replaced(const std::string& text, const std::string& pattern, const char* by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

class Panelctl : public testing::Test {
  protected:
    Panelctl() {
        gateway.setClockMode(sim::ClockMode::Real);
        std::ofstream(folder / "panelctl")
            << "ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0 "
            << "LD_PRELOAD=" PANELD_INTERPOSER " " << sim::gatewayVariable << "="
            << gateway.folder() << " exec " PANELD_PANELCTL " \"$@\"\n";
        std::filesystem::permissions(folder / "panelctl", std::filesystem::perms::owner_all);
    }

    // Starts the daemon and waits for its first picture.
    void startDaemon() {
        daemon.emplace(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
        ASSERT_EQ(daemon->settle(), sim::PanelProcess::Wait::Settled);
    }

    // Types a line of the shell. The text gets it, its output, its errors behind "! ", and its
    // status when that is not 0; nothing of what differs from run to run. Gives its output.
    std::string type(const std::string& line) {
        std::ofstream(folder / "line") << line << "\n";
        const std::string command = "cd " + gateway.folder() + " && PATH=.:$PATH bash line";
        const int status = std::system((command + " > output 2> errors").c_str());
        const std::string output = contentsOf(folder / "output");
        text += "$ " + line + "\n" + withoutChance(output) +
                replaced(withoutChance(contentsOf(folder / "errors")), "(.+)\n", "! $1\n");
        if (status != 0) {
            text += "(status " + std::to_string(WEXITSTATUS(status)) + ")\n";
        }
        return output;
    }

    // Notes a file of the gateway down and writes it.
    void write(const char* path, const std::string& contents) {
        gateway.writeFile(path, contents);
        text += "--- " + std::string(path) + "\n" + contents + "\n";
    }

    void expectText(const std::string& golden) {
        EXPECT_TRUE(golden::matchesList(text, "tools/" + golden)) << text;
    }

    sim::Gateway gateway;
    const std::filesystem::path folder = gateway.folder();
    std::optional<sim::PanelProcess> daemon;
    std::string text;

  private:
    // Times, process numbers, and remarks on the daemons of other tests.
    std::string withoutChance(std::string seen) const {
        if (daemon) {
            seen = replaced(seen, "process " + std::to_string(daemon->pid()), "process N");
        }
        seen = replaced(seen, "panelctl: warning: paneld \\(process \\d+.*\n", "");
        seen = replaced(seen, "panelctl: .*no paneld is running.*\n", "");
        seen = replaced(seen, " +\\d+\\.\\d{3} s", "  N s");
        seen = replaced(seen, "for \\d{2,4} ms", "for N ms");
        return replaced(seen, "after [12]?\\d?\\d ms", "after N ms");
    }
};
