#include "sim/terminal_walk.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <span>
#include <system_error>

#include "sim/terminal_text.h"

namespace sim {
namespace {

using namespace std::chrono_literals;

constexpr std::time_t startTime = 1709370303; // 2024-03-02 09:05:03 UTC
constexpr const char* olderLogLine = "link up 4G";
constexpr const char* newerLogLine = "通信连接正常";

enum class Way {
    Start,     // nothing to do: the daemon shows it
    Press,     // a short press
    Wait,      // the page's own redraw, which asks the modem
    LongPress, // the button held
};

struct Stop {
    Way way;
    bool smallPanelToo;
    const char* name;
    const char* title;
};

constexpr Stop stops[] = {
    {Way::Start, true, "clock", "Clock"},
    {Way::Press, true, "ethernet-1-address", "Ethernet port 1, address"},
    {Way::Press, true, "ethernet-1-netmask", "Ethernet port 1, netmask"},
    {Way::Press, true, "ethernet-2-address", "Ethernet port 2, address"},
    {Way::Press, true, "ethernet-2-netmask", "Ethernet port 2, netmask"},
    {Way::Press, true, "gateway", "Gateway"},
    {Way::Press, false, "sim-scanning", "SIM status, before the first answer"},
    {Way::Wait, false, "sim-status", "SIM status"},
    {Way::Press, false, "sim-address", "SIM network, address"},
    {Way::Press, false, "sim-netmask", "SIM network, netmask"},
    {Way::Press, false, "sim-log", "SIM log"},
    {Way::Press, true, "identity", "Device identity"},
    {Way::Press, true, "version", "Software version"},
    {Way::Press, true, "tf-card", "TF card"},
    {Way::Press, true, "channel-1", "Channel 1"},
    {Way::Press, true, "channel-2", "Channel 2"},
    {Way::Press, true, "channel-5", "Channel 5"},
    {Way::LongPress, true, "reboot", "Reboot"},
};

picture::Bitmap pictureOf(const Gateway& gateway) {
    const Panel panel = gateway.panel();
    return picture::Bitmap::fromVideoMemory(gateway.picture(), static_cast<int>(panel.width),
                                            static_cast<int>(panel.height));
}

// Pixels inside the border that every page has.
std::size_t litInside(const picture::Bitmap& bitmap) {
    std::size_t lit = 0;
    for (int y = 1; y < bitmap.height() - 1; ++y)
        for (int x = 1; x < bitmap.width() - 1; ++x)
            lit += bitmap.at(x, y) ? 1 : 0;
    return lit;
}

class Walker {
  public:
    Walker(const Programs& programs, Panel panel)
        : gateway(panel), small(panel.height == panel32.height),
          process(prepared(gateway), programs.paneld, programs.interposer) {}

    Walk walk() {
        for (const Stop& stop : stops) {
            if (small && !stop.smallPanelToo)
                continue;
            if (stop.way == Way::LongPress)
                closeCycle();
            visit(stop);
            if (!result.failure.empty())
                break;
        }
        if (result.failure.empty() &&
            (gateway.popenCount() != 1 || gateway.lastPopen() != "reboot"))
            result.failure = "the reboot page did not ask for one reboot";
        result.output = process.output() + process.errors();
        return std::move(result);
    }

  private:
    // What the pages show beyond the ordinary facts.
    static Gateway& prepared(Gateway& gateway) {
        gateway.setWallClock(startTime);
        gateway.sendLogLine(olderLogLine);
        gateway.sendLogLine(toGb2312(newerLogLine).value_or("no GB2312 here"));
        return gateway;
    }

    void visit(const Stop& stop) {
        go(stop.way, stop.title);
        if (!result.failure.empty())
            return;
        const picture::Bitmap bitmap = pictureOf(gateway);
        if (litInside(bitmap) == 0)
            result.failure = std::string(stop.title) + ": the page is blank";
        const auto same = std::find_if(result.pages.begin(), result.pages.end(),
                                       [&](const PagePicture& p) { return p.picture == bitmap; });
        if (same != result.pages.end())
            result.failure = std::string(stop.title) + ": the panel still shows " + same->title;
        result.pages.push_back({stop.name, stop.title, bitmap});
    }

    // The press behind the last channel leads back to the clock page; with the wall clock set back
    // it must be the very picture of the start.
    void closeCycle() {
        gateway.setWallClock(startTime);
        go(Way::Press, "Clock again");
        if (result.failure.empty() && pictureOf(gateway) != result.pages.front().picture)
            result.failure = "the cycle does not lead back to the clock page";
    }

    void go(Way way, const char* title) {
        if (!result.failure.empty())
            return;
        const PanelProcess::Wait wait = act(way);
        if (wait == PanelProcess::Wait::Exited)
            result.failure = std::string(title) + ": paneld has ended";
        if (wait == PanelProcess::Wait::Stuck)
            result.failure = std::string(title) + ": paneld does not come to rest";
    }

    PanelProcess::Wait act(Way way) {
        switch (way) {
        case Way::Start:
            return process.advance(0s);
        case Way::Press:
            return process.shortPress();
        case Way::LongPress:
            return process.longPress();
        case Way::Wait:
            break;
        }
        const PanelProcess::Wait wait = process.advance(5s); // the SIM page's own period
        return wait == PanelProcess::Wait::Settled ? process.settle() : wait;
    }

    Gateway gateway;
    bool small;
    PanelProcess process;
    Walk result;
};

} // namespace

Walk walkPages(const Programs& programs, Panel panel) {
    try {
        return Walker(programs, panel).walk();
    } catch (const std::system_error& error) {
        Walk walk;
        walk.failure = error.what();
        return walk;
    }
}

} // namespace sim
