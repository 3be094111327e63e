#pragma once

// IPv4 address and netmask of a network interface, read from the kernel.
//
// Nothing is cached: every reading asks getifaddrs anew. Main thread only.
// Prints nothing.

// Two NUL-terminated dotted quads, or "N/A" in both.
struct InterfaceAddress {
    char address[16];
    char netmask[16];
};
static_assert(sizeof(InterfaceAddress) == 32);

// Reads the first IPv4 address of the interface called exactly `name` (an alias such as
// eth0:1 is another name) into `pair`. Returns 0; -1 with "N/A" in both texts when the
// interface has none.
int readInterfaceAddress(const char* name, InterfaceAddress& pair);
