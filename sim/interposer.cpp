// Stands before the libc calls with which the daemon reaches its gateway. The same object is linked
// into test programs, where it also catches what the libraries call, and preloaded into the
// unmodified daemon as panel_gateway.so. What sim/places.h lists never leads to the real machine:
// without an attached gateway it does not exist. Built without sanitizers, without fortified
// headers and without a file offset macro, so that each definition below keeps the name it is
// written with. It allocates lists of interfaces, and what it takes to make a relative or winding
// path plain.

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
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
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
#include <sys/time.h>
#include <sys/vfs.h>
#include <termios.h>
#include <type_traits>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

namespace sim {

namespace {

constexpr key_t daemonQueueKey = 80;
constexpr unsigned long maxBrightness = 255; // of both controllers' drivers
constexpr Nanoseconds nanosecondsPerMicrosecond = 1000;

// --- Binding ---

constinit std::atomic<ControlBlock*> attached{nullptr};
constinit std::atomic<bool> bindingDecided{false};
constinit std::atomic<bool> constructorsRun{false};

void complain(const char* what, const char* detail) {
    dprintf(STDERR_FILENO, "simulated gateway: %s: %s\n", what, detail);
}

ControlBlock* mapControlBlock(const char* sandbox) {
    std::array<char, 512> file{};
    std::snprintf(file.data(), file.size(), "%s/%s", sandbox, controlFileName);
    const int descriptor = callNext<"openat">(AT_FDCWD, file.data(), O_RDWR | O_CLOEXEC);
    void* memory =
        callNext<"mmap", void*>(static_cast<void*>(nullptr), sizeof(ControlBlock),
                                PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, off_t{0});
    callNext<"close">(descriptor);
    if (memory == MAP_FAILED) {
        complain("no control block", file.data());
        return nullptr;
    }
    auto* block = static_cast<ControlBlock*>(memory);
    if (block->size != sizeof(ControlBlock)) {
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
    attachedBlock();
}

// --- Counting ---

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

// True when there is an error; sets errno then.
bool fails(int error) {
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

// Counts a call. False with errno set when it has to fail.
bool passes(Call call, Path path = Path::None) {
    ControlBlock* block = attachedBlock();
    return block == nullptr || !fails(countCall(*block, call, path));
}

// The same for a call that never reaches the machine: without a gateway it is refused.
bool passesOnGateway(Call call, const char* what) {
    if (attachedBlock() == nullptr) {
        complain("refused, for no gateway is attached", what);
        errno = ENOENT;
        return false;
    }
    return passes(call);
}

// --- Places ---

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

// However the path is written. That of a daemon stands plainly in the table.
Path recognise(const char* path) {
    if (*path == '/' && std::strstr(path, "//") == nullptr && std::strstr(path, "/.") == nullptr) {
        return recognisePlain(path);
    }
    std::error_code lost;
    const auto whole = std::filesystem::current_path(lost) / path;
    std::string plain = whole.lexically_normal().string();
    if (plain.ends_with('/')) {
        plain.pop_back();
    }
    return recognisePlain(plain);
}

// A path as one call meets it.
class Redirection {
  public:
    // A path within an open folder is none of the gateway's.
    Redirection(Call call, const char* path, int folder = AT_FDCWD) : target_(path) {
        const bool elsewhere =
            path == nullptr || *path == '\0' || (folder != AT_FDCWD && *path != '/');
        id_ = elsewhere ? Path::None : recognise(path);
        if (id_ == Path::None) {
            return;
        }
        ControlBlock* gateway = attachedBlock();
        error_ = gateway == nullptr ? ENOENT : countCall(*gateway, call, id_);
        if (id_ == Path::Refused) {
            complain("refused, for sim/places.h does not have it", path);
            error_ = EACCES;
        }
        if (error_ == 0) {
            std::snprintf(text_.data(), text_.size(), "%s%s", gateway->sandbox, pathOf(id_).data());
            target_ = text_.data();
        }
    }

    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

    Path id() const { return id_; }

    // What stands for the path.
    const char* target() const { return target_; }

    // True when the call has to fail; sets errno then.
    bool fails() const { return sim::fails(error_); }

  private:
    Path id_;
    int error_ = 0;
    const char* target_;
    std::array<char, 1024> text_{};
};

// Calls that open a path for the library: the real one on what stands for it.
template <Symbol symbol, typename Stream, typename... Arguments>
Stream* openStream(const char* path, Arguments... arguments) {
    const Redirection at(Call::Open, path);
    return at.fails() ? nullptr : callNext<symbol, Stream*>(at.target(), arguments...);
}

// Calls that take a folder, to which an absolute path is blind, and a path.
template <Symbol symbol, typename... Arguments>
int onPath(Call call, int folder, const char* path, Arguments... arguments) {
    const Redirection at(call, path, folder);
    return at.fails() ? -1 : callNext<symbol>(folder, at.target(), arguments...);
}

// --- Descriptors of the gateway ---

constexpr int descriptorCount = 1024;
constinit std::array<std::atomic<Path>, descriptorCount> descriptorPaths{};
constinit std::atomic<int> modemDescriptors{0};
constinit ModemPort modemPort;

Path placeOf(int descriptor) {
    const bool known =
        descriptor >= 0 && descriptor < descriptorCount && attachedBlock() != nullptr;
    return known ? descriptorPaths[static_cast<std::size_t>(descriptor)].load() : Path::None;
}

void setPath(int descriptor, Path path) {
    if (descriptor >= 0 && descriptor < descriptorCount) {
        descriptorPaths[static_cast<std::size_t>(descriptor)] = path;
    }
}

bool isModem(int descriptor) {
    return placeOf(descriptor) == Path::ModemPort;
}

// Counts a call on a descriptor of the gateway. False with errno set when it has to fail; true for
// every other descriptor.
bool passesOn(Call call, int descriptor) {
    const Path path = placeOf(descriptor);
    return path == Path::None || passes(call, path);
}

// --- Files ---

bool isBacklight(Path path) {
    return std::ranges::find(panels, path, &Panel::backlight) != std::end(panels);
}

// As the kernel takes a text written into a brightness file: a number in the base that its
// beginning names, a plus before and a line feed behind allowed. It takes the place of the old one,
// however long that was, wherever the file stood. A harness that looks meanwhile finds a whole
// first line.
ssize_t writeBrightness(int descriptor, const void* bytes, std::size_t count) {
    std::array<char, 64> text{};
    std::memcpy(text.data(), bytes, std::min(count, text.size() - 1));
    const char* digits = text.data() + (text[0] == '+' ? 1 : 0);
    char* end = nullptr;
    const unsigned long level = std::strtoul(digits, &end, 0);
    end += *end == '\n' ? 1 : 0;
    if (std::isdigit(static_cast<unsigned char>(*digits)) == 0 || end != text.data() + count ||
        level > maxBrightness) {
        errno = EINVAL;
        return -1;
    }
    const int length = std::snprintf(text.data(), text.size(), "%lu\n", level);
    const bool written =
        pwrite(descriptor, text.data(), static_cast<std::size_t>(length), 0) == length &&
        ftruncate(descriptor, length) == 0;
    return written ? static_cast<ssize_t>(count) : -1;
}

// --- Network ---

// An entry of the list with what it points to. The list is one allocation.
struct ListedInterface {
    ifaddrs entry;
    InterfaceEntry fact;
    sockaddr_in address;
    sockaddr_in netmask;
};

sockaddr* fillAddress(sockaddr_in& address, const InterfaceEntry& fact, bool given,
                      const std::uint8_t (&bytes)[4]) {
    address.sin_family = fact.family;
    std::memcpy(&address.sin_addr, bytes, sizeof bytes);
    return given ? reinterpret_cast<sockaddr*>(&address) : nullptr;
}

// --- Time ---

timeval toTimeval(Nanoseconds time) {
    return {static_cast<time_t>(time / nanosecondsPerSecond),
            static_cast<suseconds_t>(time % nanosecondsPerSecond / nanosecondsPerMicrosecond)};
}

// The modem's descriptor when a select waits for its input, else -1.
int awaitedModem(int count, const fd_set* input) {
    int descriptor = input == nullptr ? -1 : count - 1;
    while (descriptor >= 0 && !(FD_ISSET(descriptor, input) && isModem(descriptor))) {
        --descriptor;
    }
    return descriptor;
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

// The headers' own names for the parameters are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

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

// Children of the daemon inherit what is preloaded but do not count.
INTERPOSED bool panel_gateway_fails(Call call, std::size_t size) {
    ControlBlock* block = attachedBlock();
    std::int32_t nobody = 0;
    if (block == nullptr ||
        (!block->libraryCaller.compare_exchange_strong(nobody, getpid()) && nobody != getpid())) {
        return false;
    }
    const bool failing = fails(countCall(*block, call, Path::None));
    if (failing && size != 0 &&
        (size == block->watchedSizes[0] || size == block->watchedSizes[1])) {
        block->watchedRefused = 1;
    }
    return failing;
}

INTERPOSED void panel_gateway_pass(Nanoseconds duration) {
    if (ControlBlock* block = attachedBlock()) {
        sleepFor(*block, duration);
    }
}

// --- Files and folders ---

// What a caller leaves out of a call with three dots comes as any value, and is not looked at.
INTERPOSED int openFile(int folder, const char* path, int flags, mode_t mode) asm("openat");
INTERPOSED int openPlainly(const char* path, int flags, mode_t mode) asm("open");

int openFile(int folder, const char* path, int flags, mode_t mode) {
    const Redirection at(Call::Open, path, folder);
    if (at.fails()) {
        return -1;
    }
    if (at.id() != Path::None) {
        attachedBlock()->lastOpenFlags[static_cast<std::size_t>(at.id())] = flags;
    }
    // Sysfs cannot be emptied.
    flags &= isBacklight(at.id()) ? ~O_TRUNC : ~0;
    const bool modem = at.id() == Path::ModemPort;
    const int descriptor = modem ? modemPort.open(*attachedBlock(), at.target(), flags)
                                 : callNext<"openat">(folder, at.target(), flags, mode);
    modemDescriptors += modem && descriptor >= 0 ? 1 : 0;
    setPath(descriptor, at.id());
    return descriptor;
}

int openPlainly(const char* path, int flags, mode_t mode) {
    return openFile(AT_FDCWD, path, flags, mode);
}

INTERPOSED DIR* opendir(const char* path) {
    return openStream<"opendir", DIR>(path);
}

INTERPOSED FILE* fopen(const char* path, const char* mode) {
    return openStream<"fopen", FILE>(path, mode);
}

INTERPOSED int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
    return onPath<"fstatat">(Call::Stat, folder, path, status, flags);
}

INTERPOSED int stat(const char* path, struct stat* status) noexcept {
    return fstatat(AT_FDCWD, path, status, 0);
}

INTERPOSED int lstat(const char* path, struct stat* status) noexcept {
    return fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

INTERPOSED int statx(int folder, const char* path, int flags, unsigned mask,
                     struct statx* status) noexcept {
    return onPath<"statx">(Call::Stat, folder, path, flags, mask, status);
}

INTERPOSED int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return onPath<"faccessat">(Call::Access, folder, path, mode, flags);
}

INTERPOSED int access(const char* path, int mode) noexcept {
    return faccessat(AT_FDCWD, path, mode, 0);
}

INTERPOSED int eaccess(const char* path, int mode) noexcept {
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS);
}

INTERPOSED int statfs(const char* path, struct statfs* figures) noexcept {
    const Redirection at(Call::Statfs, path);
    if (at.fails() || callNext<"statfs">(at.target(), figures) != 0) {
        return -1;
    }
    if (at.id() == Path::TfMount) {
        ControlBlock& block = *attachedBlock();
        const std::lock_guard guard(block.factsLock);
        const TfFigures& tf = block.facts.tf;
        figures->f_bsize = static_cast<long>(tf.blockSize);
        figures->f_blocks = tf.blocks;
        figures->f_bfree = tf.blocksFree;
        figures->f_bavail = tf.blocksAvailable;
    }
    return 0;
}

// Other names of the same calls: with 64-bit offsets, which all have on the machines that bear the
// simulated gateway, and those of fortified programs when no mode is given.
static_assert(sizeof(struct stat) == sizeof(struct stat64) && sizeof(off_t) == sizeof(off64_t) &&
              sizeof(struct statfs) == sizeof(struct statfs64));
#define ALSO(name, other) asm(".globl " #other "\n.set " #other ", " #name)
ALSO(open, open64);
ALSO(open, __open_2);
ALSO(open, __open64_2);
ALSO(openat, openat64);
ALSO(openat, __openat_2);
ALSO(openat, __openat64_2);
ALSO(fopen, fopen64);
ALSO(stat, stat64);
ALSO(lstat, lstat64);
ALSO(fstatat, fstatat64);
ALSO(statfs, statfs64);
ALSO(mmap, mmap64);

// --- Descriptors ---

INTERPOSED void* mmap(void* hint, std::size_t length, int protection, int flags, int descriptor,
                      off_t offset) noexcept {
    if ((flags & MAP_ANONYMOUS) == 0 && !passesOn(Call::Mmap, descriptor)) {
        return MAP_FAILED;
    }
    return callNext<"mmap", void*>(hint, length, protection, flags, descriptor, offset);
}

INTERPOSED int close(int descriptor) {
    const Path path = placeOf(descriptor);
    setPath(descriptor, Path::None);
    // Linux lets the descriptor go even when close reports a failure.
    const int result = callNext<"close">(descriptor);
    if (path == Path::ModemPort && --modemDescriptors == 0) {
        modemPort.closed();
    }
    return path == Path::None || passes(Call::Close, path) ? result : -1;
}

INTERPOSED ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    if (!passesOn(Call::Write, descriptor)) {
        return -1;
    }
    if (isBacklight(placeOf(descriptor))) {
        return writeBrightness(descriptor, bytes, count);
    }
    const auto written = callNext<"write", ssize_t>(descriptor, bytes, count);
    if (written > 0 && isModem(descriptor)) {
        modemPort.wrote(static_cast<std::size_t>(written));
    }
    return written;
}

INTERPOSED int control(int descriptor, unsigned long request, void* argument) asm("ioctl");

int control(int descriptor, unsigned long request, void* argument) {
    if (request != FBIOGET_VSCREENINFO || placeOf(descriptor) != Path::Framebuffer) {
        return callNext<"ioctl">(descriptor, request, argument);
    }
    if (!passes(Call::Ioctl, Path::Framebuffer)) {
        return -1;
    }
    ControlBlock& block = *attachedBlock();
    const std::lock_guard guard(block.factsLock);
    const Panel& panel = block.facts.panel;
    fb_var_screeninfo information{};
    information.xres = information.xres_virtual = panel.width;
    information.yres = information.yres_virtual = panel.height;
    information.bits_per_pixel = panel.bitsPerPixel;
    std::memcpy(argument, &information, sizeof information);
    return 0;
}

// --- Network ---

INTERPOSED int getifaddrs(ifaddrs** list) noexcept {
    ControlBlock* block = attachedBlock();
    void* memory = passesOnGateway(Call::GetIfAddrs, "getifaddrs")
                       ? std::calloc(interfaceCount, sizeof(ListedInterface))
                       : nullptr;
    if (memory == nullptr) {
        return -1;
    }
    *list = nullptr;
    auto* out = static_cast<ListedInterface*>(memory);
    const std::lock_guard guard(block->factsLock);
    for (const InterfaceEntry& fact : block->facts.interfaces) {
        if (fact.present == 0) {
            continue;
        }
        out->fact = fact;
        out->entry.ifa_name = out->fact.name;
        out->entry.ifa_flags = fact.flags;
        out->entry.ifa_addr = fillAddress(out->address, fact, fact.hasAddress != 0, fact.address);
        out->entry.ifa_netmask =
            fillAddress(out->netmask, fact, fact.hasNetmask != 0, fact.netmask);
        *list = &out++->entry;
        list = &(*list)->ifa_next;
    }
    if (out == memory) {
        std::free(memory);
    }
    return 0;
}

INTERPOSED void freeifaddrs(ifaddrs* list) noexcept {
    passes(Call::FreeIfAddrs);
    std::free(list); // the first entry stands at the beginning
}

// --- Message queue ---

INTERPOSED int msgget(key_t key, int flags) noexcept {
    if (key != daemonQueueKey) {
        return callNext<"msgget">(key, flags);
    }
    return passesOnGateway(Call::MsgGet, "msgget")
               ? callNext<"msgget">(attachedBlock()->queueKey, flags)
               : -1;
}

INTERPOSED ssize_t msgrcv(int queue, void* message, std::size_t size, long type, int flags) {
    return passes(Call::MsgRcv) ? callNext<"msgrcv", ssize_t>(queue, message, size, type, flags)
                                : -1;
}

// --- Commands ---

INTERPOSED FILE* popen(const char* command, const char* mode) {
    if (!passesOnGateway(Call::Popen, command)) {
        return nullptr;
    }
    ++attachedBlock()->popenCount;
    return callNext<"popen", FILE*>("true", mode);
}

INTERPOSED int pclose(FILE* stream) {
    const int status = callNext<"pclose">(stream);
    return passes(Call::Pclose) ? status : -1;
}

// --- Time ---

INTERPOSED int clock_gettime(clockid_t id, timespec* time) noexcept {
    ControlBlock* block = attachedBlock();
    if (block == nullptr || (id != CLOCK_REALTIME && id != CLOCK_MONOTONIC)) {
        return callNext<"clock_gettime">(id, time);
    }
    if (!passes(Call::ClockGettime)) {
        return -1;
    }
    const Nanoseconds reading = block->clock.reading(id);
    *time = {static_cast<time_t>(reading / nanosecondsPerSecond),
             static_cast<long>(reading % nanosecondsPerSecond)};
    return 0;
}

INTERPOSED int gettimeofday(timeval* time, void* zone) noexcept {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        return callNext<"gettimeofday">(time, zone);
    }
    if (!passes(Call::GetTimeOfDay)) {
        return -1;
    }
    *time = toTimeval(block->clock.reading(CLOCK_REALTIME));
    return 0;
}

// libc reads the file of the zone again only when TZ names it otherwise: the spare step in the path
// that the harness has put there changes its form.
INTERPOSED void tzset() noexcept {
    static constinit struct stat read {};
    ControlBlock* block = attachedBlock();
    char* zone = std::getenv("TZ");
    const std::size_t length = block == nullptr ? 0 : std::strlen(block->sandbox);
    if (zone != nullptr && length > 0 && std::strncmp(zone + 1, block->sandbox, length) == 0) {
        struct stat found {};
        callNext<"stat">(zone + 1, &found);
        if (found.st_ino != read.st_ino || found.st_mtime != read.st_mtime) {
            char& spare = zone[1 + length + 1];
            spare = spare == '.' ? '/' : '.';
            read = found;
        }
    }
    callNext<"tzset", void>();
}

INTERPOSED int usleep(useconds_t duration) {
    ControlBlock* block = attachedBlock();
    if (block == nullptr) {
        return callNext<"usleep">(duration);
    }
    block->mainSleeps += isMainThread() ? 1 : 0;
    const int error = countCall(*block, Call::Usleep, Path::None);
    // An interrupted sleep has passed a part of its time, so that virtual time goes on.
    sleepFor(*block, duration * nanosecondsPerMicrosecond / (error == 0 ? 1 : 2));
    return fails(error) ? -1 : 0;
}

// On the modem alone; like Linux it leaves in `timeout` what remains of it.
INTERPOSED int select(int count, fd_set* input, fd_set* output, fd_set* exceptions,
                      timeval* timeout) {
    const int modem = awaitedModem(count, input);
    if (modem < 0 || timeout == nullptr) {
        return callNext<"select">(count, input, output, exceptions, timeout);
    }
    if (!passes(Call::Select, Path::ModemPort)) {
        return -1;
    }
    ControlBlock& block = *attachedBlock();
    const Nanoseconds deadline = block.clock.reading(CLOCK_MONOTONIC) +
                                 timeout->tv_sec * nanosecondsPerSecond +
                                 timeout->tv_usec * nanosecondsPerMicrosecond;
    const bool ready = modemPort.waitReadable(block, modem, deadline);
    const Nanoseconds rest = deadline - block.clock.reading(CLOCK_MONOTONIC);
    *timeout = toTimeval(std::max<Nanoseconds>(0, rest));
    if (!ready) {
        FD_ZERO(input);
    }
    return ready ? 1 : 0;
}

// --- Serial line ---

INTERPOSED int tcgetattr(int descriptor, termios* settings) noexcept {
    return passesOn(Call::TcGetAttr, descriptor) ? callNext<"tcgetattr">(descriptor, settings) : -1;
}

INTERPOSED int tcsetattr(int descriptor, int action, const termios* settings) noexcept {
    if (isModem(descriptor)) {
        ControlBlock& block = *attachedBlock();
        const std::uint32_t index = block.lineSettingsTotal++;
        block.lineSettings[index % lineSettingsCount] = {settings->c_iflag, settings->c_cflag,
                                                         action};
    }
    return passesOn(Call::TcSetAttr, descriptor)
               ? callNext<"tcsetattr">(descriptor, action, settings)
               : -1;
}

INTERPOSED int tcdrain(int descriptor) {
    if (!isModem(descriptor)) {
        return callNext<"tcdrain">(descriptor);
    }
    if (!passesOn(Call::TcDrain, descriptor)) {
        return -1;
    }
    modemPort.exchange(*attachedBlock(), descriptor);
    return 0;
}

INTERPOSED int tcflush(int descriptor, int queue) noexcept {
    if (!isModem(descriptor)) {
        return callNext<"tcflush">(descriptor, queue);
    }
    if (!passesOn(Call::TcFlush, descriptor)) {
        return -1;
    }
    // What was written counts as sent, so only input is dropped: all that has arrived by now.
    modemPort.exchange(*attachedBlock(), descriptor);
    return queue == TCOFLUSH ? 0 : callNext<"tcflush">(descriptor, TCIFLUSH);
}

// --- Threads ---

INTERPOSED int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument) noexcept {
    return passes(Call::PthreadCreate) ? createThread(thread, attributes, start, argument) : errno;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
