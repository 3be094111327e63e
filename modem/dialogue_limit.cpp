#include "modem/dialogue_limit.h"

#include <csignal>
#include <sys/time.h>

namespace {

volatile std::sig_atomic_t limitReached = 0;

void reachLimit(int /*signal*/) {
    limitReached = 1;
}

} // namespace

DialogueLimit::DialogueLimit(int seconds) {
    // The next tick finds a call that the one before came too early for.
    constexpr timeval interval{0, 50000};
    limitReached = 0;
    // Without SA_RESTART, so that a blocked call fails. It stays: a last tick may come late.
    struct sigaction action {};
    action.sa_handler = reachLimit;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval timer{interval, {seconds, 0}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

DialogueLimit::~DialogueLimit() {
    const itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    limitReached = 0;
}

bool DialogueLimit::isReached() {
    return limitReached != 0;
}
