#include "app/page_loop.h"

#include "app/key_input.h"
#include "app/log_receiver.h"
#include "app/log_store.h"
#include "app/page_table.h"
#include "app/screen.h"
#include "gui/gui.h"
#include "pages/layout.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

namespace {

constexpr useconds_t pollPeriod = 50000; // microseconds
constexpr std::uint32_t idleSeconds = 59;

const PageEntry& currentEntry() {
    return PageTable[scheduler.currentPage];
}

void drawCurrentPage() {
    if (currentEntry().draw != nullptr) {
        currentEntry().draw(scheduler.currentPage, scheduler.currentSubPage);
    }
}

void light() {
    scheduler.backlightOn = 1;
    setBacklight(backlightLit);
}

// A key on a dark panel only lights it again.
void actOnKey(KeyEvent key) {
    scheduler.lastRefreshTime = monotonicSeconds();
    scheduler.lastKeyTime = static_cast<std::int32_t>(monotonicSeconds());
    if (scheduler.backlightOn == 0) {
        light();
    } else {
        currentEntry().onKey(scheduler.currentPage, scheduler.currentSubPage, key);
    }
    initScreen();
    drawCurrentPage();
}

// The 64-line panel is not redrawn in the dark, the 32-line panel is.
void refreshWhenDue(std::uint32_t now) {
    if (!isSmallPanel() && scheduler.backlightOn != 1) {
        return;
    }
    if (isRefreshDue(now, scheduler.lastRefreshTime, currentEntry().refreshSeconds)) {
        scheduler.lastRefreshTime = now;
        drawCurrentPage();
    }
}

// On the 64-line panel the dark display is blank and the next key shows the clock.
void darkenWhenIdle(std::uint32_t now) {
    if (scheduler.backlightOn != 1 || !isIdle(now, scheduler.lastKeyTime)) {
        return;
    }
    setBacklight(backlightOff);
    scheduler.backlightOn = 0;
    if (!isSmallPanel()) {
        scheduler.currentSubPage = 0;
        scheduler.currentPage = clockPage;
        GUI_Clear();
    }
}

} // namespace

SchedulerState scheduler{clockPage, 0, 0, 0, 1};

std::uint32_t monotonicSeconds() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(now.tv_sec);
}

bool isRefreshDue(std::uint32_t now, std::uint32_t last, std::uint32_t period) {
    return period != 0 && now >= last + period;
}

bool isIdle(std::uint32_t now, std::int32_t lastKey) {
    const std::uint32_t lastLitSecond = static_cast<std::uint32_t>(lastKey) + idleSeconds;
    return static_cast<std::int32_t>(now) > static_cast<std::int32_t>(lastLitSecond);
}

int startUp() {
    if (openLogQueue() == -1) {
        std::fputs("msgget failed!!!", stdout);
        return -1;
    }
    pthread_mutex_init(&logStore.logMutex, nullptr);
    if (startLogReceiver() != 0) {
        pthread_mutex_destroy(&logStore.logMutex);
        std::exit(EXIT_SUCCESS); // NOLINT(concurrency-mt-unsafe): this is the only thread
    }
    initScreen();
    setBacklight(backlightLit);
    scheduler.currentSubPage = 0;
    scheduler.currentPage = clockPage;
    scheduler.backlightOn = 1;
    scheduler.lastRefreshTime = monotonicSeconds();
    scheduler.lastKeyTime = static_cast<std::int32_t>(monotonicSeconds());
    drawCurrentPage();
    return 0;
}

void pageLoopPass() {
    const KeyEvent key = KeyInput::instance()->readKey();
    if (key != KeyEvent::None) {
        actOnKey(key);
        return;
    }
    const std::uint32_t now = monotonicSeconds();
    refreshWhenDue(now);
    darkenWhenIdle(now);
    std::fflush(stdout); // some messages have no line feed
    usleep(pollPeriod);
}
