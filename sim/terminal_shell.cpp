#include "sim/terminal_shell.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace sim {
namespace {

constexpr int cannotStart = 127;
constexpr auto pollPeriod = std::chrono::milliseconds(50);

[[noreturn]] void becomeShell(const Gateway& gateway, const std::string& interposer) {
    setenv(gatewayVariable, gateway.folder().c_str(), 1);
    setenv("LD_PRELOAD", interposer.c_str(), 1);
    const char* shell = std::getenv("SHELL");
    if (shell == nullptr || *shell == '\0')
        shell = "/bin/bash";
    signal(SIGINT, SIG_DFL);
    signal(SIGQUIT, SIG_DFL);
    execlp(shell, shell, static_cast<char*>(nullptr));
    std::perror(shell);
    _exit(cannotStart);
}

} // namespace

int runShell(const Programs& programs, Panel panel) {
    Desk desk(programs, panel);
    std::printf("A shell on a simulated gateway in %s; paneld runs on it, exit ends both.\n",
                desk.gateway().folder().c_str());
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0)
        becomeShell(desk.gateway(), programs.interposer);
    if (child < 0) {
        std::perror("fork");
        return 1;
    }
    // The keys that interrupt go to what runs in the shell.
    signal(SIGINT, SIG_IGN);
    signal(SIGQUIT, SIG_IGN);
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        desk.poll();
        std::this_thread::sleep_for(pollPeriod);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace sim
