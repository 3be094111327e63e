#include "tools/commands.h"

#include "device/device_info.h"
#include "gui/lcd.h"
#include "modem/dialogue_limit.h"
#include "modem/modem_status.h"
#include "modem/serial_port.h"
#include "pages/network_label.h"
#include "tools/captured_output.h"
#include "tools/port_recorder.h"
#include "tools/processes.h"
#include "tools/visible_text.h"

#include <cerrno>
#include <cstdio>

namespace {

using namespace ctl;
using std::chrono::microseconds;

double seconds(microseconds time) {
    return std::chrono::duration<double>(time).count();
}

double milliseconds(microseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

void warnOfOthers() {
    auto others = processesHolding(modemPortPath);
    for (const Process& daemon : processesNamed(daemonName)) {
        others.push_back(daemon);
    }
    for (const Process& other : others) {
        complain("warning: %s (process %d) may use the port at the same time; answers can go "
                 "to the wrong one",
                 other.name.c_str(), static_cast<int>(other.id));
    }
}

// The dialogue that the daemon would choose; the reason when it would choose none.
std::uint8_t configuredKind(std::string& model) {
    std::uint8_t kind = modelUnknown;
    captureOutput([&] {
        kind = DeviceInfo::instance()->modelKind();
        model = DeviceInfo::instance()->model();
    });
    return kind;
}

void printTranscript(const std::vector<PortEvent>& events, microseconds end) {
    microseconds asked{};
    for (std::size_t i = 0; i < events.size(); ++i) {
        const PortEvent& event = events[i];
        switch (event.kind) {
        case PortEvent::sent: {
            asked = event.at;
            tell("%8.3f s  > %s", seconds(event.at), visible(event.bytes).c_str());
            std::size_t next = i + 1;
            while (next < events.size() && events[next].kind == PortEvent::discarded) {
                ++next;
            }
            if (next == events.size() || events[next].kind == PortEvent::sent) {
                const microseconds waited = (next == events.size() ? end : events[next].at) - asked;
                tell("            < nothing for %.0f ms", milliseconds(waited));
            }
            break;
        }
        case PortEvent::received:
            tell("%8.3f s  < %s  (after %.0f ms)", seconds(event.at), visible(event.bytes).c_str(),
                 milliseconds(event.at - asked));
            break;
        case PortEvent::discarded:
            tell("%8.3f s    %zu bytes came before the command was out and were dropped",
                 seconds(event.at), event.count);
            break;
        }
    }
}

// The signal strength as the page writes it.
std::string shownStrength(std::int32_t csq) {
    constexpr std::uint8_t digits = 2;
    char text[16] = {};
    char* end = text;
    GUI_AddDec(csq, digits, 0, &end);
    return text;
}

int printVerdict(const ModemStatus& status) {
    const char* label = networkLabel(status.registered, status.networkType);
    tell("SIM         %s", status.simReady != 0 ? "OK" : "NG");
    tell("registered  %s", status.registered != 0 ? "yes" : "no");
    tell("network     %s (code %d)", label != nullptr ? label : "no service", status.networkType);
    tell("signal      %s, %d of 4 bars (csq %d)", shownStrength(status.csq).c_str(),
         status.signalLevel, status.csq);
    return status.simReady != 0 && status.registered != 0 ? statusFine : statusTrouble;
}

} // namespace

int ctl::modem(const ModemOptions& options) {
    std::string model;
    std::uint8_t kind = configuredKind(model);
    if (options.kind) {
        kind = static_cast<std::uint8_t>(*options.kind);
    } else if (kind == modelUnknown) {
        complain("no model in sn.xml: the daemon asks the modem nothing; --kind chooses a "
                 "dialogue");
        return statusTrouble;
    }
    warnOfOthers();
    std::optional<DialogueLimit> limit(std::in_place, DialogueLimit::usualSeconds);
    const int fd = openModemPort(modemPortPath);
    if (fd == -1) {
        complain("cannot open %s: %s", modemPortPath, systemReason(errno).c_str());
        return statusTrouble;
    }
    tell("%s, model \"%s\", dialogue of kind %d: %s", modemPortPath, model.c_str(), kind,
         kind == modelStepwise ? "one command at a time" : "all commands at once");
    std::fflush(stdout);

    ModemStatus status{};
    startRecording(fd);
    const auto began = std::chrono::steady_clock::now();
    queryModemStatus(kind, fd, &status);
    const auto took =
        std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now() - began);
    const auto events = stopRecording();
    closeModemPort(fd);
    limit.reset();

    printTranscript(events, took);
    tell("%8.3f s  end", seconds(took));
    tell("%s", "");
    return printVerdict(status);
}
