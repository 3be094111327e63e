#include "sim/terminal_desk.h"

#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

namespace sim {
namespace {

using namespace std::chrono_literals;

constexpr auto shortPress = 80ms;
// Ten seconds count as long; the daemon looks at the button every 50 ms.
constexpr auto longPress = 10'200ms;
constexpr std::size_t remarkLimit = 200;

// The zone that the machine itself shows, so that the panel's clock is the wall's.
std::string machineZone() {
    const char* zone = std::getenv("TZ");
    return zone != nullptr ? zone : ":/etc/localtime";
}

std::string endText(int status) {
    if (WIFSIGNALED(status))
        return std::string("was ended by signal ") + sigabbrev_np(WTERMSIG(status));
    return "ended with status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

std::string wallClockText(const Gateway& gateway) {
    const std::time_t seconds =
        std::chrono::floor<std::chrono::seconds>(gateway.wallClock()).count();
    std::tm fields{};
    localtime_r(&seconds, &fields);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    return text;
}

Desk::Desk(Programs theirs, Panel panel) : programs(std::move(theirs)), gate(panel) {
    gate.setClockMode(ClockMode::Real);
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    gate.setWallClock(now.tv_sec, std::chrono::nanoseconds(now.tv_nsec));
    start();
}

void Desk::start() {
    ProcessOptions options;
    options.timeZone = machineZone();
    ending.reset();
    process = std::make_unique<PanelProcess>(gate, programs.paneld, programs.interposer, options);
    remark("paneld started, " + std::to_string(gate.panel().height) + "-line panel");
}

void Desk::poll() {
    if (releaseAt && std::chrono::steady_clock::now() >= *releaseAt)
        letGo();
    if (!process)
        return;
    collect();
    if (ending || process->running())
        return;
    collect(); // what it wrote last
    ending = endText(process->status().value_or(0));
    remark("paneld " + *ending);
}

picture::Bitmap Desk::picture() const {
    const Panel panel = gate.panel();
    return picture::Bitmap::fromVideoMemory(gate.picture(), static_cast<int>(panel.width),
                                            static_cast<int>(panel.height));
}

std::string Desk::brightness() const {
    return gate.brightness().value_or("?");
}

void Desk::pressShortly() {
    letGo();
    gate.press();
    pressedAt = std::chrono::steady_clock::now();
    releaseAt = pressedAt + shortPress;
}

void Desk::toggleHold() {
    if (holding) {
        letGo();
        return;
    }
    letGo();
    gate.press();
    holding = true;
    pressedAt = std::chrono::steady_clock::now();
    releaseAt = pressedAt + longPress;
}

void Desk::letGo() {
    if (!releaseAt)
        return;
    gate.release();
    releaseAt.reset();
    holding = false;
}

std::optional<std::chrono::milliseconds> Desk::held() const {
    if (!holding)
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 pressedAt);
}

void Desk::restart() {
    letGo();
    process.reset();
    gate.dropEvents();
    start();
}

void Desk::switchPanel() {
    letGo();
    process.reset();
    gate.dropEvents();
    gate.setPanel(gate.panel().height == panel64.height ? panel32 : panel64);
    start();
}

void Desk::collect() {
    process->collect();
    hearLines(Speaker::Daemon, process->output());
    hearLines(Speaker::DaemonErrors, process->errors());
    process->clearOutput();
}

// Some messages of the daemon have no line end, so the end of what was read is one as well.
void Desk::hearLines(Speaker speaker, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        // The XML library marks the place in a broken line by a caret below it.
        if (line.find_first_not_of(" ^") != std::string_view::npos)
            hear(speaker, std::string(line));
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    }
}

void Desk::hear(Speaker speaker, std::string text) {
    std::string time = wallClockText(gate).substr(sizeof "2024-03-04");
    if (!said.empty() && said.back().speaker == speaker && said.back().text == text) {
        ++said.back().count;
        said.back().time = std::move(time);
        return;
    }
    said.push_back({speaker, std::move(time), std::move(text)});
    if (said.size() > remarkLimit)
        said.pop_front();
}

} // namespace sim
