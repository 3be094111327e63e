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

constexpr nanoseconds start = 1000s; // monotonic clock of a fresh gateway
constexpr nanoseconds pollPeriod = 50ms;

// --- The comparisons alone ---

TEST(Timers, CountWholeSecondsAndWrapAsTheirWidthsDo) {
    const struct {
        std::uint32_t notDue; // the second after it is the first that is
        std::uint32_t last, period;
    } redraws[] = {{1009, 1000, 10},
                   {2147483649U, 2147483640U, 10}, // nothing special about 2^31
                   {3, 4294967290U, 10}};
    for (const auto& [notDue, last, period] : redraws) {
        EXPECT_FALSE(isRefreshDue(notDue, last, period)) << last;
        EXPECT_TRUE(isRefreshDue(notDue + 1, last, period)) << last;
    }
    EXPECT_TRUE(isRefreshDue(4294967295U, 4294967290U, 10)); // the sum has passed 2^32, now has not
    EXPECT_FALSE(isRefreshDue(2000, 1000, 0));               // a period of 0 is never due
    const std::pair<std::uint32_t, std::int32_t> idleAfter[] = {
        {1059, 1000},
        {54, -5},                        // over 2^32: the key came 5 s before
        {2147483648U + 58, 2147483647}}; // over 2^31
    for (const auto& [lastLit, lastKey] : idleAfter) {
        EXPECT_FALSE(isIdle(lastLit, lastKey)) << lastKey;
        EXPECT_TRUE(isIdle(lastLit + 1, lastKey)) << lastKey;
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
        gateway.sendEvent(EV_KEY, BTN_0, 0);
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
    bool flooded() const { return shown(gateway).litCount() == 128 * 64; }
};

TEST_F(PageLoop, EveryPageIsRedrawnWithItsOwnPeriod) {
    const std::tuple<PageNumber, std::uint8_t, seconds> cases[] = {
        {clockPage, 0, 1s},    {ethernetPage1, 0, 10s}, {ethernetPage2, 1, 10s},
        {gatewayPage, 0, 10s}, {simStatusPage, 0, 5s},  {simStatusPage, 1, 5s},
        {simLogPage, 0, 1s},   {identityPage, 0, 10s},  {versionPage, 0, 10s},
        {tfCardPage, 0, 10s},  {channelPage, 1, 10s},   {rebootPage, 0, 20s}};
    startUp();
    StdoutCapture silence;
    for (const auto& [page, subPage, period] : cases) {
        const nanoseconds from = std::chrono::ceil<seconds>(gateway.monotonic());
        runUntil(from);
        show(page, subPage);
        for (int round = 1; round <= 2; ++round) {
            flood();
            runUntil(from + round * period);
            EXPECT_TRUE(flooded()) << "page " << page << " is drawn too early";
            pageLoopPass();
            EXPECT_FALSE(flooded()) << "page " << page << " is not drawn";
        }
    }
    show(reservedPage);
    flood();
    runUntil(gateway.monotonic() + 3s);
    EXPECT_TRUE(flooded()) << "the reserved row draws nothing";
}

TEST_F(PageLoop, AKeyStartsBothTimersAnew) {
    startUp();
    show(ethernetPage1);
    runUntil(start + 8s);
    tap();
    ASSERT_EQ(scheduler.currentSubPage, 1);
    flood();
    runUntil(start + 18s);
    EXPECT_TRUE(flooded()) << "redrawn before a full period after the key";
    pageLoopPass();
    EXPECT_FALSE(flooded());
    runUntil(start + 68s);
    EXPECT_EQ(gateway.brightness(), "127");
    pageLoopPass();
    EXPECT_EQ(gateway.brightness(), "0");
}

TEST_F(PageLoop, KeysThatWaitAreReadWithoutSleepingInBetween) {
    startUp();
    pageLoopPass();
    EXPECT_EQ(timeOf([this] {
                  for (int i = 0; i < 4; ++i) {
                      tap();
                  }
              }),
              0ns);
    EXPECT_EQ(scheduler.currentPage, ethernetPage2);
    EXPECT_EQ(timeOf(pageLoopPass), pollPeriod);
}

TEST_F(PageLoop, AKeyIsStampedByTwoReadingsOfTheClock) {
    startUp();
    pageLoopPass();
    for (const std::uint32_t failing : {1U, 2U}) {
        gateway.failCall(sim::Call::ClockGettime, EINVAL, failing);
        tap();
        EXPECT_EQ(scheduler.lastRefreshTime, failing == 1 ? 0U : 1000U);
        EXPECT_EQ(scheduler.lastKeyTime, failing == 2 ? 0 : 1000);
        gateway.clearFaults();
    }
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
