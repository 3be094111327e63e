#pragma once

// Comparison and display of modem status records in tests.

#include "modem/modem_status.h"

#include <ostream>

inline bool operator==(const ModemStatus& a, const ModemStatus& b) {
    return a.simReady == b.simReady && a.registered == b.registered && a.csq == b.csq &&
           a.signalLevel == b.signalLevel && a.networkType == b.networkType;
}

inline std::ostream& operator<<(std::ostream& out, const ModemStatus& status) {
    return out << "sim " << int{status.simReady} << " registered " << int{status.registered}
               << " csq " << status.csq << " level " << status.signalLevel << " network "
               << status.networkType;
}
