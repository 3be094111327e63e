#include "app/page_loop.h"

#include "app/page_table.h"
#include "tests/pages/shown.h"
#include "tests/support/gateway_test.h"

#include <cerrno>
#include <linux/input.h>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr nanoseconds pollPeriod = 50ms;

// --- The comparisons alone ---

TEST(Timers, CountWholeSecondsAndWrapAsTheirWidthsDo) {
    constexpr std::uint32_t period = 10;
    const std::pair<std::uint32_t, std::uint32_t> notDue[] = {
        {1009, 1000},
        {2147483649U, 2147483640U}, // nothing special about 2^31
        {3, 4294967290U}};
    for (const auto& [now, last] : notDue) {
        EXPECT_FALSE(isRefreshDue(now, last, period)) << last;
        EXPECT_TRUE(isRefreshDue(now + 1, last, period)) << last;
    }
    EXPECT_TRUE(isRefreshDue(4294967295U, 4294967290U, 10)); // the sum has passed 2^32, now has not
    EXPECT_FALSE(isRefreshDue(2000, 1000, 0));               // a period of 0 is never due
    const std::pair<std::uint32_t, std::int32_t> notIdle[] = {
        {1059, 1000},
        {54, -5},                        // over 2^32: the key came 5 s before
        {2147483648U + 58, 2147483647}}; // over 2^31
    for (const auto& [now, lastKey] : notIdle) {
        EXPECT_FALSE(isIdle(now, lastKey)) << lastKey;
        EXPECT_TRUE(isIdle(now + 1, lastKey)) << lastKey;
    }
    EXPECT_TRUE(isIdle(2147483600U, 2147483600)); // the sum has passed 2^31, now has not
}

// --- The loop on a gateway whose time moves with its sleeps ---

class PageLoop : public GatewayTest {
  protected:
    // Passes of the loop until the monotonic clock shows `end`; the last one begins before it.
    void runUntil(nanoseconds end) {
        while (gateway.monotonic() < end) {
            pageLoopPass();
        }
    }

    // A release without a press, handled in one pass.
    void tap() {
        gateway.sendEvent(EV_KEY, buttonCode, 0);
        pageLoopPass();
    }

    // Makes a page current that was entered a moment ago.
    static void show(std::uint8_t page, std::uint8_t subPage = 0) {
        scheduler.currentPage = page;
        scheduler.currentSubPage = subPage;
        scheduler.lastRefreshTime = monotonicSeconds();
        scheduler.lastKeyTime = static_cast<std::int32_t>(monotonicSeconds());
    }

    // Everything lit, so that any drawing shows.
    void flood() { gateway.fillPicture(0xff); }
    bool flooded() const { return shown(gateway).litCount() == std::size_t{128} * 64; }
};

TEST_F(PageLoop, EveryPageIsRedrawnWithItsOwnPeriod) {
    // Of the page with the number of its place; the reserved one draws nothing.
    constexpr seconds periods[] = {1s, 10s, 10s, 10s, 5s, 1s, 10s, 10s, 10s, 10s, 0s, 20s};
    startUp();
    const StdoutCapture silence;
    for (std::uint8_t page = 0; const seconds period : periods) {
        const nanoseconds from = std::chrono::ceil<seconds>(gateway.monotonic());
        runUntil(from);
        show(page);
        for (int round = 1; round <= 2; ++round) {
            flood();
            runUntil(from + round * (period == 0s ? 3s : period));
            EXPECT_TRUE(flooded()) << "page " << int{page} << " is drawn too early";
            pageLoopPass();
            EXPECT_EQ(flooded(), period == 0s) << "page " << int{page};
        }
        ++page;
    }
}

TEST_F(PageLoop, KeysThatWaitAreReadWithoutSleepingAndStampedByTwoReadingsOfTheClock) {
    startUp();
    pageLoopPass();
    const nanoseconds before = gateway.monotonic();
    for (const std::uint32_t failing : {1U, 2U}) {
        gateway.failCall(sim::Call::ClockGettime, EINVAL, failing);
        tap();
        EXPECT_EQ(scheduler.lastRefreshTime, failing == 1 ? 0U : 1000U);
        EXPECT_EQ(scheduler.lastKeyTime, failing == 2 ? 0 : 1000);
        gateway.clearFaults();
    }
    EXPECT_EQ(gateway.monotonic(), before);
    EXPECT_EQ(scheduler.currentSubPage, 1); // of the first Ethernet page
    EXPECT_EQ(timeOf(pageLoopPass), pollPeriod);
}

TEST_F(PageLoop, ARedrawThatIsDueComesBeforeTheIdleTimeOut) {
    startUp();
    pageLoopPass();
    show(rebootPage);
    scheduler.lastRefreshTime -= 20;
    scheduler.lastKeyTime -= 60;
    EXPECT_EQ(outputOf(pageLoopPass), "system is rebooting\n");
    EXPECT_EQ(gateway.brightness(), "0");
    EXPECT_TRUE(isBlank(gateway));
}

} // namespace
