// What pages leave behind: on the screen and on standard output.

#include "tests/pages/page_test.h"

#include <cerrno>

namespace {

class PageRedraw : public PageTest {};

TEST_F(PageRedraw, AValueThatShrinksLeavesBothEndsOfTheOldOne) {
    gateway.setInterface("eth1", "192.168.100.200");
    enter(ethernetPage1);
    gateway.setInterface("eth1", "10.0.0.5");
    redraw(ethernetPage1);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/ethernet1-address-shrunk"));
}

TEST_F(PageRedraw, AValueThatShrinksLeavesBothEndsOfTheOldOneOn32Lines) {
    gateway.setPanel(sim::panel32);
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

TEST_F(PageRedraw, TheRebootPageSaysWhenItsCommandCannotBeRun) {
    gateway.failCall(sim::Call::Popen, ENOMEM);
    EXPECT_EQ(outputOf([this] { enter(rebootPage); }), "exec reboot error\n");
    EXPECT_TRUE(golden::matches(shown(gateway), "64/reboot"));
    EXPECT_EQ(gateway.calls(sim::Call::Pclose), 0U);
}

} // namespace
