#include "sim/terminal_facts.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <sstream>

#include "sim/terminal_desk.h"
#include "sim/terminal_text.h"

namespace sim {
namespace {

struct ConfigPlace {
    const char* path;
    const char* name;
    const char* rewritten;
    const char* seenOn; // when the daemon looks again
};

constexpr std::array<ConfigPlace, configFileCount> configPlaces = {{
    {"/zelkora/Config/sys.xml", "sys.xml",
     "<sysConfig>\n  <lan1 gateway=\"10.20.30.254\" cascade=\"1\"/>\n</sysConfig>\n",
     "the gateway page"},
    {"/zelkora/Config/system/sn.xml", "sn.xml",
     "<snConfig>\n  <sn sn=\"SN20249999\"/>\n  <model model=\"GW-200\"/>\n</snConfig>\n",
     "the identity page"},
    {"/zelkora/Config/version/main-version.conf", "version", "V2.0.0-rc1\n", "the version page"},
    {"/zelkora/Config/Channel-template.xml", "channels",
     "<ChannelConfig>\n"
     "  <Channel No=\"3\"><CommMode Mode=\"0\" Baud=\"115200\" DataSize=\"8\" Parity=\"Even\" "
     "Stop=\"1\"/></Channel>\n"
     "  <Channel No=\"7\"><CommMode Mode=\"0\" Baud=\"1200\" DataSize=\"7\" Parity=\"Odd\" "
     "Stop=\"2\"/></Channel>\n"
     "</ChannelConfig>\n",
     "the way from the TF card page to the channels"},
}};

constexpr const char* seriesNumber = "SN20240001";
constexpr const char* modelOfKind1 = "GW-100";
constexpr const char* modelOfKind2 = "GW-100-L";

struct TfSize {
    std::uint32_t freeMb;
    std::uint32_t totalMb;
};
// Sizes that fill five digits, and one that needs six.
constexpr std::array<TfSize, 4> tfSizes = {
    {{4096, 7600}, {96, 128}, {30000, 30436}, {121000, 123456}}};

struct Registration {
    std::uint8_t code;
    const char* text;
};
constexpr std::array<Registration, 4> registrations = {
    {{1, "registered at home"}, {5, "roaming"}, {2, "searching"}, {3, "denied"}}};

struct Network {
    std::int32_t mode;       // as SIMCOM says it
    std::int32_t systemMode; // as AirM2M says it
    const char* text;
};
constexpr std::array<Network, 4> networks = {
    {{8, 17, "4G"}, {4, 5, "3G"}, {1, 3, "2G"}, {0, 0, "no network"}}};

constexpr int strongestSignal = 31;
constexpr std::size_t logLineLimit = 68; // bytes

const char* makerName(Maker maker) {
    switch (maker) {
    case Maker::Simcom:
        return "SIMCOM";
    case Maker::AirM2m:
        return "AirM2M";
    case Maker::Both:
        return "SIMCOM and AirM2M";
    case Maker::Neither:
        break;
    }
    return "unknown maker";
}

const char* simText(SimCard sim) {
    switch (sim) {
    case SimCard::Ready:
        return "SIM in";
    case SimCard::NeedsPin:
        return "SIM asks for its PIN";
    case SimCard::Absent:
        break;
    }
    return "no SIM";
}

// The place of the entry that holds; 0 when none does.
template <typename Table, typename Holds>
std::size_t find(const Table& table, Holds holds) {
    const auto place = std::find_if(table.begin(), table.end(), holds);
    return place == table.end() ? 0 : static_cast<std::size_t>(place - table.begin());
}

std::size_t registrationOf(const ModemFacts& modem) {
    return find(registrations, [&](const Registration& r) { return r.code == modem.registration; });
}

std::size_t networkOf(const ModemFacts& modem) {
    return find(networks, [&](const Network& n) { return n.mode == modem.networkMode; });
}

std::string addressText(const std::uint8_t (&bytes)[4]) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, bytes, text, sizeof text);
    return text;
}

