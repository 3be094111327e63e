#include "tests/tools/tool_process.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

std::string contents(int fd) {
    std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
    text.resize(
        static_cast<std::size_t>(std::max<ssize_t>(0, pread(fd, text.data(), text.size(), 0))));
    return text;
}

[[noreturn]] void become(const sim::Gateway& gateway, const std::vector<std::string>& arguments,
                         int output, int errors) {
    std::vector<char*> words{const_cast<char*>(PANELD_PANELCTL)};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    const char* sanitizer = std::getenv("ASAN_OPTIONS");
    const std::string options = sanitizer == nullptr ? "" : std::string(sanitizer) + ":";
    setenv("ASAN_OPTIONS", (options + "verify_asan_link_order=0").c_str(), 1);
    setenv("LD_PRELOAD", PANELD_INTERPOSER, 1);
    setenv(sim::gatewayVariable, gateway.folder().c_str(), 1);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execv(PANELD_PANELCTL, words.data());
    _exit(127);
}

} // namespace

ToolProcess::ToolProcess(sim::Gateway& gateway, const std::vector<std::string>& arguments)
    : output_(memfd_create("output", MFD_CLOEXEC)), errors_(memfd_create("errors", MFD_CLOEXEC)) {
    gateway.setClockMode(sim::ClockMode::Real);
    child_ = fork();
    if (child_ == 0) {
        become(gateway, arguments, output_, errors_);
    }
    if (child_ == -1) {
        throw std::runtime_error("fork");
    }
}

ToolProcess::~ToolProcess() {
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    close(output_);
    close(errors_);
}

void ToolProcess::waitForLines(std::size_t count) const {
    std::string text;
    while (std::count(text.begin(), text.end(), '\n') < static_cast<std::ptrdiff_t>(count)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        text = contents(output_);
    }
}

void ToolProcess::signal(int number) const {
    kill(child_, number);
}

Outcome ToolProcess::finish() {
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(output_), contents(errors_)};
}

Outcome panelctl(sim::Gateway& gateway, const std::vector<std::string>& arguments) {
    return ToolProcess(gateway, arguments).finish();
}
