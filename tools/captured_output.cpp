#include "tools/captured_output.h"

#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::string contents(int fd) {
    std::string text;
    char chunk[512];
    off_t position = 0;
    for (ssize_t count = 0; (count = pread(fd, chunk, sizeof chunk, position)) > 0;
         position += count) {
        text.append(chunk, static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

std::string ctl::captureOutput(const std::function<void()>& action) {
    std::fflush(stdout);
    const int original = dup(STDOUT_FILENO);
    const int caught = memfd_create("panelctl", MFD_CLOEXEC);
    if (original == -1 || caught == -1) {
        close(original);
        close(caught);
        action();
        return {};
    }
    dup2(caught, STDOUT_FILENO);
    action();
    std::fflush(stdout);
    dup2(original, STDOUT_FILENO);
    close(original);
    std::string text = contents(caught);
    close(caught);
    return text;
}
