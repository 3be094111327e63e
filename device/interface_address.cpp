#include "device/interface_address.h"

#include <cstdio>
#include <cstring>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr const char* notAvailable = "N/A";

template <std::size_t Size>
void copyText(char (&field)[Size], const char* text) {
    std::snprintf(field, Size, "%s", text);
}

// Formats the four bytes of an IPv4 socket address, first byte first.
void formatAddress(char (&field)[16], const sockaddr* address) {
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    unsigned char bytes[4];
    std::memcpy(bytes, &ipv4.sin_addr, sizeof bytes);
    std::snprintf(field, sizeof field, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
}

const ifaddrs* findIpv4(const ifaddrs* list, const char* name) {
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            std::strcmp(entry->ifa_name, name) == 0) {
            return entry;
        }
    }
    return nullptr;
}

} // namespace

int readInterfaceAddress(const char* name, InterfaceAddress& pair) {
    pair = InterfaceAddress{};
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        list = nullptr;
    }
    const ifaddrs* entry = findIpv4(list, name);
    if (entry == nullptr) {
        copyText(pair.address, notAvailable);
        copyText(pair.netmask, notAvailable);
    } else {
        formatAddress(pair.address, entry->ifa_addr);
        if (entry->ifa_netmask != nullptr) {
            formatAddress(pair.netmask, entry->ifa_netmask);
        } else {
            copyText(pair.netmask, notAvailable);
        }
    }
    freeifaddrs(list);
    return entry != nullptr ? 0 : -1;
}
