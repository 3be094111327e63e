#include "sim/virtual_clock.h"

#include "sim/binding.h"
#include "sim/futex.h"
#include "sim/next_call.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::size_t turnCount = 128;

constinit NextCall<int(clockid_t, timespec*)> nextClockGettime{"clock_gettime"};
constinit NextCall<int(const timespec*, timespec*)> nextNanosleep{"nanosleep"};
constinit NextCall<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    nextPthreadCreate{"pthread_create"};
constinit NextCall<int(pthread_t, void**)> nextPthreadJoin{"pthread_join"};

// A thread that takes turns on the virtual clock.
struct Turn {
    enum State { free, running, sleeping, joining } state;
    Nanoseconds deadline;
    std::uint64_t order; // of its sleep among all, for equal deadlines
    pthread_t thread;
    pthread_t joined; // the thread that it waits for
    void* (*start)(void*);
    void* argument;
};

// Guards all below it. Held while a thread is made, for nothing else that waits.
constinit FutexMutex mutex;
constinit std::array<Turn, turnCount> turns{};
constinit std::uint32_t generation = 1; // of `turns`
constinit std::uint64_t sleepOrder = 0;

// This thread's place in `turns`, valid for one generation. Initial-exec, so that the preloaded
// object needs no allocation for it.
[[gnu::tls_model("initial-exec")]] thread_local std::size_t myTurn = 0;
[[gnu::tls_model("initial-exec")]] thread_local std::uint32_t myGeneration = 0;

bool isMainThread() {
    return gettid() == getpid();
}

Nanoseconds machineClock(clockid_t id) {
    timespec time{};
    nextClockGettime(id, &time);
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

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
    turn.thread = pthread_self();
    myTurn = static_cast<std::size_t>(&turn - turns.data());
    myGeneration = generation;
}

// The calling thread's place; a thread that is not known yet gets one.
Turn& ownTurn() {
    if (myGeneration != generation) {
        Turn* turn = takeTurn();
        if (turn == nullptr) {
            static constexpr char message[] = "simulated gateway: too many threads\n";
            [[maybe_unused]] const ssize_t written =
                write(STDERR_FILENO, message, sizeof message - 1);
            std::abort();
        }
        makeMine(*turn);
    }
    return turns[myTurn];
}

void settle(ControlBlock& block, Nanoseconds limit) {
    Clock& clock = block.clock;
    clock.now = std::max(clock.now.load(), limit);
    if (clock.settledAt.exchange(limit) != limit) {
        ++clock.settleSequence;
        futexWakeAll(clock.settleSequence);
    }
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
void passTurn(ControlBlock& block) {
    const bool somebodyRuns = std::any_of(
        turns.begin(), turns.end(), [](const Turn& turn) { return turn.state == Turn::running; });
    Turn* next = firstSleeper();
    if (somebodyRuns || next == nullptr || block.exitRequested != 0) {
        return;
    }
    const Nanoseconds limit = block.clock.limit;
    if (next->deadline > limit) {
        settle(block, limit);
        return;
    }
    block.clock.now = std::max(block.clock.now.load(), next->deadline);
    next->state = Turn::running;
    if (pthread_equal(next->thread, pthread_self()) == 0) {
        ++block.clock.wakeSequence;
        futexWakeAll(block.clock.wakeSequence);
    }
}

[[noreturn]] void endProcess() {
    if (isMainThread()) {
        std::exit(EXIT_SUCCESS);
    }
    for (;;) {
        pause();
    }
}

void sleepVirtually(ControlBlock& block, Nanoseconds duration) {
    std::unique_lock guard(mutex);
    Turn& turn = ownTurn();
    const Nanoseconds now = block.clock.now;
    turn.deadline = now + std::min(duration, never - now);
    turn.order = ++sleepOrder;
    turn.state = Turn::sleeping;
    while (myGeneration == generation) {
        // Read before the limit is looked at, so that no raise of it is missed.
        const std::uint32_t sequence = block.clock.wakeSequence;
        passTurn(block);
        if (turn.state == Turn::running) {
            return;
        }
        guard.unlock();
        if (block.exitRequested != 0) {
            endProcess();
        }
        futexWait(block.clock.wakeSequence, sequence);
        guard.lock();
    }
    // The gateway is gone, and with it everything that this thread could work on.
    guard.unlock();
    for (;;) {
        pause();
    }
}

void sleepReally(const ControlBlock& block, Nanoseconds duration) {
    if (block.exitRequested != 0) {
        endProcess();
    }
    const timespec time{static_cast<time_t>(duration / nanosecondsPerSecond),
                        static_cast<long>(duration % nanosecondsPerSecond)};
    nextNanosleep(&time, nullptr);
}

// Ends the calling thread's turns, however it leaves. A thread that waits for this one runs on in
// its place, so that no time passes between its end and their join.
class TurnsEnd {
  public:
    TurnsEnd() = default;
    TurnsEnd(const TurnsEnd&) = delete;
    TurnsEnd& operator=(const TurnsEnd&) = delete;

    ~TurnsEnd() {
        const std::lock_guard guard(mutex);
        if (myGeneration != generation) {
            return;
        }
        turns[myTurn].state = Turn::free;
        for (Turn& turn : turns) {
            if (turn.state == Turn::joining && pthread_equal(turn.joined, pthread_self()) != 0) {
                turn.state = Turn::running;
            }
        }
        if (ControlBlock* block = attachedBlock()) {
            passTurn(*block);
        }
    }
};

void* runThread(void* argument) {
    void* (*start)(void*) = nullptr;
    {
        // The creator holds the lock until it has noted this thread.
        const std::lock_guard guard(mutex);
        Turn& turn = *static_cast<Turn*>(argument);
        makeMine(turn);
        start = turn.start;
        argument = turn.argument;
    }
    const TurnsEnd end;
    return start(argument);
}

} // namespace

Nanoseconds monotonicNow(const ControlBlock& block) {
    const Clock& clock = block.clock;
    return clock.monotonicOffset +
           (clock.mode == ClockMode::Virtual ? clock.now.load() : machineClock(CLOCK_MONOTONIC));
}

Nanoseconds wallNow(const ControlBlock& block) {
    const Clock& clock = block.clock;
    return clock.wallOffset +
           (clock.mode == ClockMode::Virtual ? clock.now.load() : machineClock(CLOCK_REALTIME));
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
    const int result = nextPthreadCreate(thread, attributes, runThread, turn);
    if (result == 0) {
        turn->thread = *thread;
    } else {
        turn->state = Turn::free;
    }
    return result;
}

int joinThread(pthread_t thread, void** result) {
    {
        const std::lock_guard guard(mutex);
        Turn& turn = ownTurn();
        const bool takesTurns =
            std::any_of(turns.begin(), turns.end(), [thread](const Turn& other) {
                return other.state != Turn::free && pthread_equal(other.thread, thread) != 0;
            });
        if (takesTurns) {
            turn.joined = thread;
            turn.state = Turn::joining;
            if (ControlBlock* block = attachedBlock()) {
                passTurn(*block);
            }
        }
    }
    const int status = nextPthreadJoin(thread, result);
    const std::lock_guard guard(mutex);
    ownTurn().state = Turn::running;
    return status;
}

} // namespace sim
