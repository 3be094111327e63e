// A stand-in for the daemon in tests of the harness: sleeps like its page loop, with a second
// thread like its log receiver, and misbehaves as the environment variable PROBE says.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <unistd.h>

namespace {

constexpr int passesBeforeTrouble = 10;

void troubleAt(int pass, const char* behaviour) {
    if (pass < passesBeforeTrouble) {
        return;
    }
    if (std::strcmp(behaviour, "crash") == 0) {
        std::raise(SIGKILL);
    }
    if (std::strcmp(behaviour, "end") == 0) {
        std::exit(3);
    }
    while (std::strcmp(behaviour, "hang") == 0) {
        pause();
    }
}

} // namespace

int main() {
    const char* behaviour = std::getenv("PROBE");
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::atexit([] { std::fputs("goodbye", stdout); });
    std::fputs("hello", stdout);
    std::thread([] {
        for (;;) {
            usleep(500'000);
        }
    }).detach();
    for (int pass = 0;; ++pass) {
        troubleAt(pass, behaviour == nullptr ? "" : behaviour);
        usleep(50'000);
    }
}
