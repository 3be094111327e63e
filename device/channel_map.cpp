#include "device/channel_map.h"

void ChannelMap::store(const ChannelConfig& config) {
    records_[config.No] = config;
    present_.set(config.No);
}

const ChannelConfig* ChannelMap::find(std::uint32_t number) const {
    return number < numbers && present_[number] ? &records_[number] : nullptr;
}

std::uint8_t ChannelMap::smallest(std::uint8_t none) const {
    for (std::size_t number = 0; number < numbers; ++number) {
        if (present_[number]) {
            return static_cast<std::uint8_t>(number);
        }
    }
    return none;
}
