// The floor of what the daemon can cost: the same wake-ups, threads and libraries, and no work.
// Maps the framebuffer, writes one byte, polls an input device and reads the clock every 50 ms on
// the main thread, and asks the message queue every 500 ms on a second one.

#include "app/key_input.h"

#include <ctime>
#include <fcntl.h>
#include <libxml/parser.h>
#include <linux/input.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr useconds_t pollPeriod = 50000;
constexpr useconds_t receivePeriod = 500000;
constexpr std::size_t videoBytes = 1024;

void receive() {
    const int queue = msgget(80, IPC_CREAT | 0666);
    for (;;) {
        struct {
            long type;
            char text[68];
        } message{};
        msgrcv(queue, &message, sizeof message.text, 0, IPC_NOWAIT);
        usleep(receivePeriod);
    }
}

} // namespace

int main() {
    std::thread(receive).detach();
    const int framebuffer = open("/dev/fb0", O_RDWR);
    void* memory = mmap(nullptr, videoBytes, PROT_READ | PROT_WRITE, MAP_SHARED, framebuffer, 0);
    if (memory != MAP_FAILED) {
        *static_cast<volatile unsigned char*>(memory) = 0xFF;
    }
    // The library is there, as it is in the daemon, and has read one file.
    xmlFreeDoc(xmlReadFile("/zelkora/Config/sys.xml", "UTF-8", XML_PARSE_NOBLANKS));
    const int button = open(buttonPath, O_RDWR | O_NONBLOCK);
    for (;;) {
        input_event event{};
        timespec now{};
        [[maybe_unused]] const ssize_t count = read(button, &event, sizeof event);
        clock_gettime(CLOCK_MONOTONIC, &now);
        usleep(pollPeriod);
    }
}
