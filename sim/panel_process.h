#pragma once

// The unmodified daemon as a process of its own on a simulated gateway: started with the preloaded
// interposer, its time moved on by the harness, its output collected. One thread of the harness
// uses it; it prints nothing. The process dies with this object, and with the harness.

#include "sim/gateway.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

namespace sim {

// Real time after which a wait is given up.
inline constexpr std::chrono::seconds mostPatience{20};

class PanelProcess {
  public:
    // How a wait ended.
    enum class Wait {
        Settled, // the time is reached and every thread sleeps: the picture is stable
        Exited,  // the process has ended
        Stuck,   // the harness lost its patience
    };

    // Starts `binary` on the gateway with `interposer` (panel_gateway.so) preloaded. With a virtual
    // clock time stands still at the gateway's present moment. With a zone of its own that is what
    // the gateway's /etc/localtime says, without such a file UTC; else TZ is as the harness has it.
    // Throws when the start fails.
    PanelProcess(Gateway& gateway, const std::string& binary, const std::string& interposer,
                 bool ownZone = true);
    // Kills the process if it still runs.
    ~PanelProcess();
    PanelProcess(const PanelProcess&) = delete;
    PanelProcess& operator=(const PanelProcess&) = delete;

    // Lets this much time pass and waits until the process has reached it and all its threads
    // sleep. With a duration of 0 it waits for the end of what goes on at this moment, after the
    // start for the first complete frame. With a real clock it only lets it pass.
    Wait advance(std::chrono::nanoseconds duration);

    // Frame barrier: advances until the page loop has slept two more times, so that a query that
    // the last page began is over too. At most 30 seconds of the gateway's time.
    Wait settle();

    // Presses the button, lets `held` pass, releases it and settles.
    Wait press(std::chrono::milliseconds held);
    Wait shortPress() { return press(std::chrono::milliseconds{100}); }

    // Makes the main thread call exit(0) in its next sleep, and waits for the end: the status as
    // waitpid gives it, or nullopt when the process does not end.
    std::optional<int> exitNormally();
    // Waits for the end of the process without asking for it; time does not move meanwhile.
    std::optional<int> waitExit(std::chrono::nanoseconds patience = mostPatience);
    // Sends a signal.
    void signal(int number);

    bool running();
    pid_t pid() const { return child_; }
    // Status as waitpid gives it once the process has ended.
    std::optional<int> status() const { return exitStatus_; }

    // Standard output and standard error since the start, or since clearOutput.
    const std::string& output() {
        collect();
        return outputText_;
    }
    const std::string& errors() {
        collect();
        return errorText_;
    }
    void clearOutput() {
        outputText_.clear();
        errorText_.clear();
    }

  private:
    Wait waitFor(Nanoseconds target);
    // Takes what the process has written so far out of its pipes.
    void collect();

    Gateway& gateway_;
    pid_t child_ = -1;
    int outputPipe_ = -1;
    int errorPipe_ = -1;
    std::string outputText_;
    std::string errorText_;
    std::optional<int> exitStatus_;
};

} // namespace sim
