#include "tests/life/sweep.h"

#include "tests/life/life.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <sys/wait.h>

namespace {

using namespace std::chrono_literals;
using sim::Call;
using sim::Path;

constexpr std::uint64_t mostOccurrences = 400; // of one call, in a full sweep
// Threads meet a little differently every day: a call that came last in one may not come in the
// next. It gets three days to be made.
constexpr int daysToBeMade = 3;

// What each call plausibly fails with, the commonest first.
const struct {
    Call call;
    std::vector<int> errors;
} kinds[] = {
    {Call::Open, {ENOENT, EMFILE, EACCES}},
    {Call::Write, {EIO, ENOSPC}},
    {Call::Ioctl, {ENODEV, EINVAL}},
    {Call::Mmap, {ENODEV, ENOMEM}},
    {Call::Stat, {ENOENT, EACCES}},
    {Call::Access, {ENOENT, EACCES}},
    {Call::Statfs, {ENOENT, EIO}},
    {Call::GetIfAddrs, {ENOMEM, ENOBUFS}},
    {Call::MsgGet, {ENOSPC, EACCES}},
    {Call::MsgRcv, {EIDRM, EINTR, EACCES}},
    {Call::Popen, {ENOMEM, EAGAIN}},
    {Call::Pclose, {ECHILD}},
    {Call::ClockGettime, {EINVAL}},
    {Call::GetTimeOfDay, {EINVAL}},
    {Call::Usleep, {EINTR}},
    {Call::Select, {EINTR, EBADF, ENOMEM}},
    {Call::TcGetAttr, {EIO, ENOTTY}},
    {Call::TcSetAttr, {EIO, EINTR}},
    {Call::TcDrain, {EIO, EINTR}},
    {Call::TcFlush, {EIO}},
    {Call::Close, {EIO, EINTR}},
    {Call::PthreadCreate, {EAGAIN, EPERM}},
    {Call::Malloc, {ENOMEM}},
    {Call::Read, {EIO, EINTR, EAGAIN}},
};

// Of a call that a day makes `count` times: each error at its first occurrence, the first error at
// the other chosen ones, and from the first and from the middle one on.
void addFailures(std::vector<Failure>& failures, Call call, Path path,
                 const std::vector<int>& errors, std::uint64_t count, bool full) {
    const auto last = static_cast<std::uint32_t>(count);
    const std::uint32_t middle = (last + 1) / 2;
    const std::uint32_t stride = std::max<std::uint32_t>(1, last / mostOccurrences);
    std::set<std::uint32_t> chosen = {1, middle, last};
    for (std::uint32_t nth = 1; full && nth <= last; nth += stride) {
        chosen.insert(nth);
    }
    for (const std::uint32_t nth : chosen) {
        for (const int error : errors) {
            if (nth == 1 || error == errors[0] || full) {
                failures.push_back({call, path, error, nth, false});
            }
        }
    }
    for (const std::uint32_t nth : std::set{1U, middle}) {
        failures.push_back({call, path, errors[0], nth, true});
    }
}

std::string describe(const Failure& failure) {
    return std::string(name(failure.call)) + " of " + name(failure.path) + ", call " +
           std::to_string(failure.nth) + (failure.persistent ? " and every later one, " : ", ") +
           std::strerror(failure.error);
}

// One day of the daemon, and what it shows and does afterwards, when nothing fails any more.
class Day {
  public:
    // `usualDescriptors`: open after an undisturbed day, which needs none.
    explicit Day(const sim::Panel& panel, const std::optional<Failure>& dayFailure = std::nullopt,
                 std::size_t usualDescriptors = 0);

    std::string harm;     // empty: none
    bool reached = false; // the call that was to fail was made
    bool ended = false;   // the process, as it must
    std::size_t descriptors;
    std::array<std::array<std::uint64_t, sim::pathCount>, sim::callCount> calls{};

  private:
    void goThrough();
    void endFailures();
    bool mayHaveEnded();
    std::string findHarm();
    std::string findHarmAfterwards();
    std::string lookAtPages();

