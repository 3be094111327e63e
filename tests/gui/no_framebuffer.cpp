// The tests bring their own video memory: a framebuffer of the machine that runs them stays closed.

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

int openUnlessFramebuffer(const char* path, int flags, int mode) {
    if (std::strcmp(path, "/dev/fb0") == 0) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

} // namespace

extern "C" int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return openUnlessFramebuffer(path, flags, mode);
}
