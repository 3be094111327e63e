// What a whole process costs: paneld in its sandbox, the floor (same wake-ups, threads and
// libraries, no work) in another one, and any other processes named, side by side in one run.
//
//   process_cost [--rounds N] [--seconds N] [NAME=PID[,PID...]]...
//
// Prints one line of tab-separated figures per measurement:
//   run     NAME ROUND cpu_ms_per_minute wakeups_per_second private_kb written_kb resident_kb
//   start   NAME microseconds            from fork to the first byte (floor), to the last byte of
//                                        the first complete frame (paneld); 20 of each
//   key     paneld microseconds stolen   from the release of the button to the last byte of the
//                                        new page; 200 presses. stolen: ticks of 10 ms that the
//                                        host of a virtual machine kept for itself meanwhile
// Fails when paneld did not show the ticking clock during the measurement.

#include "sim/panel_process.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr int starts = 20;
constexpr int presses = 200;

struct Measured {
    std::string name;
    std::vector<pid_t> processes;
};

struct Use {
    std::uint64_t cpuNs = 0;
    std::uint64_t wakeUps = 0;
    std::uint64_t privateKb = 0; // pages that no other process maps at the moment
    std::uint64_t writtenKb = 0; // those of them that it has written
    std::uint64_t residentKb = 0;
};

// Sums over all threads: time on a processor and times that one went to sleep by itself.
void addThreads(pid_t process, Use& use) {
    const std::string folder = "/proc/" + std::to_string(process) + "/task";
    for (const auto& thread : std::filesystem::directory_iterator(folder)) {
        std::uint64_t onCpu = 0;
        std::ifstream(thread.path() / "schedstat") >> onCpu;
        use.cpuNs += onCpu;
        std::ifstream status(thread.path() / "status");
        for (std::string word; status >> word;) {
            std::uint64_t amount = 0;
            if (word == "voluntary_ctxt_switches:" && status >> amount) {
                use.wakeUps += amount;
            }
        }
    }
}

void addMemory(pid_t process, Use& use) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string word; file >> word;) {
        std::uint64_t amount = 0;
        if (word == "Rss:" && file >> amount) {
            use.residentKb += amount;
        } else if ((word == "Private_Clean:" || word == "Private_Dirty:") && file >> amount) {
            use.privateKb += amount;
            use.writtenKb += word == "Private_Dirty:" ? amount : 0;
        }
    }
}

Use useOf(const Measured& measured) {
    Use use;
    for (const pid_t process : measured.processes) {
        addThreads(process, use);
        addMemory(process, use);
    }
    return use;
}

// A gateway whose time is the machine's, without a modem that would be waited for.
std::unique_ptr<sim::Gateway> makeGateway() {
    auto gateway = std::make_unique<sim::Gateway>();
    gateway->setClockMode(sim::ClockMode::Real);
    gateway->setModemPresent(false);
    return gateway;
}

// Watches the video memory without a pause until it has not changed for `quiet`; the moment of
// the first and of the last change.
struct Changes {
    SteadyClock::time_point first{};
    SteadyClock::time_point last{};
    bool any = false;
};

Changes watch(const sim::Gateway& gateway, std::vector<std::uint8_t> before,
              std::chrono::milliseconds quiet, std::chrono::milliseconds patience) {
    Changes changes;
    const auto began = SteadyClock::now();
    for (auto now = began; now - began < patience; now = SteadyClock::now()) {
        std::vector<std::uint8_t> picture = gateway.picture();
        if (picture != before) {
            changes.last = SteadyClock::now();
            changes.first = changes.any ? changes.first : changes.last;
            changes.any = true;
            before = std::move(picture);
        } else if (changes.any && now - changes.last > quiet) {
            break;
        }
    }
    return changes;
}

long microseconds(SteadyClock::duration duration) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::microseconds>(duration).count());
}

void measureStarts(const char* name, const char* program, bool firstByte) {
    for (int i = 0; i < starts; ++i) {
        const auto gateway = makeGateway();
        const auto blank = gateway->picture();
        const auto began = SteadyClock::now();
        const sim::PanelProcess process(*gateway, program, PANELD_INTERPOSER);
        // Shorter than the second after which the clock redraws itself.
        const Changes changes = watch(*gateway, blank, 30ms, 800ms);
        std::printf("start\t%s\t%ld\n", name,
                    changes.any ? microseconds((firstByte ? changes.first : changes.last) - began)
                                : -1);
    }
}

// Time that the host has taken from this machine's processors, in ticks of 10 ms.
long stolenTicks() {
    constexpr int fieldsBefore = 7; // of the first line, behind its name
    std::ifstream file("/proc/stat");
    std::string name;
    long ticks = 0;
    file >> name;
    for (int i = 0; i <= fieldsBefore; ++i) {
        file >> ticks;
    }
    return ticks;
}

