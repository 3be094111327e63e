#include "app/navigation.h"

#include "app/page_loop.h"
#include "app/page_table.h"
#include "tests/support/gateway_test.h"

#include <random>
#include <set>

namespace {

std::string text(PagePosition position) {
    return std::to_string(position.page) + "." + std::to_string(position.subPage);
}

// --- The rules alone, on a made-up gateway with the 64-line panel ---

std::set<std::uint8_t> channels;

const NavigationQueries madeUpGateway = {
    [] { return false; },
    [] { return channels.empty() ? std::uint8_t{16} : *channels.begin(); },
    [](std::uint8_t number) { return channels.contains(number); },
};

PagePosition next(PagePosition shown, KeyEvent key = KeyEvent::ShortPress) {
    return shown.page == channelPage ? nextChannelPosition(shown, key, madeUpGateway)
                                     : nextPosition(shown, key, madeUpGateway);
}

TEST(NavigationRules, ALongPressLeadsToTheRebootPageFromEverywhere) {
    channels = {1, 2, 16};
    for (int page = 0; page < static_cast<int>(pageCount); ++page) {
        for (int subPage = 0; subPage < 256; ++subPage) {
            const PagePosition shown{static_cast<std::uint8_t>(page),
                                     static_cast<std::uint8_t>(subPage)};
            ASSERT_EQ(text(next(shown, KeyEvent::LongPress)), "11.0") << text(shown);
        }
    }
    EXPECT_EQ(text(next({rebootPage, 0})), "11.0");
}

TEST(NavigationRules, SubPagesAreEightBitsWide) {
    EXPECT_EQ(text(next({ethernetPage1, 255})), "1.0");
    EXPECT_EQ(text(next({ethernetPage1, 254})), "2.0");
    channels = {0, 5};
    EXPECT_EQ(text(next({channelPage, 255})), "9.0");
}

TEST(NavigationRules, RandomChannelMapsAreWalkedUpwardsFromTheSmallestNumber) {
    std::mt19937 random(20240304);
    for (int round = 0; round < 2000; ++round) {
        channels.clear();
        const unsigned highest = round % 2 == 0 ? 18 : 255;
        for (auto count = random() % 6; count > 0; --count) {
            channels.insert(static_cast<std::uint8_t>(random() % (highest + 1)));
        }
        std::vector<PagePosition> expected;
        for (const std::uint8_t number : channels) {
            const std::uint8_t smallest = *channels.begin();
            if (smallest != 16 && (number == smallest || number <= 16)) {
                expected.push_back({channelPage, number});
            }
        }
        expected.push_back({clockPage, 0});

        PagePosition shown{tfCardPage, 0};
        for (const PagePosition position : expected) {
            shown = next(shown);
            ASSERT_EQ(text(shown), text(position)) << "round " << round;
        }
    }
}

// --- The key handlers, the page table and the facts of a gateway ---

// Short presses from the clock page until it comes back.
std::string walkTheCycle() {
    scheduler.currentPage = clockPage;
    scheduler.currentSubPage = 0;
    std::string walk;
    do {
        walk += text({scheduler.currentPage, scheduler.currentSubPage}) + " ";
        PageTable[scheduler.currentPage].onKey(scheduler.currentPage, scheduler.currentSubPage,
                                               KeyEvent::ShortPress);
    } while (scheduler.currentPage != clockPage && walk.size() < 200);
    return walk + text({scheduler.currentPage, scheduler.currentSubPage});
}

void expectCycles(sim::Gateway& gateway, const std::string& simPages) {
    std::vector<sim::Channel> all;
    for (int number = 16; number >= 1; --number) {
        all.push_back({number});
    }
    const std::pair<std::vector<sim::Channel>, std::string> cases[] = {
        {{{2}, {5}}, "9.2 9.5 "},
        {{}, ""},
        {{{16}}, ""},
        {{{16}, {5}}, "9.5 9.16 "},
        {{{0}, {1}}, "9.0 9.1 "},
        {{{17}, {40}}, "9.17 "},
        {{{.number = 3, .mode = 1}}, ""},
        {all, "9.1 9.2 9.3 9.4 9.5 9.6 9.7 9.8 9.9 9.10 9.11 9.12 9.13 9.14 9.15 9.16 "},
    };
    for (const auto& [configured, channelPages] : cases) {
        gateway.writeChannels(configured);
        EXPECT_EQ(walkTheCycle(),
                  "0.0 1.0 1.1 2.0 2.1 3.0 " + simPages + "6.0 7.0 8.0 " + channelPages + "0.0");
    }
}

class Navigation : public GatewayTest {};
class NavigationSmallPanel : public SmallPanelGatewayTest {};

TEST_F(Navigation, TheCycleOfThe64LinePanelHasTheSimPages) {
    expectCycles(gateway, "4.0 4.1 4.2 5.0 ");
}

TEST_F(NavigationSmallPanel, TheCycleOfThe32LinePanelPassesTheSimPages) {
    expectCycles(gateway, "");
}

TEST_F(Navigation, InapplicablePagesAreLeftFromTheSchedulersOwnState) {
    gateway.writeChannels({{4}});
    scheduler.currentPage = channelPage;
    scheduler.currentSubPage = 9;
    skipInapplicablePages();
    EXPECT_EQ(text({scheduler.currentPage, scheduler.currentSubPage}), "9.4");
    gateway.writeChannels({});
    skipInapplicablePages();
    EXPECT_EQ(text({scheduler.currentPage, scheduler.currentSubPage}), "0.0");
}

} // namespace
