#include "tests/support/cycle_walk.h"

#include "tests/pages/shown.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace walk {

using namespace std::chrono_literals;

picture::Bitmap clockGolden(const sim::Panel& panel) {
    std::ifstream file(std::string(PANELD_GOLDEN_FOLDER) + "/" + std::to_string(panel.height) +
                       "/clock.txt");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return picture::fromText(text).value_or(picture::Bitmap());
}

picture::Bitmap pageAfterPress(sim::Gateway& gateway, sim::PanelProcess& panel) {
    gateway.setWallClock(clockMoment);
    panel.shortPress();
    return shown(gateway);
}

bool findTheClock(sim::Gateway& gateway, sim::PanelProcess& panel, const picture::Bitmap& clock) {
    for (int i = 0; i < 2 * pressesPerCycle && panel.running(); ++i) {
        if (pageAfterPress(gateway, panel) == clock) {
            return true;
        }
    }
    return false;
}

std::vector<picture::Bitmap> collectPages(sim::Gateway& gateway, sim::PanelProcess& panel,
                                          const picture::Bitmap& clock) {
    std::vector<picture::Bitmap> pages;
    for (int i = 0; i < pressesPerCycle && panel.running(); ++i) {
        const picture::Bitmap page = pageAfterPress(gateway, panel);
        panel.advance(16s);
        pages.push_back(page == clock ? page : shown(gateway));
    }
    return pages;
}

void restoreFacts(sim::Gateway& gateway) {
    gateway.writeSysXml("192.168.1.1", "0");
    gateway.writeSnXml("SN20240001", "GW-100-L");
    gateway.writeVersion("V1.2.3\n");
    gateway.writeChannels({{.number = 1},
                           {.number = 2, .baud = 115200, .parity = "Even"},
                           {.number = 5, .baud = 2400, .dataSize = 7, .parity = "Odd", .stop = 2}});
    gateway.setInterface("eth0", "192.168.1.10");
    gateway.setInterface("eth1", "10.10.0.2");
    gateway.setInterface("ppp0", "10.64.3.7", 32);
    gateway.setTfCard(true);
    gateway.setTfMegabytes(5000, 7600);
    gateway.setModemPresent(true);
    gateway.editModem(sim::ordinaryModem);
}

std::size_t openDescriptors(pid_t process) {
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

} // namespace walk
