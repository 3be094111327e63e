#pragma once

// Which network label the SIM status page shows.

#include <cstdint>

// "2G", "3G", "4G", or null for no service (not registered, or network code 0).
// `networkType` is a network code of queryNetworkMode; codes that are not listed, failed
// queries included, read as 2G.
const char* networkLabel(std::uint8_t registered, std::int32_t networkType);
