#include "device/config_file.h"

#include <cstdio>
#include <sys/stat.h>

FileCheck checkFile(const char* path, std::int32_t stamp) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        std::printf("get %s status error\n", path);
        return {FileState::Missing, false, 0, 0};
    }
    const auto modified = static_cast<std::int32_t>(status.st_mtime);
    return {modified == stamp ? FileState::Unchanged : FileState::Changed, S_ISREG(status.st_mode),
            status.st_size, modified};
}
