#include "device/device_info.h"

#include "device/file_descriptor.h"
#include "modem/dialogue_limit.h"
#include "modem/serial_port.h"

#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <linux/fb.h>
#include <memory>
#include <sys/ioctl.h>

namespace {

constexpr const char* framebufferPath = "/dev/fb0";
constexpr std::uint32_t largePanelLines = 64;

// Owned here, so that normal process exit destroys it.
std::unique_ptr<DeviceInfo> theDeviceInfo;

} // namespace

DeviceInfo* DeviceInfo::instance() {
    if (theDeviceInfo == nullptr) {
        theDeviceInfo.reset(new DeviceInfo);
    }
    return theDeviceInfo.get();
}

DeviceInfo::DeviceInfo() {
    readChannelTemplate();
    readSysConfig();
    readSnConfig();
    readVersion();
    probeDisplay();
}

int DeviceInfo::probeDisplay() {
    const FileDescriptor framebuffer(open(framebufferPath, O_RDWR));
    if (!framebuffer.isOpen()) {
        std::printf("Error:can not open LCD FrameBuffer Device %s\n", framebufferPath);
        return -1;
    }
    fb_var_screeninfo screen{};
    if (ioctl(framebuffer.get(), FBIOGET_VSCREENINFO, &screen) == -1) {
        std::puts("Error: Don't Read Out Var Screen Information.");
        return -1;
    }
    smallPanel_ = screen.yres != largePanelLines ? 1 : 0;
    return 0;
}

const char* DeviceInfo::version() {
    readVersion();
    return version_;
}

const char* DeviceInfo::gateway() {
    readSysConfig();
    return gateway_;
}

const char* DeviceInfo::seriesNumber() {
    readSnConfig();
    return seriesNumber_;
}

std::uint8_t DeviceInfo::firstChannel() {
    readChannelTemplate();
    return channels_.empty() ? noChannel : channels_.begin()->first;
}

int DeviceInfo::findChannel(std::uint32_t number, const ChannelConfig** config) {
    readChannelTemplate();
    constexpr std::uint32_t highest = std::numeric_limits<ChannelMap::key_type>::max();
    const auto found =
        number > highest ? channels_.end() : channels_.find(static_cast<std::uint8_t>(number));
    if (found == channels_.end()) {
        return -1;
    }
    *config = &found->second;
    return 0;
}

int DeviceInfo::readTfCard(const TfCardFigures** figures) {
    *figures = &tfCard_;
    return readTfCardFigures(tfCard_);
}

int DeviceInfo::getPort1Addr(const InterfaceAddress** pair) {
    readInterfaceAddress(cascade_ != 0 ? "eth0" : "eth1", port1Addr_);
    *pair = &port1Addr_;
    return 0;
}

int DeviceInfo::getPort2Addr(const InterfaceAddress** pair) {
    readInterfaceAddress("eth0", port2Addr_);
    *pair = &port2Addr_;
    return 0;
}

int DeviceInfo::getPppAddr(const InterfaceAddress** pair) {
    readInterfaceAddress("ppp0", pppAddr_);
    *pair = &pppAddr_;
    return 0;
}

void DeviceInfo::refreshModemStatus() {
    const DialogueLimit limit(DialogueLimit::usualSeconds);
    modemStatus_ = ModemStatus{};
    const int fd = openModemPort(modemPortPath);
    if (fd == -1) {
        return;
    }
    queryModemStatus(modelKind_, fd, &modemStatus_);
    closeModemPort(fd);
}

int DeviceInfo::getModemStatus(const ModemStatus** status) {
    refreshModemStatus();
    *status = &modemStatus_;
    return 0;
}
