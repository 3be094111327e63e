// A day in the life of the daemon on each panel: boot, the whole cycle of pages, facts that change
// under it, idle, wake, reboot.

#include "sim/panel_process.h"
#include "tests/pages/shown.h"
#include "tests/support/golden.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Wait = sim::PanelProcess::Wait;

constexpr std::time_t morning = 1'709'543'103; // 2024-03-04 09:05:03, as the goldens show it

class Day : public testing::TestWithParam<sim::Panel> {
  protected:
    Day() : gateway(GetParam()), panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER) {}

    testing::AssertionResult shows(const std::string& page) {
        return golden::matches(shown(gateway), (is64() ? "64/" : "32/") + page);
    }

    // Short presses, each followed by the page named.
    void walk(std::initializer_list<const char*> pages) {
        for (const char* page : pages) {
            ASSERT_EQ(panel.shortPress(), Wait::Settled);
            EXPECT_TRUE(shows(page));
        }
    }

    void walkToTheClock() {
        gateway.setWallClock(morning);
        walk({"clock"});
    }

    void pass(std::chrono::nanoseconds duration) {
        ASSERT_EQ(panel.advance(duration), Wait::Settled);
    }

    std::string takeOutput() {
        std::string text = panel.output();
        panel.clearOutput();
        return text;
    }

    bool is64() const { return GetParam().height == 64; }
    sim::Path backlightPath(bool fitted) const {
        return is64() == fitted ? sim::Path::BacklightSsd1306 : sim::Path::BacklightSt7565;
    }

    void walkTheSimPages();
    void changeFilesOnTheGatewayPage();
    void expectEveryCallAndPathReached();

    sim::Gateway gateway;
    sim::PanelProcess panel;
};

void Day::walkTheSimPages() {
    gateway.sendLogLine("link up");
    gateway.sendLogLine("ppp0 10.64.3.7");
    walk({"sim-scanning"});
    EXPECT_EQ(gateway.sentToModem(), "");
    pass(5s);
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(shows("sim-status"));
    walk({"sim-address", "sim-netmask", "sim-log"});
}

void Day::changeFilesOnTheGatewayPage() {
    gateway.writeSysXml("255.255.255.2550");
    pass(10s);
    EXPECT_TRUE(shows("gateway-widest"));
    gateway.writeFile("/zelkora/Config/sys.xml", "<sysConfig><lan1 gate");
    pass(10s);
    EXPECT_TRUE(shows("gateway-widest"));
    EXPECT_NE(panel.errors(), "") << "libxml2's own words";
    EXPECT_EQ(takeOutput(), "/zelkora/Config/sys.xml Document not parsed successfully.\n");
    gateway.writeSysXml("192.168.1.1");
}

void Day::expectEveryCallAndPathReached() {
    for (std::size_t i = 0; i < sim::pathCount; ++i) {
        const auto path = static_cast<sim::Path>(i);
        if (path == sim::Path::Refused || path == sim::Path::None || path == backlightPath(false) ||
            (path == sim::Path::ModemPort && !is64())) {
            continue;
        }
        EXPECT_GT(gateway.calls(path), 0U) << name(path);
    }
    EXPECT_EQ(gateway.calls(backlightPath(false)), 0U);
    EXPECT_EQ(gateway.calls(sim::Path::Refused), 0U) << panel.errors();
    for (std::size_t i = 0; is64() && i < sim::callCount; ++i) {
        const auto call = static_cast<sim::Call>(i);
        EXPECT_GT(gateway.calls(call), 0U) << name(call);
    }
}

