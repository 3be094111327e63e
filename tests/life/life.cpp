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

std::ifstream sourceFile(const std::string& name) {
    std::ifstream file(PANELD_SOURCE "/" + name);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    return file;
}

picture::Bitmap golden(const sim::Panel& panel, const std::string& name) {
    std::ifstream file =
        sourceFile("tests/golden/" + std::to_string(panel.height) + "/" + name + ".txt");
    return picture::fromText(std::string(std::istreambuf_iterator<char>(file), {})).value();
}

std::vector<Page> cycleOf(const sim::Panel& panel) {
    std::ifstream file = sourceFile("desk/pages.json");
    std::vector<Page> cycle;
    for (const json& page : json::parse(file)) {
        const auto panels = page["panels"].get<std::vector<std::uint32_t>>();
        if (std::count(panels.begin(), panels.end(), panel.height) == 0 ||
            page["reach"] == "hold") {
            continue;
        }
        if (page["reach"] == "redraw") { // takes the place of what was there first
            cycle.pop_back();
        }
        cycle.push_back({page["name"], golden(panel, page["name"])});
    }
    return cycle;
}

const json& ordinary() {
    static const json facts = [] {
        std::ifstream file = sourceFile("desk/ordinary.json");
        return json::parse(file);
    }();
    return facts;
}

// When a clock in the machine's zone shows what the goldens show.
std::time_t momentOfGoldens() {
    const std::time_t inUtc = ordinary()["clock"];
    std::tm calendar = *std::gmtime(&inUtc);
    calendar.tm_isdst = -1;
    return std::mktime(&calendar);
}

std::optional<sim::FaultId> plan(sim::Gateway& gateway, const std::optional<Failure>& failure) {
    gateway.control().watchedSizes[0] = sizeof(DeviceInfo);
    gateway.control().watchedSizes[1] = sizeof(KeyInput);
    if (!failure) {
        return std::nullopt;
    }
    return gateway.failCall(failure->call, failure->error, failure->nth, failure->persistent,
                            failure->path);
}

} // namespace

Life::Life(sim::Panel panel, const std::optional<Failure>& failure)
    : gateway(panel), fault(plan(gateway, failure)),
      process(gateway, PANELD_PROGRAM, PANELD_PRELOADED, sim::ProcessOptions{std::nullopt, {}}),
      cycle_(cycleOf(panel)), ordinaryMoment_(momentOfGoldens()) {
    hangs_ = process.settle() == sim::PanelProcess::Wait::Stuck;
}

void Life::pass(std::chrono::nanoseconds duration) {
    hangs_ = hangs_ || (!over() && process.advance(duration) == sim::PanelProcess::Wait::Stuck);
}

void Life::press(std::chrono::milliseconds held) {
    hangs_ = hangs_ || (!over() && process.press(held) == sim::PanelProcess::Wait::Stuck);
}

void Life::walk() {
    for (std::size_t i = 0; i < cycle_.size(); ++i) {
        press();
        pass(11s);
    }
}

picture::Bitmap Life::shown() const {
    const sim::Panel panel = gateway.panel();
    return picture::Bitmap::fromVideoMemory(gateway.picture(), static_cast<int>(panel.width),
                                            static_cast<int>(panel.height));
}

void Life::pressAtOrdinaryMoment() {
    gateway.setWallClock(ordinaryMoment_);
    press();
}

bool Life::findTheClock() {
    // A press may be needed to light the panel or to leave the reboot page.
    for (std::size_t presses = 0; presses < cycle_.size() + 2 && !over(); ++presses) {
        pressAtOrdinaryMoment();
        if (shown() == cycle_.front().golden) {
            return true;
        }
    }
    return false;
}

std::string Life::differences() {
    const std::chrono::nanoseconds uptime = gateway.monotonic();
    sim::setOrdinary(gateway);
    gateway.setMonotonic(uptime);
    for (const json& line : ordinary()["log"]) {
        gateway.sendLogLine(line.get<std::string>());
    }
    walk();
    if (!findTheClock()) {
        return "the clock page does not come\n";
    }
    std::string text;
    for (std::size_t presses = 1; presses <= cycle_.size(); ++presses) {
        const bool isClock = presses == cycle_.size();
        const Page& page = isClock ? cycle_.front() : cycle_[presses];
        pressAtOrdinaryMoment();
        pass(isClock ? 0s : 16s); // until the modem has been asked again
        if (!(shown() == page.golden)) {
            text += page.name + ":\n" + picture::diffText(page.golden, shown());
        }
    }
    return text;
}

std::size_t Life::descriptors() const {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process.pid()) +
                                                      "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}
