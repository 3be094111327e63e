#include "tests/life/life.h"

#include "app/key_input.h"
#include "device/device_info.h"
#include "sim/facts.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

namespace {

using namespace std::chrono_literals;
using nlohmann::json;

std::string contentsOf(const std::string& sourceFile) {
    std::ifstream file(PANELD_SOURCE "/" + sourceFile);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Page> cycleOf(const sim::Panel& panel) {
    const std::string folder = "tests/golden/" + std::to_string(panel.height) + "/";
    std::vector<Page> cycle;
    for (const json& page : sim::deskFile("pages.json")) {
        if (!page["texts"].contains(std::to_string(panel.height)) || page["reach"] == "hold") {
            continue;
        }
        if (page["reach"] == "redraw") { // takes the place of what was there first
            cycle.pop_back();
        }
        const auto name = page["name"].get<std::string>();
        cycle.push_back({name, picture::fromText(contentsOf(folder + name + ".txt")).value()});
    }
    return cycle;
}

const json ordinary = sim::deskFile("ordinary.json");

// When a clock in the machine's zone shows what the goldens show.
std::time_t momentOfGoldens() {
    const std::time_t inUtc = ordinary["clock"];
    std::tm calendar{};
    gmtime_r(&inUtc, &calendar);
    calendar.tm_isdst = -1;
    return std::mktime(&calendar);
}

std::optional<sim::FaultId> plan(sim::Gateway& gateway, const std::optional<Failure>& failure) {
    gateway.control().watchedSizes[0] = sizeof(DeviceInfo);
    gateway.control().watchedSizes[1] = sizeof(KeyInput);
    return failure ? std::optional(gateway.failCall(failure->call, failure->error, failure->nth,
                                                    failure->persistent, failure->path))
                   : std::nullopt;
}

} // namespace

Life::Life(sim::Panel panel, const std::optional<Failure>& planned)
    : failure(planned), gateway(panel), fault(plan(gateway, failure)),
      process(gateway, PANELD_PROGRAM, PANELD_PRELOADED, false),
      stuck(process.settle() == sim::PanelProcess::Wait::Stuck), started(!over()),
      cycle(cycleOf(panel)) {}

void Life::pass(std::chrono::nanoseconds duration) {
    stuck = stuck || (!over() && process.advance(duration) == sim::PanelProcess::Wait::Stuck);
}

void Life::press(std::chrono::milliseconds held) {
    stuck = stuck || (!over() && process.press(held) == sim::PanelProcess::Wait::Stuck);
}

void Life::walk() {
    for (std::size_t presses = 0; presses < cycle.size(); ++presses) {
        press();
        pass(11s);
    }
}

bool Life::findTheClock() {
    // A press may be needed to light the panel or to leave the reboot page.
    for (std::size_t presses = 0; presses < cycle.size() + 2 && !over(); ++presses) {
        gateway.setWallClock(momentOfGoldens());
        press();
        if (shown(gateway) == cycle.front().golden) {
            return true;
        }
    }
    return false;
}

std::string Life::differences() {
    sim::setOrdinary(gateway);
    for (const json& line : ordinary["log"]) {
        gateway.sendLogLine(line.get<std::string>());
    }
    walk();
    if (!findTheClock()) {
        return "the clock page does not come\n";
    }
    std::string text;
    for (std::size_t page = 1; page < cycle.size(); ++page) {
        press();
        pass(16s); // until the modem has been asked again
        if (!(shown(gateway) == cycle[page].golden)) {
            text +=
                cycle[page].name + ":\n" + picture::diffText(cycle[page].golden, shown(gateway));
        }
    }
    gateway.setWallClock(momentOfGoldens());
    press();
    return shown(gateway) == cycle.front().golden
               ? text
               : text + "the clock is not behind the last page\n";
}

std::size_t Life::descriptors() const {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process.pid()) +
                                                      "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}
