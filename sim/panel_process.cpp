#include "sim/panel_process.h"

#include "sim/futex.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::chrono::milliseconds settleStep{50};
constexpr std::chrono::seconds settlePatience{30};
// Real time between two looks at the process and its pipes.
constexpr std::chrono::milliseconds lookPeriod{2};
constexpr int cannotExecute = 127;

// Real time: the library's clock and sleep may be interposed in this program too.
std::chrono::nanoseconds realNow() {
    timespec time{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

timespec toTimespec(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
}

void realSleep(std::chrono::nanoseconds duration) {
    const timespec time = toTimespec(duration);
    syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &time, nullptr);
}

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

// The harness's environment with these variables in place of its own.
std::vector<std::string>
environmentWith(const std::vector<std::pair<std::string, std::string>>& variables) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::string_view variable = text.substr(0, text.find('='));
        const bool replaced =
            std::any_of(variables.begin(), variables.end(),
                        [variable](const auto& other) { return other.first == variable; });
        if (!replaced) {
            result.emplace_back(text);
        }
    }
    for (const auto& [variable, value] : variables) {
        result.push_back(variable);
        result.back().append("=").append(value);
    }
    return result;
}

std::string valueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

void drain(int descriptor, std::string& text) {
    std::array<char, 4096> bytes;
    ssize_t count = 0;
    while ((count = ::read(descriptor, bytes.data(), bytes.size())) > 0) {
        text.append(bytes.data(), static_cast<std::size_t>(count));
    }
}

} // namespace

PanelProcess::PanelProcess(Gateway& gateway, const std::string& binary,
                           const std::string& interposer, ProcessOptions options)
    : gateway_(gateway), options_(std::move(options)) {
    Clock& clock = gateway_.control().clock;
    clock.limit = clock.now.load();
    clock.settledAt = -1;
    gateway_.control().exitRequested = 0;
    start(binary, interposer);
}

PanelProcess::~PanelProcess() {
    if (running()) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    ::close(outputPipe_);
    ::close(errorPipe_);
}

void PanelProcess::start(const std::string& binary, const std::string& interposer) {
    std::vector<std::pair<std::string, std::string>> variables = {
        {gatewayVariable, gateway_.folder()},
        {"LD_PRELOAD", interposer},
        // With a spare step in the path, for the interposer's tzset.
        {"TZ",
         options_.timeZone.empty() ? ":" + gateway_.folder() + "/." + zoneFile : options_.timeZone},
        // A program built with ASan otherwise refuses a preloaded object before its runtime.
        {"ASAN_OPTIONS", valueOf("ASAN_OPTIONS") + ":verify_asan_link_order=0"},
    };
    variables.insert(variables.end(), options_.environment.begin(), options_.environment.end());
    std::vector<std::string> texts = environmentWith(variables);
    std::vector<char*> environment;
    environment.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        environment.push_back(text.data());
    }
    environment.push_back(nullptr);
    std::string program = binary;
    const std::array<char*, 2> arguments{program.data(), nullptr};
    const Pipe output;
    const Pipe error;
    const pid_t harness = getpid();

    child_ = fork();
    if (child_ == 0) {
        // Only calls that are safe after a fork of a threaded program.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != harness) {
            _exit(cannotExecute);
        }
        dup2(output.ends[1], STDOUT_FILENO);
        dup2(error.ends[1], STDERR_FILENO);
        execve(program.c_str(), arguments.data(), environment.data());
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

// --- Time ---

PanelProcess::Wait PanelProcess::advance(std::chrono::nanoseconds duration) {
    Clock& clock = gateway_.control().clock;
    if (clock.mode == ClockMode::Real) {
        const auto end = realNow() + duration;
        while (realNow() < end && running()) {
            collect();
            realSleep(std::min<std::chrono::nanoseconds>(end - realNow(), settleStep));
        }
        return waitSleeps(2);
    }
    const Nanoseconds target = clock.limit + duration.count();
    clock.limit = target;
    ++clock.wakeSequence;
    futexWakeAll(clock.wakeSequence);
    return waitFor(target);
}

// Waits until all threads sleep beyond `target`.
PanelProcess::Wait PanelProcess::waitFor(Nanoseconds target) {
    Clock& clock = gateway_.control().clock;
    const auto end = realNow() + options_.patience;
    const timespec period = toTimespec(lookPeriod);
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
        if (realNow() > end) {
            return Wait::Stuck;
        }
        futexWait(clock.settleSequence, sequence, &period);
    }
}

// In real time: waits for so many more sleeps of the page loop.
PanelProcess::Wait PanelProcess::waitSleeps(std::uint64_t sleeps) {
    const std::uint64_t target = gateway_.control().sleeps.main + sleeps;
    const auto end = realNow() + options_.patience;
    while (gateway_.control().sleeps.main < target) {
        collect();
        if (!running()) {
            return Wait::Exited;
        }
        if (realNow() > end) {
            return Wait::Stuck;
        }
        realSleep(lookPeriod);
    }
    return Wait::Settled;
}

PanelProcess::Wait PanelProcess::settle(unsigned sleeps) {
    if (gateway_.control().clock.mode == ClockMode::Real) {
        return waitSleeps(sleeps);
    }
    Wait wait = advance({});
    const std::uint64_t target = gateway_.control().sleeps.main + sleeps;
    for (auto passed = std::chrono::nanoseconds{}; passed < settlePatience; passed += settleStep) {
        if (wait != Wait::Settled || gateway_.control().sleeps.main >= target) {
            return wait;
        }
        wait = advance(settleStep);
    }
    return Wait::Stuck;
}

PanelProcess::Wait PanelProcess::press(std::chrono::milliseconds held) {
    gateway_.press();
    const Wait wait = advance(held);
    if (wait != Wait::Settled) {
        return wait;
    }
    gateway_.release();
    return settle();
}

// --- End ---

std::optional<int> PanelProcess::exitNormally() {
    ControlBlock& control = gateway_.control();
    control.exitRequested = 1;
    ++control.clock.wakeSequence;
    futexWakeAll(control.clock.wakeSequence);
    return waitExit();
}

std::optional<int> PanelProcess::waitExit(std::chrono::milliseconds patience) {
    const auto end = realNow() + patience;
    while (running() && realNow() < end) {
        collect();
        realSleep(lookPeriod);
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

const std::string& PanelProcess::output() {
    collect();
    return outputText_;
}

const std::string& PanelProcess::errors() {
    collect();
    return errorText_;
}

void PanelProcess::clearOutput() {
    collect();
    outputText_.clear();
    errorText_.clear();
}

} // namespace sim
