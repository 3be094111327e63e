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

PagePosition next(PagePosition shown, KeyEvent key = KeyEvent::ShortPress) {
    PageTable[shown.page].onKey(shown.page, shown.subPage, key);
    return {scheduler.currentPage, scheduler.currentSubPage};
}

class Navigation : public GatewayTest {};

TEST_F(Navigation, ALongPressLeadsToTheRebootPageFromEverywhere) {
    gateway.writeChannels({{1}, {2}, {16}});
    for (int page = 0; page < static_cast<int>(pageCount); ++page) {
        for (int subPage = 0; subPage < 256; ++subPage) {
            const PagePosition shown{static_cast<std::uint8_t>(page),
                                     static_cast<std::uint8_t>(subPage)};
            ASSERT_EQ(text(next(shown, KeyEvent::LongPress)), "11.0") << text(shown);
        }
    }
    EXPECT_EQ(text(next({rebootPage, 0})), "11.0");
}

TEST_F(Navigation, SubPagesAreEightBitsWide) {
    EXPECT_EQ(text(next({ethernetPage1, 255})), "1.0");
    EXPECT_EQ(text(next({ethernetPage1, 254})), "2.0");
    gateway.writeChannels({{0}, {5}});
    EXPECT_EQ(text(next({channelPage, 255})), "9.0");
}

TEST_F(Navigation, RandomChannelMapsAreWalkedUpwardsFromTheSmallestNumber) {
    std::mt19937 random(20240304);
    for (int round = 0; round < 200; ++round) {
        std::set<std::uint8_t> channels;
        const unsigned highest = round % 2 == 0 ? 18 : 255;
        for (auto count = random() % 6; count > 0; --count) {
            channels.insert(static_cast<std::uint8_t>(random() % (highest + 1)));
        }
        gateway.writeChannels(std::vector<sim::Channel>(channels.begin(), channels.end()));
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

} // namespace
