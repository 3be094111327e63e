// Stands before the libc calls with which the daemon reaches its gateway. The same object is linked
// into test programs, where it also catches what libxml2 and zlib call, and preloaded into the
// unmodified daemon as panel_gateway.so. What sim/places.h lists never leads to the real machine:
// without an attached gateway it does not exist. Built without sanitizers, without fortified
// headers and without a file offset macro, so that each definition below keeps the name it is
// written with. It allocates nothing.

#include "sim/binding.h"
#include "sim/modem_port.h"
#include "sim/next_call.h"
#include "sim/places.h"
#include "sim/virtual_clock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <iterator>
#include <linux/fb.h>
#include <mutex>
#include <netinet/in.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/vfs.h>
#include <termios.h>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

namespace sim {

namespace {

constinit NextCall<int(const char*, int, ...)> nextOpen{"open"};
constinit NextCall<int(const char*, int, ...)> nextOpen64{"open64"};
constinit NextCall<int(int, const char*, int, ...)> nextOpenat{"openat"};
constinit NextCall<int(int, const char*, int, ...)> nextOpenat64{"openat64"};
constinit NextCall<DIR*(const char*)> nextOpendir{"opendir"};
constinit NextCall<int(int)> nextClose{"close"};
constinit NextCall<ssize_t(int, const void*, std::size_t)> nextWrite{"write"};
constinit NextCall<int(int, unsigned long, ...)> nextIoctl{"ioctl"};
constinit NextCall<void*(void*, std::size_t, int, int, int, off_t)> nextMmap{"mmap"};
constinit NextCall<void*(void*, std::size_t, int, int, int, off64_t)> nextMmap64{"mmap64"};
constinit NextCall<int(const char*, struct stat*)> nextStat{"stat"};
constinit NextCall<int(const char*, struct stat64*)> nextStat64{"stat64"};
constinit NextCall<int(const char*, struct stat*)> nextLstat{"lstat"};
constinit NextCall<int(const char*, struct stat64*)> nextLstat64{"lstat64"};
constinit NextCall<int(int, const char*, struct stat*, int)> nextFstatat{"fstatat"};
constinit NextCall<int(int, const char*, struct stat64*, int)> nextFstatat64{"fstatat64"};
constinit NextCall<int(int, const char*, int, unsigned, struct statx*)> nextStatx{"statx"};
constinit NextCall<int(const char*, int)> nextAccess{"access"};
constinit NextCall<int(const char*, int)> nextEuidaccess{"euidaccess"};
constinit NextCall<int(int, const char*, int, int)> nextFaccessat{"faccessat"};
constinit NextCall<FILE*(const char*, const char*)> nextFopen{"fopen"};
constinit NextCall<FILE*(const char*, const char*)> nextFopen64{"fopen64"};
constinit NextCall<FILE*(const char*, const char*, FILE*)> nextFreopen{"freopen"};
constinit NextCall<FILE*(const char*, const char*, FILE*)> nextFreopen64{"freopen64"};
constinit NextCall<int(const char*, struct statfs*)> nextStatfs{"statfs"};
constinit NextCall<int(const char*, struct statfs64*)> nextStatfs64{"statfs64"};
constinit NextCall<int(const char*, struct statvfs*)> nextStatvfs{"statvfs"};
constinit NextCall<int(const char*, struct statvfs64*)> nextStatvfs64{"statvfs64"};
constinit NextCall<int(key_t, int)> nextMsgget{"msgget"};
constinit NextCall<ssize_t(int, void*, std::size_t, long, int)> nextMsgrcv{"msgrcv"};
constinit NextCall<FILE*(const char*, const char*)> nextPopen{"popen"};
constinit NextCall<int(FILE*)> nextPclose{"pclose"};
constinit NextCall<int(clockid_t, timespec*)> nextClockGettime{"clock_gettime"};
constinit NextCall<int(timeval*, void*)> nextGettimeofday{"gettimeofday"};
constinit NextCall<void()> nextTzset{"tzset"};
constinit NextCall<int(useconds_t)> nextUsleep{"usleep"};
constinit NextCall<int(const timespec*, timespec*)> nextNanosleep{"nanosleep"};
constinit NextCall<int(int, fd_set*, fd_set*, fd_set*, timeval*)> nextSelect{"select"};
constinit NextCall<int(int, termios*)> nextTcgetattr{"tcgetattr"};
constinit NextCall<int(int, int, const termios*)> nextTcsetattr{"tcsetattr"};
constinit NextCall<int(int)> nextTcdrain{"tcdrain"};
constinit NextCall<int(int, int)> nextTcflush{"tcflush"};

constexpr key_t daemonQueueKey = 80;
constexpr unsigned long maxBrightness = 255; // of both controllers' drivers
constexpr Nanoseconds nanosecondsPerMicrosecond = 1000;
constexpr Nanoseconds microsecondsPerSecond = 1'000'000;

// --- Binding ---

constinit std::atomic<ControlBlock*> attached{nullptr};
constinit std::atomic<bool> bindingDecided{false};
constinit std::atomic<bool> constructorsRun{false};

void complain(const char* what, const char* detail) {
    std::array<char, 512> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "simulated gateway: %s: %s\n", what, detail);
    nextWrite(STDERR_FILENO, text.data(),
              std::min(static_cast<std::size_t>(length), text.size() - 1));
}

ControlBlock* mapControlBlock(const char* sandbox) {
    std::array<char, 512> file{};
    std::snprintf(file.data(), file.size(), "%s/%s", sandbox, controlFileName);
    const int descriptor = nextOpen(file.data(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) {
        complain("no control block", file.data());
        return nullptr;
    }
    void* memory =
        nextMmap(nullptr, sizeof(ControlBlock), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    nextClose(descriptor);
    if (memory == MAP_FAILED) {
        complain("control block not mapped", file.data());
        return nullptr;
    }
    auto* block = static_cast<ControlBlock*>(memory);
    if (block->magic != controlMagic || block->size != sizeof(ControlBlock)) {
        complain("control block of another build", file.data());
        return nullptr;
    }
    return block;
}

// The environment can be read late: calls that come before libc is ready find it empty, so only
// what a constructor has found is final.
void bindFromEnvironment() {
    const char* sandbox = std::getenv(gatewayVariable);
    if (sandbox != nullptr) {
        attached = mapControlBlock(sandbox);
    }
    bindingDecided = sandbox != nullptr || constructorsRun;
}

__attribute__((constructor)) void bindAtLoad() {
    constructorsRun = true;
    if (!bindingDecided) {
        bindFromEnvironment();
    }
}

// --- Places ---

constexpr std::size_t pathSize = 1024;

// Takes one name off the end of a path; the root stays.
std::size_t parentLength(const char* text, std::size_t length) {
    while (length > 0 && text[--length] != '/') {
    }
    return length;
}

// Writes `path` without doubled slashes and without names that are one or two dots, so that no
// other way of writing a path leads past the table. Relative to the working folder. False when it
// does not fit, which no path of the table does.
bool writePlainly(const char* path, std::array<char, pathSize>& plain) {
    std::array<char, 2 * pathSize> whole{};
    std::size_t start = 0;
    if (*path != '/' && syscall(SYS_getcwd, whole.data(), pathSize) > 0) {
        start = std::strlen(whole.data());
    }
    const int added = std::snprintf(whole.data() + start, whole.size() - start, "/%s", path);
    if (static_cast<std::size_t>(added) >= whole.size() - start) {
        return false;
    }
    std::size_t length = 0;
    std::string_view rest(whole.data());
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('/', 1), rest.size());
        const std::string_view name = rest.substr(1, end - 1);
        rest.remove_prefix(end);
        if (name == "..") {
            length = parentLength(plain.data(), length);
        } else if (!name.empty() && name != ".") {
            if (length + 1 + name.size() >= plain.size()) {
                return false;
            }
            plain[length] = '/';
            name.copy(plain.data() + length + 1, name.size());
            length += 1 + name.size();
        }
    }
    plain[length] = '\0';
    return true;
}

bool isBelow(std::string_view path, std::string_view folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool isAt(std::string_view path, const Place& place) {
    return place.path.ends_with('/') ? path.starts_with(place.path) : path == place.path;
}

Path recognisePlain(std::string_view path) {
    const auto inPath = [path](std::string_view folder) { return isBelow(path, folder); };
    if (std::none_of(std::begin(guardedFolders), std::end(guardedFolders), inPath)) {
        return Path::None;
    }
    const auto* place = std::find_if(std::begin(places), std::end(places),
                                     [path](const Place& entry) { return isAt(path, entry); });
    return place == std::end(places) ? Path::Refused : place->id;
}

Path recognise(const char* path) {
    if (path == nullptr || *path == '\0') {
        return Path::None;
    }
    Path id = Path::None;
    if (*path == '/' && std::strstr(path, "//") == nullptr && std::strstr(path, "/.") == nullptr) {
        id = recognisePlain(path);
    } else if (std::array<char, pathSize> plain{}; writePlainly(path, plain)) {
        id = recognisePlain(plain.data());
    }
    if (id == Path::Refused) {
        complain("refused, for sim/places.h does not have it", path);
    }
    return id;
}

// Counts a call and returns the errno with which the fault plan wants it to fail, or 0.
int countCall(ControlBlock& block, Call call, Path path) {
    ++block.calls[static_cast<std::size_t>(call)][static_cast<std::size_t>(path)];
    for (Fault& fault : block.faults) {
        if (fault.armed == 0 || fault.call != call ||
            (fault.path != Path::None && fault.path != path)) {
            continue;
        }
        const std::uint32_t seen = ++fault.seen;
        if (seen == fault.nth || (fault.persistent && seen > fault.nth)) {
            ++fault.hits;
            return fault.error;
        }
    }
    return 0;
}

// A redirected place as one call meets it.
class Redirection {
  public:
    Redirection(Call call, const char* realPath) : id_(recognise(realPath)) {
        if (id_ == Path::None) {
            return;
        }
        ControlBlock* gateway = attachedBlock();
        if (gateway == nullptr) {
            error_ = ENOENT;
            return;
        }
        error_ = countCall(*gateway, call, id_);
        if (id_ == Path::Refused) {
            error_ = EACCES;
        }
        std::snprintf(text_.data(), text_.size(), "%s%s", gateway->sandbox, pathOf(id_).data());
    }

    bool applies() const { return id_ != Path::None; }
    Path path() const { return id_; }
    const char* place() const { return text_.data(); }

    // True when the call has to fail; sets errno then.
    bool fails() const {
        if (error_ != 0) {
            errno = error_;
        }
        return error_ != 0;
    }

  private:
    Path id_;
    int error_ = 0;
    std::array<char, pathSize> text_{};
};

// --- Descriptors of the gateway ---

constexpr int descriptorCount = 1024;
constinit std::array<std::atomic<Path>, descriptorCount> descriptorPaths{};
constinit std::atomic<int> modemDescriptors{0};
constinit ModemPort modemPort;

Path placeOf(int descriptor) {
    if (descriptor < 0 || descriptor >= descriptorCount) {
        return Path::None;
    }
    return descriptorPaths[static_cast<std::size_t>(descriptor)];
}

void setPath(int descriptor, Path path) {
    if (descriptor >= 0 && descriptor < descriptorCount) {
        descriptorPaths[static_cast<std::size_t>(descriptor)] = path;
    }
}

bool isModem(int descriptor) {
    return placeOf(descriptor) == Path::ModemPort && attachedBlock() != nullptr;
}

// Counts a call on a descriptor of the gateway. False with errno set when it has to fail; true for
// every other descriptor.
bool descriptorCallPasses(Call call, int descriptor) {
    const Path path = placeOf(descriptor);
    ControlBlock* block = attachedBlock();
    if (path == Path::None || block == nullptr) {
        return true;
    }
    const int error = countCall(*block, call, path);
    if (error != 0) {
        errno = error;
    }
    return error == 0;
}

// The same for a call that has neither place nor descriptor.
bool plainCallPasses(Call call) {
    ControlBlock* block = attachedBlock();
    const int error = block == nullptr ? 0 : countCall(*block, call, Path::None);
    if (error != 0) {
        errno = error;
    }
    return error == 0;
}

// --- Files ---

bool isBacklight(Path path) {
    return path == Path::BacklightSsd1306 || path == Path::BacklightSt7565;
}

int openRedirected(const Redirection& redirection, int flags, mode_t mode) {
    ControlBlock& block = *attachedBlock();
    block.lastOpenFlags[static_cast<std::size_t>(redirection.path())] = flags;
    if (redirection.path() == Path::ModemPort) {
        const int descriptor = modemPort.open(block, flags);
        modemDescriptors += descriptor >= 0 ? 1 : 0;
        return descriptor;
    }
    // Sysfs cannot be emptied.
    if (isBacklight(redirection.path())) {
        flags &= ~O_TRUNC;
    }
    return nextOpen64(redirection.place(), flags, mode);
}

// The level that the kernel takes from a text written into a brightness file, or minus an errno:
// digits in the base that their beginning names, a plus before and a line feed behind allowed.
long parseLevel(const char* text) {
    const char* digits = text + (*text == '+' ? 1 : 0);
    if (std::isdigit(static_cast<unsigned char>(*digits)) == 0) {
        return -EINVAL;
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long level = std::strtoul(digits, &end, 0);
    if (errno != 0) {
        return -errno;
    }
    end += *end == '\n' ? 1 : 0;
    return *end == '\0' && level <= maxBrightness ? static_cast<long>(level) : -EINVAL;
}

// The new text takes the place of the old one, however long that was, wherever the file stood. A
// harness that looks meanwhile finds a whole first line.
ssize_t writeBrightness(int descriptor, const void* bytes, std::size_t count) {
    std::array<char, 64> text{};
    if (count >= text.size()) {
        errno = EINVAL;
        return -1;
    }
    if (count == 0) {
        return 0;
    }
    std::memcpy(text.data(), bytes, count);
    const long level = std::strlen(text.data()) == count ? parseLevel(text.data()) : -EINVAL;
    if (level < 0) {
        errno = static_cast<int>(-level);
        return -1;
    }
    const int length = std::snprintf(text.data(), text.size(), "%ld\n", level);
    if (pwrite(descriptor, text.data(), static_cast<std::size_t>(length), 0) != length ||
        ftruncate(descriptor, length) != 0) {
        return -1;
    }
    return static_cast<ssize_t>(count);
}

// `pass` opens what is no place of the gateway.
template <typename Pass>
int openAny(const char* path, int flags, mode_t mode, Pass pass) {
    const Redirection redirection(Call::Open, path);
    if (redirection.applies() && redirection.fails()) {
        return -1;
    }
    const int descriptor =
        redirection.applies() ? openRedirected(redirection, flags, mode) : pass();
    setPath(descriptor, redirection.path());
    return descriptor;
}

// Calls that only take a path: the real function on the place that stands for it.
template <typename Failure, typename Next, typename... Arguments>
auto onPlace(Failure failure, Call call, Next& next, const char* path, Arguments... arguments)
    -> decltype(next(path, arguments...)) {
    const Redirection redirection(call, path);
    if (!redirection.applies()) {
        return next(path, arguments...);
    }
    if (redirection.fails()) {
        return failure;
    }
    return next(redirection.place(), arguments...);
}

// The same for calls that take a folder too, to which an absolute path is blind.
template <typename Next, typename... Arguments>
int onPlaceIn(int folder, Call call, Next& next, const char* path, Arguments... arguments) {
    const bool relative = path != nullptr && *path != '/' && folder != AT_FDCWD;
    const Redirection redirection(call, relative ? nullptr : path);
    if (!redirection.applies()) {
        return next(folder, path, arguments...);
    }
    return redirection.fails() ? -1 : next(folder, redirection.place(), arguments...);
}

// Like libc's own it closes the stream whatever comes of it.
template <typename Next>
FILE* freopenAny(Next& next, const char* path, const char* mode, FILE* stream) {
    const Redirection redirection(Call::Fopen, path);
    if (redirection.applies() && redirection.fails()) {
        std::fclose(stream);
        return nullptr;
    }
    return next(redirection.applies() ? redirection.place() : path, mode, stream);
}

template <typename Figures, typename Next>
int statfsAny(Next& next, const char* path, Figures* figures) {
    const Redirection redirection(Call::Statfs, path);
    if (!redirection.applies()) {
        return next(path, figures);
    }
    if (redirection.fails() || next(redirection.place(), figures) != 0) {
        return -1;
    }
    if (redirection.path() == Path::TfMount) {
        ControlBlock& block = *attachedBlock();
        const std::lock_guard guard(block.factsLock);
        const TfFigures& tf = block.facts.tf;
        figures->f_bsize = static_cast<decltype(figures->f_bsize)>(tf.blockSize);
        figures->f_blocks = static_cast<decltype(figures->f_blocks)>(tf.blocks);
        figures->f_bfree = static_cast<decltype(figures->f_bfree)>(tf.blocksFree);
        figures->f_bavail = static_cast<decltype(figures->f_bavail)>(tf.blocksAvailable);
        figures->f_frsize = static_cast<decltype(figures->f_frsize)>(tf.blockSize);
    }
    return 0;
}

// --- Framebuffer ---

// By the file behind the descriptor, so that the answer does not hang on how it was opened.
bool isFramebuffer(const ControlBlock& block, int descriptor) {
    std::array<char, 64> link{};
    std::array<char, sizeof block.sandbox + 16> place{};
    std::array<char, sizeof block.sandbox + 16> target{};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", descriptor);
    std::snprintf(place.data(), place.size(), "%s%s", block.sandbox,
                  pathOf(Path::Framebuffer).data());
    return readlink(link.data(), target.data(), target.size() - 1) > 0 &&
           std::strcmp(target.data(), place.data()) == 0;
}

int answerScreenInformation(ControlBlock& block, void* argument) {
    const int error = countCall(block, Call::Ioctl, Path::Framebuffer);
    if (error != 0) {
        errno = error;
        return -1;
    }
    const std::lock_guard guard(block.factsLock);
    const Panel& panel = block.facts.panel;
    fb_var_screeninfo information{};
    information.xres = panel.width;
    information.yres = panel.height;
    information.xres_virtual = panel.width;
    information.yres_virtual = panel.height;
    information.bits_per_pixel = panel.bitsPerPixel;
    std::memcpy(argument, &information, sizeof information);
    return 0;
}

template <typename Next, typename Offset>
void* mapAny(Next& next, void* hint, std::size_t length, int protection, int flags, int descriptor,
             Offset offset) {
    if ((flags & MAP_ANONYMOUS) == 0 && !descriptorCallPasses(Call::Mmap, descriptor)) {
        return MAP_FAILED;
    }
    return next(hint, length, protection, flags, descriptor, offset);
}

// --- Network ---

struct InterfaceList {
    std::atomic<bool> used;
    std::array<ifaddrs, interfaceCount> entries;
    std::array<std::array<char, sizeof InterfaceEntry::name>, interfaceCount> names;
    std::array<sockaddr_storage, interfaceCount> addresses;
    std::array<sockaddr_storage, interfaceCount> netmasks;
};

// So many lists can be out at once; a program that forgets to free them soon gets no more.
constinit std::array<InterfaceList, 4> interfaceLists{};

void fillAddress(sockaddr_storage& storage, std::uint16_t family, const std::uint8_t (&bytes)[4]) {
    storage = {};
    storage.ss_family = family;
    if (family == AF_INET) {
        sockaddr_in internet{};
        internet.sin_family = AF_INET;
        std::memcpy(&internet.sin_addr, bytes, sizeof bytes);
        std::memcpy(&storage, &internet, sizeof internet);
    }
}

ifaddrs* fillList(InterfaceList& list, const Facts& facts) {
    ifaddrs* first = nullptr;
    ifaddrs** end = &first;
    for (std::size_t i = 0; i < interfaceCount; ++i) {
        const InterfaceEntry& entry = facts.interfaces[i];
        if (entry.present == 0) {
            continue;
        }
        std::memcpy(list.names[i].data(), entry.name, sizeof entry.name);
        fillAddress(list.addresses[i], entry.family, entry.address);
        fillAddress(list.netmasks[i], entry.family, entry.netmask);
        ifaddrs& out = list.entries[i];
        out = {};
        out.ifa_name = list.names[i].data();
        out.ifa_flags = entry.flags;
        out.ifa_addr =
            entry.hasAddress != 0 ? reinterpret_cast<sockaddr*>(&list.addresses[i]) : nullptr;
        out.ifa_netmask =
            entry.hasNetmask != 0 ? reinterpret_cast<sockaddr*>(&list.netmasks[i]) : nullptr;
        *end = &out;
        end = &out.ifa_next;
    }
    return first;
}

// --- Time ---

timespec toTimespec(Nanoseconds time) {
    return {static_cast<time_t>(time / nanosecondsPerSecond),
            static_cast<long>(time % nanosecondsPerSecond)};
}

Nanoseconds fromTimeval(const timeval& time) {
    return (time.tv_sec * microsecondsPerSecond + time.tv_usec) * nanosecondsPerMicrosecond;
}

bool isWallClock(clockid_t id) {
    return id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE;
}

bool isMonotonicClock(clockid_t id) {
    return id == CLOCK_MONOTONIC || id == CLOCK_MONOTONIC_RAW || id == CLOCK_MONOTONIC_COARSE ||
           id == CLOCK_BOOTTIME;
}

// A sleep that the process asked for by name.
int sleepCounted(ControlBlock& block, Nanoseconds duration) {
    const bool main = gettid() == getpid();
    const auto microseconds = static_cast<std::uint64_t>(duration / nanosecondsPerMicrosecond);
    ++(main ? block.sleeps.main : block.sleeps.others);
    (main ? block.sleeps.mainLastUs : block.sleeps.othersLastUs) = microseconds;
    const int error = countCall(block, Call::Usleep, Path::None);
    // An interrupted sleep has slept a part of its time, so that virtual time goes on.
    sleepFor(block, error == 0 ? duration : duration / 2);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return 0;
}

// --- Waiting for the modem ---

bool anySet(int count, const fd_set* set) {
    for (int descriptor = 0; set != nullptr && descriptor < count; ++descriptor) {
        if (FD_ISSET(descriptor, set)) {
            return true;
        }
    }
    return false;
}

// The modem's descriptor when it is the only one waited for, else -1.
int soleModemDescriptor(int count, const fd_set* input) {
    int found = -1;
    for (int descriptor = 0; input != nullptr && descriptor < count; ++descriptor) {
        if (!FD_ISSET(descriptor, input)) {
            continue;
        }
        if (found >= 0 || !isModem(descriptor)) {
            return -1;
        }
        found = descriptor;
    }
    return found;
}

// select on nothing or on the modem alone. Like Linux it leaves in `timeout` what remains of it.
int waitOnClock(ControlBlock& block, int modem, fd_set* input, timeval* timeout) {
    const Nanoseconds deadline =
        timeout == nullptr ? never : monotonicNow(block) + fromTimeval(*timeout);
    bool ready = false;
    if (modem >= 0) {
        ready = modemPort.waitReadable(block, modem, deadline);
    } else {
        sleepFor(block, deadline - monotonicNow(block));
    }
    if (input != nullptr && !ready) {
        FD_ZERO(input);
    }
    if (timeout != nullptr) {
        const Nanoseconds rest = std::max<Nanoseconds>(0, deadline - monotonicNow(block));
        timeout->tv_sec = static_cast<time_t>(rest / nanosecondsPerSecond);
        timeout->tv_usec =
            static_cast<suseconds_t>(rest % nanosecondsPerSecond / nanosecondsPerMicrosecond);
    }
    return ready ? 1 : 0;
}

void recordLineSettings(ControlBlock& block, int action, const termios& settings) {
    const std::uint32_t index = block.lineSettingsTotal++;
    block.lineSettings[index % lineSettingsCount] = {settings.c_iflag, settings.c_oflag,
                                                     settings.c_cflag, settings.c_lflag, action};
}

} // namespace

ControlBlock* attachedBlock() {
    if (!bindingDecided) {
        bindFromEnvironment();
    }
    return attached;
}

} // namespace sim

using namespace sim;

INTERPOSED void panel_gateway_attach(ControlBlock* block) {
    attached = block;
    bindingDecided = true;
    forgetThreads();
    for (std::atomic<Path>& path : descriptorPaths) {
        path = Path::None;
    }
    modemDescriptors = 0;
    modemPort.closed();
}

INTERPOSED void panel_gateway_pass(Nanoseconds duration) {
    if (ControlBlock* block = attachedBlock()) {
        sleepFor(*block, duration);
    }
}

// --- open and its variants ---

namespace {

// The mode among the arguments of an open that may make a file.
mode_t modeOf(int flags, va_list& arguments) {
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : 0;
}

template <typename Next>
int openByPath(Next& next, const char* path, int flags, mode_t mode) {
    return openAny(path, flags, mode, [&] { return next(path, flags, mode); });
}

template <typename Next>
int openIn(Next& next, int folder, const char* path, int flags, mode_t mode) {
    const auto pass = [&] { return next(folder, path, flags, mode); };
    const bool relative = path != nullptr && *path != '/' && folder != AT_FDCWD;
    return relative ? pass() : openAny(path, flags, mode, pass);
}

} // namespace

INTERPOSED int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openByPath(nextOpen, path, flags, mode);
}

