#pragma once

// What a piece of a test prints on standard output, byte for byte. Lines of the test framework
// must not be printed meanwhile, so nothing is asserted inside. One thread prints at a time.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

// Standard output goes to memory from construction to destruction.
class StdoutCapture {
  public:
    StdoutCapture() {
        std::fflush(stdout);
        if (dup2(memory_, STDOUT_FILENO) < 0) {
            std::perror("capture of standard output");
            std::abort();
        }
    }
    ~StdoutCapture() {
        std::fflush(stdout);
        dup2(original_, STDOUT_FILENO);
        close(original_);
        close(memory_);
    }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    std::string text() const {
        std::fflush(stdout);
        std::string text(static_cast<std::size_t>(lseek(memory_, 0, SEEK_END)), '\0');
        text.resize(static_cast<std::size_t>(pread(memory_, text.data(), text.size(), 0)));
        return text;
    }

  private:
    const int original_ = dup(STDOUT_FILENO);
    const int memory_ = memfd_create("stdout", MFD_CLOEXEC);
};

// Runs `action` and returns what it printed.
template <class Action>
std::string outputOf(Action&& action) {
    const StdoutCapture capture;
    std::forward<Action>(action)();
    return capture.text();
}
