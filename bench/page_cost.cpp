// Cost of redrawing each page, in instructions counted by callgrind and in time:
//
//   page_cost                lists the pages of both panels with the pixels that a redraw writes
//   page_cost PAGE           draws it once to warm up and once inside measuredDraw, for
//                            callgrind --toggle-collect='measuredDraw*'
//   page_cost --benchmark... Google Benchmark over all of them
//
// The pages draw on a simulated gateway with ordinary facts; what their data cost (files, network
// interfaces, the modem) is part of the figure.

#include "app/page_table.h"
#include "app/screen.h"
#include "gui/gui.h"
#include "sim/gateway.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace {

struct Page {
    const char* name;
    std::uint32_t lines;
    std::uint8_t page;
    std::uint8_t subPage;
};

// The SIM status page draws the answer of the query before; its queries wait for a modem and are
// no matter of drawing. The reboot page waits for a command.
constexpr Page pages[] = {
    {"64/clock", 64, clockPage, 0},
    {"64/ethernet-address", 64, ethernetPage1, 0},
    {"64/ethernet-netmask", 64, ethernetPage1, 1},
    {"64/gateway", 64, gatewayPage, 0},
    {"64/sim-status", 64, simStatusPage, 0},
    {"64/sim-address", 64, simStatusPage, 1},
    {"64/sim-log", 64, simLogPage, 0},
    {"64/identity", 64, identityPage, 0},
    {"64/version", 64, versionPage, 0},
    {"64/tf-card", 64, tfCardPage, 0},
    {"64/channel", 64, channelPage, 1},
    {"32/clock", 32, clockPage, 0},
    {"32/ethernet-address", 32, ethernetPage1, 0},
    {"32/gateway", 32, gatewayPage, 0},
    {"32/identity", 32, identityPage, 0},
    {"32/version", 32, versionPage, 0},
    {"32/tf-card", 32, tfCardPage, 0},
    {"32/channel", 32, channelPage, 1},
};

void draw(const Page& page) {
    PageTable[page.page].draw(page.page, page.subPage);
}

// A gateway whose clocks go on as the machine's: the benchmark times itself by them.
void attach(sim::Gateway& gateway) {
    const std::time_t now = std::time(nullptr);
    gateway.attach();
    gateway.setClockMode(sim::ClockMode::Real);
    gateway.setWallClock(now);
    gateway.setModemPresent(false);
}

// Draws until the SIM page has a status and is two draws away from its next query.
void warmUp(const Page& page) {
    initScreen();
    for (int i = 0; i < 3; ++i) {
        draw(page);
    }
}

// Pixels that end the same on a dark and on a lit panel were written.
int pixelsWritten(sim::Gateway& gateway, const Page& page) {
    gateway.fillPicture(0x00);
    draw(page);
    const auto onDark = gateway.picture();
    gateway.fillPicture(0xFF);
    draw(page);
    const auto onLit = gateway.picture();
    int pixels = 0;
    for (std::size_t i = 0; i < onDark.size(); ++i) {
        pixels += std::popcount(static_cast<std::uint8_t>(~(onDark[i] ^ onLit[i])));
    }
    return pixels;
}

const Page* findPage(const char* name) {
    for (const Page& page : pages) {
        if (std::strcmp(page.name, name) == 0) {
            return &page;
        }
    }
    return nullptr;
}

} // namespace

// The function that callgrind watches for.
extern "C" [[gnu::noinline]] void measuredDraw(const void* page) {
    draw(*static_cast<const Page*>(page));
}

int main(int count, char** arguments) {
    if (std::freopen("/dev/null", "w", stderr) == nullptr) {
        return 1;
    }
    const char* wanted = count > 1 ? arguments[1] : "";
    if (const Page* page = findPage(wanted)) {
        sim::Gateway gateway(page->lines == 64 ? sim::panel64 : sim::panel32);
        attach(gateway);
        warmUp(*page);
        const int pixels = pixelsWritten(gateway, *page);
        measuredDraw(page);
        std::printf("%s %d\n", page->name, pixels);
        return 0;
    }
    if (std::strncmp(wanted, "--benchmark", 11) != 0) {
        for (const Page& page : pages) {
            std::puts(page.name);
        }
        return 0;
    }
    // One panel per process: the panel's height is read once.
    const bool small =
        std::getenv("PANEL_LINES") != nullptr && std::strcmp(std::getenv("PANEL_LINES"), "32") == 0;
    sim::Gateway gateway(small ? sim::panel32 : sim::panel64);
    attach(gateway);
    for (const Page& page : pages) {
        if ((page.lines == 32) == small) {
            benchmark::RegisterBenchmark(page.name, [&page](benchmark::State& state) {
                warmUp(page);
                for (auto pass : state) {
                    draw(page);
                }
            });
        }
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
