// Starts a program as a careless service manager would: with its standard descriptors closed
// ("closed"), with its standard output on a pipe without a reader ("deaf"), or on one of a page
// whose reader sleeps ("stalled"; both ends stay open). PANELD_LAUNCH names the condition,
// PANELD_PROGRAM the program.

#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

int main() {
    const std::string_view condition = std::getenv("PANELD_LAUNCH");
    const char* program = std::getenv("PANELD_PROGRAM");
    if (condition == "closed") {
        for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
            close(fd);
        }
    }
    if (condition == "deaf" || condition == "stalled") {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
            return EXIT_FAILURE;
        }
        if (condition == "stalled") {
            fcntl(ends[0], F_SETPIPE_SZ, 1);
            return execl(program, program, nullptr);
        }
        close(ends[0]);
        close(ends[1]);
    }
    execl(program, program, nullptr);
    return EXIT_FAILURE;
}
