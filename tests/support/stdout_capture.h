#pragma once

// What a piece of a test prints on standard output, byte for byte. Lines of the test framework
// must not be printed meanwhile, so nothing is asserted inside. One thread prints at a time.

#include <gtest/gtest.h>

#include <string>
#include <utility>

// Standard output is kept back from construction to destruction.
struct StdoutCapture {
    StdoutCapture() { testing::internal::CaptureStdout(); }
    ~StdoutCapture() { testing::internal::GetCapturedStdout(); }
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;
};

// Runs `action` and returns what it printed.
template <class Action>
std::string outputOf(Action&& action) {
    testing::internal::CaptureStdout();
    std::forward<Action>(action)();
    return testing::internal::GetCapturedStdout();
}
