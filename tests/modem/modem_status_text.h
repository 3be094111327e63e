#pragma once

// A modem status record as tests expect it.

#include "modem/modem_status.h"

#include <string>

// "SIM registered csq bars network", as "1 1 20 3 8".
inline std::string textOf(const ModemStatus& status) {
    return std::to_string(status.simReady) + " " + std::to_string(status.registered) + " " +
           std::to_string(status.csq) + " " + std::to_string(status.signalLevel) + " " +
           std::to_string(status.networkType);
}

// What a dialogue on an open port finds out.
inline std::string query(std::uint8_t kind, int fd) {
    ModemStatus status{};
    queryModemStatus(kind, fd, &status);
    return textOf(status);
}
