#pragma once

// Recording of what passes over the modem port.
//
// The daemon's modem library calls write, read and tcflush as ever; in this program alone the
// linker leads these calls (--wrap) through the recorder, which passes them on unchanged. The
// port itself, its settings and its timing are therefore those of the daemon. One thread.

#include <chrono>
#include <string>
#include <vector>

namespace ctl {

struct PortEvent {
    enum Kind { sent, received, discarded };
    Kind kind;
    std::chrono::microseconds at; // since recording began
    std::string bytes;            // of discarded: what the flush threw away, by its size only
    std::size_t count;            // bytes
};

// Begins to record what is done with the descriptor, from time 0.
void startRecording(int fd);

// Ends it and hands out what was recorded, oldest first.
std::vector<PortEvent> stopRecording();

} // namespace ctl
