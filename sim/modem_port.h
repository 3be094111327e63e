#pragma once

// The modem's serial port inside the interposed process: a pty whose far side is worked by a
// `Modem`. The daemon has the slave side, so line settings are real. Bytes arrive only when the
// process waits for them, drains or flushes, which is when a real port's arrivals can be told
// apart. One thread at a time uses the port.

#include "sim/control.h"

#include <cstddef>
#include <ctime>
#include <string_view>
#include <sys/select.h>

namespace sim {

class ModemPort {
  public:
    // Opens the port with these flags; -1 with errno when its device node is missing. A second
    // descriptor of an open port shares its line.
    int open(ControlBlock& block, const char* node, int flags);

    // To be called after the last descriptor has been closed: the line goes down.
    void closed();

    // A write of so many bytes has gone into the slave side.
    void wrote(std::size_t count) { writtenBytes_ += count; }

    // Lets the modem hear everything written, and what it has said by now arrive.
    void exchange(ControlBlock& block, int descriptor);

    // Waits for input on the descriptor until the deadline on the monotonic clock; true when a
    // read would not block.
    bool waitReadable(ControlBlock& block, int descriptor, Nanoseconds deadline);

  private:
    bool makeLine();
    void hearWrites(ControlBlock& block);
    void deliver(int descriptor, const ModemChunk& chunk);

    Modem modem_;
    int master_ = -1;
    std::size_t writtenBytes_ = 0;
    std::size_t heardBytes_ = 0;
};

} // namespace sim