// "192.168.1.10/24"; a netmask with a gap in it is written out.
std::string addressWithPrefix(const InterfaceEntry& entry) {
    std::uint32_t mask = 0;
    for (const std::uint8_t byte : entry.netmask)
        mask = mask << 8 | byte;
    const int prefix = std::countl_one(mask);
    const bool whole = std::popcount(mask) == prefix;
    return addressText(entry.address) + "/" +
           (whole ? std::to_string(prefix) : addressText(entry.netmask));
}

bool isAddress(const std::string& text) {
    in_addr ignored{};
    return inet_pton(AF_INET, text.c_str(), &ignored) == 1;
}

// The interposer only reads the list, so the harness may look at it without the lock.
const InterfaceEntry* entryOf(const Gateway& gateway, std::string_view name) {
    for (const InterfaceEntry& entry : gateway.control().facts.interfaces)
        if (entry.present != 0 && entry.family == AF_INET && name == entry.name)
            return &entry;
    return nullptr;
}

constexpr std::array factKeyTable = {
    FactKey{'1', "cable of port 1, eth1, out or in", &DeskFacts::toggleCable1},
    FactKey{'2', "cable of port 2, eth0, out or in", &DeskFacts::toggleCable2},
    FactKey{'x', "address of eth1 away or back", &DeskFacts::toggleAddress1},
    FactKey{'X', "address of eth0 away or back", &DeskFacts::toggleAddress2},
    FactKey{'3', "data link ppp0 down or up", &DeskFacts::togglePpp},
    FactKey{'t', "pull or insert the TF card", &DeskFacts::toggleTfCard},
    FactKey{'T', "TF card of another size", &DeskFacts::nextTfSize},
    FactKey{'i', "SIM out or in", &DeskFacts::toggleSim},
    FactKey{'p', "SIM asks for its PIN or not", &DeskFacts::toggleSimPin},
    FactKey{'g', "home, roaming, searching, denied", &DeskFacts::nextRegistration},
    FactKey{'+', "signal stronger, up to 31", &DeskFacts::strongerSignal},
    FactKey{'-', "signal weaker, down to 0", &DeskFacts::weakerSignal},
    FactKey{'n', "network 4G, 3G, 2G, none", &DeskFacts::nextNetwork},
    FactKey{'m', "modem of SIMCOM, AirM2M, other", &DeskFacts::nextMaker},
    FactKey{'o', "modem well, silent, ERROR, gone", &DeskFacts::nextModemMood},
    FactKey{'k', "model for modem dialogue 1 or 2", &DeskFacts::toggleModelKind},
    FactKey{'c', "clock one hour on", &DeskFacts::clockForward},
    FactKey{'C', "clock one hour back", &DeskFacts::clockBack},
};

} // namespace

std::span<const FactKey> factKeys() {
    return factKeyTable;
}

const char* configFileName(ConfigFile file) {
    return configPlaces[static_cast<std::size_t>(file)].name;
}

DeskFacts::DeskFacts(Gateway& theirs)
    : gateway(theirs), ports{{{"eth1", "Port 1 eth1", "10.10.0.2", "255.255.255.0"},
                              {"eth0", "Port 2 eth0", "192.168.1.10", "255.255.255.0"},
                              {"ppp0", "Data ppp0", "10.64.3.7", "255.255.255.255"}}} {
    for (std::size_t i = 0; i < configFileCount; ++i)
        originals[i] = gateway.readFile(configPlaces[i].path).value_or("");
    gateway.setTfMegabytes(tfSizes[tfSize].freeMb, tfSizes[tfSize].totalMb);
}

// --- Network ---

std::string DeskFacts::toggleCable(const Port& port) {
    const bool plugged = !gateway.hasCable(port.name);
    gateway.setCable(port.name, plugged);
    if (plugged)
        return std::string(port.name) + " plugged in";
    return std::string(port.name) + " unplugged" +
           (gateway.hasAddress(port.name) ? "; it keeps its address" : "");
}

