// When the SIM status page asks the modem, and what it shows until then.

#include "pages/network_label.h"
#include "tests/pages/page_test.h"

namespace {

class SimStatusPage : public PageTest {
  protected:
    // Draws the sub-pages given by their digits; for each draw '*' when it asked the modem.
    std::string drawsThatAsk(std::string_view subPages) {
        std::string result;
        for (const char digit : subPages) {
            const auto before = gateway.calls(sim::Call::Open, sim::Path::ModemPort);
            redraw(simStatusPage, static_cast<std::uint8_t>(digit - '0'));
            const auto asked = gateway.calls(sim::Call::Open, sim::Path::ModemPort) - before;
            result += asked == 0 ? '.' : asked == 1 ? '*' : '!';
        }
        return result;
    }
};

TEST_F(SimStatusPage, AsksOnItsSecondDrawAndOnEveryThirdAfterItCountedFromTheOtherSubPages) {
    initScreen();
    EXPECT_EQ(drawsThatAsk("0000000000"), ".*..*..*..");
    EXPECT_EQ(drawsThatAsk("10000"), "..*..");
    EXPECT_EQ(drawsThatAsk("200"), "..*");
    EXPECT_EQ(drawsThatAsk("12120000"), ".....*..");
    EXPECT_EQ(drawsThatAsk("103000"), ".....*"); // a sub-page that draws nothing counts as well
}

TEST_F(SimStatusPage, DoesNotAskWhileItSaysThatItIsScanning) {
    initScreen();
    EXPECT_EQ(drawsThatAsk("30000"), "....*"); // the second draw is the first that can be seen
}

TEST_F(SimStatusPage, SaysOnceThatItIsScanning) {
    enter(simStatusPage);
    enter(simStatusPage, 1);
    enter(simStatusPage); // the first draw behind the address, so no question yet
    EXPECT_TRUE(golden::matches(shown(gateway), "64/sim-status-title"));
    redraw(simStatusPage);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/sim-status"));
}

TEST(NetworkLabel, FollowsTheTable) {
    std::string generations; // of the types from -1, a failed query, to 18
    for (std::int32_t networkType = -1; networkType <= 18; ++networkType) {
        const char* const label = networkLabel(1, networkType);
        generations += label == nullptr ? '?' : *label;
    }
    EXPECT_EQ(generations, "2?222333343333233422");
    EXPECT_EQ(networkLabel(0, 8), nullptr);
    EXPECT_STREQ(networkLabel(255, 8), "4G");
}

} // namespace
