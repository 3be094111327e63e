// The hand inside the virtual gateway: it stands for the person at the button and for the other
// processes of the gateway, and lets the harness outside look at the panel.
//
// One request at a time comes over a virtio port: a line "<verb> <length>\n" and that many bytes;
// the answer is "<status> <length>\n" and that many bytes, status 0 for success. The button is a
// uinput device, made before the daemon starts so that it is event0. Nothing is printed but
// failures at start.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <linux/uinput.h>
#include <map>
#include <string>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* portPath = "/dev/vport0p3";
constexpr key_t queueKey = 80;
constexpr std::size_t maxMessageText = 256; // more than the daemon takes, to send it too much

struct Reply {
    int status = 0;
    std::string text;
};

Reply failure(const char* what) {
    return {1, std::string(what) + ": " + strerrordesc_np(errno)};
}

int buttonDevice = -1;

bool emit(std::uint16_t type, std::uint16_t code, int value) {
    input_event event = {};
    event.type = type;
    event.code = code;
    event.value = value;
    return write(buttonDevice, &event, sizeof event) == sizeof event;
}

bool createButton() {
    buttonDevice = open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    if (buttonDevice < 0) {
        return false;
    }
    uinput_setup setup = {};
    setup.id.bustype = BUS_HOST;
    std::snprintf(setup.name, sizeof setup.name, "front panel button");
    return ioctl(buttonDevice, UI_SET_EVBIT, EV_KEY) == 0 &&
           ioctl(buttonDevice, UI_SET_KEYBIT, BTN_0) == 0 &&
           ioctl(buttonDevice, UI_SET_KEYBIT, BTN_1) == 0 &&
           ioctl(buttonDevice, UI_DEV_SETUP, &setup) == 0 &&
           ioctl(buttonDevice, UI_DEV_CREATE) == 0;
}

// "<code> <value>": one key event and its synchronisation event.
Reply key(const std::string& request) {
    int code = 0;
    int value = 0;
    // NOLINTNEXTLINE(cert-err34-c): the harness writes numbers that an int holds
    if (std::sscanf(request.c_str(), "%d %d", &code, &value) != 2) {
        return {1, "key wants a code and a value"};
    }
    const bool sent =
        emit(EV_KEY, static_cast<std::uint16_t>(code), value) && emit(EV_SYN, SYN_REPORT, 0);
    return sent ? Reply{} : failure("button");
}

// "<type> <bytes>": one message on the daemon's queue, which is made when it is not there yet.
Reply post(const std::string& request) {
    struct {
        long type;
        char text[maxMessageText];
    } message = {};
    const std::size_t blank = request.find(' ');
    const std::string text = request.substr(std::min(blank, request.size() - 1) + 1);
    if (blank == std::string::npos || text.size() > sizeof message.text) {
        return {1, "post wants a type and at most 256 bytes"};
    }
    message.type = std::strtol(request.c_str(), nullptr, 10);
    text.copy(message.text, text.size());
    const int queue = msgget(queueKey, IPC_CREAT | 0666);
    if (queue < 0 || msgsnd(queue, &message, text.size(), IPC_NOWAIT) != 0) {
        return failure("message queue");
    }
    return {};
}

Reply readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return failure(path.c_str());
    }
    return {0, std::string(std::istreambuf_iterator<char>(file), {})};
}

// The wall clock and the time since the start; sets the wall clock first when a moment is given.
Reply clocks(const std::string& request) {
    const double moment = std::strtod(request.c_str(), nullptr);
    const auto second = static_cast<time_t>(moment);
    timespec wall = {second, static_cast<long>((moment - static_cast<double>(second)) * 1e9)};
    if (!request.empty() && clock_settime(CLOCK_REALTIME, &wall) != 0) {
        return failure("clock");
    }
    timespec sinceStart = {};
    clock_gettime(CLOCK_REALTIME, &wall);
    clock_gettime(CLOCK_MONOTONIC, &sinceStart);
    char text[64];
    std::snprintf(text, sizeof text, "%lld.%09ld %lld.%09ld", static_cast<long long>(wall.tv_sec),
                  wall.tv_nsec, static_cast<long long>(sinceStart.tv_sec), sinceStart.tv_nsec);
    return {0, text};
}

// Runs a shell script; the answer is all that it printed, the status its exit status.
Reply shell(const std::string& script) {
    FILE* output = popen(("exec 2>&1\n" + script).c_str(), "r");
    if (output == nullptr) {
        return failure("shell");
    }
    Reply reply;
    char chunk[4096];
    for (std::size_t got = 0; (got = fread(chunk, 1, sizeof chunk, output)) > 0;) {
        reply.text.append(chunk, got);
    }
    const int status = pclose(output);
    reply.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return reply;
}

const std::map<std::string, Reply (*)(const std::string& request)> verbs = {
    {"key", key}, {"post", post}, {"read", readFile}, {"clock", clocks}, {"sh", shell},
};

// Reads one byte; waits while the port has no partner outside, which reads as an end of file.
char nextByte(int port) {
    char byte = 0;
    while (read(port, &byte, 1) != 1) {
        usleep(10'000);
    }
    return byte;
}

void writeAll(int port, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t sent = write(port, bytes.data() + done, bytes.size() - done);
        if (sent <= 0) {
            return;
        }
        done += static_cast<std::size_t>(sent);
    }
}

void serveOne(int port) {
    std::string line;
    for (char byte = nextByte(port); byte != '\n'; byte = nextByte(port)) {
        line += byte;
    }
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) {
        return;
    }
    std::string request(std::strtoul(line.c_str() + blank, nullptr, 10), '\0');
    for (char& byte : request) {
        byte = nextByte(port);
    }
    const auto verb = verbs.find(line.substr(0, blank));
    const Reply reply = verb == verbs.end() ? Reply{1, "unknown verb"} : verb->second(request);
    writeAll(port, std::to_string(reply.status) + " " + std::to_string(reply.text.size()) + "\n" +
                       reply.text);
}

} // namespace

int main() {
    if (!createButton()) {
        std::perror("agent: button");
        return 1;
    }
    const int port = open(portPath, O_RDWR | O_CLOEXEC);
    if (port < 0) {
        std::perror(portPath);
        return 1;
    }
    for (;;) {
        serveOne(port);
    }
}