INTERPOSED int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openByPath(nextOpen64, path, flags, mode);
}

INTERPOSED int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openIn(nextOpenat, folder, path, flags, mode);
}

INTERPOSED int openat64(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openIn(nextOpenat64, folder, path, flags, mode);
}

// What fortified programs call when no mode is given.
INTERPOSED int __open_2(const char* path, int flags) {
    return openByPath(nextOpen, path, flags, 0);
}

INTERPOSED int __open64_2(const char* path, int flags) {
    return openByPath(nextOpen64, path, flags, 0);
}

INTERPOSED int __openat_2(int folder, const char* path, int flags) {
    return openIn(nextOpenat, folder, path, flags, 0);
}

INTERPOSED int __openat64_2(int folder, const char* path, int flags) {
    return openIn(nextOpenat64, folder, path, flags, 0);
}

INTERPOSED int creat(const char* path, mode_t mode) {
    return openByPath(nextOpen, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

INTERPOSED int creat64(const char* path, mode_t mode) {
    return openByPath(nextOpen64, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

INTERPOSED DIR* opendir(const char* path) {
    return onPlace(nullptr, Call::Open, nextOpendir, path);
}

INTERPOSED int close(int descriptor) {
    const Path path = placeOf(descriptor);
    const bool passes = descriptorCallPasses(Call::Close, descriptor);
    const int error = errno;
    setPath(descriptor, Path::None);
    // Linux lets the descriptor go even when close reports a failure.
    const int result = nextClose(descriptor);
    if (path == Path::ModemPort && --modemDescriptors == 0) {
        modemPort.closed();
    }
    if (!passes) {
        errno = error;
        return -1;
    }
    return result;
}

INTERPOSED ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    if (!descriptorCallPasses(Call::Write, descriptor)) {
        return -1;
    }
    if (isBacklight(placeOf(descriptor)) && attachedBlock() != nullptr) {
        return writeBrightness(descriptor, bytes, count);
    }
    const ssize_t written = nextWrite(descriptor, bytes, count);
    if (written > 0 && isModem(descriptor)) {
        modemPort.wrote(static_cast<std::size_t>(written));
    }
    return written;
}

// --- Framebuffer ---

INTERPOSED int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    ControlBlock* block = request == FBIOGET_VSCREENINFO ? attachedBlock() : nullptr;
    if (block != nullptr && isFramebuffer(*block, descriptor)) {
        return answerScreenInformation(*block, argument);
    }
    return nextIoctl(descriptor, request, argument);
}

INTERPOSED void* mmap(void* hint, std::size_t length, int protection, int flags, int descriptor,
                      off_t offset) noexcept {
    return mapAny(nextMmap, hint, length, protection, flags, descriptor, offset);
}

INTERPOSED void* mmap64(void* hint, std::size_t length, int protection, int flags, int descriptor,
                        off64_t offset) noexcept {
    return mapAny(nextMmap64, hint, length, protection, flags, descriptor, offset);
}

// --- Files by path ---

INTERPOSED int stat(const char* path, struct stat* status) noexcept {
    return onPlace(-1, Call::Stat, nextStat, path, status);
}

INTERPOSED int stat64(const char* path, struct stat64* status) noexcept {
    return onPlace(-1, Call::Stat, nextStat64, path, status);
}

INTERPOSED int lstat(const char* path, struct stat* status) noexcept {
    return onPlace(-1, Call::Stat, nextLstat, path, status);
}

INTERPOSED int lstat64(const char* path, struct stat64* status) noexcept {
    return onPlace(-1, Call::Stat, nextLstat64, path, status);
}

INTERPOSED int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
    return onPlaceIn(folder, Call::Stat, nextFstatat, path, status, flags);
}

INTERPOSED int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept {
    return onPlaceIn(folder, Call::Stat, nextFstatat64, path, status, flags);
}

INTERPOSED int statx(int folder, const char* path, int flags, unsigned mask,
                     struct statx* status) noexcept {
    return onPlaceIn(folder, Call::Stat, nextStatx, path, flags, mask, status);
}

INTERPOSED int access(const char* path, int mode) noexcept {
    return onPlace(-1, Call::Access, nextAccess, path, mode);
}

INTERPOSED int euidaccess(const char* path, int mode) noexcept {
    return onPlace(-1, Call::Access, nextEuidaccess, path, mode);
}

INTERPOSED int eaccess(const char* path, int mode) noexcept {
    return onPlace(-1, Call::Access, nextEuidaccess, path, mode);
}

INTERPOSED int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return onPlaceIn(folder, Call::Access, nextFaccessat, path, mode, flags);
}

