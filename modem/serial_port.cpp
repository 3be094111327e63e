#include "modem/serial_port.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int modemBitsPerSecond = 115200;

speed_t speedCode(int bitsPerSecond) {
    for (const SupportedSpeed& speed : supportedSpeeds) {
        if (speed.bitsPerSecond == bitsPerSecond) {
            return speed.code;
        }
    }
    return B0;
}

// Raw 8N1 without any flow control. VMIN and VTIME stay as the driver has
// them: every read follows a select that reported data.
void makeRaw(termios& settings, speed_t speed) {
    settings.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;
    // Newer C libraries keep a speed of its own for the input.
    cfsetispeed(&settings, speed);
    cfsetospeed(&settings, speed);
    settings.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
    settings.c_iflag = IGNBRK;
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST | OLCUC | OCRNL | ONOCR | ONLRET);
}

} // namespace

int openModemPort(const char* path) {
    const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd == -1) {
        return -1;
    }
    setPortSpeed(fd, speedCode(modemBitsPerSecond));
    return fd;
}

int setPortSpeed(int fd, speed_t speed) {
    fcntl(fd, F_SETFL, 0);
    termios settings{};
    tcgetattr(fd, &settings);
    makeRaw(settings, speed);
    tcsetattr(fd, TCSANOW, &settings);

    // Speed B0 lowers the modem control lines for a moment.
    cfsetospeed(&settings, B0);
    tcsetattr(fd, TCSANOW, &settings);
    cfsetospeed(&settings, speed);
    return tcsetattr(fd, TCSANOW, &settings);
}

int closeModemPort(int fd) {
    return close(fd);
}
