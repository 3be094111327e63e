#pragma once

// The serial settings of the configured channels, by channel number.
//
// Storage is fixed: 256 slots and a presence bit each, so nothing is allocated.
// Main thread only. Prints nothing.

#include <array>
#include <bitset>
#include <cstdint>

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

// Ordered map from channel number to its settings, one record per number.
class ChannelMap {
  public:
    bool empty() const { return present_.none(); }
    void clear() { present_.reset(); }

    // Stores `config` under its number, in place of an earlier record.
    void store(const ChannelConfig& config);

    // The record of channel `number`, or null. Valid until the map changes.
    const ChannelConfig* find(std::uint32_t number) const;

    // The smallest channel number, or `none` when the map is empty.
    std::uint8_t smallest(std::uint8_t none) const;

  private:
    static constexpr std::size_t numbers = 256;
    std::array<ChannelConfig, numbers> records_{};
    std::bitset<numbers> present_;
};
