#pragma once

// AT command transactions on an open modem port.
//
// Two patterns: a command that is answered by an expected marker, and a command
// whose answer carries a number. Every wait is a select with a short time-out
// and a fixed poll count, so that a silent or chattering modem costs a bounded
// time. Each received chunk is examined by itself, never joined to the one
// before. Main thread only. Prints nothing.

#include <cstddef>

// Room for one received chunk and its terminating NUL.
inline constexpr std::size_t replyBufferSize = 512;

// What a value query gives when no usable answer came.
inline constexpr int noAnswer = -1;

// Writes `command`, waits until it has left the port and discards whatever is queued
// in either direction: an answer that arrived before this point belongs to nobody.
// Writes nothing once the dialogue's limit is reached, and no transaction waits then.
void writeCommand(int fd, const char* command);

// Writes `command` and waits for a chunk that contains `markerA` or `markerB`
// (each may be null). Polls 50 times for `pollWaitMicroseconds` each.
// Returns 1 when a marker came; 0 on "ERROR", a failed read or silence.
int sendAtCommand(int fd, const char* command, const char* markerA, const char* markerB,
                  int pollWaitMicroseconds);

// Asks whether the SIM answers (AT+CPIN?); 1 or 0. Any "OK" counts, that of
// a SIM waiting for its PIN included.
int checkSimReady(int fd);

// Asks whether the modem is registered at home or roaming (AT+CREG?); 1 or 0.
int checkRegistered(int fd);

// Value queries poll 10 times for 10 ms. A field is cut to 7 characters; a chunk with the
// answer's name whose field does not match gives 0.

// Signal strength of AT+CSQ, the number behind the chunk's first colon: 0 to 31, 99 when the
// modem cannot measure it; or noAnswer.
int querySignalQuality(int fd);

// Current system mode of AT+CNSMOD? (SIMCOM modules), its second number, as the modem reports
// it; or noAnswer.
int queryNetworkMode(int fd);

// System mode of AT^SYSINFO (AirM2M modules), the chunk's fourth field, in the numbering of
// queryNetworkMode: 1 GSM, 4 WCDMA, 8 LTE, 9 TD-SCDMA; noAnswer for any other mode or none.
int querySysInfoMode(int fd);
