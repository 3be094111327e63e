// The desk in front of the person: one simulated gateway with the unmodified daemon running on it
// in real time, the finger on its button, and what has been said since the start. One thread,
// which calls poll often. Prints nothing. What cannot be started throws std::system_error.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "picture/bitmap.h"
#include "sim/gateway.h"
#include "sim/panel_process.h"

namespace sim {

// What a desk starts.
struct Programs {
    std::string paneld;
    std::string interposer;
};

enum class Speaker {
    Daemon,       // the daemon's standard output
    DaemonErrors, // its standard error
    Desk,         // what the person did, and what became of it
};

// One line of what was said; the same line said again and again is counted.
struct Remark {
    Speaker speaker;
    std::string time; // wall clock of the gateway, HH:MM:SS
    std::string text;
    unsigned count = 1;
};

class Desk {
  public:
    // Starts the daemon on a fresh gateway with this panel; its wall clock shows the machine's
    // time and zone.
    Desk(Programs programs, Panel panel);

    // Moves the finger when it is time to, takes what the daemon has written and notices its end.
    void poll();

    Gateway& gateway() { return gate; }
    const Gateway& gateway() const { return gate; }

    // --- What is on the panel ---

    picture::Bitmap picture() const;
    // The brightness file's text; "?" without one.
    std::string brightness() const;
    bool dark() const { return brightness() == "0"; }

    // --- The button ---

    // Presses it for a moment; lets go first when it is held.
    void pressShortly();
    // Holds it until the daemon counts it as long; lets go early when it is already held.
    void toggleHold();
    bool pressed() const { return releaseAt.has_value(); }
    // Time since the press of a button that is being held; nothing for a short press.
    std::optional<std::chrono::milliseconds> held() const;

    // --- The daemon ---

    // Ends the daemon and starts it anew on the same gateway.
    void restart();
    // The same with the other panel fitted.
    void switchPanel();
    bool running() const { return !ending.has_value(); }
    // How the daemon ended; nothing while it runs.
    const std::optional<std::string>& end() const { return ending; }
    pid_t pid() const { return process ? process->pid() : -1; }

    // --- What was said ---

    // Adds a remark of the desk's own.
    void remark(std::string text) { hear(Speaker::Desk, std::move(text)); }
    // Oldest first, at most the last 200.
    const std::deque<Remark>& remarks() const { return said; }

  private:
    using Time = std::chrono::steady_clock::time_point;

    void start();
    void letGo();
    void collect();
    void hearLines(Speaker speaker, std::string_view text);
    void hear(Speaker speaker, std::string text);

    Programs programs;
    Gateway gate;
    std::unique_ptr<PanelProcess> process;
    std::optional<std::string> ending;
    std::optional<Time> releaseAt; // set while the button is down
    Time pressedAt{};
    bool holding = false;
    std::deque<Remark> said;
};

// The wall clock of a gateway as text in the machine's zone, "2024-03-04 09:05:03".
std::string wallClockText(const Gateway& gateway);

} // namespace sim
