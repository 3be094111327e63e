// paneld: the front-panel status display daemon of the gateway.

#include "app/page_loop.h"
#include "device/file_descriptor.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Lets writes to a pipe fail that would wait for its reader. The pipe is opened anew: the flag
// belongs to the open file, which other processes hold too. It is set there nevertheless where
// opening fails, because the pipe has no reader just now or /proc is not mounted.
void stopWaitingForReader(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0 || !S_ISFIFO(status.st_mode)) {
        return;
    }
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    const FileDescriptor pipe(open(path, O_WRONLY | O_NONBLOCK));
    if (!pipe.isOpen() || dup2(pipe.get(), fd) == -1) {
        fcntl(fd, F_SETFL, O_NONBLOCK);
    }
}

// Keeps the panel alive when a pipe's reader no longer reads its messages. A standard descriptor
// that is closed at start is taken by /dev/null, or the framebuffer would become standard
// output. A line is written by one call, so that a full pipe loses it whole.
void prepareStandardStreams() {
    static char line[PIPE_BUF];
    std::setvbuf(stdout, line, _IOLBF, sizeof line);
    std::signal(SIGPIPE, SIG_IGN);
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1) {
            open("/dev/null", O_RDWR);
        }
    }
    stopWaitingForReader(STDOUT_FILENO);
    stopWaitingForReader(STDERR_FILENO);
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