std::string DeskFacts::toggleCable1() {
    return toggleCable(ports[0]);
}

std::string DeskFacts::toggleCable2() {
    return toggleCable(ports[1]);
}

void DeskFacts::remember(Port& port) {
    const InterfaceEntry* entry = entryOf(gateway, port.name);
    port.address = addressText(entry->address);
    port.netmask = addressText(entry->netmask);
}

std::string DeskFacts::toggleAddress(Port& port) {
    if (gateway.hasAddress(port.name)) {
        remember(port);
        gateway.removeAddress(port.name);
        return std::string(port.name) + " has lost its address";
    }
    gateway.setInterface(port.name, port.address, port.netmask);
    return std::string(port.name) + " has " + port.address + " again";
}

std::string DeskFacts::toggleAddress1() {
    return toggleAddress(ports[0]);
}

std::string DeskFacts::toggleAddress2() {
    return toggleAddress(ports[1]);
}

std::string DeskFacts::togglePpp() {
    Port& port = ports[2];
    if (gateway.hasAddress(port.name)) {
        remember(port);
        gateway.removeInterface(port.name);
        return "data link down, ppp0 gone";
    }
    gateway.setInterface(port.name, port.address, port.netmask);
    return "data link up, ppp0 has " + port.address;
}

std::string DeskFacts::setAddress(std::string_view request) {
    std::istringstream words{std::string(request)};
    std::string name;
    std::string address;
    std::string netmask = "255.255.255.0";
    words >> name >> address >> netmask;
    const bool known = std::any_of(ports.begin(), ports.end(),
                                   [&](const Port& port) { return name == port.name; });
    if (!known)
        return "no interface '" + name + "': eth0, eth1 or ppp0";
    if (!isAddress(address))
        return "'" + address + "' is no IPv4 address";
    if (!isAddress(netmask))
        return "'" + netmask + "' is no netmask";
    gateway.setInterface(name, address, netmask);
    return name + " has " + address + ", netmask " + netmask;
}

std::string DeskFacts::proposedAddress() const {
    const InterfaceEntry* entry = entryOf(gateway, ports[0].name);
    std::uint8_t bytes[4] = {10, 10, 0, 2};
    if (entry != nullptr)
        std::copy(std::begin(entry->address), std::end(entry->address), std::begin(bytes));
    bytes[3] = static_cast<std::uint8_t>(bytes[3] % 254 + 1);
    return std::string(ports[0].name) + " " + addressText(bytes);
}

// --- TF card ---

std::string DeskFacts::toggleTfCard() {
    gateway.setTfCard(!gateway.tfInserted());
    return gateway.tfInserted() ? "TF card inserted and mounted"
                                : "TF card pulled; its mount is left behind";
}

std::string DeskFacts::nextTfSize() {
    tfSize = (tfSize + 1) % tfSizes.size();
    gateway.setTfMegabytes(tfSizes[tfSize].freeMb, tfSizes[tfSize].totalMb);
    return "TF card of " + std::to_string(tfSizes[tfSize].totalMb) + " MB";
}

// --- Modem ---

std::string DeskFacts::toggleSim() {
    const bool out = gateway.modem().simCard != SimCard::Absent;
    gateway.editModem(
        [out](ModemFacts& modem) { modem.simCard = out ? SimCard::Absent : SimCard::Ready; });
    return out ? "SIM taken out" : "SIM put in";
}

std::string DeskFacts::toggleSimPin() {
    const bool ask = gateway.modem().simCard != SimCard::NeedsPin;
    gateway.editModem(
        [ask](ModemFacts& modem) { modem.simCard = ask ? SimCard::NeedsPin : SimCard::Ready; });
    return simText(gateway.modem().simCard);
}

