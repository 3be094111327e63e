// The facts of the simulated gateway as the person at the terminal changes and sees them: one key
// per fact, and rows that say how things stand. Works on a `Gateway` alone, whether or not a
// daemon runs on it. One thread. Prints nothing.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sim/gateway.h"

namespace sim {

// One configuration file and what can be done with it.
enum class ConfigFile { Sys, Sn, Version, Channels };
inline constexpr std::size_t configFileCount = 4;

enum class ConfigState {
    Original,
    Rewritten, // other values
    Broken,    // cut in the middle; the version file is empty
    Deleted,
};

// How things stand, for display.
struct FactRow {
    std::string label; // at most 11 columns
    std::string value;
    bool good; // false: a disturbance that the person has made
};

class DeskFacts {
  public:
    // Takes what the gateway's files hold now as their original contents.
    explicit DeskFacts(Gateway& gateway);

    // --- Changes; each returns one line that says what became of it ---

    std::string toggleCable1();     // of eth1: out, in; the address stays, as in the kernel
    std::string toggleCable2();     // of eth0 likewise
    std::string toggleAddress1();   // of eth1: taken away, given back
    std::string toggleAddress2();   // of eth0 likewise
    std::string togglePpp();        // the data link, which comes and goes with its address
    std::string toggleTfCard();     // out, in
    std::string nextTfSize();       // cards from 128 MB to 6 digits of MB
    std::string toggleSim();        // out, in
    std::string toggleSimPin();     // asks for its PIN, ready
    std::string nextRegistration(); // home, roaming, searching, denied
    std::string strongerSignal();   // 0 to 31
    std::string weakerSignal();     //
    std::string nextNetwork();      // 4G, 3G, 2G, none
    std::string nextMaker();        // SIMCOM, AirM2M, unknown
    std::string nextModemMood();    // answers, silent, answers ERROR, port missing
    std::string toggleModelKind();  // the model text decides how the modem is asked
    std::string clockForward();     // one hour
    std::string clockBack();        // one hour
    std::string setConfig(ConfigFile file, ConfigState state);

    // Gives an interface an address: "eth1 10.0.0.5" or "eth1 10.0.0.5 255.255.0.0".
    std::string setAddress(std::string_view request);
    // A request that would change the address of eth1, to start from.
    std::string proposedAddress() const;
    // Sends a line to the log as another process would; UTF-8, sent as GB2312.
    std::string sendLogLine(std::string_view utf8);

    // --- How things stand ---

    std::vector<FactRow> rows() const;

  private:
    struct Port {
        const char* name;
        const char* label;
        std::string address; // the last one
        std::string netmask;
    };

    std::string toggleCable(const Port& port);
    std::string toggleAddress(Port& port);
    void remember(Port& port);
    std::string changeSignal(int step);
    std::string jumpClock(int hours);
    FactRow portRow(const Port& port) const;
    FactRow modemRow() const;
    FactRow simRow() const;
    FactRow tfRow() const;
    FactRow channelsRow() const;
    FactRow filesRow() const;
    FactRow clockRow() const;

    Gateway& gateway;
    std::array<Port, 3> ports; // eth1, eth0, ppp0
    std::array<ConfigState, configFileCount> configStates{};
    std::array<std::string, configFileCount> originals;
    std::size_t tfSize = 0;
    int hoursJumped = 0;
    bool kind1 = false;
};

// A key that changes a fact at once.
struct FactKey {
    char key;
    const char* help; // at most 33 columns
    std::string (DeskFacts::*change)();
};

// All such keys, in the order in which they are shown.
std::span<const FactKey> factKeys();

// "sys.xml" and so on.
const char* configFileName(ConfigFile file);

} // namespace sim
