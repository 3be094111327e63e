#include "app/page_loop.h"

#include "app/page_table.h"
#include "tests/pages/shown.h"
#include "tests/support/gateway_test.h"
#include "tests/support/golden.h"

#include <cerrno>
#include <linux/input.h>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr nanoseconds start = 1000s; // monotonic clock of a fresh gateway
constexpr nanoseconds pollPeriod = 50ms;

// --- The comparisons alone ---

TEST(Timers, ARedrawIsDueAWholePeriodAfterTheLastOne) {
    const struct {
        std::uint32_t now, last, period;
        bool due;
    } cases[] = {
        {1009, 1000, 10, false},
        {1010, 1000, 10, true},
        {2000, 1000, 0, false},                // a period of 0 is never due
        {2147483649U, 2147483640U, 10, false}, // nothing special about 2^31
        {2147483650U, 2147483640U, 10, true},
        {4294967295U, 4294967290U, 10, true}, // the sum has passed 2^32, now has not
        {3, 4294967290U, 10, false},
        {4, 4294967290U, 10, true},
    };
    for (const auto& [now, last, period, due] : cases) {
        EXPECT_EQ(isRefreshDue(now, last, period), due) << now << " " << last << " " << period;
    }
}

TEST(Timers, ThePanelIsIdleSixtySecondsAfterTheLastKey) {
    const struct {
        std::uint32_t now;
        std::int32_t lastKey;
        bool idle;
    } cases[] = {
        {1059, 1000, false},
        {1060, 1000, true},
        {54, -5, false}, // over 2^32: the key came 5 s before
        {55, -5, true},
        {2147483648U, 2147483647, false}, // over 2^31
        {2147483648U + 58, 2147483647, false},
        {2147483648U + 59, 2147483647, true},
        {2147483600U, 2147483600, true}, // the sum has passed 2^31, now has not
    };
    for (const auto& [now, lastKey, idle] : cases) {
        EXPECT_EQ(isIdle(now, lastKey), idle) << now << " " << lastKey;
    }
}

// --- The loop on a gateway whose time moves with its sleeps ---

class PageLoop : public GatewayTest {
  protected:
    explicit PageLoop(sim::Panel panel = sim::panel64) : GatewayTest(panel) {}

    // Passes of the loop until the monotonic clock shows `end`; the last one begins before it.
    void runUntil(nanoseconds end) {
        while (gateway.monotonic() < end) {
            pageLoopPass();
        }
    }

    void holdButton(nanoseconds held) {
        gateway.dropEvents(); // the synchronisation event behind an earlier release
        gateway.press();
        runUntil(gateway.monotonic() + held);
        gateway.release();
        pageLoopPass();
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

    bool isLit() const { return gateway.brightness() == "127"; }
    bool isDark() const { return gateway.brightness() == "0"; }
    int page() const { return scheduler.currentPage; }
};

class PageLoopOnBothPanels : public PageLoop, public testing::WithParamInterface<sim::Panel> {
  protected:
    PageLoopOnBothPanels() : PageLoop(GetParam()) {}

    bool small() const { return GetParam().height != 64; }
    testing::AssertionResult shows(const std::string& golden) const {
        return golden::matches(shown(gateway), (small() ? "32/" : "64/") + golden);
    }
};

INSTANTIATE_TEST_SUITE_P(Panels, PageLoopOnBothPanels, testing::Values(sim::panel64, sim::panel32),
                         [](const auto& suite) { return std::to_string(suite.param.height); });

TEST_P(PageLoopOnBothPanels, TheBacklightGoesOffSixtySecondsAfterTheLastKey) {
    startUp();
    runUntil(start + 20s);
    show(versionPage);
    runUntil(start + 80s);
    EXPECT_TRUE(isLit());
    EXPECT_EQ(page(), versionPage);
    pageLoopPass();
    EXPECT_TRUE(isDark());
    EXPECT_EQ(page(), small() ? versionPage : clockPage);
    EXPECT_EQ(isBlank(gateway), !small()); // not even the border
    flood();
    runUntil(start + 110s);
    EXPECT_EQ(flooded(), !small()) << "only the 32-line panel is redrawn in the dark";
    EXPECT_TRUE(isDark());
}

TEST_P(PageLoopOnBothPanels, AnyKeyInTheDarkOnlyWakesThePanel) {
    startUp();
    for (const nanoseconds held : {nanoseconds{100ms}, nanoseconds{11s}}) {
        show(gatewayPage);
        runUntil(gateway.monotonic() + 62s);
        ASSERT_TRUE(isDark());
        holdButton(held);
        EXPECT_TRUE(isLit());
        EXPECT_EQ(page(), small() ? gatewayPage : clockPage);
        EXPECT_EQ(gateway.popenCount(), 0U);
        EXPECT_TRUE(shown(gateway).at(127, 0)) << "a border is drawn";
        flood();
        holdButton(100ms);
        EXPECT_TRUE(shows(small() ? "identity" : "ethernet1-address")) << "the next key acts";
    }
}

TEST_F(PageLoop, EveryPageIsRedrawnWithItsOwnPeriod) {
    const struct {
        std::uint8_t page;
        std::uint8_t subPage;
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
    runUntil(start + 68s);
    EXPECT_TRUE(isLit());
    pageLoopPass();
    EXPECT_TRUE(isDark());
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
    EXPECT_EQ(page(), ethernetPage2);
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
    EXPECT_TRUE(isDark());
    EXPECT_TRUE(isBlank(gateway));
}

TEST_F(PageLoop, AClockThatCannotBeReadNeitherRedrawsNorDarkens) {
    startUp();
    gateway.failCall(sim::Call::ClockGettime, EINVAL, 1, true);
    flood();
    runUntil(start + 100s);
    EXPECT_TRUE(flooded());
    EXPECT_TRUE(isLit());
    gateway.clearFaults();
    pageLoopPass();
    EXPECT_TRUE(isDark());
}

TEST_F(PageLoop, TheWallClockDisturbsNeitherRedrawsNorTheIdleTime) {
    startUp();
    runUntil(start + 30s);
    gateway.setWallClock(86'399);
    flood();
    runUntil(start + 31s + pollPeriod);
    EXPECT_TRUE(golden::matches(shown(gateway), "64/clock-midnight-on-lit"));
    gateway.setWallClock(4'000'000'000);
    runUntil(start + 60s);
    EXPECT_TRUE(isLit());
    pageLoopPass();
    EXPECT_TRUE(isDark());
}

TEST_F(PageLoop, TheMonotonicClockMayWrapAt32Bits) {
    constexpr seconds wrap{1LL << 32};
    gateway.setMonotonic(wrap - 5s);
    startUp();
    runUntil(wrap + 3s);
    flood();
    runUntil(wrap + 4s + pollPeriod);
    EXPECT_FALSE(flooded());
    runUntil(wrap + 55s);
    EXPECT_TRUE(isLit());
    pageLoopPass();
    EXPECT_TRUE(isDark());
}

} // namespace
