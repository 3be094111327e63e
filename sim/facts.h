#pragma once

// The facts of a simulated gateway in the words of docs/gateway.md and desk/ordinary.json. What
// cannot be done throws std::invalid_argument, or what nlohmann::json throws for a value of the
// wrong type, and has changed nothing.

#include "sim/gateway.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace sim {

// What a file of desk/ holds.
nlohmann::json deskFile(const std::string& name);

// Gives the gateway the ordinary facts: clocks, interfaces, card, modem, configuration files.
void setOrdinary(Gateway& gateway);

// How the gateway stands: panel, interfaces, card, mount and modem.
nlohmann::json factsOf(const Gateway& gateway);

// `address`: "10.0.0.5/16" or null. Without an address ppp0 is gone altogether.
void setAddress(Gateway& gateway, const std::string& interfaceName, const nlohmann::json& address);

void setCable(Gateway& gateway, const std::string& interfaceName, bool plugged);

// `card`: MB in all and MB free of the card that is put in, or null for none.
void setCard(Gateway& gateway, const nlohmann::json& card);

void setMount(Gateway& gateway, bool mounted);

// Changes the facts given, all or none of them; all of them afterwards.
nlohmann::json setModem(Gateway& gateway, const nlohmann::json& changes);

} // namespace sim
