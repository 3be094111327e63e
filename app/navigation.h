#pragma once

// The navigation rules: which page and sub-page a key leads to.
//
// The rules themselves are functions of the page shown and of what they ask about the
// gateway; the key handlers of PageTable apply them to the scheduler's state. Main
// thread only. Prints nothing.

#include "app/key_input.h"

#include <cstdint>

// A page and its sub-page (on the channel page a channel number).
struct PagePosition {
    std::uint8_t page;
    std::uint8_t subPage;
    bool operator==(const PagePosition&) const = default;
};

// What the rules ask about the gateway, only where a rule needs it.
struct NavigationQueries {
    bool (*isSmallPanel)();
    std::uint8_t (*firstChannel)(); // smallest configured channel, 16 for none
    bool (*hasChannel)(std::uint8_t number);
};

// Where a key leads from `shown` on every page but the channel page: the next sub-page, else the
// next page, applicable or not; a long press leads to the reboot page.
PagePosition nextPosition(PagePosition shown, KeyEvent key);

// Where a key leads on the channel page: the next configured channel up to 16, else the next page;
// a long press leads to the reboot page.
PagePosition nextChannelPosition(PagePosition shown, KeyEvent key,
                                 const NavigationQueries& gateway);

// What is shown where the cycle has come to `target`. Pages that do not apply are passed over: the
// SIM pages on the 32-line panel, the channel page without channels (a smallest channel of 16
// counts as none), the reserved row. The channel page opens on the smallest channel.
PagePosition passInapplicable(PagePosition target, const NavigationQueries& gateway);

// The key handlers of PageTable: they change the scheduler's current page and sub-page.
void onKeyDefault(std::uint8_t page, std::uint8_t subPage, KeyEvent key);
void onKeyChannel(std::uint8_t page, std::uint8_t subPage, KeyEvent key);

// Applies passInapplicable to the scheduler's current page, after a handler has changed the page.
void skipInapplicablePages();
