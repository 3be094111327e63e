#include "tests/faults/day.h"

#include "app/key_input.h"
#include "device/device_info.h"
#include "tests/pages/shown.h"
#include "tests/support/cycle_walk.h"

#include <cstring>

namespace faults {

namespace {

using namespace std::chrono_literals;
using Wait = sim::PanelProcess::Wait;

// The object for the libraries' calls stands first; a sanitizer's runtime does not bear it.
std::string preloaded() {
    const std::string failures = PANELD_FAILURES;
    return failures.empty() ? PANELD_INTERPOSER : failures + ":" + PANELD_INTERPOSER;
}

class Day {
  public:
    Day(const DayOptions& dayOptions, const std::optional<Failure>& dayFailure)
        : options(dayOptions), failure(dayFailure), gateway(dayOptions.panel) {
        gateway.control().watchedSizes[0] = sizeof(DeviceInfo);
        gateway.control().watchedSizes[1] = sizeof(KeyInput);
        if (failure) {
            fault = gateway.failCall(failure->call, failure->error, failure->nth,
                                     failure->persistent, failure->path);
        }
    }

    DayResult live() {
        sim::PanelProcess process(gateway, PANELD_PROGRAM, preloaded());
        panel = &process;
        goThroughTheDay();
        endFailures();
        if (!stop()) {
            lookAfterwards();
        }
        result.stuck = result.stuck && process.running();
        result.status = process.running() ? std::nullopt : process.status();
        result.errors = process.errors();
        result.canaryIntact = gateway.canaryIntact();
        return std::move(result);
    }

  private:
    // True when nothing more can be learned of the process.
    bool stop() const { return result.stuck || !panel->running(); }

    void note(Wait wait) { result.stuck = result.stuck || wait == Wait::Stuck; }

    void pass(std::chrono::nanoseconds duration) {
        if (!stop()) {
            note(panel->advance(duration));
        }
    }

    void press(std::chrono::milliseconds held = 100ms) {
        if (!stop()) {
            note(panel->press(held));
        }
    }

    // Every page of the cycle, each long enough for its timer redraw.
    void walkTheCycle() {
        for (int i = 0; i < walk::pressesPerCycle; ++i) {
            press();
            pass(11s);
        }
    }

    void goThroughTheDay() {
        note(panel->settle());
        for (const char* line : {"link up", "ppp0 up", "signal 20"}) {
            gateway.sendLogLine(line);
        }
        walkTheCycle(); // one command at a time, SIMCOM
        gateway.editModem([](sim::ModemFacts& facts) { facts.maker = sim::Maker::AirM2m; });
        gateway.writeSysXml("10.0.0.254", "1");
        gateway.writeVersion("V9.9.9\n");
        gateway.writeChannels({{3, 19200, 7, "Even", 2}});
        walkTheCycle();
        gateway.writeSnXml("SN2", "GW-200"); // three commands at once
        gateway.setTfCard(false);
        walkTheCycle();
        pass(61s);
        press();
        if (options.panel.height == sim::panel64.height) {
            press(10'500ms);
            pass(21s);
            pass(61s); // off the reboot page by the idle rule
            press();
        }
        walk::restoreFacts(gateway);
    }

    void endFailures() {
        for (std::size_t call = 0; call < sim::callCount; ++call) {
            for (std::size_t path = 0; path < sim::pathCount; ++path) {
                result.counts.calls[call][path] =
                    gateway.calls(static_cast<sim::Call>(call), static_cast<sim::Path>(path));
            }
        }
        result.singletonRefused = gateway.control().watchedRefused != 0;
        result.reached = fault && gateway.faultHits(*fault) > 0;
        gateway.clearFaults();
        gateway.dropEvents(); // presses that nobody could read
    }

    void lookAfterwards() {
        gateway.sendLogLine("first");
        gateway.sendLogLine("second");
        // Once around: cascade and model are read with the gateway's and the identity page only.
        walkTheCycle();
        result.clockFound = walk::findTheClock(gateway, *panel, options.clockPage);
        result.pages = walk::collectPages(gateway, *panel, options.clockPage);
        if (stop()) {
            return;
        }
        result.descriptors = walk::openDescriptors(panel->pid());
        walk::findTheClock(gateway, *panel, options.clockPage);
        const picture::Bitmap before = shown(gateway);
        pass(2s);
        result.ticking = !(shown(gateway) == before);
        pass(61s);
        result.darkens = gateway.brightness() == "0";
        press();
        const std::uint32_t reboots = gateway.popenCount();
        press(10'500ms);
        result.rebootAnswered = gateway.popenCount() > reboots;
    }

    const DayOptions& options;
    const std::optional<Failure>& failure;
    sim::Gateway gateway;
    std::optional<sim::FaultId> fault;
    sim::PanelProcess* panel = nullptr;
    DayResult result;
};

} // namespace

std::string describe(const Failure& failure) {
    std::string text = name(failure.call);
    if (failure.path != sim::Path::None) {
        text += std::string(" of ") + name(failure.path);
    }
    return text + ", call " + std::to_string(failure.nth) +
           (failure.persistent ? " and every later one, " : ", ") + std::strerror(failure.error);
}

DayResult liveADay(const DayOptions& options, const std::optional<Failure>& failure) {
    return Day(options, failure).live();
}

} // namespace faults
