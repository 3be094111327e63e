#include "sim/terminal_shell.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

namespace sim {
namespace {

constexpr int cannotStart = 127;
constexpr auto pollPeriod = std::chrono::milliseconds(50);

volatile std::sig_atomic_t endedBy = 0;

void noteEnd(int number) {
    endedBy = number;
}

[[noreturn]] void becomeShell(const Gateway& gateway, const std::string& build) {
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP})
        signal(number, SIG_DFL);
    execl(PANELD_SHELL, PANELD_SHELL, gateway.folder().c_str(), build.c_str(),
          static_cast<char*>(nullptr));
    std::perror(PANELD_SHELL);
    _exit(cannotStart);
}

} // namespace

int runShell(const Programs& programs, Panel panel) {
    // The keys that interrupt go to what runs in the shell; what ends this ends the shell first.
    signal(SIGINT, SIG_IGN);
    signal(SIGQUIT, SIG_IGN);
    signal(SIGTERM, noteEnd);
    signal(SIGHUP, noteEnd);
    Desk desk(programs, panel);
    const pid_t child = fork();
    if (child == 0)
        becomeShell(desk.gateway(), std::filesystem::path(programs.interposer).parent_path());
    if (child < 0) {
        std::perror("fork");
        return 1;
    }
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (endedBy != 0) {
            kill(child, SIGHUP); // an interactive shell ignores SIGTERM
            waitpid(child, &status, 0);
            return 128 + endedBy;
        }
        desk.poll();
        std::this_thread::sleep_for(pollPeriod);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace sim
