#include "sim/facts.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <net/if.h>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>

namespace sim {

namespace {

using nlohmann::json;

constexpr const char* dataLink = "ppp0";
constexpr unsigned addressBits = 32;
constexpr double microsecondsPerSecond = 1e6;
constexpr int longestDelay = 3600; // seconds

const json& ordinary() {
    static const json facts = deskFile("ordinary.json");
    return facts;
}

[[noreturn]] void refuse(const std::string& why) {
    throw std::invalid_argument(why);
}

int numberWithin(const json& value, int least, int most) {
    if (!value.is_number() || value < least || value > most) {
        refuse(value.dump() + " is not a number from " + std::to_string(least) + " to " +
               std::to_string(most));
    }
    return value.get<int>();
}

// --- Interfaces ---

// Throws for an interface that is none of the gateway's, or gone.
void checkInterface(const Facts& facts, const std::string& interfaceName) {
    const bool known =
        std::any_of(std::begin(facts.interfaces), std::end(facts.interfaces),
                    [&](const InterfaceEntry& entry) { return interfaceName == entry.name; });
    if (!ordinary()["addresses"].contains(interfaceName) || (interfaceName != dataLink && !known)) {
        refuse("no interface " + interfaceName);
    }
}

std::string addressText(const InterfaceEntry& entry) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, entry.address, text.data(), text.size());
    int prefix = 0;
    for (const std::uint8_t byte : entry.netmask) {
        prefix += std::popcount(byte);
    }
    return text.data() + ("/" + std::to_string(prefix));
}

json interfacesOf(const Facts& facts) {
    json result = json::object();
    for (const InterfaceEntry& entry : facts.interfaces) {
        if (ordinary()["addresses"].contains(entry.name)) {
            json& shown = result[entry.name];
            shown["cable"] = (entry.flags & IFF_RUNNING) != 0;
            json& address = shown["address"];
            if (entry.family == AF_INET && address.is_null()) {
                address = addressText(entry);
            }
        }
    }
    return result;
}

// --- Modem ---

// Words by the number of what they stand for.
constexpr const char* makers[] = {"SIMCOM", "AirM2M", "both", "other"};
constexpr const char* simCards[] = {"ready", "pin", "absent"};
constexpr const char* moods[] = {"answers", "silent", "error"};
enum class Mood : std::uint8_t { Answers, Silent, Error };

template <typename Value>
Value valueFor(std::span<const char* const> words, const json& word) {
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end()) {
        refuse("unknown word " + word.dump());
    }
    return static_cast<Value>(found - words.begin());
}

Mood moodOf(const ModemFacts& modem) {
    if (modem.silentCommands == everyCommand) {
        return Mood::Silent;
    }
    return modem.errorCommands == everyCommand ? Mood::Error : Mood::Answers;
}

json modemFacts(const ModemFacts& modem) {
    return {{"maker", makers[static_cast<int>(modem.maker)]},
            {"sim", simCards[static_cast<int>(modem.simCard)]},
            {"registration", modem.registration},
            {"signal", modem.csq},
            {"networkMode", modem.networkMode},
            {"systemMode", modem.systemMode},
            {"mood", moods[static_cast<int>(moodOf(modem))]},
            {"delay", modem.answerDelayUs / microsecondsPerSecond},
            {"pieces", modem.chunkBytes}};
}

void setModemFacts(ModemFacts& modem, const json& facts) {
    modem.maker = valueFor<Maker>(makers, facts["maker"]);
    modem.simCard = valueFor<SimCard>(simCards, facts["sim"]);
    modem.registration = numberWithin(facts["registration"], 0, UINT8_MAX);
    modem.csq = numberWithin(facts["signal"], -1, INT32_MAX);
    modem.networkMode = numberWithin(facts["networkMode"], INT32_MIN, INT32_MAX);
    modem.systemMode = numberWithin(facts["systemMode"], INT32_MIN, INT32_MAX);
    const Mood mood = valueFor<Mood>(moods, facts["mood"]);
    modem.silentCommands = mood == Mood::Silent ? everyCommand : 0;
    modem.errorCommands = mood == Mood::Error ? everyCommand : 0;
    numberWithin(facts["delay"], 0, longestDelay);
    modem.answerDelayUs = static_cast<std::uint32_t>(
        std::llround(facts["delay"].get<double>() * microsecondsPerSecond));
    modem.chunkBytes = static_cast<std::uint16_t>(numberWithin(facts["pieces"], 0, UINT16_MAX));
}

} // namespace

json deskFile(const std::string& name) {
    return json::parse(std::ifstream(DESK_FOLDER + name));
}

void ordinaryModem(ModemFacts& modem) {
    modem = {};
    setModemFacts(modem, ordinary()["modem"]);
}

