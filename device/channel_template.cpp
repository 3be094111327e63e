// Reader of the channel template: the serial settings of the configured channels.

#include "base/decimal.h"
#include "device/device_info.h"
#include "device/xml_config.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace {

constexpr std::uint8_t shownMode = 0;
constexpr std::uint8_t modeNotGiven = 255;

std::uint8_t lowByte(const char* text) {
    return static_cast<std::uint8_t>(parseDecimal(text));
}

void applySetting(ChannelConfig& config, std::uint8_t& mode, const char* name, const char* text) {
    if (std::strcmp(name, "Mode") == 0) {
        mode = lowByte(text);
    } else if (std::strcmp(name, "Baud") == 0) {
        config.Baud = parseDecimal(text);
    } else if (std::strcmp(name, "DataSize") == 0) {
        config.DataSize = lowByte(text);
    } else if (std::strcmp(name, "Parity") == 0) {
        config.Parity = text[0];
    } else if (std::strcmp(name, "Stop") == 0) {
        config.Stop = lowByte(text);
    }
}

// Reads one Channel element. Settings and mode carry over from one of its CommMode
// elements to the next: they start afresh with the channel only.
void readChannel(const xmlNode* channel, ChannelMap& channels) {
    ChannelConfig config{};
    forEachAttribute(channel, [&](const char* name, const char* text) {
        if (std::strcmp(name, "No") == 0) {
            config.No = lowByte(text);
        }
    });
    std::uint8_t mode = modeNotGiven;
    forEachElement(channel, "CommMode", [&](const xmlNode* element) {
        forEachAttribute(element, [&](const char* name, const char* text) {
            applySetting(config, mode, name, text);
        });
        if (mode == shownMode) {
            channels[config.No] = config;
        }
    });
}

} // namespace

int DeviceInfo::readChannelTemplate() {
    const FileCheck file = checkFile(channelTemplatePath, channelStamp_);
    if (file.state != FileState::Changed) {
        return file.result();
    }
    // Emptied before the parse: while the file is broken there are no channels.
    channels_.clear();
    const XmlDocument document(channelTemplatePath, file, "ChannelConfig");
    if (document.root() == nullptr) {
        return -1;
    }
    try {
        forEachElement(document.root(), "Channel",
                       [this](const xmlNode* channel) { readChannel(channel, channels_); });
    } catch (const std::bad_alloc&) {
        // As when libxml2 finds no memory for the document.
        channels_.clear();
        std::printf("%s Document not parsed successfully.\n", channelTemplatePath);
        return -1;
    }
    channelStamp_ = file.modified;
    return 0;
}
