#include "sim/facts.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace sim {

namespace {

using nlohmann::json;

constexpr std::array interfaceNames = {"eth0", "eth1", "ppp0"};
constexpr const char* dataLink = "ppp0";
constexpr unsigned addressBits = 32;
constexpr std::uint32_t pieceGapUs = 20'000;
constexpr double microsecondsPerSecond = 1e6;
constexpr int longestDelay = 3600; // seconds

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

void checkInterface(const Gateway& gateway, const std::string& interfaceName) {
    if (std::find(interfaceNames.begin(), interfaceNames.end(), interfaceName) ==
            interfaceNames.end() ||
        (interfaceName != dataLink && !gateway.hasInterface(interfaceName))) {
        refuse("no interface " + interfaceName);
    }
}

std::string netmaskText(unsigned prefix) {
    const std::uint32_t mask = prefix == 0 ? 0 : UINT32_MAX << (addressBits - prefix);
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += (text.empty() ? "" : ".") + std::to_string(mask >> shift & 0xff);
    }
    return text;
}

json interfacesOf(const Gateway& gateway) {
    json result = json::object();
    for (const std::string interfaceName : interfaceNames) {
        if (gateway.hasInterface(interfaceName)) {
            const std::string address = gateway.address(interfaceName);
            result[interfaceName] = {{"address", address.empty() ? json() : json(address)},
                                     {"cable", gateway.hasCable(interfaceName)}};
        }
    }
    return result;
}

// --- Modem ---

template <typename Value>
struct Word {
    const char* word;
    Value value;
};

constexpr Word<Maker> makers[] = {
    {"SIMCOM", Maker::Simcom}, {"AirM2M", Maker::AirM2m}, {"other", Maker::Neither}};
constexpr Word<SimCard> simCards[] = {
    {"ready", SimCard::Ready}, {"pin", SimCard::NeedsPin}, {"absent", SimCard::Absent}};

enum class Mood : std::uint8_t { Answers, Silent, Error };
constexpr Word<Mood> moods[] = {
    {"answers", Mood::Answers}, {"silent", Mood::Silent}, {"error", Mood::Error}};

template <typename Table, typename Value>
const char* wordFor(const Table& table, Value value) {
    const auto* found = std::find_if(std::begin(table), std::end(table),
                                     [value](const auto& row) { return row.value == value; });
    return found == std::end(table) ? "" : found->word;
}

template <typename Table>
auto valueFor(const Table& table, const json& word) {
    for (const auto& row : table) {
        if (word == row.word) {
            return row.value;
        }
    }
    refuse("unknown word " + word.dump());
}

Mood moodOf(const ModemFacts& modem) {
    if (modem.silentCommands == everyCommand) {
        return Mood::Silent;
    }
    return modem.errorCommands == everyCommand ? Mood::Error : Mood::Answers;
}

struct ModemFact {
    const char* name;
    json (*read)(const ModemFacts& modem);
    void (*write)(ModemFacts& modem, const json& value);
};