INTERPOSED FILE* fopen(const char* path, const char* mode) {
    return onPlace(nullptr, Call::Fopen, nextFopen, path, mode);
}

INTERPOSED FILE* fopen64(const char* path, const char* mode) {
    return onPlace(nullptr, Call::Fopen, nextFopen64, path, mode);
}

INTERPOSED FILE* freopen(const char* path, const char* mode, FILE* stream) {
    return freopenAny(nextFreopen, path, mode, stream);
}

INTERPOSED FILE* freopen64(const char* path, const char* mode, FILE* stream) {
    return freopenAny(nextFreopen64, path, mode, stream);
}

INTERPOSED int statfs(const char* path, struct statfs* figures) noexcept {
    return statfsAny(nextStatfs, path, figures);
}

INTERPOSED int statfs64(const char* path, struct statfs64* figures) noexcept {
    return statfsAny(nextStatfs64, path, figures);
}

INTERPOSED int statvfs(const char* path, struct statvfs* figures) noexcept {
    return statfsAny(nextStatvfs, path, figures);
}

INTERPOSED int statvfs64(const char* path, struct statvfs64* figures) noexcept {
    return statfsAny(nextStatvfs64, path, figures);
}

// --- Network ---

INTERPOSED int getifaddrs(ifaddrs** list) noexcept {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        errno = ENOENT;
        return -1;
    }
    if (!plainCallPasses(Call::GetIfAddrs)) {
        return -1;
    }
    for (InterfaceList& free : interfaceLists) {
        if (!free.used.exchange(true)) {
            const std::lock_guard guard(block->factsLock);
            *list = fillList(free, block->facts);
            return 0;
        }
    }
    complain("getifaddrs", "four lists have not been freed");
    errno = ENOMEM;
    return -1;
}

