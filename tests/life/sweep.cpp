#include "tests/life/life.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <sys/wait.h>

namespace {

using namespace std::chrono_literals;
using sim::Call;
using sim::Path;

constexpr std::uint32_t mostOccurrences = 400; // of one call, in a full sweep
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

// Of each call that the day has made: each error at its first occurrence, the first error at the
// other chosen ones, and from the first and from the middle one on.
std::vector<Failure> listFailures(const sim::Gateway& gateway, Extent extent) {
    const bool full = extent == Extent::Full;
    std::vector<Failure> failures;
    const auto add = [&](Call call, const std::vector<int>& errors, Path path) {
        const auto count = static_cast<std::uint32_t>(gateway.calls(call, path));
        const std::uint32_t middle = (count + 1) / 2;
        std::set<std::uint32_t> chosen = {1, middle, count};
        for (std::uint32_t nth = 1; full && nth <= count;
             nth += 1 + (count - 1) / mostOccurrences) {
            chosen.insert(nth);
        }
        for (const std::uint32_t nth : chosen) {
            for (const int error : errors) {
                if (nth == 1 || error == errors[0] || full) {
                    failures.push_back({call, path, error, nth, false});
                }
            }
            if (nth == 1 || nth == middle) {
                failures.push_back({call, path, errors[0], nth, true});
            }
        }
    };
    for (const auto& [call, errors] : kinds) {
        for (std::size_t i = 0; i < sim::pathCount; ++i) {
            const auto path = static_cast<Path>(i);
            if (gateway.calls(call, path) > 0 && extent != Extent::None) {
                add(call, errors, path);
            }
        }
    }
    return failures;
}

std::string describe(const Failure& failure) {
    return std::string(name(failure.call)) + " of " + name(failure.path) + ", call " +
           std::to_string(failure.nth) + (failure.persistent ? " and every later one, " : ", ") +
           strerrordesc_np(failure.error);
}

// The day, told as a script that goes on whatever fails meanwhile. True when it brought a reboot
// before its long press.
bool goThroughTheDay(Life& life) {
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
    const bool rebooted = gateway.popenCount() > 0;
    if (gateway.panel().height == 64) {
        life.press(10'500ms);
        life.pass(21s);
        life.pass(61s); // off the reboot page by the idle rule
        life.press();
    }
    // The last memory of the day that is asked for.
    gateway.sendLogLine("longer than a string holds without memory of its own");
    life.pass(1s);
    return rebooted;
}

// The ends that the daemon's description demands.
bool mayHaveEnded(Life& life) {
    const Call call = life.failure ? life.failure->call : Call::Open;
    const int status = *life.process.status();
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const bool untouched = life.gateway.calls(Path::Framebuffer) == 0 &&
                           life.gateway.brightness() == "50" && life.process.errors().empty();
    if (call == Call::MsgGet) {
        return code == 255 && untouched && life.process.output() == "msgget failed!!!";
    }
    // A thread takes memory, too.
    if (call == Call::PthreadCreate || (call == Call::Malloc && code == 0)) {
        return code == 0 && untouched && life.process.output().empty();
    }
    // Want of memory for one of the two singletons.
    return !life.started && life.gateway.control().watchedRefused != 0 &&
           life.process.errors().find("std::bad_alloc") != std::string::npos;
}

// What is wrong after the day, when nothing fails any more. Empty: nothing.
std::string findHarm(Life& life, bool rebootedUnasked, std::size_t usualDescriptors) {
    life.gateway.clearFaults();
    life.gateway.dropEvents(); // presses that nobody could read
    const std::string pages = life.differences();
    const std::size_t descriptors = life.over() ? 0 : life.descriptors();
    const picture::Bitmap clock = shown(life.gateway);
    life.pass(2s);
    const bool ticks = !(shown(life.gateway) == clock);
    const std::uint32_t reboots = life.gateway.popenCount();
    life.pass(61s);
    const bool darkens = life.gateway.brightness() == "0";
    life.press();
    rebootedUnasked = rebootedUnasked || life.gateway.popenCount() > reboots;
    life.press(10'500ms);
    const bool answers = life.gateway.popenCount() > reboots;
    if (!life.reached()) {
        return "the call was never made";
    }
    if (!life.process.running()) {
        return mayHaveEnded(life) ? "" : "the daemon died";
    }
    // Devices are opened once in the life of the process: while they are missing at that moment the
    // panel stays dark, or the button dead, until the next start.
    const Path path = life.failure ? life.failure->path : Path::None;
    const bool dark = path == Path::Framebuffer;
    const bool deaf = path == Path::Button && life.failure->call == Call::Open;
    const bool whole = !dark && !deaf;
    const std::string& errors = life.process.errors();
    const auto complains = [&](const char* sign) { return errors.find(sign) != std::string::npos; };
    const std::pair<bool, const char*> signs[] = {
        {life.stuck, "the daemon hangs"},
        {complains("Sanitizer") || complains("runtime error"), "a sanitizer complains"},
        {!life.gateway.canaryIntact(), "bytes behind the video memory were written"},
        {rebootedUnasked, "it rebooted unasked"},
        {!deaf && !answers, "the button is not answered"},
        {!dark && !darkens, "the backlight does not go off"},
        {whole && descriptors != usualDescriptors, "a descriptor leaked"},
        {whole && !pages.empty(), pages.c_str()},
        {whole && !ticks, "the clock does not go on"},
    };
    const auto* found = std::ranges::find(signs, true, [](auto& sign) { return sign.first; });
    return found == std::end(signs) ? "" : found->second;
}

} // namespace

bool sweep(const sim::Panel& panel, Extent extent) {
    Life usual(panel);
    const std::size_t descriptors = usual.descriptors();
    const bool rebooted = goThroughTheDay(usual);
    const std::vector<Failure> failures = listFailures(usual.gateway, extent);
    std::string harm = findHarm(usual, rebooted, descriptors);
    if (!harm.empty()) {
        std::printf("undisturbed: %s\n%s", harm.c_str(), usual.process.errors().c_str());
        return false;
    }
    std::size_t reached = 0;
    std::size_t ended = 0;
    std::size_t harmed = 0;
    for (const Failure& failure : failures) {
        std::optional<Life> life;
        for (int days = 0; days < daysToBeMade && !(life && life->reached()); ++days) {
            life.emplace(panel, failure);
            const bool unasked = goThroughTheDay(*life);
            harm = findHarm(*life, unasked, descriptors);
        }
        reached += life->reached() ? 1 : 0;
        ended += harm.empty() && !life->process.running() ? 1 : 0;
        if (!harm.empty()) {
            ++harmed;
            std::printf("%s: %s\n%s", describe(failure).c_str(), harm.c_str(),
                        life->process.errors().c_str());
        }
    }
    std::printf("%u lines: %zu failures injected, %zu reached, %zu ended the process as they must, "
                "%zu harmed it\n",
                panel.height, failures.size(), reached, ended, harmed);
    return harmed == 0 && failures.empty() == (extent == Extent::None);
}
