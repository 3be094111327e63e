#include "tests/faults/day.h"

#include "app/key_input.h"
#include "device/device_info.h"
#include "tests/pages/shown.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <new>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace faults {

namespace {

using namespace std::chrono_literals;
using Wait = sim::PanelProcess::Wait;

constexpr std::time_t morning = 1'709'543'103; // 2024-03-04 09:05:03
constexpr int pressesPerCycle = 17;            // more than any cycle has pages

// The shared plan of panel_failures.so, in the sandbox of one gateway.
class FailuresFile {
  public:
    explicit FailuresFile(const sim::Gateway& gateway) {
        const std::string file = gateway.folder() + "/" + sim::failuresFileName;
        const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (descriptor < 0 || ftruncate(descriptor, sizeof(sim::LibraryFailures)) != 0) {
            throw std::system_error(errno, std::generic_category(), file);
        }
        void* memory = mmap(nullptr, sizeof(sim::LibraryFailures), PROT_READ | PROT_WRITE,
                            MAP_SHARED, descriptor, 0);
        close(descriptor);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        plan = new (memory) sim::LibraryFailures{};
    }
    ~FailuresFile() { munmap(plan, sizeof *plan); }
    FailuresFile(const FailuresFile&) = delete;
    FailuresFile& operator=(const FailuresFile&) = delete;

    sim::LibraryFailures* operator->() { return plan; }

    void arm(const Failure& failure) {
        plan->call = failure.libraryCall;
        plan->nth = failure.nth;
        plan->persistent = failure.persistent ? 1 : 0;
        plan->error = failure.error;
        plan->watchedSizes[0] = sizeof(DeviceInfo);
        plan->watchedSizes[1] = sizeof(KeyInput);
        plan->armed = 1;
    }

  private:
    sim::LibraryFailures* plan;
};

// The object for the libraries' calls stands first; a sanitizer's runtime does not bear it.
std::string preloaded() {
    const std::string failures = PANELD_FAILURES;
    return failures.empty() ? PANELD_INTERPOSER : failures + ":" + PANELD_INTERPOSER;
}

std::size_t openDescriptors(pid_t process) {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

class Day {
  public:
    Day(const DayOptions& dayOptions, const std::optional<Failure>& dayFailure)
        : options(dayOptions), failure(dayFailure), gateway(dayOptions.panel), failures(gateway) {
        if (failure && failure->call) {
            fault = gateway.failCall(*failure->call, failure->error, failure->nth,
                                     failure->persistent, failure->path);
        } else if (failure) {
            failures.arm(*failure);
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
        for (int i = 0; i < pressesPerCycle; ++i) {
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
        restoreFacts();
    }

    void restoreFacts() {
        gateway.editModem([](sim::ModemFacts& facts) { facts.maker = sim::Maker::Simcom; });
        gateway.writeSysXml("192.168.1.1", "0");
        gateway.writeVersion("V1.2.3\n");
        gateway.writeChannels({{1}, {2}, {5}});
        gateway.writeSnXml("SN20240001", "GW-100-L");
        gateway.setTfCard(true);
    }

    void endFailures() {
        for (std::size_t call = 0; call < sim::callCount; ++call) {
            for (std::size_t path = 0; path < sim::pathCount; ++path) {
                result.counts.calls[call][path] =
                    gateway.calls(static_cast<sim::Call>(call), static_cast<sim::Path>(path));
            }
        }
        for (std::size_t call = 0; call < sim::libraryCallCount; ++call) {
            result.counts.libraryCalls[call] = failures->seen[call];
        }
        result.singletonRefused = failures->watchedHit != 0;
        result.reached = fault ? gateway.faultHits(*fault) > 0 : failures->hits > 0;
        gateway.clearFaults();
        failures->armed = 0;
        gateway.dropEvents(); // presses that nobody could read
    }

    // A short press at the moment that the golden of the clock shows.
    picture::Bitmap pageAfterPress() {
        gateway.setWallClock(morning);
        press();
        return shown(gateway);
    }

    bool findTheClock() {
        for (int i = 0; i < 2 * pressesPerCycle && !stop(); ++i) {
            if (pageAfterPress() == options.clockPage) {
                return true;
            }
        }
        return false;
    }

    // The clock is looked at at once, every other page after its timer redraws: the modem has been
    // asked again by then.
    void collectPages() {
        for (int i = 0; i < pressesPerCycle && !stop(); ++i) {
            picture::Bitmap page = pageAfterPress();
            pass(16s);
            result.pages.push_back(page == options.clockPage ? page : shown(gateway));
        }
    }

    void lookAfterwards() {
        gateway.sendLogLine("first");
        gateway.sendLogLine("second");
        // Once around: cascade and model are read with the gateway's and the identity page only.
        walkTheCycle();
        result.clockFound = findTheClock();
        collectPages();
        result.descriptors = openDescriptors(panel->pid());
        findTheClock();
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
    FailuresFile failures;
    std::optional<sim::FaultId> fault;
    sim::PanelProcess* panel = nullptr;
    DayResult result;
};

} // namespace

std::string describe(const Failure& failure) {
    static constexpr const char* libraryCalls[] = {"malloc", "read", "pthread_attr_init",
                                                   "pthread_attr_setdetachstate",
                                                   "pthread_attr_setstacksize"};
    std::string text = failure.call ? name(*failure.call)
                                    : libraryCalls[static_cast<std::size_t>(failure.libraryCall)];
    if (failure.call && failure.path != sim::Path::None) {
        text += std::string(" of ") + name(failure.path);
    }
    return text + ", call " + std::to_string(failure.nth) +
           (failure.persistent ? " and every later one, " : ", ") + std::strerror(failure.error);
}

DayResult liveADay(const DayOptions& options, const std::optional<Failure>& failure) {
    return Day(options, failure).live();
}

} // namespace faults