INTERPOSED void freeifaddrs(ifaddrs* list) noexcept {
    plainCallPasses(Call::FreeIfAddrs);
    for (InterfaceList& used : interfaceLists) {
        const bool inside =
            list >= used.entries.data() && list < used.entries.data() + used.entries.size();
        if (inside) {
            // Reading a freed list shows as a crash.
            std::memset(used.entries.data(), 0xdd, sizeof used.entries);
            used.used = false;
        }
    }
}

// --- Message queue ---

INTERPOSED int msgget(key_t key, int flags) noexcept {
    if (key != daemonQueueKey) {
        return nextMsgget(key, flags);
    }
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        complain("msgget refused", "no gateway is attached");
        errno = ENOENT;
        return -1;
    }
    return plainCallPasses(Call::MsgGet) ? nextMsgget(block->queueKey, flags) : -1;
}

INTERPOSED ssize_t msgrcv(int queue, void* message, std::size_t size, long type, int flags) {
    return plainCallPasses(Call::MsgRcv) ? nextMsgrcv(queue, message, size, type, flags) : -1;
}

// --- Commands ---

INTERPOSED FILE* popen(const char* command, const char* mode) {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        complain("popen refused", command);
        errno = EPERM;
        return nullptr;
    }
    if (!plainCallPasses(Call::Popen)) {
        return nullptr;
    }
    std::snprintf(block->popen.lastCommand, sizeof block->popen.lastCommand, "%s", command);
    ++block->popen.count;
    return nextPopen("true", mode);
}

