// panelctl shot, and the command line as a whole. Presses are a scenario.

#include "picture/image.h"
#include "tests/tools/session.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace {

TEST_F(Panelctl, ShotShowsWhatTheDaemonHasDrawnAndLeavesItAlone) {
    gateway.setClockMode(sim::ClockMode::Virtual); // the clock shows the moment of its golden
    for (const sim::Panel& panel : {sim::panel64, sim::panel32}) {
        daemon.reset();
        gateway.setPanel(panel);
        startDaemon();
        daemon.reset();
        const std::vector<std::uint8_t> bytes = gateway.picture();
        type("panelctl shot");
        type("panelctl shot --cells braille");
        type("panelctl shot --scale 3 a.png; panelctl shot - --scale 3 | cmp - a.png");
        const auto [width, height, bits] = panel;
        const auto drawn = picture::Bitmap::fromVideoMemory(bytes, static_cast<int>(width),
                                                            static_cast<int>(height));
        EXPECT_EQ(picture::readPng(folder / "a.png"), picture::panelImage(drawn, 3));
        EXPECT_EQ(gateway.picture(), bytes);
        EXPECT_TRUE(gateway.canaryIntact());
    }
    expectText("shot");
}

TEST_F(Panelctl, ShotFitsTheTerminal) {
    const std::pair<sim::Panel, const char*> cases[] = {
        {sim::panel64, "rows 24 columns 80"},  {sim::panel64, "rows 33 columns 200"},
        {sim::panel64, "rows 34 columns 128"}, {sim::panel64, "rows 34 columns 127"},
        {sim::panel32, "rows 24 columns 80"},
    };
    for (const auto& [panel, size] : cases) {
        gateway.setPanel(panel);
        gateway.fillPicture(0x35);
        type("script -qec 'stty "s + size + "; panelctl shot 2> seen' /dev/null | tr -d '\\r'");
    }
    expectText("shot-sizes");
}

TEST_F(Panelctl, ShotTellsThatThePanelIsDark) {
    gateway.setClockMode(sim::ClockMode::Virtual);
    startDaemon();
    type("panelctl shot > /dev/null");
    daemon->advance(std::chrono::seconds{62});
    type("panelctl shot > /dev/null");
    expectText("shot-dark");
}

TEST_F(Panelctl, ShotWatchesUntilItIsEndedAndShowsEachChangeOnce) {
    const auto waitForLines = [&](std::ptrdiff_t count) {
        std::string lines;
        while (std::count(lines.begin(), lines.end(), '\n') < count) {
            usleep(5000);
            lines = contentsOf(folder / "watch");
        }
        return lines;
    };
    gateway.setPanel(sim::panel32);
    gateway.fillPicture(0x0f);
    type("timeout --preserve-status 2 panelctl shot --watch"); // nothing changes: once
    type("(panelctl shot --watch > watch & echo $! > id; wait $!; echo $? >> watch) &");
    waitForLines(17);
    std::fstream(gateway.place("/dev/fb0")).put('\xff'); // one byte: never seen half written
    waitForLines(34);
    kill(std::stoi(contentsOf(folder / "id")), SIGTERM);
    text += waitForLines(35);
    expectText("shot-watch");
}

TEST_F(Panelctl, CommandLineTellsUsageAndFailureApart) {
    for (const char* arguments :
         {"", "dance", "say --type 0 x", "say -x", "shot --watch file.png", "shot --scale 2",
          "modem --kind 3", "press --hold 10", "press --hold 9 --reboot", "say --help",
          "shot /nowhere/shot.png"}) {
        type("panelctl "s + arguments);
    }
    gateway.removeFile("/dev/fb0");
    type("panelctl shot");
    expectText("usage");
}

} // namespace
