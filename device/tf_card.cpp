#include "device/tf_card.h"

#include <cstdio>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

constexpr const char* partitionDevice = "/dev/mmcblk0p1";
constexpr const char* mountPoint = "/media/mmcblk0p1";

} // namespace

std::uint32_t capacityMb(std::uint32_t blocks, std::uint32_t blockSize) {
    constexpr double mbPerKb = 0.0009765625;
    const std::uint32_t kilobytes = (blocks >> 10) * blockSize;
    return static_cast<std::uint32_t>(static_cast<double>(kilobytes) * mbPerKb + 0.5);
}

int readTfCardFigures(TfCardFigures& figures) {
    figures = TfCardFigures{};
    if (access(partitionDevice, F_OK) != 0) {
        std::puts("can not find tf card");
        return -1;
    }
    struct statfs card {};
    if (statfs(mountPoint, &card) == -1) {
        std::puts("can not get tf card info");
        return -1;
    }
    const auto blockSize = static_cast<std::uint32_t>(card.f_bsize);
    figures.tfFreeMb = capacityMb(static_cast<std::uint32_t>(card.f_bavail), blockSize);
    figures.tfTotalMb = capacityMb(static_cast<std::uint32_t>(card.f_blocks), blockSize);
    return 0;
}