    const std::optional<Failure> failure;
    Life life;
    const bool started; // the process lived to see its first page
    bool rebootedUnasked = false;
};

Day::Day(const sim::Panel& panel, const std::optional<Failure>& dayFailure,
         std::size_t usualDescriptors)
    : descriptors(usualDescriptors), failure(dayFailure), life(panel, dayFailure),
      started(!life.over()) {
    goThrough();
    endFailures();
    harm = findHarm();
}

void Day::goThrough() {
    sim::Gateway& gateway = life.gateway;
    for (const char* line : {"link up", "ppp0 up", "signal 20"}) {
        gateway.sendLogLine(line);
    }
    life.walk(); // one command at a time, SIMCOM
    gateway.editModem([](sim::ModemFacts& facts) { facts.maker = sim::Maker::AirM2m; });
    gateway.writeSysXml("10.0.0.254", "1");
    gateway.writeVersion("V9.9.9\n");
    gateway.writeChannels({{3, 19200, 7, "Even", 2}});
    gateway.writeSnXml("SN2", "GW-200"); // read behind the SIM pages
    life.walk();                         // AirM2M
    gateway.setTfCard(false);
    life.walk(); // three commands at once
    life.pass(61s);
    life.press();
    rebootedUnasked = gateway.popenCount() > 0;
    if (gateway.panel().height == sim::panel64.height) {
        life.press(10'500ms);
        life.pass(21s);
        life.pass(61s); // off the reboot page by the idle rule
        life.press();
    }
    // The last memory of the day that is asked for.
    gateway.sendLogLine("longer than a string holds without memory of its own");
    life.pass(1s);
}

void Day::endFailures() {
    for (std::size_t call = 0; call < sim::callCount; ++call) {
        for (std::size_t path = 0; path < sim::pathCount; ++path) {
            calls[call][path] =
                life.gateway.calls(static_cast<Call>(call), static_cast<Path>(path));
        }
    }
    reached = !life.fault || life.gateway.faultHits(*life.fault) > 0;
    life.gateway.clearFaults();
    life.gateway.dropEvents(); // presses that nobody could read
}

// The ends that the daemon's description demands.
bool Day::mayHaveEnded() {
    const int status = *life.process.status();
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const bool untouched = life.gateway.calls(Path::Framebuffer) == 0 &&
                           life.gateway.brightness() == "50" && life.process.errors().empty();
    if (failure->call == Call::MsgGet) {
        return code == 255 && untouched && life.process.output() == "msgget failed!!!";
    }
    // A thread takes memory, too.
    if (failure->call == Call::PthreadCreate || (failure->call == Call::Malloc && code == 0)) {
        return code == 0 && untouched && life.process.output().empty();
    }
    // Want of memory for one of the two singletons.
    return !started && life.gateway.control().watchedRefused != 0 &&
           life.process.errors().find("std::bad_alloc") != std::string::npos;
}

std::string Day::findHarm() {
    const std::string harmAfterwards = life.over() ? "" : findHarmAfterwards();
    const std::string& errors = life.process.errors();
    if (!reached) {
        return "the call was never made";
    }
    if (life.hangs()) {
        return "the daemon hangs";
    }
    if (!life.process.running()) {
        ended = failure && mayHaveEnded();
        return ended ? "" : "the daemon died\n" + errors;
    }
    if (errors.find("Sanitizer") != std::string::npos ||
        errors.find("runtime error") != std::string::npos) {
        return "a sanitizer complains\n" + errors;
    }
    if (!life.gateway.canaryIntact()) {
        return "bytes behind the video memory were written";
    }
    return rebootedUnasked ? "it rebooted unasked" : harmAfterwards;
}

// Devices are opened once in the life of the process: while they are missing at that moment the
// panel stays dark, or the button dead, until the next start.
std::string Day::findHarmAfterwards() {
    const bool panelMayBeDark = failure && failure->path == Path::Framebuffer;
    const bool buttonMayBeDead =
        failure && failure->call == Call::Open && failure->path == Path::Button;
    std::string wrong = lookAtPages();
    const std::uint32_t reboots = life.gateway.popenCount();
    life.pass(61s);
    const bool darkens = life.gateway.brightness() == "0";
    life.press();
    rebootedUnasked = rebootedUnasked || life.gateway.popenCount() > reboots;
    life.press(10'500ms);
    const bool answered = life.gateway.popenCount() > reboots;
    if (buttonMayBeDead) {
        return darkens ? "" : "the backlight rule stopped with the button";
    }
    if (!answered) {
        return "the button is not answered";
    }
    if (panelMayBeDark) {
        return "";
    }
    return darkens ? wrong : "the backlight does not go off";
}

// The pages, the ticking of the clock and the descriptors; it stays on the clock page.
std::string Day::lookAtPages() {
    const std::string differences = life.differences();
    if (!differences.empty()) {
        return "the pages are not right again\n" + differences;
    }
    const std::size_t open = life.over() ? 0 : life.descriptors();
    if (std::exchange(descriptors, open) != open && failure) {
        return "a descriptor leaked";
    }
    const picture::Bitmap before = life.shown();
    life.pass(2s);
    return life.shown() == before ? "the clock does not go on" : "";
}

} // namespace

bool walkThroughTheDay(const sim::Panel& panel) {
    const Day day(panel);
    std::printf("%s\n", day.harm.empty() ? "the day went as it must" : day.harm.c_str());
    return day.harm.empty();
}

bool sweep(const sim::Panel& panel, bool full) {
    const Day usual(panel);
    if (!usual.harm.empty()) {
        std::printf("the undisturbed day went wrong: %s\n", usual.harm.c_str());
        return false;
    }
    std::vector<Failure> failures;
    for (const auto& [call, errors] : kinds) {
        for (std::size_t path = 0; path < sim::pathCount; ++path) {
            if (const auto count = usual.calls[static_cast<std::size_t>(call)][path]) {
                addFailures(failures, call, static_cast<Path>(path), errors, count, full);
            }
        }
    }
    std::size_t reached = 0;
    std::size_t ended = 0;
    std::size_t harmed = 0;
    for (const Failure& failure : failures) {
        std::optional<Day> day;
        for (int days = 0; days < daysToBeMade && !(day && day->reached); ++days) {
            day.emplace(panel, failure, usual.descriptors);
        }
        reached += day->reached ? 1 : 0;
        ended += day->ended ? 1 : 0;
        if (!day->harm.empty()) {
            ++harmed;
            std::printf("%s: %s\n", describe(failure).c_str(), day->harm.c_str());
        }
    }
    std::printf("%u lines: %zu failures injected, %zu reached, %zu ended the process as they must, "
                "%zu harmed it\n",
                panel.height, failures.size(), reached, ended, harmed);
    return harmed == 0 && !failures.empty();
}