TEST_P(Day, FromBootToReboot) {
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(shows("clock"));
    EXPECT_EQ(gateway.brightness(), "127");

    walk({"ethernet1-address", "ethernet1-netmask", "ethernet2-address", "ethernet2-netmask",
          "gateway"});
    changeFilesOnTheGatewayPage();
    if (is64()) {
        walkTheSimPages();
    }
    walk({"identity", "version", "tf-card", "channel"});
    gateway.writeChannels({{2, 9600, 8, "", 1}, {16, 115200, 7, "Even", 2}});
    walk({"channel-no-parity", "channel-16"});
    walkToTheClock();

    gateway.writeChannels({});
    walk({"ethernet1-address", "ethernet1-netmask", "ethernet2-address", "ethernet2-netmask",
          "gateway"});
    for (int simPage = 0; is64() && simPage < 4; ++simPage) {
        panel.shortPress();
    }
    gateway.setTfCard(false);
    walk({"identity", "version", "tf-card-none"});
    walkToTheClock();
    EXPECT_EQ(takeOutput(), "can not find tf card\n");

    // Into the dark, where only the 32-line panel stays on its page and is redrawn, and out of it
    // with a press that would reboot a lit panel.
    walk({"ethernet1-address"});
    pass(62s);
    EXPECT_EQ(gateway.brightness(), "0");
    EXPECT_EQ(isBlank(gateway), is64());
    gateway.fillPicture(0xff);
    pass(10s);
    EXPECT_EQ(gateway.picture() == std::vector<std::uint8_t>(gateway.picture().size(), 0xff),
              is64());
    EXPECT_EQ(gateway.brightness(), "0");
    gateway.setWallClock(morning - 10);
    ASSERT_EQ(panel.longPress(), Wait::Settled);
    EXPECT_TRUE(shows(is64() ? "clock" : "ethernet1-address"));
    EXPECT_EQ(gateway.brightness(), "127");
    EXPECT_EQ(gateway.popenCount(), 0U);

    ASSERT_EQ(panel.longPress(), Wait::Settled);
    EXPECT_TRUE(shows("reboot"));
    EXPECT_EQ(gateway.popenCount(), 1U);
    EXPECT_EQ(gateway.lastPopen(), "reboot");
    pass(21s);
    EXPECT_EQ(gateway.popenCount(), 2U);
    EXPECT_EQ(takeOutput(), "system is rebooting\nsystem is rebooting\n");

    EXPECT_TRUE(gateway.canaryIntact());
    expectEveryCallAndPathReached();
    panel.clearOutput();
    EXPECT_EQ(panel.exitNormally(), 0);
    EXPECT_EQ(panel.errors(), ""); // where a leak would be reported
}

INSTANTIATE_TEST_SUITE_P(Panels, Day, testing::Values(sim::panel64, sim::panel32),
                         [](const auto& suite) {
                             return std::to_string(suite.param.height) + "Lines";
                         });

class SimPage : public Day {
  protected:
    // At the status page with an answer of the modem, half a second before its next question.
    void waitForAQuestion() {
        for (int press = 0; press < 6; ++press) {
            panel.shortPress();
        }
        ASSERT_TRUE(shows("sim-scanning"));
        const std::chrono::nanoseconds entered =
            std::chrono::floor<std::chrono::seconds>(gateway.monotonic());
        pass(entered + 20s - 500ms - gateway.monotonic());
        ASSERT_TRUE(shows("sim-status"));
    }
};

INSTANTIATE_TEST_SUITE_P(Panels, SimPage, testing::Values(sim::panel64));

TEST_P(SimPage, TheBlockIsDrawnBeforeAndAfterTheModemAnswers) {
    waitForAQuestion();
    gateway.fillPicture(0x00);
    gateway.editModem([](sim::ModemFacts& facts) { facts.csq = 5; });
    gateway.clearTranscript();
    pass(550ms);
    EXPECT_NE(gateway.sentToModem(), "");
    EXPECT_TRUE(shows("sim-status-on-dark")) << "while the modem is asked";
    ASSERT_EQ(panel.settle(), Wait::Settled);
    EXPECT_TRUE(shows("sim-status-1-bar-on-dark"));
}

TEST_P(SimPage, AKeyWaitsUntilTheModemHasAnswered) {
    waitForAQuestion();
    gateway.editModem([](sim::ModemFacts& facts) { facts.silentCommands = sim::everyCommand; });
    pass(600ms);
    gateway.press();
    gateway.release();
    pass(1s);
    EXPECT_TRUE(shows("sim-status"));
    pass(4s);
    EXPECT_TRUE(shows("sim-address"));
}

} // namespace
