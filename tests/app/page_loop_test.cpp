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
        std::uint32_t now, last, period;
        bool due;
    } redraws[] = {
        {1009, 1000, 10, false},
        {1010, 1000, 10, true},
        {2000, 1000, 0, false},                // a period of 0 is never due
        {2147483649U, 2147483640U, 10, false}, // nothing special about 2^31
        {4294967295U, 4294967290U, 10, true},  // the sum has passed 2^32, now has not
        {3, 4294967290U, 10, false},
        {4, 4294967290U, 10, true},
    };
    for (const auto& [now, last, period, due] : redraws) {
        EXPECT_EQ(isRefreshDue(now, last, period), due) << now << " " << last << " " << period;
    }
    const struct {
        std::uint32_t now;
        std::int32_t lastKey;
        bool idle;
    } idleTimes[] = {
        {1059, 1000, false},
        {1060, 1000, true},
        {54, -5, false}, // over 2^32: the key came 5 s before
        {55, -5, true},
        {2147483648U + 58, 2147483647, false}, // over 2^31
        {2147483648U + 59, 2147483647, true},
        {2147483600U, 2147483600, true}, // the sum has passed 2^31, now has not
    };
    for (const auto& [now, lastKey, idle] : idleTimes) {
        EXPECT_EQ(isIdle(now, lastKey), idle) << now << " " << lastKey;
    }
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
    bool flooded() const {
        const picture::Bitmap now = shown(gateway);
        return now.litCount() == static_cast<std::size_t>(now.width() * now.height());
    }

    // The backlight goes off in the first pass at `time` or after it.
    void expectDarkFrom(nanoseconds time) {
        runUntil(time);
        EXPECT_EQ(gateway.brightness(), "127");
        pageLoopPass();
        EXPECT_EQ(gateway.brightness(), "0");
    }
};

TEST_F(PageLoop, EveryPageIsRedrawnWithItsOwnPeriod) {
    const struct {
        std::uint8_t page, subPage;
        seconds period;
    } cases[] = {{0, 0, 1s}, {1, 0, 10s}, {2, 1, 10s}, {3, 0, 10s}, {4, 0, 5s},  {4, 1, 5s},
                 {5, 0, 1s}, {6, 0, 10s}, {7, 0, 10s}, {8, 0, 10s}, {9, 1, 10s}, {11, 0, 20s}};
    startUp();
    StdoutCapture silence;
    for (const auto& [page, subPage, period] : cases) {
        const nanoseconds from = std::chrono::ceil<seconds>(gateway.monotonic());
        runUntil(from);
        show(page, subPage);
        for (int round = 1; round <= 2; ++round) {
            flood();
            runUntil(from + round * period);
            EXPECT_TRUE(flooded()) << "page " << int{page} << " is drawn too early";
            pageLoopPass();
            EXPECT_FALSE(flooded()) << "page " << int{page} << " is not drawn";
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
    expectDarkFrom(start + 68s);
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
    EXPECT_EQ(scheduler.currentSubPage, 1);
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
