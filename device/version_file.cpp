// Reader of the version file: its first line is the software version.

#include "device/config_file.h"
#include "device/device_info.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

int DeviceInfo::readVersion() {
    // One less than the field: a line of 30 characters, its line feed included.
    constexpr int longestLine = 31;
    const FileCheck file = checkFile(versionPath, versionStamp_);
    if (file.state != FileState::Changed) {
        return file.result();
    }
    if (access(versionPath, F_OK) != 0) {
        std::printf("%s is not exist\n", versionPath);
        return -1;
    }
    const int fd = file.regular ? openConfigFile(versionPath) : -1;
    if (fd == -1) {
        return -1;
    }
    std::FILE* stream = fdopen(fd, "r");
    if (stream == nullptr) {
        close(fd);
        return -1;
    }
    std::memset(version_, 0, sizeof version_);
    if (std::fgets(version_, longestLine, stream) == nullptr) {
        version_[0] = '\0';
    }
    std::fclose(stream);
    versionStamp_ = file.modified;
    return 0;
}
