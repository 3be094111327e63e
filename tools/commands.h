#pragma once

// The commands of panelctl, the companion of paneld for whoever is logged in on the gateway.
//
// Each command prints its findings on standard output, its errors and warnings on standard
// error, and returns the exit status of the tool. One thread; nothing is kept between commands.
// Words of others reach the terminal through `tell` and `complain` alone.

#include <optional>
#include <string>
#include <vector>

#include "picture/cells.h"

namespace ctl {

// Exit statuses; the manual page lists them.
inline constexpr int statusFine = 0;
inline constexpr int statusTrouble = 1; // something is wrong, or could not be done
inline constexpr int statusUsage = 2;   // the command line was not understood

struct ShotOptions {
    std::string file;                       // PNG file, "-": standard output; empty: the terminal
    int scale = 4;                          // PNG pixels to a dot
    std::optional<picture::CellKind> cells; // none: by the width of the terminal
    bool watch = false;
};

// Shows what is on the panel now, once or again at each change until interrupted.
int shot(const ShotOptions& options);

struct PressOptions {
    int hold = 0;        // seconds that the button is held
    bool reboot = false; // the press is meant to restart the gateway
    bool quiet = false;  // the panel is not shown afterwards
};

// Presses the button by an event in its device, which reaches every reader.
int press(const PressOptions& options);

struct SayOptions {
    std::vector<std::string> words; // UTF-8, joined by blanks
    long type = 1;                  // message type, positive
};

// Sends one log line to the panel.
int say(const SayOptions& options);

struct QueueOptions {
    bool dropStuck = false;
};

// Lists what waits in the panel's message queue without taking any of it.
int queue(const QueueOptions& options);

// Reports what the daemon reads from each configuration file.
int config();

struct ModemOptions {
    std::optional<int> kind; // dialogue 1 or 2; none: as sn.xml says
};

// Runs the daemon's modem query and shows its transcript.
int modem(const ModemOptions& options);

// Prints one line on standard output, by what is `visible` of it.
[[gnu::format(printf, 1, 2)]] void tell(const char* format, ...);

// The same on standard error, behind "panelctl: ".
[[gnu::format(printf, 1, 2)]] void complain(const char* format, ...);

} // namespace ctl
