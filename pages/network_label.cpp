#include "pages/network_label.h"

const char* networkLabel(std::uint8_t registered, std::int32_t networkType) {
    if (registered == 0) {
        return nullptr;
    }
    switch (networkType) {
    case 0:
        return nullptr;
    case 8:
    case 16:
        return "4G";
    case 4:
    case 5:
    case 6:
    case 7:
    case 9:
    case 10:
    case 11:
    case 12:
    case 14:
    case 15:
        return "3G";
    default:
        return "2G";
    }
}
