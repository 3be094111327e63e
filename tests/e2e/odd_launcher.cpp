// Starts a program as a careless service manager would: with its standard descriptors closed
// ("closed"), or with nobody reading its standard output ("deaf"). PANELD_LAUNCH names the
// condition, PANELD_PROGRAM the program.

#include <cstdlib>
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
    if (condition == "deaf") {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
            return EXIT_FAILURE;
        }
        close(ends[0]);
        close(ends[1]);
    }
    execl(program, program, nullptr);
    return EXIT_FAILURE;
}
