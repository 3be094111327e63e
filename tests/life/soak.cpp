#include "tests/life/soak.h"

#include "sim/facts.h"
#include "tests/life/life.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

namespace {

using namespace std::chrono_literals;

constexpr int checkpoints = 20;
// By then the heap has met every combination of file contents that makes it grow by a page.
constexpr std::uint64_t warmUpEvents = 100'000;
// A page that something rare touches late. A leak of 32 bytes at every hundredth press fills two
// of them even in the short soak.
constexpr long latePageKb = 4;
constexpr std::uint64_t eventsPerPress = 4; // press, release and a synchronisation event each
constexpr double secondsPerDay = 86400;
constexpr std::uint64_t redraws = 50; // of the clock page, while allocations are counted
constexpr const char* makers[] = {"SIMCOM", "AirM2M", "other"};
constexpr const char* simCards[] = {"ready", "pin", "absent"};

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

// One fact of the gateway becomes another one.
void changeSomething(sim::Gateway& gateway, std::mt19937& random) {
    const auto pick = [&](int count) {
        return std::uniform_int_distribution<int>(0, count - 1)(random);
    };
    const std::string number = std::to_string(pick(256));
    switch (pick(12)) {
    case 0:
        return gateway.writeSysXml("10.0.0." + number, std::to_string(pick(2)));
    case 1:
        return gateway.writeSnXml("SN" + number, pick(2) == 0 ? "GW-100" : "GW-100-L");
    case 2:
        return gateway.writeVersion("V" + number + "\n");
    case 3:
        return gateway.writeChannels({{pick(16) + 1}, {pick(16) + 1, 115200, 8, "Even", 2}});
    case 4:
        return gateway.writeFile("/zelkora/Config/Channel-template.xml", "<ChannelConfig><Chan");
    case 5:
        return gateway.writeFile("/zelkora/Config/sys.xml", "<sysConfig");
    case 6:
        return gateway.removeFile("/zelkora/Config/system/sn.xml");
    case 7:
        return sim::setAddress(gateway, "eth0", "192.168.1." + number + "/24");
    case 8:
        return sim::setAddress(gateway, "ppp0", nullptr);
    case 9:
        return gateway.setTfCard(pick(2) == 0);
    case 10:
        return sim::setModem(gateway, {{"present", pick(2) == 0},
                                       {"signal", pick(34) - 1},
                                       {"maker", makers[pick(3)]},
                                       {"sim", simCards[pick(3)]},
                                       {"pieces", pick(20)}});
    default:
        gateway.sendLogLine("line " + number + ", as long as it likes to be");
    }
}

class Soak {
  public:
    explicit Soak(const SoakPlan& soakPlan) : plan(soakPlan), random(soakPlan.seed) {}

    bool run() {
        const std::uint64_t presses = plan.events / eventsPerPress;
        for (int checkpoint = 1; checkpoint <= checkpoints && sound; ++checkpoint) {
            live(presses / checkpoints);
            check();
        }
        checkAllocations();
        return sound;
    }

  private:
    void live(std::uint64_t presses) {
        const double pause = plan.days * secondsPerDay /
                             static_cast<double>(std::max<std::uint64_t>(1, presses * checkpoints));
        std::exponential_distribution<double> pauses(1 / pause);
        for (std::uint64_t i = 0; i < presses && !life.over(); ++i) {
            if (random() % 10 == 0) {
                changeSomething(life.gateway, random);
            }
            life.press();
            const auto duration = std::chrono::duration<double>(pauses(random));
            life.pass(std::chrono::duration_cast<std::chrono::nanoseconds>(duration));
            lived += duration + 200ms;
            pressed += 1;
            life.process.clearOutput();
        }
    }

    void check() {
        require(!life.over(), "the process ended or hangs");
        if (!sound) {
            return;
        }
        const std::string differences = life.differences();
        require(differences.empty(), "a page is not right\n" + differences);
        const long memory = privateKb(life.process.pid());
        const std::size_t open = life.descriptors();
        if (pressed * eventsPerPress <= warmUpEvents) {
            warmMemory = std::max(warmMemory, memory);
            warmDescriptors = open;
        } else {
            require(memory <= warmMemory + latePageKb, "private memory grew");
            require(open == warmDescriptors, "descriptors leaked");
        }
        std::printf("day %.1f, %llu events: private %ld kB, descriptors %zu, pages %s\n",
                    lived.count() / secondsPerDay,
                    static_cast<unsigned long long>(pressed * eventsPerPress), memory, open,
                    differences.empty() ? "right" : "WRONG");
    }

    // Twenty passes a second, a redraw each second, and the receiver's polls.
    void checkAllocations() {
        life.findTheClock();
        const std::uint64_t before = life.gateway.calls(sim::Call::Malloc);
        const std::uint64_t passes = life.gateway.control().sleeps.main;
        life.pass(std::chrono::seconds(redraws));
        const std::uint64_t made = life.gateway.calls(sim::Call::Malloc) - before;
        std::printf("on the clock page: %llu allocations in %llu passes of the loop\n",
                    static_cast<unsigned long long>(made),
                    static_cast<unsigned long long>(life.gateway.control().sleeps.main - passes));
        require(made <= redraws, "the loop allocates");
        require(made > 0, "its allocations are not counted");
    }

    void require(bool held, const std::string& what) {
        if (!held && sound) {
            std::printf("FAILED: %s\n%s", what.c_str(), life.process.errors().c_str());
            sound = false;
        }
    }

    const SoakPlan plan;
    std::mt19937 random;
    Life life{sim::panel64};
    std::chrono::duration<double> lived{0};
    std::uint64_t pressed = 0;
    long warmMemory = 0;
    std::size_t warmDescriptors = 0;
    bool sound = true;
};

} // namespace

bool soak(const SoakPlan& plan) {
    return Soak(plan).run();
}
