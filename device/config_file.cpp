#include "device/config_file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

FileCheck checkFile(const char* path, std::int32_t stamp) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        std::printf("get %s status error\n", path);
        return {FileState::Missing, false, 0};
    }
    const auto modified = static_cast<std::int32_t>(status.st_mtime);
    return {modified == stamp ? FileState::Unchanged : FileState::Changed, S_ISREG(status.st_mode),
            modified};
}

int openConfigFile(const char* path) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd == -1) {
        return -1;
    }
    // What the descriptor leads to counts: the path may lead elsewhere by now. Some regular files
    // of the kernel's own answer a read only once there is something to tell.
    struct stat status {};
    pollfd readable{fd, POLLIN, 0};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || poll(&readable, 1, 0) != 1) {
        close(fd);
        errno = EINVAL;
        return -1;
    }
    return fd;
}