void setOrdinary(Gateway& gateway) {
    gateway.setWallClock(ordinary()["clock"]);
    gateway.control().clock.offsets[CLOCK_MONOTONIC] =
        ordinary()["uptime"].get<Nanoseconds>() * nanosecondsPerSecond;
    std::vector<InterfaceEntry> links;
    for (const char* linkName : {"lo", "eth0", "eth1", dataLink}) {
        InterfaceEntry& link = links.emplace_back();
        std::snprintf(link.name, sizeof link.name, "%s", linkName);
        link.present = link.hasAddress = 1;
        link.family = AF_PACKET;
        link.flags = IFF_UP | IFF_RUNNING;
    }
    gateway.setInterfaceEntries(links);
    gateway.setInterface("lo", "127.0.0.1", 8);
    for (const auto& [interfaceName, address] : ordinary()["addresses"].items()) {
        setAddress(gateway, interfaceName, address);
    }
    setCard(gateway, ordinary()["card"]);
    gateway.setModemPresent(ordinary()["modem"]["present"]);
    gateway.editModem(ordinaryModem);
    for (const auto& [path, lines] : ordinary()["files"].items()) {
        std::string contents;
        for (const json& line : lines) {
            contents += line.get<std::string>() + "\n";
        }
        gateway.writeFile(path, contents);
    }
}

json factsOf(const Gateway& gateway) {
    const Facts facts = gateway.facts();
    const bool inserted = gateway.exists(pathOf(Path::TfDevice));
    json modem = modemFacts(facts.modem);
    modem["present"] = gateway.exists(pathOf(Path::ModemPort));
    return {{"panel", facts.panel.height},
            {"interfaces", interfacesOf(facts)},
            {"card", inserted ? json{facts.tf.blocks / tfBlocksPerMegabyte,
                                     facts.tf.blocksFree / tfBlocksPerMegabyte}
                              : json()},
            {"mounted", gateway.exists(pathOf(Path::TfMount))},
            {"modem", modem}};
}

void setAddress(Gateway& gateway, const std::string& interfaceName, const json& address) {
    checkInterface(gateway.facts(), interfaceName);
    if (address.is_null()) {
        gateway.editFacts([&](Facts& facts) {
            for (InterfaceEntry& entry : facts.interfaces) {
                const bool goes = interfaceName == dataLink || entry.family == AF_INET;
                entry = interfaceName == entry.name && goes ? InterfaceEntry{} : entry;
            }
        });
        return;
    }
    const auto text = address.get<std::string>();
    const std::size_t slash = std::min(text.find('/'), text.size() - 1);
    unsigned prefix = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + slash + 1, end, prefix);
    if (parsed.ec != std::errc() || parsed.ptr != end || prefix > addressBits) {
        refuse("not an address with its prefix: " + text);
    }
    gateway.setInterface(interfaceName, text.substr(0, slash), prefix);
}

void setCable(Gateway& gateway, const std::string& interfaceName, bool plugged) {
    checkInterface(gateway.facts(), interfaceName);
    if (interfaceName == dataLink) {
        refuse(interfaceName + " has no cable");
    }
    gateway.editFacts([&](Facts& facts) {
        for (InterfaceEntry& entry : facts.interfaces) {
            if (interfaceName == entry.name) {
                entry.flags =
                    plugged ? entry.flags | IFF_RUNNING : entry.flags & ~unsigned{IFF_RUNNING};
            }
        }
    });
}

void setCard(Gateway& gateway, const json& card) {
    if (card.is_null()) {
        gateway.setTfCard(false);
        return;
    }
    if (!card.is_array() || card.size() != 2) {
        refuse("not the sizes of a card: " + card.dump());
    }
    const int total = numberWithin(card[0], 0, INT32_MAX);
    const int free = numberWithin(card[1], 0, total);
    gateway.setTfMegabytes(static_cast<std::uint32_t>(free), static_cast<std::uint32_t>(total));
    gateway.setTfCard(true);
}

void setMount(Gateway& gateway, bool mounted) {
    if (mounted && !gateway.exists(pathOf(Path::TfDevice))) {
        refuse("no card to mount");
    }
    gateway.setTfMounted(mounted);
}

json setModem(Gateway& gateway, const json& changes) {
    json wanted = factsOf(gateway)["modem"];
    for (const auto& [name, value] : changes.get<json::object_t>()) {
        if (!wanted.contains(name)) {
            refuse("the modem has no " + name);
        }
        wanted[name] = value;
    }
    const bool present = wanted["present"];
    ModemFacts modem = gateway.facts().modem;
    setModemFacts(modem, wanted);
    gateway.editModem([&modem](ModemFacts& facts) { facts = modem; });
    gateway.setModemPresent(present);
    return wanted;
}

} // namespace sim
