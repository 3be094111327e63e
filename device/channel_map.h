#pragma once

// The serial settings of the configured channels, by channel number.

#include <cstdint>
#include <map>

// Serial settings of one channel, as the channel template gives them. A setting whose
// attribute is absent is 0.
struct [[gnu::packed]] ChannelConfig {
    std::uint8_t No;       // channel number
    std::uint8_t DataSize; // data bits
    char Parity;           // first letter of the parity's name, 0 for an empty one
    std::uint8_t Stop;     // stop bits
    std::int32_t Baud;     // bits per second
};
static_assert(sizeof(ChannelConfig) == 8);

// One record per number, under its `No`.
using ChannelMap = std::map<std::uint8_t, ChannelConfig>;
