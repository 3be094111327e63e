#pragma once

// The modem status query: SIM, registration, signal strength and network type.
//
// Two dialogues exist. Kind 2 asks one thing at a time and finds out the
// modem's maker; kind 1 sends three commands at once and divides the combined
// answer. A query blocks its caller for up to about 4.5 s (kind 2) or 3.5 s
// (kind 1), and on a line that takes no output until the dialogue's limit.
// Main thread only. Prints nothing.

#include <cstdint>

// What one query found out; all 0 when nothing could be asked. A silent modem leaves marks of its
// own: csq -1 (kind 2), one bar and network type 2 (kind 1).
struct ModemStatus {
    std::uint8_t simReady;    // 1 when the SIM check succeeded
    std::uint8_t registered;  // 1 when registered at home or roaming
    std::int32_t csq;         // first number of +CSQ: 0..31, 99 not measurable, -1 unusable
    std::int32_t signalLevel; // bars, 0..4
    std::int32_t networkType; // network code of queryNetworkMode; kind 1 always 2
};

// Which dialogue the fitted modem understands; derived from the model text.
enum ModelKind : std::uint8_t {
    modelUnknown = 0,  // no model read yet: nothing is asked
    modelCombined = 1, // three commands at once
    modelStepwise = 2, // one command at a time
};

// Fills SIM, registration and signal of `status` from a combined answer; does nothing
// when either is null. Without a "+CSQ:" the signal reads 0 with one bar.
void parseCombinedReply(const char* text, ModemStatus* status);

// Runs the dialogue of `kind` on an open port and stores what it finds in `status`,
// which the caller has cleared. An unknown kind sends nothing.
void queryModemStatus(std::uint8_t kind, int fd, ModemStatus* status);