INTERPOSED int pclose(FILE* stream) {
    const bool passes = plainCallPasses(Call::Pclose);
    const int error = errno;
    const int status = nextPclose(stream);
    if (!passes) {
        errno = error;
        return -1;
    }
    return status;
}

// --- Time ---

INTERPOSED int clock_gettime(clockid_t id, timespec* time) noexcept {
    ControlBlock* block = attachedBlock();
    if (block == nullptr || (!isWallClock(id) && !isMonotonicClock(id))) {
        return nextClockGettime(id, time);
    }
    if (!plainCallPasses(Call::ClockGettime)) {
        return -1;
    }
    *time = toTimespec(isWallClock(id) ? wallNow(*block) : monotonicNow(*block));
    return 0;
}

INTERPOSED int gettimeofday(timeval* time, void* zone) noexcept {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        return nextGettimeofday(time, zone);
    }
    if (!plainCallPasses(Call::GetTimeOfDay)) {
        return -1;
    }
    const timespec now = toTimespec(wallNow(*block));
    time->tv_sec = now.tv_sec;
    time->tv_usec = static_cast<suseconds_t>(now.tv_nsec / nanosecondsPerMicrosecond);
    return 0;
}

// libc reads the file of the zone again only when TZ names it otherwise: the spare step in the path
// that the harness has put there changes its form.
INTERPOSED void tzset() noexcept {
    ControlBlock* block = attachedBlock();
    char* zone = std::getenv("TZ");
    if (block != nullptr && zone != nullptr) {
        const std::size_t length = std::strlen(block->sandbox);
        if (std::strncmp(zone + 1, block->sandbox, length) == 0) {
            char& spare = zone[1 + length + 1];
            spare = spare == '.' ? '/' : '.';
        }
    }
    nextTzset();
}

