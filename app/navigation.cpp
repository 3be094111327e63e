#include "app/navigation.h"

#include "app/page_loop.h"
#include "app/page_table.h"
#include "device/device_info.h"
#include "pages/layout.h"

namespace {

constexpr std::uint8_t lastChannel = 16;

void show(std::uint8_t page, std::uint8_t subPage) {
    scheduler.currentSubPage = subPage;
    scheduler.currentPage = page;
}

void showNextPage(std::uint8_t page) {
    show(PageTable[page].nextPage, 0);
    skipInapplicablePages();
}

bool isConfigured(std::uint8_t channel) {
    const ChannelConfig* config = nullptr;
    return DeviceInfo::instance()->findChannel(channel, &config) != -1;
}

} // namespace

void onKeyDefault(std::uint8_t page, std::uint8_t subPage, KeyEvent key) {
    if (key == KeyEvent::LongPress) {
        show(rebootPage, 0);
        return;
    }
    // 8 bits wide: behind sub-page 255 comes 0.
    scheduler.currentSubPage = static_cast<std::uint8_t>(subPage + 1);
    if (PageTable[page].lastSubPage < scheduler.currentSubPage) {
        showNextPage(page);
    }
}

void onKeyChannel(std::uint8_t page, std::uint8_t subPage, KeyEvent key) {
    if (key == KeyEvent::LongPress) {
        show(rebootPage, 0);
        return;
    }
    for (auto channel = static_cast<std::uint8_t>(subPage + 1); channel <= lastChannel; ++channel) {
        if (isConfigured(channel)) {
            show(page, channel);
            return;
        }
    }
    showNextPage(page);
}

void skipInapplicablePages() {
    if (scheduler.currentPage == simStatusPage && isSmallPanel()) {
        show(identityPage, 0);
        return;
    }
    if (scheduler.currentPage == channelPage) {
        scheduler.currentSubPage = DeviceInfo::instance()->firstChannel();
        if (scheduler.currentSubPage != noChannel) {
            return;
        }
        show(reservedPage, 0);
    }
    if (scheduler.currentPage == reservedPage) {
        show(clockPage, 0);
    }
}
