// Lives the same day once for every call that the daemon makes into the system, with that call
// failing, and requires that the daemon outlives it and is right again afterwards.
//
//   fault_sweep 64|32 [--full]
//
// Prints how many failures were injected and what came of them; status 1 when one of them harmed
// the daemon or was never reached. --full takes every occurrence of a call (of a frequent one some
// hundreds) instead of the first, a middle one and the last.

#include "picture/bitmap.h"
#include "tests/faults/day.h"
#include "tests/support/cycle_walk.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string_view>
#include <sys/wait.h>

namespace {

using faults::DayResult;
using faults::Failure;

constexpr std::uint64_t mostOccurrences = 400; // of one call, in a full sweep

struct Kind {
    sim::Call call;
    std::array<int, 3> errors; // what the call plausibly fails with; 0: no more
};

constexpr Kind kinds[] = {
    {sim::Call::Open, {ENOENT, EMFILE, EACCES}},
    {sim::Call::Write, {EIO, ENOSPC, 0}},
    {sim::Call::Ioctl, {ENODEV, EINVAL, 0}},
    {sim::Call::Mmap, {ENODEV, ENOMEM, 0}},
    {sim::Call::Stat, {ENOENT, EACCES, 0}},
    {sim::Call::Access, {ENOENT, EACCES, 0}},
    {sim::Call::Fopen, {ENOENT, EMFILE, 0}},
    {sim::Call::Statfs, {ENOENT, EIO, 0}},
    {sim::Call::GetIfAddrs, {ENOMEM, ENOBUFS, 0}},
    {sim::Call::MsgGet, {ENOSPC, EACCES, 0}},
    {sim::Call::MsgRcv, {EIDRM, EINTR, EACCES}},
    {sim::Call::Popen, {ENOMEM, EAGAIN, 0}},
    {sim::Call::Pclose, {ECHILD, 0, 0}},
    {sim::Call::ClockGettime, {EINVAL, 0, 0}},
    {sim::Call::GetTimeOfDay, {EINVAL, 0, 0}},
    {sim::Call::Usleep, {EINTR, 0, 0}},
    {sim::Call::Select, {EINTR, EBADF, ENOMEM}},
    {sim::Call::TcGetAttr, {EIO, ENOTTY, 0}},
    {sim::Call::TcSetAttr, {EIO, EINTR, 0}},
    {sim::Call::TcDrain, {EIO, EINTR, 0}},
    {sim::Call::TcFlush, {EIO, 0, 0}},
    {sim::Call::Close, {EIO, EINTR, 0}},
    {sim::Call::PthreadCreate, {EAGAIN, EPERM, 0}},
    {sim::Call::Malloc, {ENOMEM, 0, 0}},
    {sim::Call::Read, {EIO, EINTR, EAGAIN}},
    {sim::Call::AttrInit, {ENOMEM, 0, 0}},
    {sim::Call::AttrSetDetachState, {EINVAL, 0, 0}},
    {sim::Call::AttrSetStackSize, {EINVAL, 0, 0}},
};

// Which of `count` occurrences fail, each once.
std::set<std::uint32_t> occurrences(std::uint64_t count, bool full) {
    std::set<std::uint32_t> chosen = {1, static_cast<std::uint32_t>((count + 1) / 2),
                                      static_cast<std::uint32_t>(count)};
    const std::uint64_t stride = std::max<std::uint64_t>(1, count / mostOccurrences);
    for (std::uint64_t nth = 1; full && nth <= count; nth += stride) {
        chosen.insert(static_cast<std::uint32_t>(nth));
    }
    return chosen;
}

// Every failure of one call: each error at its first occurrence, the first error at the other
// chosen ones, and each error from the first and from the middle one on.
void addFailures(std::vector<Failure>& failures, Failure failure, const std::array<int, 3>& errors,
                 std::uint64_t count, bool full) {
    if (count == 0) {
        return;
    }
    for (const std::uint32_t nth : occurrences(count, full)) {
        for (const int error : errors) {
            if (error != 0 && (nth == 1 || error == errors[0] || full)) {
                failure.error = error;
                failure.nth = nth;
                failures.push_back(failure);
            }
        }
    }
    for (const std::uint32_t nth :
         std::set<std::uint32_t>{1, static_cast<std::uint32_t>((count + 1) / 2)}) {
        failure.error = errors[0];
        failure.nth = nth;
        failure.persistent = true;
        failures.push_back(failure);
    }
}

std::vector<Failure> listFailures(const faults::CallCounts& counts, bool full) {
    std::vector<Failure> failures;
    for (const Kind& kind : kinds) {
        for (std::size_t path = 0; path < sim::pathCount; ++path) {
            Failure failure;
            failure.call = kind.call;
            failure.path = static_cast<sim::Path>(path);
            addFailures(failures, failure, kind.errors,
                        counts.calls[static_cast<std::size_t>(kind.call)][path], full);
        }
    }
    return failures;
}

// The ends of the process that its description demands.
bool mayEnd(const Failure& failure, const DayResult& result) {
    if (!result.status) {
        return false;
    }
    const int status = *result.status;
    if (failure.call == sim::Call::MsgGet) {
        return WIFEXITED(status) && WEXITSTATUS(status) == 255;
    }
    // A thread takes memory, too.
    const bool allocates = failure.call == sim::Call::Malloc;
    if (failure.call == sim::Call::PthreadCreate || (allocates && WIFEXITED(status))) {
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    // Want of memory for one of the two singletons.
    return result.singletonRefused && result.errors.find("std::bad_alloc") != std::string::npos;
}

// Devices that are opened once in the life of the process: while they are missing at that moment
// the panel stays dark, or the button dead, until the next start.
bool missesFramebuffer(const Failure& failure) {
    return failure.path == sim::Path::Framebuffer;
}
bool missesButton(const Failure& failure) {
    return failure.call == sim::Call::Open && failure.path == sim::Path::Button;
}

// What is wrong with the day, or null.
const char* findHarm(const Failure& failure, const DayResult& result, const DayResult& expected) {
    if (!result.reached) {
        return "the call was never made";
    }
    if (result.stuck) {
        return "the daemon hangs";
    }
    if (result.status) {
        return mayEnd(failure, result) ? nullptr : "the daemon died";
    }
    if (result.errors.find("Sanitizer") != std::string::npos ||
        result.errors.find("runtime error") != std::string::npos) {
        return "a sanitizer complains";
    }
    if (!result.canaryIntact) {
        return "bytes behind the video memory were written";
    }
    if (missesButton(failure)) {
        return result.darkens ? nullptr : "the backlight rule stopped with the button";
    }
    if (!result.rebootAnswered) {
        return "the button is not answered";
    }
    if (missesFramebuffer(failure)) {
        return nullptr;
    }
    if (!result.darkens) {
        return "the backlight does not go off";
    }
    if (result.descriptors != expected.descriptors) {
        return "a descriptor leaked";
    }
    if (!result.clockFound || !result.ticking) {
        return "the clock is not right again";
    }
    return result.pages == expected.pages ? nullptr : "the pages are not right again";
}

// The pages that differ, as pictures of the difference.
void printDifferences(const std::vector<picture::Bitmap>& expected,
                      const std::vector<picture::Bitmap>& actual) {
    for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i) {
        if (!(expected[i] == actual[i])) {
            std::printf("page %zu behind the clock:\n%s", i + 1,
                        picture::diffText(expected[i], actual[i]).c_str());
        }
    }
}

// Threads meet a little differently every day: a call that came last in one may not come in the
// next. It gets three days to be made.
DayResult liveUntilReached(const faults::DayOptions& options, const Failure& failure) {
    constexpr int days = 3;
    DayResult result = faults::liveADay(options, failure);
    for (int day = 1; day < days && !result.reached; ++day) {
        result = faults::liveADay(options, failure);
    }
    return result;
}

int sweep(const faults::DayOptions& options, bool full) {
    const DayResult expected = faults::liveADay(options, std::nullopt);
    if (expected.stuck || expected.status || !expected.clockFound || !expected.rebootAnswered) {
        std::printf("the undisturbed day went wrong: %s\n", expected.errors.c_str());
        return 1;
    }
    const std::vector<Failure> failures = listFailures(expected.counts, full);
    std::size_t reached = 0;
    std::size_t ended = 0;
    std::size_t harmed = 0;
    for (const Failure& failure : failures) {
        const DayResult result = liveUntilReached(options, failure);
        reached += result.reached ? 1 : 0;
        ended += mayEnd(failure, result) ? 1 : 0;
        if (const char* harm = findHarm(failure, result, expected)) {
            ++harmed;
            std::printf("%s: %s\n%s", describe(failure).c_str(), harm, result.errors.c_str());
            printDifferences(expected.pages, result.pages);
        }
    }
    std::printf("%u lines: %zu failures injected, %zu reached, %zu ended the process as they must, "
                "%zu harmed it\n",
                options.panel.height, failures.size(), reached, ended, harmed);
    return harmed == 0 && !failures.empty() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view lines = count > 1 ? arguments[1] : "";
    const bool full = count > 2 && std::string_view(arguments[2]) == "--full";
    if (lines != "64" && lines != "32") {
        std::fputs("usage: fault_sweep 64|32 [--full]\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    faults::DayOptions options;
    options.panel = lines == "64" ? sim::panel64 : sim::panel32;
    options.clockPage = walk::clockGolden(options.panel);
    return sweep(options, full);
}
