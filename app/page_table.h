#pragma once

// The cycle of pages: one constant row per page.
//
// The table says how far a page's sub-pages go, which page follows, how often the timer
// redraws it, which handler takes its keys and which function draws it.

#include "app/key_input.h"

#include <array>
#include <cstdint>

// Page numbers, which are the row indices of PageTable.
enum PageNumber : std::uint8_t {
    clockPage = 0,
    ethernetPage1 = 1,
    ethernetPage2 = 2,
    gatewayPage = 3,
    simStatusPage = 4,
    simLogPage = 5,
    identityPage = 6,
    versionPage = 7,
    tfCardPage = 8,
    channelPage = 9,
    reservedPage = 10, // never current: navigation passes over it to the clock page
    rebootPage = 11,
};

inline constexpr std::size_t pageCount = 12;

struct PageEntry {
    std::uint8_t id;              // page number, equal to the row index
    std::uint8_t lastSubPage;     // sub-pages run from 0 to this one
    std::uint8_t nextPage;        // shown after the last sub-page
    std::uint32_t refreshSeconds; // period of the timer redraw; 0 would mean never
    void (*onKey)(std::uint8_t page, std::uint8_t subPage, KeyEvent key);
    void (*draw)(std::uint8_t page, std::uint8_t subPage); // null in the reserved row
};

extern const std::array<PageEntry, pageCount> PageTable;