const ModemFact modemFacts[] = {
    {"maker", [](const ModemFacts& modem) -> json { return wordFor(makers, modem.maker); },
     [](ModemFacts& modem, const json& value) { modem.maker = valueFor(makers, value); }},
    {"sim", [](const ModemFacts& modem) -> json { return wordFor(simCards, modem.simCard); },
     [](ModemFacts& modem, const json& value) { modem.simCard = valueFor(simCards, value); }},
    {"registration", [](const ModemFacts& modem) -> json { return modem.registration; },
     [](ModemFacts& modem, const json& value) {
         modem.registration = static_cast<std::uint8_t>(numberWithin(value, 0, UINT8_MAX));
     }},
    {"signal", [](const ModemFacts& modem) -> json { return modem.csq; },
     [](ModemFacts& modem, const json& value) { modem.csq = numberWithin(value, -1, INT32_MAX); }},
    {"networkMode", [](const ModemFacts& modem) -> json { return modem.networkMode; },
     [](ModemFacts& modem, const json& value) {
         modem.networkMode = numberWithin(value, INT32_MIN, INT32_MAX);
     }},
    {"systemMode", [](const ModemFacts& modem) -> json { return modem.systemMode; },
     [](ModemFacts& modem, const json& value) {
         modem.systemMode = numberWithin(value, INT32_MIN, INT32_MAX);
     }},
    {"mood", [](const ModemFacts& modem) -> json { return wordFor(moods, moodOf(modem)); },
     [](ModemFacts& modem, const json& value) {
         const Mood mood = valueFor(moods, value);
         modem.silentCommands = mood == Mood::Silent ? everyCommand : 0;
         modem.errorCommands = mood == Mood::Error ? everyCommand : 0;
     }},
    {"delay",
     [](const ModemFacts& modem) -> json { return modem.answerDelayUs / microsecondsPerSecond; },
     [](ModemFacts& modem, const json& value) {
         numberWithin(value, 0, longestDelay);
         modem.answerDelayUs =
             static_cast<std::uint32_t>(value.get<double>() * microsecondsPerSecond);
     }},
    {"pieces", [](const ModemFacts& modem) -> json { return modem.chunkBytes; },
     [](ModemFacts& modem, const json& value) {
         modem.chunkBytes = static_cast<std::uint16_t>(numberWithin(value, 0, UINT16_MAX));
         modem.chunkGapUs = pieceGapUs;
     }},
};

json modemOf(const Gateway& gateway) {
    const ModemFacts modem = gateway.modem();
    json result = {{"present", gateway.modemPresent()}};
    for (const ModemFact& fact : modemFacts) {
        result[fact.name] = fact.read(modem);
    }
    return result;
}

} // namespace

json factsOf(const Gateway& gateway) {
    const auto card = gateway.tfMegabytes();
    return {{"panel", gateway.panel().height},
            {"interfaces", interfacesOf(gateway)},
            {"card", gateway.tfInserted() ? json{card.first, card.second} : json()},
            {"mounted", gateway.tfMounted()},
            {"modem", modemOf(gateway)}};
}

void setAddress(Gateway& gateway, const std::string& interfaceName, const json& address) {
    checkInterface(gateway, interfaceName);
    if (address.is_null()) {
        if (interfaceName == dataLink) {
            gateway.removeInterface(interfaceName);
        } else {
            gateway.removeAddress(interfaceName);
        }
        return;
    }
    const auto text = address.get<std::string>();
    const std::size_t slash = std::min(text.find('/'), text.size());
    unsigned prefix = addressBits;
    const auto parsed = std::from_chars(text.data() + std::min(slash + 1, text.size()),
                                        text.data() + text.size(), prefix);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() ||
        prefix > addressBits) {
        refuse("not an address with its prefix: " + text);
    }
    gateway.setInterface(interfaceName, text.substr(0, slash), netmaskText(prefix));
}

void setCable(Gateway& gateway, const std::string& interfaceName, bool plugged) {
    checkInterface(gateway, interfaceName);
    if (interfaceName == dataLink) {
        refuse(interfaceName + " has no cable");
    }
    gateway.setCable(interfaceName, plugged);
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
    if (mounted && !gateway.tfInserted()) {
        refuse("no card to mount");
    }
    gateway.setTfMounted(mounted);
}

void setModem(Gateway& gateway, const json& changes) {
    if (!changes.is_object()) {
        refuse("not facts of the modem: " + changes.dump());
    }
    ModemFacts modem = gateway.modem();
    bool present = gateway.modemPresent();
    for (const auto& [name, value] : changes.items()) {
        const auto* fact =
            std::find_if(std::begin(modemFacts), std::end(modemFacts),
                         [&name = name](const ModemFact& row) { return name == row.name; });
        if (fact != std::end(modemFacts)) {
            fact->write(modem, value);
        } else if (name == "present") {
            present = value.get<bool>();
        } else {
            refuse("the modem has no " + name);
        }
    }
    gateway.editModem([&modem](ModemFacts& facts) { facts = modem; });
    if (present != gateway.modemPresent()) {
        gateway.setModemPresent(present);
    }
}

} // namespace sim