INTERPOSED int usleep(useconds_t duration) {
    ControlBlock* block = attachedBlock();
    return block == nullptr ? nextUsleep(duration)
                            : sleepCounted(*block, duration * nanosecondsPerMicrosecond);
}

INTERPOSED int nanosleep(const timespec* duration, timespec* rest) {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        return nextNanosleep(duration, rest);
    }
    return sleepCounted(*block, duration->tv_sec * nanosecondsPerSecond + duration->tv_nsec);
}

INTERPOSED int select(int count, fd_set* input, fd_set* output, fd_set* exceptions,
                      timeval* timeout) {
    ControlBlock* block = attachedBlock();
    const int modem = soleModemDescriptor(count, input);
    const bool others =
        anySet(count, output) || anySet(count, exceptions) || (modem < 0 && anySet(count, input));
    if (block == nullptr || others) {
        return nextSelect(count, input, output, exceptions, timeout);
    }
    const int error = countCall(*block, Call::Select, modem >= 0 ? Path::ModemPort : Path::None);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return waitOnClock(*block, modem, input, timeout);
}

// --- Serial line ---

INTERPOSED int tcgetattr(int descriptor, termios* settings) noexcept {
    return descriptorCallPasses(Call::TcGetAttr, descriptor) ? nextTcgetattr(descriptor, settings)
                                                             : -1;
}