std::string DeskFacts::nextRegistration() {
    const auto& next = registrations[(registrationOf(gateway.modem()) + 1) % registrations.size()];
    gateway.editModem([&next](ModemFacts& modem) { modem.registration = next.code; });
    return std::string("modem ") + next.text;
}

std::string DeskFacts::changeSignal(int step) {
    const int csq = std::clamp(gateway.modem().csq + step, 0, strongestSignal);
    gateway.editModem([csq](ModemFacts& modem) { modem.csq = csq; });
    return "signal " + std::to_string(csq) + " of " + std::to_string(strongestSignal);
}

std::string DeskFacts::strongerSignal() {
    return changeSignal(1);
}

std::string DeskFacts::weakerSignal() {
    return changeSignal(-1);
}

std::string DeskFacts::nextNetwork() {
    const auto& next = networks[(networkOf(gateway.modem()) + 1) % networks.size()];
    gateway.editModem([&next](ModemFacts& modem) {
        modem.networkMode = next.mode;
        modem.systemMode = next.systemMode;
    });
    return std::string("network: ") + next.text;
}

std::string DeskFacts::nextMaker() {
    const Maker maker = gateway.modem().maker;
    const Maker next = maker == Maker::Simcom   ? Maker::AirM2m
                       : maker == Maker::AirM2m ? Maker::Neither
                                                : Maker::Simcom;
    gateway.editModem([next](ModemFacts& modem) { modem.maker = next; });
    return std::string("modem of ") + makerName(next);
}

std::string DeskFacts::nextModemMood() {
    const auto set = [this](std::uint8_t silent, std::uint8_t error) {
        gateway.editModem([=](ModemFacts& modem) {
            modem.silentCommands = silent;
            modem.errorCommands = error;
        });
    };
    const ModemFacts modem = gateway.modem();
    if (!gateway.modemPresent()) {
        gateway.setModemPresent(true);
        set(0, 0);
        return "modem answers";
    }
    if (modem.errorCommands != 0) {
        gateway.setModemPresent(false);
        return "modem port missing";
    }
    if (modem.silentCommands != 0) {
        set(0, everyCommand);
        return "modem answers ERROR";
    }
    set(everyCommand, 0);
    return "modem silent: a query takes seconds";
}

std::string DeskFacts::toggleModelKind() {
    kind1 = !kind1;
    configStates[static_cast<std::size_t>(ConfigFile::Sn)] = ConfigState::Original;
    const char* model = kind1 ? modelOfKind1 : modelOfKind2;
    gateway.writeSnXml(seriesNumber, model);
    return std::string("model ") + model + ": seen on the identity page";
}

// --- Clock ---

std::string DeskFacts::jumpClock(int hours) {
    const auto now = gateway.wallClock() + std::chrono::hours(hours);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    gateway.setWallClock(seconds.count(), now - seconds);
    hoursJumped += hours;
    return "clock set to " + wallClockText(gateway);
}

std::string DeskFacts::clockForward() {
    return jumpClock(1);
}

std::string DeskFacts::clockBack() {
    return jumpClock(-1);
}

// --- Files and log ---

std::string DeskFacts::setConfig(ConfigFile file, ConfigState state) {
    const auto index = static_cast<std::size_t>(file);
    const ConfigPlace& place = configPlaces[index];
    configStates[index] = state;
    const std::string name = place.name;
    if (state == ConfigState::Deleted) {
        gateway.removeFile(place.path);
        return name + " deleted";
    }
    if (state == ConfigState::Broken) {
        const std::size_t half = file == ConfigFile::Version ? 0 : originals[index].size() / 2;
        gateway.writeFile(place.path, originals[index].substr(0, half));
        return name + " broken";
    }
    const bool original = state == ConfigState::Original;
    if (file == ConfigFile::Sn)
        kind1 = !original;
    gateway.writeFile(place.path, original ? originals[index] : place.rewritten);
    return name + (original ? " restored" : " rewritten") + ": seen on " + place.seenOn;
}

