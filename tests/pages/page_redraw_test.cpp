// What pages leave behind: on the screen, in the text mode, on standard output.

#include "gui/gui.h"
#include "tests/pages/page_test.h"

#include <cerrno>

namespace {

class PageRedraw : public PageTest {};
class SmallPanelRedraw : public SmallPanelPageTest {};

TEST_F(PageRedraw, AValueThatShrinksLeavesBothEndsOfTheOldOne) {
    gateway.setInterface("eth1", "192.168.100.200");
    enter(ethernetPage1);
    gateway.setInterface("eth1", "10.0.0.5");
    redraw(ethernetPage1);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/ethernet1-address-shrunk"));
}

TEST_F(SmallPanelRedraw, AValueThatShrinksLeavesBothEndsOfTheOldOne) {
    gateway.writeVersion("V10.20.30");
    enter(versionPage);
    gateway.writeVersion("V1\n");
    redraw(versionPage);
    EXPECT_TRUE(golden::matches(shown(gateway), "32/version-shrunk"));
}

TEST_F(PageRedraw, AShorterLogLineLeavesOnlyWhatRanPastTheClearedArea) {
    log(std::string(68, 'H'));
    log("link up");
    enter(simLogPage);
    log("ppp0 10.64.3.7");
    redraw(simLogPage);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/sim-log-after-long-line"));
}

TEST_F(PageRedraw, AVersionIsDrawnAlikeWithAndWithoutItsLineFeed) {
    for (const char* contents : {"V1.2.3\n", "V1.2.3", "V1.2.3\nV2\n"}) {
        gateway.writeVersion(contents);
        enter(versionPage);
        EXPECT_TRUE(golden::matches(shown(gateway), "64/version"));
    }
}

TEST_F(PageRedraw, ALostFileKeepsItsValueAndIsReportedAtEveryRedraw) {
    enter(identityPage);
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    const std::string missing = "get /zelkora/Config/system/sn.xml status error\n";
    EXPECT_EQ(outputOf([this] {
                  redraw(identityPage);
                  redraw(identityPage);
              }),
              missing + missing);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/identity"));
}

TEST_F(PageRedraw, EveryDrawOfTheRebootPageRunsTheCommand) {
    EXPECT_EQ(outputOf([this] {
                  enter(rebootPage);
                  redraw(rebootPage);
              }),
              "system is rebooting\nsystem is rebooting\n");
    EXPECT_EQ(gateway.popenCount(), 2U);
    EXPECT_EQ(gateway.lastPopen(), "reboot");
    EXPECT_EQ(gateway.calls(sim::Call::Pclose), 2U);
    gateway.failCall(sim::Call::Popen, ENOMEM);
    EXPECT_EQ(outputOf([this] { enter(rebootPage); }), "exec reboot error\n");
    EXPECT_TRUE(golden::matches(shown(gateway), "64/reboot"));
    EXPECT_EQ(gateway.calls(sim::Call::Pclose), 2U);
}

TEST_F(PageRedraw, EveryPageLeavesTheTextModeNormal) {
    StdoutCapture silence;
    initScreen();
    for (const PageEntry& entry : PageTable) {
        for (std::uint8_t subPage = 0; entry.draw != nullptr && subPage < 3; ++subPage) {
            entry.draw(entry.id, subPage);
            EXPECT_EQ(GUI_SetTextMode(GUI_TM_NORMAL), GUI_TM_NORMAL) << int{entry.id};
        }
    }
}

} // namespace
