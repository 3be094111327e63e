#pragma once

// The ground of tests that draw pages as the page loop does.

#include "app/log_store.h"
#include "app/page_table.h"
#include "app/screen.h"
#include "tests/pages/shown.h"
#include "tests/support/gateway_test.h"
#include "tests/support/golden.h"

class PageTest : public GatewayTest {
  protected:
    explicit PageTest(sim::Panel panel = sim::panelOf(64)) : GatewayTest(panel) {
        pthread_mutex_init(&logStore.logMutex, nullptr);
    }

    // A redraw by the timer, over what is shown.
    static void redraw(std::uint8_t page, std::uint8_t subPage = 0) {
        PageTable[page].draw(page, subPage);
    }

    // A drawing after a key, on a blank bordered screen.
    static void enter(std::uint8_t page, std::uint8_t subPage = 0) {
        initScreen();
        redraw(page, subPage);
    }
};
