#pragma once

// The limit of a modem dialogue. A write to a stopped line, or the wait for its output, blocks for
// ever: behind the limit a signal interrupts whatever blocks, again and again, until the dialogue
// has ended and its port is closed.
//
// One limit at a time, on the main thread, to which the kernel gives the signal first; a tick that
// another thread takes is made up for by the next. Prints nothing.

class DialogueLimit {
  public:
    // Longer than any dialogue whose line moves.
    static constexpr int usualSeconds = 10;

    explicit DialogueLimit(int seconds);
    ~DialogueLimit();
    DialogueLimit(const DialogueLimit&) = delete;
    DialogueLimit& operator=(const DialogueLimit&) = delete;

    // Whether the present limit was reached: what is left of the dialogue is not worth a call.
    static bool isReached();
};
