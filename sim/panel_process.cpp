#include "sim/panel_process.h"

#include "sim/futex.h"
#include "sim/places.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::chrono::milliseconds settleStep{50};
constexpr int settleSteps = 600;
using Real = std::chrono::steady_clock;

// Real time between two looks at the process and its pipes.
constexpr std::chrono::milliseconds lookPeriod{10};
constexpr int cannotExecute = 127;

// A pipe whose reading end neither blocks nor is inherited.
struct Pipe {
    Pipe() {
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }

    std::array<int, 2> ends;
};

void drain(int descriptor, std::string& text) {
    std::array<char, 4096> bytes;
    ssize_t count = 0;
    while ((count = ::read(descriptor, bytes.data(), bytes.size())) > 0) {
        text.append(bytes.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

PanelProcess::PanelProcess(Gateway& gateway, const std::string& binary,
                           const std::string& interposer, bool ownZone)
    : gateway_(gateway) {
    Clock& clock = gateway_.control().clock;
    clock.limit = clock.now.load();
    clock.settledAt = -1;
    gateway_.control().exitRequested = 0;
    gateway_.control().libraryCaller = 0;
    const Pipe output;
    const Pipe error;
    const pid_t harness = getpid();

    child_ = fork();
    if (child_ == 0) {
        // The harness has a single thread, so all calls are safe here.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(output.ends[1], STDOUT_FILENO);
        dup2(error.ends[1], STDERR_FILENO);
        const auto set = [](const char* variable, const std::string& value) {
            setenv(variable, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        };
        set(gatewayVariable, gateway_.folder());
        set("LD_PRELOAD", interposer);
        // A program built with ASan otherwise refuses a preloaded object before its runtime.
        const char* sanitizer = std::getenv("ASAN_OPTIONS"); // NOLINT(concurrency-mt-unsafe)
        set("ASAN_OPTIONS",
            std::string(sanitizer == nullptr ? "" : sanitizer) + ":verify_asan_link_order=0");
        if (ownZone) {
            // With a spare step in the path, for the interposer's tzset.
            set("TZ", ":" + gateway_.folder() + "/." + std::string(pathOf(Path::Zone)));
        }
        if (getppid() == harness) {
            execl(binary.c_str(), binary.c_str(), nullptr);
        }
        _exit(cannotExecute);
    }
    const int forkError = errno;
    ::close(output.ends[1]);
    ::close(error.ends[1]);
    outputPipe_ = output.ends[0];
    errorPipe_ = error.ends[0];
    if (child_ < 0) {
        throw std::system_error(forkError, std::generic_category(), "fork");
    }
}

PanelProcess::~PanelProcess() {
    if (running()) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    ::close(outputPipe_);
    ::close(errorPipe_);
}

// --- Time ---

PanelProcess::Wait PanelProcess::advance(std::chrono::nanoseconds duration) {
    Clock& clock = gateway_.control().clock;
    if (clock.mode == ClockMode::Virtual) {
        clock.limit += duration.count();
        futexBump(clock.wakeSequence);
        return waitFor(clock.limit);
    }
    return waitExit(duration) ? Wait::Exited : Wait::Settled;
}

// Waits until all threads sleep beyond `target`.
PanelProcess::Wait PanelProcess::waitFor(Nanoseconds target) {
    Clock& clock = gateway_.control().clock;
    const auto end = Real::now() + mostPatience;
    const timespec period{0, std::chrono::nanoseconds(lookPeriod).count()};
    for (;;) {
        const std::uint32_t sequence = clock.settleSequence;
        if (clock.settledAt >= target) {
            collect();
            return Wait::Settled;
        }
        // A full pipe would stop the process for ever.
        collect();
        if (!running()) {
            clock.now = std::max(clock.now.load(), target); // time goes on without it
            return Wait::Exited;
        }
        if (Real::now() > end) {
            return Wait::Stuck;
        }
        futexWait(clock.settleSequence, sequence, &period);
    }
}

PanelProcess::Wait PanelProcess::settle() {
    Wait wait = advance({});
    const std::uint64_t target = gateway_.control().mainSleeps + 2;
    for (int step = 0; step < settleSteps; ++step) {
        if (wait != Wait::Settled || gateway_.control().mainSleeps >= target) {
            return wait;
        }
        wait = advance(settleStep);
    }
    return Wait::Stuck;
}

PanelProcess::Wait PanelProcess::press(std::chrono::milliseconds held) {
    gateway_.press();
    const Wait wait = advance(held);
    gateway_.release();
    return wait == Wait::Settled ? settle() : wait;
}

// --- End ---

std::optional<int> PanelProcess::exitNormally() {
    gateway_.control().exitRequested = 1;
    futexBump(gateway_.control().clock.wakeSequence);
    return waitExit();
}

std::optional<int> PanelProcess::waitExit(std::chrono::nanoseconds patience) {
    const auto end = Real::now() + patience;
    while (running() && Real::now() < end) {
        collect();
        std::this_thread::sleep_for(
            std::min<std::chrono::nanoseconds>(end - Real::now(), lookPeriod));
    }
    collect();
    return exitStatus_;
}

void PanelProcess::signal(int number) {
    if (running()) {
        kill(child_, number);
    }
}

bool PanelProcess::running() {
    int status = 0;
    if (!exitStatus_ && waitpid(child_, &status, WNOHANG) == child_) {
        exitStatus_ = status;
    }
    return !exitStatus_;
}

// --- Output ---

void PanelProcess::collect() {
    drain(outputPipe_, outputText_);
    drain(errorPipe_, errorText_);
}

} // namespace sim
