#include "app/navigation.h"

#include "app/page_loop.h"
#include "app/page_table.h"
#include "device/device_info.h"

namespace {

constexpr std::uint8_t lastChannel = 16;
constexpr PagePosition rebootPosition{rebootPage, 0};

constexpr NavigationQueries deviceQueries = {
    [] { return DeviceInfo::instance()->isSmallPanel() == 1; },
    [] { return DeviceInfo::instance()->firstChannel(); },
    [](std::uint8_t number) {
        const ChannelConfig* config = nullptr;
        return DeviceInfo::instance()->findChannel(number, &config) != -1;
    },
};

PagePosition followingPage(std::uint8_t page) {
    return {PageTable[page].nextPage, 0};
}

void show(PagePosition position) {
    scheduler.currentPage = position.page;
    scheduler.currentSubPage = position.subPage;
}

void goOn(std::uint8_t page, PagePosition next) {
    show(next);
    if (next.page != page) {
        skipInapplicablePages();
    }
}

} // namespace

PagePosition nextPosition(PagePosition shown, KeyEvent key) {
    if (key == KeyEvent::LongPress) {
        return rebootPosition;
    }
    // 8 bits wide: behind sub-page 255 comes 0.
    const auto nextSubPage = static_cast<std::uint8_t>(shown.subPage + 1);
    if (PageTable[shown.page].lastSubPage >= nextSubPage) {
        return {shown.page, nextSubPage};
    }
    return followingPage(shown.page);
}

PagePosition nextChannelPosition(PagePosition shown, KeyEvent key,
                                 const NavigationQueries& gateway) {
    if (key == KeyEvent::LongPress) {
        return rebootPosition;
    }
    for (auto number = static_cast<std::uint8_t>(shown.subPage + 1); number <= lastChannel;
         ++number) {
        if (gateway.hasChannel(number)) {
            return {shown.page, number};
        }
    }
    return followingPage(shown.page);
}

PagePosition passInapplicable(PagePosition target, const NavigationQueries& gateway) {
    if (target.page == simStatusPage && gateway.isSmallPanel()) {
        return {identityPage, 0};
    }
    if (target.page == channelPage) {
        const std::uint8_t first = gateway.firstChannel();
        if (first != noChannel) {
            return {channelPage, first};
        }
        target = {reservedPage, 0};
    }
    return target.page == reservedPage ? PagePosition{clockPage, 0} : target;
}

void onKeyDefault(std::uint8_t page, std::uint8_t subPage, KeyEvent key) {
    goOn(page, nextPosition({page, subPage}, key));
}

void onKeyChannel(std::uint8_t page, std::uint8_t subPage, KeyEvent key) {
    goOn(page, nextChannelPosition({page, subPage}, key, deviceQueries));
}

void skipInapplicablePages() {
    show(passInapplicable({scheduler.currentPage, scheduler.currentSubPage}, deviceQueries));
}