std::string DeskFacts::sendLogLine(std::string_view utf8) {
    std::string reason;
    const auto bytes = toGb2312(utf8, &reason);
    if (!bytes)
        return "not sent: " + reason;
    if (bytes->size() > logLineLimit)
        return "not sent: " + std::to_string(bytes->size()) + " bytes, a line takes 68";
    if (!gateway.sendLogLine(*bytes))
        return "not sent: the queue is full";
    return "sent to the log: " + std::string(utf8);
}

// --- How things stand ---

FactRow DeskFacts::portRow(const Port& port) const {
    const InterfaceEntry* entry = entryOf(gateway, port.name);
    const bool dataLink = &port == &ports.back();
    if (entry == nullptr && dataLink)
        return {port.label, "no link", false};
    const bool plugged = gateway.hasCable(port.name);
    return {port.label,
            (entry == nullptr ? "no address" : addressWithPrefix(*entry)) +
                (plugged ? "" : ", no cable"),
            entry != nullptr && plugged};
}

FactRow DeskFacts::modemRow() const {
    const ModemFacts modem = gateway.modem();
    std::string text = makerName(modem.maker);
    text += kind1 ? ", kind 1" : ", kind 2";
    if (!gateway.modemPresent())
        return {"Modem", "port missing", false};
    if (modem.silentCommands != 0)
        return {"Modem", text + ", silent", false};
    if (modem.errorCommands != 0)
        return {"Modem", text + ", ERROR", false};
    return {"Modem", text + ", " + networks[networkOf(modem)].text, true};
}

FactRow DeskFacts::simRow() const {
    const ModemFacts modem = gateway.modem();
    if (modem.simCard != SimCard::Ready)
        return {"SIM", simText(modem.simCard), false};
    const std::size_t registration = registrationOf(modem);
    return {"SIM",
            std::string(registrations[registration].text) + ", csq " + std::to_string(modem.csq),
            registration < 2};
}

FactRow DeskFacts::tfRow() const {
    if (!gateway.tfInserted())
        return {"TF card", "out", false};
    return {"TF card",
            std::to_string(tfSizes[tfSize].totalMb) + " MB, " +
                std::to_string(tfSizes[tfSize].freeMb) + " free",
            true};
}

FactRow DeskFacts::filesRow() const {
    std::string disturbed;
    for (std::size_t i = 0; i < configFileCount; ++i) {
        if (configStates[i] == ConfigState::Original)
            continue;
        disturbed += disturbed.empty() ? "" : ", ";
        disturbed += std::string(configPlaces[i].name) +
                     (configStates[i] == ConfigState::Rewritten ? " new"
                      : configStates[i] == ConfigState::Broken  ? " broken"
                                                                : " gone");
    }
    return {"Files", disturbed.empty() ? "all as they were" : disturbed, disturbed.empty()};
}

FactRow DeskFacts::channelsRow() const {
    switch (configStates[static_cast<std::size_t>(ConfigFile::Channels)]) {
    case ConfigState::Original:
        return {"Channels", "1, 2, 5", true};
    case ConfigState::Rewritten:
        return {"Channels", "3, 7", true};
    case ConfigState::Broken:
    case ConfigState::Deleted:
        break;
    }
    return {"Channels", "no readable template", false};
}

FactRow DeskFacts::clockRow() const {
    std::string text = wallClockText(gateway);
    if (hoursJumped != 0)
        text += (hoursJumped > 0 ? " (+" : " (") + std::to_string(hoursJumped) + " h)";
    return {"Clock", text, hoursJumped == 0};
}

std::vector<FactRow> DeskFacts::rows() const {
    return {clockRow(), portRow(ports[0]), portRow(ports[1]), portRow(ports[2]), modemRow(),
            simRow(),   tfRow(),           channelsRow(),     filesRow()};
}

} // namespace sim
