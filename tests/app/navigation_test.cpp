#include "app/navigation.h"

#include "app/page_loop.h"
#include "app/page_table.h"
#include "tests/support/gateway_test.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <set>

namespace {

// Where a key leads from a page and sub-page.
std::string next(std::uint8_t page, int subPage, KeyEvent key = KeyEvent::ShortPress) {
    scheduler.currentPage = page;
    scheduler.currentSubPage = static_cast<std::uint8_t>(subPage);
    PageTable[page].onKey(page, scheduler.currentSubPage, key);
    return std::to_string(scheduler.currentPage) + "." + std::to_string(scheduler.currentSubPage);
}

class Navigation : public GatewayTest {};

TEST_F(Navigation, ALongPressLeadsToTheRebootPageFromEverywhere) {
    for (std::uint8_t page = 0; page < pageCount; ++page) {
        for (int subPage = 0; subPage < 256; ++subPage) {
            ASSERT_EQ(next(page, subPage, KeyEvent::LongPress), "11.0") << int{page};
        }
    }
    EXPECT_EQ(next(rebootPage, 0), "11.0"); // a short press stays there
}

TEST_F(Navigation, SubPagesAreEightBitsWideAndSetAloneOnTheSamePage) {
    EXPECT_EQ(next(ethernetPage1, 255), "1.0");
    scheduler.currentPage = versionPage;
    onKeyDefault(ethernetPage1, 0, KeyEvent::ShortPress);
    EXPECT_EQ(scheduler.currentPage * 256 + scheduler.currentSubPage, versionPage * 256 + 1);
    EXPECT_EQ(next(ethernetPage1, 254), "2.0");
    gateway.writeChannels({{0}, {5}});
    EXPECT_EQ(next(channelPage, 255), "9.0");
}

TEST_F(Navigation, RandomChannelMapsAreWalkedUpwardsFromTheSmallestNumber) {
    const PageEntry& before = *std::ranges::find(PageTable, channelPage, &PageEntry::nextPage);
    std::mt19937 random(20240304);
    for (int round = 0; round < 200; ++round) {
        std::set<std::uint8_t> channels;
        const unsigned highest = round % 2 == 0 ? 18 : 255;
        for (auto count = random() % 6; count > 0; --count) {
            channels.insert(static_cast<std::uint8_t>(random() % (highest + 1)));
        }
        std::vector<sim::Channel> written;
        std::ranges::transform(channels, std::back_inserter(written),
                               [](int number) { return sim::Channel{number}; });
        gateway.writeChannels(written);
        std::string shown = next(before.id, before.lastSubPage);
        for (const std::uint8_t number : channels) {
            const std::uint8_t smallest = *channels.begin();
            if (smallest != 16 && (number == smallest || number <= 16)) {
                ASSERT_EQ(shown, "9." + std::to_string(number)) << "round " << round;
                shown = next(channelPage, number);
            }
        }
        ASSERT_EQ(shown, "0.0") << "round " << round;
    }
}

} // namespace
