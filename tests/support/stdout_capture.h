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
        original_ = dup(STDOUT_FILENO);
        memory_ = memfd_create("stdout", MFD_CLOEXEC);
        if (original_ < 0 || memory_ < 0 || dup2(memory_, STDOUT_FILENO) < 0) {
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

    // What has been printed since construction or the last `take`.
    std::string take() {
        std::fflush(stdout);
        std::string text;
        char piece[4096];
        while (true) {
            const ssize_t count = pread(memory_, piece, sizeof piece, taken_);
            if (count <= 0) {
                return text;
            }
            text.append(piece, static_cast<std::size_t>(count));
            taken_ += count;
        }
    }

  private:
    int original_ = -1;
    int memory_ = -1;
    off_t taken_ = 0;
};

// Runs `action` and returns what it printed.
template <class Action>
std::string outputOf(Action&& action) {
    StdoutCapture capture;
    std::forward<Action>(action)();
    return capture.take();
}
