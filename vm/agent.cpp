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
#include <linux/uinput.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr key_t queueKey = 80;
constexpr std::size_t maxMessageText = 256; // more than the daemon takes, to send it too much

struct Reply {
    int status = 0;
    std::string text;
};

Reply failure(const char* what) {
    return {1, std::string(what) + ": " + std::strerror(errno)};
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
    if (buttonDevice < 0)
        return false;
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
    if (std::sscanf(request.c_str(), "%d %d", &code, &value) != 2)
        return {1, "key wants a code and a value"};
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
    if (blank == std::string::npos || text.size() > sizeof message.text)
        return {1, "post wants a type and at most 256 bytes"};
    message.type = std::strtol(request.c_str(), nullptr, 10);
    text.copy(message.text, text.size());
    const int queue = msgget(queueKey, IPC_CREAT | 0666);
    if (queue < 0 || msgsnd(queue, &message, text.size(), IPC_NOWAIT) != 0)
        return failure("message queue");
    return {};
}

Reply readFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY);
    if (file < 0)
        return failure(path.c_str());
    Reply reply;
    char chunk[4096];
    for (ssize_t got = 0; (got = read(file, chunk, sizeof chunk)) > 0;)
        reply.text.append(chunk, static_cast<std::size_t>(got));
    close(file);
    return reply;
}

// The wall clock and the time since the start; sets the wall clock first when a moment is given.
Reply clocks(const std::string& request) {
    const double moment = std::strtod(request.c_str(), nullptr);
    const auto second = static_cast<time_t>(moment);
    timespec wall = {second, static_cast<long>((moment - static_cast<double>(second)) * 1e9)};
    if (!request.empty() && clock_settime(CLOCK_REALTIME, &wall) != 0)
        return failure("clock");
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
    int output[2];
    if (pipe(output) != 0)
        return failure("pipe");
    const pid_t child = fork();
    if (child == 0) {
        dup2(output[1], STDOUT_FILENO);
        dup2(output[1], STDERR_FILENO);
        close(output[0]);
        close(output[1]);
        execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
        _exit(127);
    }
    close(output[1]);
    Reply reply;
    char chunk[4096];
    for (ssize_t got = 0; (got = read(output[0], chunk, sizeof chunk)) > 0;)
        reply.text.append(chunk, static_cast<std::size_t>(got));
    close(output[0]);
    int status = 0;
    waitpid(child, &status, 0);
    reply.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return reply;
}

struct Verb {
    const char* name;
    Reply (*run)(const std::string& request);
};

constexpr Verb verbs[] = {
    {"key", key}, {"post", post}, {"read", readFile}, {"clock", clocks}, {"sh", shell},
};

Reply answer(const std::string& verb, const std::string& request) {
    for (const Verb& known : verbs)
        if (verb == known.name)
            return known.run(request);
    return {1, "unknown verb " + verb};
}

// Reads one byte; waits while the port has no partner outside, which reads as an end of file.
char nextByte(int port) {
    char byte = 0;
    while (read(port, &byte, 1) != 1)
        usleep(10'000);
    return byte;
}

void writeAll(int port, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t sent = write(port, bytes.data() + done, bytes.size() - done);
        if (sent <= 0)
            return;
        done += static_cast<std::size_t>(sent);
    }
}

void serveOne(int port) {
    std::string line;
    for (char byte = nextByte(port); byte != '\n'; byte = nextByte(port))
        line += byte;
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos)
        return;
    std::string request(std::strtoul(line.c_str() + blank, nullptr, 10), '\0');
    for (char& byte : request)
        byte = nextByte(port);
    const Reply reply = answer(line.substr(0, blank), request);
    writeAll(port, std::to_string(reply.status) + " " + std::to_string(reply.text.size()) + "\n" +
                       reply.text);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: agent PORT\n");
        return 2;
    }
    if (!createButton()) {
        std::perror("agent: button");
        return 1;
    }
    const int port = open(arguments[1], O_RDWR | O_CLOEXEC);
    if (port < 0) {
        std::perror(arguments[1]);
        return 1;
    }
    for (;;)
        serveOne(port);
}
