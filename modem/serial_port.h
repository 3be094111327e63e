#pragma once

// The serial multiplexer channel on which the cellular modem listens.
//
// The port is opened for one dialogue and closed again; nothing is kept between
// calls. Main thread only. Prints nothing.

#include <termios.h>

// The channel of the serial multiplexer driver that carries AT commands.
inline constexpr const char* modemPortPath = "/dev/mux3";

// One row pairs a rate in bits per second with its termios speed code.
struct SupportedSpeed {
    int bitsPerSecond;
    speed_t code;
};

// The rates a modem port may be set to, slowest first.
inline constexpr SupportedSpeed supportedSpeeds[] = {
    {0, B0},         {9600, B9600},     {19200, B19200},   {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800},
};

// Opens `path` at 115200 bits per second, 8N1, no flow control, raw.
// Returns the descriptor (blocking), or -1 when the device cannot be opened.
int openModemPort(const char* path);

// Sets line discipline and speed of an open port; `speed` is a termios code (B115200).
// Clears all file status flags. Returns the result of the last tcsetattr.
int setPortSpeed(int fd, speed_t speed);

// Returns the result of close.
int closeModemPort(int fd);