void measureKeys() {
    const auto gateway = makeGateway();
    sim::PanelProcess process(*gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    std::this_thread::sleep_for(500ms);
    for (int i = 0; i < presses; ++i) {
        gateway->press();
        // Every phase of the poll is met.
        std::this_thread::sleep_for(150ms + std::chrono::microseconds(i * 50'000 / presses));
        const auto before = gateway->picture();
        const long stolen = stolenTicks();
        const auto began = SteadyClock::now();
        gateway->release();
        const Changes changes = watch(*gateway, before, 10ms, 300ms);
        std::printf("key\tpaneld\t%ld\t%ld\n",
                    changes.any ? microseconds(changes.last - began) : -1, stolenTicks() - stolen);
        process.collect();
    }
}

// Measures each over `length`; `look` is called shortly before the end.
template <typename Look>
void measureRound(int round, std::chrono::seconds length, const std::vector<Measured>& measured,
                  Look look) {
    constexpr auto tail = 2s; // whole seconds are counted: the last one may be dark
    std::vector<Use> before;
    for (const Measured& one : measured) {
        before.push_back(useOf(one));
    }
    const auto began = SteadyClock::now();
    std::this_thread::sleep_for(length - tail);
    look();
    std::this_thread::sleep_for(tail);
    const double seconds = std::chrono::duration<double>(SteadyClock::now() - began).count();
    for (std::size_t i = 0; i < measured.size(); ++i) {
        const Use after = useOf(measured[i]);
        std::printf("run\t%s\t%d\t%.3f\t%.2f\t%llu\t%llu\t%llu\n", measured[i].name.c_str(), round,
                    static_cast<double>(after.cpuNs - before[i].cpuNs) / 1e6 / seconds * 60,
                    static_cast<double>(after.wakeUps - before[i].wakeUps) / seconds,
                    static_cast<unsigned long long>(after.privateKb),
                    static_cast<unsigned long long>(after.writtenKb),
                    static_cast<unsigned long long>(after.residentKb));
    }
}

// The first columns of the panel: the left side of the clock's icon, which no other page shows.
std::vector<std::uint8_t> iconOf(const sim::Gateway& gateway) {
    constexpr std::size_t bytesPerRow = 16;
    constexpr std::size_t iconBytes = 4;
    const auto picture = gateway.picture();
    std::vector<std::uint8_t> icon;
    for (std::size_t row = 0; row < picture.size(); row += bytesPerRow) {
        icon.insert(icon.end(), picture.begin() + static_cast<std::ptrdiff_t>(row),
                    picture.begin() + static_cast<std::ptrdiff_t>(row + iconBytes));
    }
    return icon;
}

// Presses once round the cycle until the clock is back; the first press may only wake the panel,
// which then stays lit for a minute.
bool goRoundToClock(sim::Gateway& gateway, const std::vector<std::uint8_t>& clockIcon) {
    constexpr int mostPresses = 40;
    for (int i = 0; i < mostPresses; ++i) {
        gateway.press();
        gateway.release();
        std::this_thread::sleep_for(300ms);
        if (i > 1 && iconOf(gateway) == clockIcon) {
            return true;
        }
    }
    return false;
}

bool measureSideBySide(int rounds, std::chrono::seconds length,
                       const std::vector<Measured>& others) {
    const auto gateway = makeGateway();
    const auto floorGateway = makeGateway();
    sim::PanelProcess panel(*gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    const sim::PanelProcess floor(*floorGateway, FLOOR_PROGRAM, PANELD_INTERPOSER);
    std::this_thread::sleep_for(2s);
    std::vector<Measured> measured = {{"paneld", {panel.pid()}}, {"floor", {floor.pid()}}};
    measured.insert(measured.end(), others.begin(), others.end());
    const auto clockIcon = iconOf(*gateway);
    bool ticking = true;
    for (int round = 1; round <= rounds; ++round) {
        ticking = goRoundToClock(*gateway, clockIcon) && ticking;
        const auto clock = gateway->picture();
        measureRound(round, length, measured, [&] {
            ticking = ticking && gateway->brightness() == "127" && iconOf(*gateway) == clockIcon &&
                      gateway->picture() != clock;
        });
        panel.collect();
    }
    return ticking;
}

bool takeProcesses(std::string_view text, Measured& measured) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return false;
    }
    measured.name = text.substr(0, equals);
    const char* position = text.data() + equals + 1;
    const char* const end = text.data() + text.size();
    while (position < end) {
        pid_t process = 0;
        position = std::from_chars(position, end, process).ptr + 1;
        measured.processes.push_back(process);
    }
    return !measured.processes.empty();
}

} // namespace

int main(int count, char** arguments) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    int rounds = 3;
    int seconds = 55;
    std::vector<Measured> others;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        Measured measured;
        if (argument == "--rounds" && i + 1 < count) {
            rounds = std::atoi(arguments[++i]);
        } else if (argument == "--seconds" && i + 1 < count) {
            seconds = std::atoi(arguments[++i]);
        } else if (takeProcesses(argument, measured)) {
            others.push_back(measured);
        } else {
            std::fputs("usage: process_cost [--rounds N] [--seconds N] [NAME=PID,...]...\n",
                       stderr);
            return 2;
        }
    }
    measureStarts("floor", FLOOR_PROGRAM, true);
    measureStarts("paneld", PANELD_PROGRAM, false);
    measureKeys();
    if (!measureSideBySide(rounds, std::chrono::seconds(seconds), others)) {
        std::fputs("process_cost: the clock was not lit and ticking all the time\n", stderr);
        return 1;
    }
    return 0;
}
