#pragma once

// The one object through which the rest of the daemon learns about the device.
//
// Created at its first use (after the graphics library, whose framebuffer it probes for
// the panel's height) and destroyed at normal process exit. Accessors bring their own
// field up to date and return it as it then stands, whatever the refresh achieved.
// Main thread only; the messages of its readers go to standard output.

#include "device/channel_map.h"
#include "device/interface_address.h"
#include "device/tf_card.h"
#include "modem/modem_status.h"

#include <cstdint>

// `firstChannel` of an empty channel map. Also a possible channel number: a map whose
// smallest number is 16 reads as empty.
inline constexpr std::uint8_t noChannel = 16;

class DeviceInfo {
  public:
    // The process-wide object; callers ask anew before each use and keep no pointer.
    static DeviceInfo* instance();

    DeviceInfo(const DeviceInfo&) = delete;
    DeviceInfo& operator=(const DeviceInfo&) = delete;
    ~DeviceInfo() = default;

    // 0 for the 64-line panel, 1 for any other height. Decided once, at construction.
    std::uint8_t isSmallPanel() const { return smallPanel_; }

    // First line of the version file, its line feed included when it fits.
    const char* version();
    // Gateway address text of sys.xml.
    const char* gateway();
    // Series number of sn.xml.
    const char* seriesNumber();

    // Smallest configured channel number, or `noChannel`.
    std::uint8_t firstChannel();
    // 0 and the record of channel `number`, valid until the next accessor call; -1 with
    // `config` untouched when there is no such channel.
    int findChannel(std::uint32_t number, const ChannelConfig** config);

    // Reads the figures anew; always hands them out, 0 or -1 as readTfCardFigures.
    int readTfCard(const TfCardFigures** figures);

    // Ethernet port 1: eth1, or eth0 when the gateway is cascaded. Always 0.
    int getPort1Addr(const InterfaceAddress** pair);
    // Ethernet port 2: eth0. Always 0.
    int getPort2Addr(const InterfaceAddress** pair);
    // Cellular link: ppp0. Always 0.
    int getPppAddr(const InterfaceAddress** pair);

    // Queries the modem anew into the record, which reads 0 when the port cannot be opened.
    // Blocks for up to about 4.5 s; a line that takes no output is given up after 10 s.
    void refreshModemStatus();
    // The same, and hands out the record, whatever it says. Always 0.
    int getModemStatus(const ModemStatus** status);

    // As last stored, without a look at the file.
    std::uint8_t modelKind() const { return modelKind_; } // a ModelKind, from sn.xml
    std::uint8_t cascade() const { return cascade_; }     // of sys.xml, 0 or not
    const char* model() const { return model_; }          // of sn.xml
    const ChannelMap& channels() const { return channels_; }

    // Readers: 0 when read or unchanged, -1 after a failure, whose message is printed.
    // A failed reading leaves fields and stamp as they were; the channel map, which keeps its
    // channels only while the file has no status, is empty after any other failure.
    int readChannelTemplate();
    int readSysConfig();
    int readSnConfig();
    int readVersion();

  private:
    DeviceInfo();
    int probeDisplay();

    InterfaceAddress port1Addr_{};
    InterfaceAddress port2Addr_{};
    InterfaceAddress pppAddr_{};
    char version_[32]{};
    char seriesNumber_[32]{};
    char model_[32]{};
    char gateway_[16]{};
    std::uint8_t modelKind_ = modelUnknown;
    ChannelMap channels_;
    TfCardFigures tfCard_{};
    ModemStatus modemStatus_{};
    // Modification times of the last successful readings, seconds.
    std::int32_t channelStamp_ = 0;
    std::int32_t snStamp_ = 0;
    std::int32_t sysStamp_ = 0;
    std::int32_t versionStamp_ = 0;
    std::uint8_t smallPanel_ = 0;
    std::uint8_t cascade_ = 0;
};
