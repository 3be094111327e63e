// paneld: the front-panel status display daemon of the gateway.

#include "app/page_loop.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Makes every message visible at once, those without a line feed too, and keeps the
// panel alive when nobody reads them any more. A standard descriptor that is closed at
// start is taken by /dev/null, or the framebuffer would become standard output.
void prepareStandardStreams() {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::signal(SIGPIPE, SIG_IGN);
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1) {
            open("/dev/null", O_RDWR);
        }
    }
}

} // namespace

int main() {
    prepareStandardStreams();
    if (startUp() != 0) {
        return -1;
    }
    for (;;) {
        pageLoopPass();
    }
}