INTERPOSED int tcsetattr(int descriptor, int action, const termios* settings) noexcept {
    if (isModem(descriptor)) {
        recordLineSettings(*attachedBlock(), action, *settings);
    }
    return descriptorCallPasses(Call::TcSetAttr, descriptor)
               ? nextTcsetattr(descriptor, action, settings)
               : -1;
}

INTERPOSED int tcdrain(int descriptor) {
    if (!isModem(descriptor)) {
        return nextTcdrain(descriptor);
    }
    if (!descriptorCallPasses(Call::TcDrain, descriptor)) {
        return -1;
    }
    modemPort.exchange(*attachedBlock(), descriptor);
    return 0;
}

INTERPOSED int tcflush(int descriptor, int queue) noexcept {
    if (!isModem(descriptor)) {
        return nextTcflush(descriptor, queue);
    }
    if (!descriptorCallPasses(Call::TcFlush, descriptor)) {
        return -1;
    }
    // What was written counts as sent, so only input is dropped: all that has arrived by now.
    modemPort.exchange(*attachedBlock(), descriptor);
    return queue == TCOFLUSH ? 0 : nextTcflush(descriptor, TCIFLUSH);
}

// --- Threads ---

INTERPOSED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument) noexcept {
    if (!plainCallPasses(Call::PthreadCreate)) {
        return errno;
    }
    return createThread(thread, attributes, start, argument);
}

INTERPOSED int pthread_join(pthread_t thread, void** result) {
    return joinThread(thread, result);
}
