#include "sim/facts.h"
#include "tests/life/life.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t checkpoints = 20;
// By then the heap has met every combination of file contents that makes it grow by a page.
constexpr std::uint64_t warmUpEvents = 100'000;
// A page that something rare touches late. A leak of 32 bytes at every hundredth press fills two
// of them even in the short soak.
constexpr long latePageKb = 4;
constexpr std::uint64_t eventsPerPress = 4; // press, release and a synchronisation event each
constexpr double secondsPerDay = 86400;
constexpr unsigned redraws = 50; // of the clock page, while allocations are counted

// Memory of its own, also where the kernel has put it out to swap for a while.
long privateKb(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    long total = 0;
    for (std::string word; file >> word;) {
        long amount = 0;
        if ((word == "Anonymous:" || word == "Swap:") && file >> amount) {
            total += amount;
        }
    }
    return total;
}

// One fact of the gateway becomes another one, of which any `number` makes a value.
void (*const changes[])(sim::Gateway& gateway, int number) = {
    [](auto& gateway, int number) {
        gateway.writeSysXml("10.0.0." + std::to_string(number), number % 2 == 0 ? "0" : "1");
    },
    [](auto& gateway, int number) {
        gateway.writeSnXml("SN" + std::to_string(number), number % 2 == 0 ? "GW-100" : "GW-100-L");
    },
    [](auto& gateway, int number) { gateway.writeVersion("V" + std::to_string(number) + "\n"); },
    [](auto& gateway, int number) {
        gateway.writeChannels({{number % 16 + 1}, {number / 16 % 16 + 1, 115200, 8, "Even", 2}});
    },
    [](auto& gateway, int) {
        gateway.writeFile("/zelkora/Config/Channel-template.xml", "<ChannelConfig><Chan");
    },
    [](auto& gateway, int) { gateway.writeFile("/zelkora/Config/sys.xml", "<sysConfig"); },
    [](auto& gateway, int) { gateway.removeFile("/zelkora/Config/system/sn.xml"); },
    [](auto& gateway, int number) {
        sim::setAddress(gateway, "eth0", "192.168.1." + std::to_string(number) + "/24");
    },
    [](auto& gateway, int) { sim::setAddress(gateway, "ppp0", nullptr); },
    [](auto& gateway, int number) { gateway.setTfCard(number % 2 == 0); },
    [](auto& gateway, int number) { gateway.setModemPresent(number % 2 == 0); },
    [](auto& gateway, int number) {
        constexpr const char* makers[] = {"SIMCOM", "AirM2M", "other"};
        constexpr const char* cards[] = {"ready", "pin", "absent"};
        sim::setModem(gateway, {{"signal", number % 34 - 1},
                                {"maker", makers[number % 3]},
                                {"sim", cards[number / 3 % 3]},
                                {"pieces", number % 20}});
    },
    [](auto& gateway, int number) {
        gateway.sendLogLine("line " + std::to_string(number) + ", as long as it likes to be");
    },
};

// The daemon, and what it may take.
struct Soak {
    void require(bool held, const std::string& what) {
        if (!held && sound) {
            std::printf("FAILED: %s\n%s", what.c_str(), life.process.errors().c_str());
            sound = false;
        }
    }

    void live(std::uint64_t presses, std::exponential_distribution<double> pauses);
    void look(std::uint64_t events);
    void countAllocations();

    Life life{sim::panelOf(64)};
    std::mt19937 random;
    bool sound = true;
    long warmMemory = 0;
    const std::size_t usualDescriptors = life.descriptors();
    const std::chrono::nanoseconds birth = life.gateway.monotonic();
};

void Soak::live(std::uint64_t presses, std::exponential_distribution<double> pauses) {
    for (std::uint64_t i = 0; i < presses && !life.over(); ++i) {
        if (random() % 10 == 0) {
            changes[random() % std::size(changes)](life.gateway, static_cast<int>(random() % 256));
        }
        life.press();
        life.pass(std::chrono::nanoseconds(std::llround(pauses(random) * 1e9)));
        life.process.clearOutput();
    }
}

void Soak::look(std::uint64_t events) {
    require(!life.over(), "the process ended or hangs");
    if (!sound) {
        return;
    }
    const std::string differences = life.differences();
    const long memory = privateKb(life.process.pid());
    const std::size_t descriptors = life.descriptors();
    if (events <= warmUpEvents) {
        warmMemory = std::max(warmMemory, memory);
    }
    const std::chrono::duration<double> lived = life.gateway.monotonic() - birth;
    std::printf("day %.1f, %llu events: private %ld kB, descriptors %zu, pages %s\n",
                lived.count() / secondsPerDay, static_cast<unsigned long long>(events), memory,
                descriptors, differences.empty() ? "right" : differences.c_str());
    require(differences.empty(), "a page is not right");
    require(memory <= warmMemory + latePageKb, "private memory grew");
    require(descriptors == usualDescriptors, "descriptors leaked");
}

// On the clock page: twenty passes a second, a redraw each second, and the receiver's polls.
void Soak::countAllocations() {
    life.findTheClock();
    const std::uint64_t before = life.gateway.calls(sim::Call::Malloc);
    life.pass(std::chrono::seconds(redraws));
    const auto made = static_cast<unsigned>(life.gateway.calls(sim::Call::Malloc) - before);
    std::printf("on the clock page: %u allocations in %u redraws\n", made, redraws);
    require(made <= redraws, "the loop allocates");
    require(made > 0, "its allocations are not counted");
}

} // namespace

bool soak(double days, std::uint64_t events, std::uint32_t seed) {
    const std::uint64_t presses = std::max<std::uint64_t>(1, events / eventsPerPress / checkpoints);
    Soak soak;
    soak.random.seed(seed);
    for (std::uint64_t checkpoint = 1; checkpoint <= checkpoints && soak.sound; ++checkpoint) {
        soak.live(presses,
                  std::exponential_distribution(static_cast<double>(presses * checkpoints) /
                                                (days * secondsPerDay)));
        soak.look(checkpoint * presses * eventsPerPress);
    }
    soak.countAllocations();
    return soak.sound;
}
