#include "sim/virtual_clock.h"

#include "sim/binding.h"
#include "sim/futex.h"
#include "sim/next_call.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <sched.h>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::size_t turnCount = 16;

// So often a thread looks for its turn before it gives up its processor: most turns are short.
constexpr int quickLooks = 50;

// A thread that takes turns on the virtual clock.
struct Turn {
    enum State { free, running, sleeping } state;
    Nanoseconds deadline;
    std::uint64_t order; // of its sleep among all, for equal deadlines
    void* (*start)(void*);
    void* argument;
};

// Guards all below it. Held while a thread is made, for nothing else that waits.
constinit BriefLock mutex;
constinit std::array<Turn, turnCount> turns{};
constinit std::uint32_t generation = 1; // of `turns`
constinit std::uint64_t sleepOrder = 0;

// This thread's place in `turns`, valid for one generation. Initial-exec, so that the preloaded
// object needs no allocation for it.
[[gnu::tls_model("initial-exec")]] thread_local std::size_t myTurn = 0;
[[gnu::tls_model("initial-exec")]] thread_local std::uint32_t myGeneration = 0;

const pthread_t mainThread = pthread_self(); // it is the one that loads programs

// A free place, marked as running; null when there are too many threads.
Turn* takeTurn() {
    Turn* const found = std::find_if(turns.begin(), turns.end(),
                                     [](const Turn& turn) { return turn.state == Turn::free; });
    if (found == turns.end()) {
        return nullptr;
    }
    *found = {};
    found->state = Turn::running;
    return &*found;
}

void makeMine(Turn& turn) {
    myTurn = static_cast<std::size_t>(&turn - turns.data());
    myGeneration = generation;
}

// The calling thread's place; a thread that is not known yet gets one.
Turn& ownTurn() {
    if (myGeneration != generation) {
        Turn* turn = takeTurn();
        if (turn == nullptr) {
            dprintf(STDERR_FILENO, "simulated gateway: too many threads\n");
            std::abort();
        }
        makeMine(*turn);
    }
    return turns[myTurn];
}

// The sleeper whose turn comes next, or null.
Turn* firstSleeper() {
    Turn* first = nullptr;
    for (Turn& turn : turns) {
        if (turn.state == Turn::sleeping &&
            (first == nullptr || turn.deadline < first->deadline ||
             (turn.deadline == first->deadline && turn.order < first->order))) {
            first = &turn;
        }
    }
    return first;
}

// Gives the next sleeper its turn when nobody runs, or reports that all sleep beyond the limit.
// True when it is another thread's turn now, which waits for `wakeSequence` to change.
bool passTurn(ControlBlock& block) {
    Clock& clock = block.clock;
    const bool somebodyRuns = std::any_of(
        turns.begin(), turns.end(), [](const Turn& turn) { return turn.state == Turn::running; });
    Turn* next = firstSleeper();
    if (somebodyRuns || next == nullptr || block.exitRequested != 0) {
        return false;
    }
    const Nanoseconds limit = clock.limit;
    clock.now = std::max(clock.now.load(), std::min(limit, next->deadline));
    if (next->deadline > limit) {
        if (clock.settledAt.exchange(limit) != limit) {
            futexBump(clock.settleSequence);
        }
        return false;
    }
    next->state = Turn::running;
    return next != &turns[myTurn];
}

[[noreturn]] void sleepForEver() {
    for (;;) {
        pause();
    }
}

[[noreturn]] void endProcess() {
    if (isMainThread()) {
        std::exit(EXIT_SUCCESS); // NOLINT(concurrency-mt-unsafe): the others sleep for ever
    }
    sleepForEver();
}

void sleepVirtually(ControlBlock& block, Nanoseconds duration) {
    std::atomic<std::uint32_t>& wakeSequence = block.clock.wakeSequence;
    std::unique_lock guard(mutex);
    Turn& turn = ownTurn();
    const Nanoseconds now = block.clock.now;
    turn.deadline = now + std::min(duration, never - now);
    turn.order = ++sleepOrder;
    turn.state = Turn::sleeping;
    while (myGeneration == generation) {
        // Read before the limit is looked at, so that no raise of it is missed.
        std::uint32_t sequence = wakeSequence;
        const bool handedOver = passTurn(block);
        if (turn.state == Turn::running) {
            return;
        }
        guard.unlock();
        if (handedOver) {
            // Counted on from what was read: a thread that another raise woke meanwhile may have
            // taken this turn and given the next one back already.
            ++sequence;
            futexBump(wakeSequence);
        }
        if (block.exitRequested != 0) {
            endProcess();
        }
        for (int look = 0; wakeSequence == sequence; ++look) {
            if (look < quickLooks) {
                sched_yield();
            } else {
                futexWait(wakeSequence, sequence);
            }
        }
        guard.lock();
    }
    // The gateway is gone, and with it everything that this thread could work on.
    guard.unlock();
    sleepForEver();
}

void sleepReally(const ControlBlock& block, Nanoseconds duration) {
    if (block.exitRequested != 0) {
        endProcess();
    }
    const timespec time{static_cast<time_t>(duration / nanosecondsPerSecond),
                        static_cast<long>(duration % nanosecondsPerSecond)};
    nanosleep(&time, nullptr);
}

void* runThread(void* argument) {
    Turn& turn = *static_cast<Turn*>(argument);
    makeMine(turn);
    void* const result = turn.start(turn.argument);
    const std::lock_guard guard(mutex);
    ControlBlock* block = attachedBlock();
    if (myGeneration == generation && block != nullptr) {
        turns[myTurn].state = Turn::free;
        if (passTurn(*block)) {
            futexBump(block->clock.wakeSequence);
        }
    }
    return result;
}

} // namespace

bool isMainThread() {
    return pthread_equal(pthread_self(), mainThread) != 0;
}

void sleepFor(ControlBlock& block, Nanoseconds duration) {
    if (block.clock.mode == ClockMode::Virtual) {
        sleepVirtually(block, duration);
    } else {
        sleepReally(block, duration);
    }
}

void forgetThreads() {
    const std::lock_guard guard(mutex);
    turns = {};
    ++generation;
    ownTurn();
}

int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                 void* argument) {
    const std::lock_guard guard(mutex);
    ownTurn();
    Turn* turn = takeTurn();
    if (turn == nullptr) {
        return EAGAIN;
    }
    turn->start = start;
    turn->argument = argument;
    const int result =
        callNext<"pthread_create">(thread, attributes, &runThread, static_cast<void*>(turn));
    turn->state = result == 0 ? turn->state : Turn::free;
    return result;
}

} // namespace sim
