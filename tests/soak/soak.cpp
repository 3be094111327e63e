// A long life of the daemon under accelerated time: button events and changing facts, day after
// day, with looks at its memory, its descriptors and its pages on the way.
//
//   soak [--days N] [--events N] [--seed N]     default: 30 days, 1,000,000 events
//
// Prints a line at each checkpoint and fails when private memory grew after the warm-up, a
// descriptor leaked, a page differs from that of a freshly started daemon, or the loop or the clock
// page allocates more than tzset's copy of its file's name. The daemon runs in the machine's zone:
// with TZ set tzset does nothing after its first call.

#include "tests/pages/shown.h"
#include "tests/support/cycle_walk.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

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

struct Plan {
    double days = 30;
    std::uint64_t events = 1'000'000;
    std::uint32_t seed = 1;
};

struct Use {
    long privateKb;
    std::size_t descriptors;
};

Use useOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    long total = 0;
    for (std::string word; file >> word;) {
        long amount = 0;
        // Memory of its own, also where the kernel has put it out to swap for a while.
        if ((word == "Anonymous:" || word == "Swap:") && file >> amount) {
            total += amount;
        }
    }
    return {total, walk::openDescriptors(process)};
}

// One fact of the gateway becomes another one.
void changeSomething(sim::Gateway& gateway, std::mt19937& random) {
    const auto pick = [&](int count) {
        return std::uniform_int_distribution<int>(0, count - 1)(random);
    };
    const std::string number = std::to_string(pick(256));
    switch (pick(13)) {
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
        return gateway.setInterface("eth0", "192.168.1." + number);
    case 8:
        return gateway.removeInterface("ppp0");
    case 9:
        return gateway.setTfCard(pick(2) == 0);
    case 10:
        return gateway.setModemPresent(pick(2) == 0);
    case 11:
        return gateway.editModem([&](sim::ModemFacts& facts) {
            facts.csq = pick(34) - 1;
            facts.maker = static_cast<sim::Maker>(pick(4));
            facts.simCard = static_cast<sim::SimCard>(pick(3));
            facts.chunkBytes = static_cast<std::uint16_t>(pick(20));
        });
    default:
        gateway.sendLogLine("line " + number + ", as long as it likes to be");
    }
}

sim::ProcessOptions inTheZoneOfTheMachine() {
    sim::ProcessOptions options;
    options.ownZone = false;
    return options;
}

// The daemon on its gateway, with a count of its allocations.
struct Life {
    Life()
        : panel(gateway, PANELD_PROGRAM, std::string(PANELD_FAILURES) + ":" + PANELD_INTERPOSER,
                inTheZoneOfTheMachine()) {
        panel.settle();
    }

    std::vector<picture::Bitmap> pages(const picture::Bitmap& clock) {
        walk::restoreFacts(gateway);
        while (gateway.logLinesWaiting() > 0) {
            panel.advance(1s);
        }
        gateway.sendLogLine("first");
        gateway.sendLogLine("second");
        panel.advance(5s);
        // Once around: cascade and model are read with the gateway's and the identity page only.
        for (int i = 0; i < walk::pressesPerCycle; ++i) {
            panel.shortPress();
            panel.advance(6s);
        }
        walk::findTheClock(gateway, panel, clock);
        return walk::collectPages(gateway, panel, clock);
    }

    std::uint64_t allocations() { return gateway.calls(sim::Call::Malloc); }

    sim::Gateway gateway;
    sim::PanelProcess panel;
};

class Soak {
  public:
    explicit Soak(const Plan& soakPlan) : plan(soakPlan), random(soakPlan.seed) {
        Life fresh;
        clock = shown(fresh.gateway);
        expected = fresh.pages(clock);
    }

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
        for (std::uint64_t i = 0; i < presses && life.panel.running(); ++i) {
            if (random() % 10 == 0) {
                changeSomething(life.gateway, random);
            }
            require(life.panel.shortPress() == sim::PanelProcess::Wait::Settled, "it hangs");
            const auto duration = std::chrono::duration<double>(pauses(random));
            life.panel.advance(std::chrono::duration_cast<std::chrono::nanoseconds>(duration));
            lived += duration + 200ms;
            pressed += 1;
            life.panel.clearOutput();
        }
    }

    void check() {
        require(life.panel.running(), "the process ended");
        if (!sound) {
            return;
        }
        const bool same = life.pages(clock) == expected;
        require(same, "a page differs from that of a fresh daemon");
        const Use use = useOf(life.panel.pid());
        if (pressed * eventsPerPress <= warmUpEvents) {
            warm = {std::max(warm.privateKb, use.privateKb), use.descriptors};
        } else {
            require(use.privateKb <= warm.privateKb + latePageKb, "private memory grew");
            require(use.descriptors == warm.descriptors, "descriptors leaked");
        }
        std::printf("day %.1f, %llu events: private %ld kB, descriptors %zu, pages %s\n",
                    lived.count() / secondsPerDay,
                    static_cast<unsigned long long>(pressed * eventsPerPress), use.privateKb,
                    use.descriptors, same ? "right" : "WRONG");
    }

    // Twenty passes a second, a redraw each second, and the receiver's polls.
    void checkAllocations() {
        walk::findTheClock(life.gateway, life.panel, clock);
        const std::uint64_t before = life.allocations();
        const std::uint64_t passes = life.gateway.control().sleeps.main;
        constexpr std::uint64_t redraws = 50;
        life.panel.advance(std::chrono::seconds(redraws));
        const std::uint64_t made = life.allocations() - before;
        std::printf("on the clock page: %llu allocations in %llu passes of the loop\n",
                    static_cast<unsigned long long>(made),
                    static_cast<unsigned long long>(life.gateway.control().sleeps.main - passes));
        require(made <= redraws, "the loop allocates");
        require(made > 0, "its allocations are not counted");
    }

    void require(bool held, const char* what) {
        if (!held && sound) {
            std::printf("FAILED: %s\n%s", what, life.panel.errors().c_str());
            sound = false;
        }
    }

    Plan plan;
    std::mt19937 random;
    Life life;
    picture::Bitmap clock;
    std::vector<picture::Bitmap> expected;
    std::chrono::duration<double> lived{0};
    std::uint64_t pressed = 0;
    Use warm{};
    bool sound = true;
};

template <typename Number>
bool take(std::string_view text, Number& number) {
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc{};
}

} // namespace

int main(int count, char** arguments) {
    unsetenv("TZ");
    Plan plan;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string_view option = arguments[i];
        const bool known = (option == "--days" && take(arguments[i + 1], plan.days)) ||
                           (option == "--events" && take(arguments[i + 1], plan.events)) ||
                           (option == "--seed" && take(arguments[i + 1], plan.seed));
        if (!known) {
            std::fputs("usage: soak [--days N] [--events N] [--seed N]\n", stderr);
            return 2;
        }
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    return Soak(plan).run() ? 0 : 1;
}
