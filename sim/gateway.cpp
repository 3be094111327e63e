#include "sim/gateway.h"

#include "sim/places.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/input.h>
#include <mutex>
#include <net/if.h>
#include <new>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace sim {

namespace {

constexpr std::size_t pageSize = 4096;
constexpr std::size_t logTextSize = 68;
constexpr std::uint32_t blocksPerMegabyte = 256; // of 4096 bytes
constexpr std::uint32_t tfBlockSize = 4096;
constexpr std::uint16_t buttonCode = 256;
constexpr std::size_t eventsKept = 63; // by the kernel, for each reader, in a ring of 64
constexpr std::int32_t repetition = 2; // value of a key event

// Monday 2024-03-04 09:05:03 UTC.
constexpr std::time_t ordinaryWallClock = 1'709'543'103;
constexpr std::chrono::seconds ordinaryUptime{1000};
// Modification times count up from here, away from 0, which the daemon takes for "never read".
constexpr std::time_t firstStamp = 1'700'000'000;

constexpr const char* framebuffer = pathOf(Path::Framebuffer).data();
constexpr const char* button = pathOf(Path::Button).data();
constexpr const char* modemDevice = pathOf(Path::ModemPort).data();
constexpr const char* tfDevice = pathOf(Path::TfDevice).data();
constexpr const char* tfMount = pathOf(Path::TfMount).data();

// What the brightness file holds before anyone writes it: neither of the daemon's levels.
constexpr const char* bootBrightness = "50\n";

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int checked(int result, const std::string& what) {
    if (result < 0) {
        fail(what);
    }
    return result;
}

// A descriptor that closes itself.
class Descriptor {
  public:
    Descriptor(const std::string& file, int flags, mode_t mode = 0644)
        : number_(::open(file.c_str(), flags | O_CLOEXEC, mode)), name_(file) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool open() const { return number_ >= 0; }
    int get() const { return checked(number_, name_); }

  private:
    int number_;
    std::string name_;
};

void writeAll(int descriptor, std::string_view bytes, const std::string& what) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            fail(what);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string attribute(std::string_view attributeName, std::string_view value) {
    return " " + std::string(attributeName) + "=\"" + escaped(value) + "\"";
}

constexpr std::string_view xmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::size_t videoBytes(const Panel& panel) {
    return std::size_t{panel.width} * panel.height * panel.bitsPerPixel / 8;
}

// Up to the end of the page that the daemon maps, and one more.
std::size_t canaryBytes(const Panel& panel) {
    return pageSize - videoBytes(panel) % pageSize + pageSize;
}

std::uint8_t canaryAt(std::size_t index) {
    return static_cast<std::uint8_t>(0xa5 ^ (index * 7));
}

std::string canary(const Panel& panel) {
    std::string bytes(canaryBytes(panel), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(canaryAt(i));
    }
    return bytes;
}

Backlight fittedBacklight(const Panel& panel) {
    return panel.height == 64 ? Backlight::Ssd1306 : Backlight::St7565;
}

std::string_view brightnessFile(Backlight which) {
    return pathOf(which == Backlight::Ssd1306 ? Path::BacklightSsd1306 : Path::BacklightSt7565);
}

// Straight from the kernel: in a test program the library's call is interposed.
Nanoseconds machineClock(clockid_t id) {
    timespec time{};
    syscall(SYS_clock_gettime, id, &time);
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

Nanoseconds clockBase(const Clock& clock, clockid_t id) {
    return clock.mode == ClockMode::Virtual ? clock.now.load() : machineClock(id);
}

void parseAddress(std::string_view text, std::uint8_t (&bytes)[4]) {
    if (inet_pton(AF_INET, std::string(text).c_str(), bytes) != 1) {
        throw std::invalid_argument("not an IPv4 address: " + std::string(text));
    }
}

InterfaceEntry interfaceEntry(std::string_view interfaceName, std::uint16_t family) {
    InterfaceEntry entry{};
    interfaceName.copy(entry.name, sizeof entry.name - 1);
    entry.present = 1;
    entry.hasAddress = 1;
    entry.hasNetmask = family == AF_INET ? 1 : 0;
    entry.family = family;
    entry.flags = IFF_UP | IFF_RUNNING;
    return entry;
}

template <typename Entries>
const InterfaceEntry* entryOf(const Entries& entries, std::string_view interfaceName) {
    const auto* found = std::find_if(std::begin(entries), std::end(entries),
                                     [interfaceName](const InterfaceEntry& entry) {
                                         return entry.present != 0 && interfaceName == entry.name;
                                     });
    return found == std::end(entries) ? nullptr : found;
}

bool isIpv4Of(const InterfaceEntry& entry, std::string_view interfaceName) {
    return entry.present != 0 && entry.family == AF_INET && interfaceName == entry.name;
}

struct LogMessage {
    long type;
    std::array<char, 256> text;
};

} // namespace

Gateway::Gateway(Panel panel) : lastStamp_(firstStamp) {
    const char* temporary = std::getenv("TMPDIR");
    std::string folderName =
        std::string(temporary != nullptr ? temporary : "/tmp") + "/paneld-gateway-XXXXXX";
    if (mkdtemp(folderName.data()) == nullptr) {
        fail(folderName);
    }
    sandbox_ = std::filesystem::canonical(folderName).string();
    makeControlBlock();
    makeQueue();
    makeOrdinaryFacts(panel);
}

Gateway::~Gateway() {
    if (attached_) {
        panel_gateway_attach(nullptr);
    }
    if (buttonFd_ >= 0) {
        ::close(buttonFd_);
    }
    msgctl(queueId_, IPC_RMID, nullptr);
    // A thread of the attached program may still be in a call that works on the block.
    if (!attached_) {
        munmap(block_, sizeof(ControlBlock));
    }
    std::error_code ignored;
    std::filesystem::remove_all(sandbox_, ignored);
}

void Gateway::attach() {
    if (panel_gateway_attach == nullptr) {
        throw std::logic_error("this program is built without the interposer");
    }
    block_->clock.limit = never;
    panel_gateway_attach(block_);
    attached_ = true;
}

std::string Gateway::place(std::string_view realPath) const {
    return sandbox_ + std::string(realPath);
}

void Gateway::makeControlBlock() {
    const std::string file = sandbox_ + "/" + controlFileName;
    const Descriptor descriptor(file, O_RDWR | O_CREAT | O_EXCL);
    checked(ftruncate(descriptor.get(), sizeof(ControlBlock)), file);
    void* memory = mmap(nullptr, sizeof(ControlBlock), PROT_READ | PROT_WRITE, MAP_SHARED,
                        descriptor.get(), 0);
    if (memory == MAP_FAILED) {
        fail(file);
    }
    block_ = new (memory) ControlBlock{};
    block_->size = sizeof(ControlBlock);
    sandbox_.copy(block_->sandbox, sizeof block_->sandbox - 1);
    block_->clock.mode = ClockMode::Virtual;
    block_->clock.limit = never;
    block_->clock.settledAt = -1;
    block_->magic = controlMagic;
}

// The key comes from the sandbox's own file; keys of others that happen to be equal are passed by.
void Gateway::makeQueue() {
    const std::string file = sandbox_ + "/" + controlFileName;
    for (int project = 1; project <= UCHAR_MAX; ++project) {
        const key_t key = ftok(file.c_str(), project);
        queueId_ = msgget(key, IPC_CREAT | IPC_EXCL | 0600);
        if (queueId_ >= 0) {
            block_->queueKey = key;
            return;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    fail("message queue");
}

void Gateway::makeOrdinaryFacts(Panel panel) {
    setWallClock(ordinaryWallClock);
    setMonotonic(ordinaryUptime);
    setPanel(panel);
    setButtonPresent(true);
    setModemPresent(true);
    editModem(ordinaryModem);
    setTfCard(true);
    setTfMegabytes(5000, 7600);
    std::vector<InterfaceEntry> entries;
    for (const char* interfaceName : {"lo", "eth0", "eth1", "ppp0"}) {
        entries.push_back(interfaceEntry(interfaceName, AF_PACKET));
    }
    setInterfaceEntries(entries);
    setInterface("lo", "127.0.0.1", "255.0.0.0");
    setInterface("eth0", "192.168.1.10");
    setInterface("eth1", "10.10.0.2");
    setInterface("ppp0", "10.64.3.7", "255.255.255.255");
    writeSysXml("192.168.1.1");
    writeSnXml("SN20240001", "GW-100-L");
    writeVersion("V1.2.3\n");
    writeChannels({{.number = 1},
                   {.number = 2, .baud = 115200, .parity = "Even"},
                   {.number = 5, .baud = 2400, .dataSize = 7, .parity = "Odd", .stop = 2}});
}

// --- Clock ---

void Gateway::setClockMode(ClockMode mode) {
    const std::chrono::nanoseconds wall = wallClock();
    const std::chrono::nanoseconds uptime = monotonic();
    block_->clock.mode = mode;
    block_->clock.wallOffset = wall.count() - clockBase(block_->clock, CLOCK_REALTIME);
    block_->clock.monotonicOffset = uptime.count() - clockBase(block_->clock, CLOCK_MONOTONIC);
}

void Gateway::setWallClock(std::time_t seconds, std::chrono::nanoseconds fraction) {
    block_->clock.wallOffset = std::int64_t{seconds} * nanosecondsPerSecond + fraction.count() -
                               clockBase(block_->clock, CLOCK_REALTIME);
}

void Gateway::setMonotonic(std::chrono::nanoseconds sinceStart) {
    block_->clock.monotonicOffset = sinceStart.count() - clockBase(block_->clock, CLOCK_MONOTONIC);
}

std::chrono::nanoseconds Gateway::wallClock() const {
    return std::chrono::nanoseconds(block_->clock.wallOffset +
                                    clockBase(block_->clock, CLOCK_REALTIME));
}

std::chrono::nanoseconds Gateway::monotonic() const {
    return std::chrono::nanoseconds(block_->clock.monotonicOffset +
                                    clockBase(block_->clock, CLOCK_MONOTONIC));
}

void Gateway::pass(std::chrono::nanoseconds duration) {
    if (!attached_) {
        throw std::logic_error("pass needs an attached gateway");
    }
    panel_gateway_pass(duration.count());
}

// --- Panel ---

void Gateway::setPanel(Panel panel) {
    {
        const std::lock_guard guard(block_->factsLock);
        block_->facts.panel = panel;
    }
    setFramebufferPresent(true);
    const Backlight fitted = fittedBacklight(panel);
    for (const Backlight which : {Backlight::Ssd1306, Backlight::St7565}) {
        setBacklightPresent(which, which == fitted);
    }
}

Panel Gateway::panel() const {
    const std::lock_guard guard(block_->factsLock);
    return block_->facts.panel;
}

void Gateway::setFramebufferPresent(bool present) {
    if (!present) {
        removeFile(framebuffer);
        return;
    }
    std::filesystem::create_directories(place("/dev"));
    const Descriptor file(place(framebuffer), O_RDWR | O_CREAT);
    const std::string contents = std::string(videoBytes(panel()), '\0') + canary(panel());
    writeAll(file.get(), contents, framebuffer);
    checked(ftruncate(file.get(), static_cast<off_t>(contents.size())), framebuffer);
}

std::vector<std::uint8_t> Gateway::picture() const {
    std::vector<std::uint8_t> bytes(videoBytes(panel()));
    const Descriptor file(place(framebuffer), O_RDONLY);
    if (pread(file.get(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        fail(framebuffer);
    }
    return bytes;
}

void Gateway::fillPicture(std::uint8_t value) {
    const Descriptor file(place(framebuffer), O_WRONLY);
    writeAll(file.get(), std::string(videoBytes(panel()), static_cast<char>(value)), framebuffer);
}

bool Gateway::canaryIntact() const {
    const std::string expected = canary(panel());
    std::string found(expected.size() + 1, '\0');
    const Descriptor file(place(framebuffer), O_RDONLY);
    const ssize_t count =
        pread(file.get(), found.data(), found.size(), static_cast<off_t>(videoBytes(panel())));
    return count == static_cast<ssize_t>(expected.size()) &&
           std::string_view(found).substr(0, expected.size()) == expected;
}

// --- Backlight ---

std::optional<std::string> Gateway::brightness() const {
    return brightness(fittedBacklight(panel()));
}

std::optional<std::string> Gateway::brightness(Backlight which) const {
    std::optional<std::string> text = readFile(brightnessFile(which));
    if (text) {
        text->erase(std::min(text->find('\n'), text->size()));
    }
    return text;
}

void Gateway::setBacklightPresent(Backlight which, bool present) {
    if (present) {
        writeFile(brightnessFile(which), bootBrightness);
    } else {
        removeFile(brightnessFile(which));
    }
}

// --- Button ---

void Gateway::setButtonPresent(bool present) {
    if (buttonFd_ >= 0) {
        ::close(buttonFd_);
        buttonFd_ = -1;
    }
    removeFile(button);
    keysDown_.reset();
    if (present) {
        std::filesystem::create_directories(place("/dev/input"));
        checked(mkfifo(place(button).c_str(), 0600), button);
        // Open for as long as the device is there, so that events wait for their reader.
        buttonFd_ = checked(::open(place(button).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC), button);
    }
}

void Gateway::press() {
    reportKey(buttonCode, 1);
}

void Gateway::release() {
    reportKey(buttonCode, 0);
}

void Gateway::reportKey(std::uint16_t code, std::int32_t value) {
    const bool down = value != 0;
    if (value != repetition) {
        if (keysDown_.test(code) == down) {
            return;
        }
        keysDown_.set(code, down);
    }
    sendEvent(EV_KEY, code, value);
    sendEvent(EV_SYN, SYN_REPORT, 0);
}

void Gateway::sendEvent(std::uint16_t type, std::uint16_t code, std::int32_t value) {
    // One more than the kernel keeps, and it forgets them all but for a note and the newest.
    int waiting = 0;
    if (ioctl(buttonFd_, FIONREAD, &waiting) == 0 &&
        static_cast<std::size_t>(waiting) >= eventsKept * sizeof(input_event)) {
        dropEvents();
        sendEvent(EV_SYN, SYN_DROPPED, 0);
    }
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    sendEventBytes({reinterpret_cast<const char*>(&event), sizeof event});
}

void Gateway::sendEventBytes(std::string_view bytes) {
    writeAll(buttonFd_, bytes, button);
}

void Gateway::dropEvents() {
    std::array<char, pageSize> bytes;
    while (::read(buttonFd_, bytes.data(), bytes.size()) > 0) {
    }
}

// --- Configuration files ---

void Gateway::writeSysXml(std::string_view gatewayAddress, std::string_view cascade) {
    writeFile(pathOf(Path::SysXml), std::string(xmlHead) + "<sysConfig>\n  <lan1" +
                                        attribute("gateway", gatewayAddress) +
                                        attribute("cascade", cascade) + "/>\n</sysConfig>\n");
}

void Gateway::writeSnXml(std::string_view seriesNumber, std::string_view model) {
    writeFile(pathOf(Path::SnXml), std::string(xmlHead) + "<snConfig>\n  <sn" +
                                       attribute("sn", seriesNumber) + "/>\n  <model" +
                                       attribute("model", model) + "/>\n</snConfig>\n");
}

void Gateway::writeVersion(std::string_view contents) {
    writeFile(pathOf(Path::VersionFile), contents);
}

void Gateway::writeChannels(std::span<const Channel> channels) {
    std::string text = std::string(xmlHead) + "<ChannelConfig>\n";
    for (const Channel& channel : channels) {
        text += "  <Channel" + attribute("No", std::to_string(channel.number)) +
                ">\n    <CommMode" + attribute("Mode", std::to_string(channel.mode)) +
                attribute("Baud", std::to_string(channel.baud)) +
                attribute("DataSize", std::to_string(channel.dataSize)) +
                attribute("Parity", channel.parity) +
                attribute("Stop", std::to_string(channel.stop)) + "/>\n  </Channel>\n";
    }
    writeFile(pathOf(Path::ChannelTemplate), text + "</ChannelConfig>\n");
}

void Gateway::writeChannels(std::initializer_list<Channel> channels) {
    writeChannels(std::span(channels.begin(), channels.size()));
}

// Written aside and moved into place, so that no reader meets half a file or a wrong stamp.
void Gateway::writeFile(std::string_view realPath, std::string_view contents,
                        std::optional<std::time_t> modified) {
    const std::string target = place(realPath);
    const std::string draft = sandbox_ + "/draft";
    std::filesystem::create_directories(std::filesystem::path(target).parent_path());
    {
        const Descriptor file(draft, O_WRONLY | O_CREAT | O_TRUNC);
        writeAll(file.get(), contents, draft);
        const timespec stamp{modified.value_or(nextStamp()), 0};
        const timespec stamps[] = {stamp, stamp};
        checked(futimens(file.get(), stamps), draft);
    }
    std::filesystem::rename(draft, target);
}

void Gateway::touchFile(std::string_view realPath, std::optional<std::time_t> modified) {
    const timespec stamp{modified.value_or(nextStamp()), 0};
    const timespec stamps[] = {stamp, stamp};
    checked(utimensat(AT_FDCWD, place(realPath).c_str(), stamps, 0), std::string(realPath));
}

void Gateway::removeFile(std::string_view realPath) {
    std::filesystem::remove_all(place(realPath));
}

bool Gateway::exists(std::string_view realPath) const {
    return std::filesystem::exists(place(realPath));
}

std::optional<std::string> Gateway::readFile(std::string_view realPath) const {
    const Descriptor file(place(realPath), O_RDONLY);
    if (!file.open()) {
        return std::nullopt;
    }
    std::string contents;
    std::array<char, pageSize> bytes;
    ssize_t count = 0;
    while ((count = ::read(file.get(), bytes.data(), bytes.size())) > 0) {
        contents.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return contents;
}

std::time_t Gateway::nextStamp() {
    return ++lastStamp_;
}

// --- Network ---

void Gateway::setInterface(std::string_view interfaceName, std::string_view address,
                           std::string_view netmask) {
    InterfaceEntry entry = interfaceEntry(interfaceName, AF_INET);
    parseAddress(address, entry.address);
    parseAddress(netmask, entry.netmask);
    const std::lock_guard guard(block_->factsLock);
    auto& entries = block_->facts.interfaces;
    if (const InterfaceEntry* known = entryOf(entries, interfaceName)) {
        entry.flags = known->flags;
    }
    auto* found =
        std::find_if(std::begin(entries), std::end(entries),
                     [&](const InterfaceEntry& other) { return isIpv4Of(other, interfaceName); });
    if (found == std::end(entries)) {
        found = std::find_if(std::begin(entries), std::end(entries),
                             [](const InterfaceEntry& other) { return other.present == 0; });
    }
    if (found == std::end(entries)) {
        throw std::length_error("too many interfaces");
    }
    *found = entry;
}

void Gateway::removeAddress(std::string_view interfaceName) {
    const std::lock_guard guard(block_->factsLock);
    for (InterfaceEntry& entry : block_->facts.interfaces) {
        if (isIpv4Of(entry, interfaceName)) {
            entry = {};
        }
    }
}

void Gateway::removeInterface(std::string_view interfaceName) {
    const std::lock_guard guard(block_->factsLock);
    for (InterfaceEntry& entry : block_->facts.interfaces) {
        if (interfaceName == entry.name) {
            entry = {};
        }
    }
}

bool Gateway::hasAddress(std::string_view interfaceName) const {
    const std::lock_guard guard(block_->factsLock);
    return std::any_of(
        std::begin(block_->facts.interfaces), std::end(block_->facts.interfaces),
        [interfaceName](const InterfaceEntry& entry) { return isIpv4Of(entry, interfaceName); });
}

void Gateway::setCable(std::string_view interfaceName, bool plugged) {
    const std::lock_guard guard(block_->factsLock);
    for (InterfaceEntry& entry : block_->facts.interfaces) {
        if (entry.present != 0 && interfaceName == entry.name) {
            entry.flags = plugged ? entry.flags | IFF_RUNNING : entry.flags & ~IFF_RUNNING;
        }
    }
}

bool Gateway::hasCable(std::string_view interfaceName) const {
    const std::lock_guard guard(block_->factsLock);
    const InterfaceEntry* entry = entryOf(block_->facts.interfaces, interfaceName);
    return entry != nullptr && (entry->flags & IFF_RUNNING) != 0;
}

bool Gateway::hasInterface(std::string_view interfaceName) const {
    const std::lock_guard guard(block_->factsLock);
    return entryOf(block_->facts.interfaces, interfaceName) != nullptr;
}

std::string Gateway::address(std::string_view interfaceName) const {
    const std::lock_guard guard(block_->factsLock);
    for (const InterfaceEntry& entry : block_->facts.interfaces) {
        if (isIpv4Of(entry, interfaceName)) {
            int prefix = 0;
            for (const std::uint8_t byte : entry.netmask) {
                prefix += std::popcount(byte);
            }
            std::array<char, INET_ADDRSTRLEN> text{};
            inet_ntop(AF_INET, entry.address, text.data(), text.size());
            return std::string(text.data()) + "/" + std::to_string(prefix);
        }
    }
    return {};
}

void Gateway::setInterfaceEntries(std::span<const InterfaceEntry> entries) {
    if (entries.size() > interfaceCount) {
        throw std::length_error("too many interfaces");
    }
    const std::lock_guard guard(block_->factsLock);
    std::fill(std::begin(block_->facts.interfaces), std::end(block_->facts.interfaces),
              InterfaceEntry{});
    std::copy(entries.begin(), entries.end(), block_->facts.interfaces);
}

// --- TF card ---

void Gateway::setTfCard(bool inserted) {
    if (inserted) {
        writeFile(tfDevice, "");
    } else {
        removeFile(tfDevice);
    }
    if (inserted) {
        setTfMounted(true);
    }
}

void Gateway::setTfMounted(bool mounted) {
    if (mounted) {
        std::filesystem::create_directories(place(tfMount));
    } else {
        removeFile(tfMount);
    }
}

bool Gateway::tfInserted() const {
    return exists(tfDevice);
}

bool Gateway::tfMounted() const {
    return exists(tfMount);
}

std::pair<std::uint64_t, std::uint64_t> Gateway::tfMegabytes() const {
    const std::lock_guard guard(block_->factsLock);
    const TfFigures& tf = block_->facts.tf;
    return {tf.blocks / blocksPerMegabyte, tf.blocksFree / blocksPerMegabyte};
}

void Gateway::setTfFigures(const TfFigures& figures) {
    const std::lock_guard guard(block_->factsLock);
    block_->facts.tf = figures;
}

void Gateway::setTfMegabytes(std::uint32_t freeMb, std::uint32_t totalMb) {
    const std::uint64_t freeBlocks = std::uint64_t{freeMb} * blocksPerMegabyte;
    setTfFigures({tfBlockSize, std::uint64_t{totalMb} * blocksPerMegabyte, freeBlocks, freeBlocks});
}

// --- Modem ---

void Gateway::setModemPresent(bool present) {
    if (present) {
        writeFile(modemDevice, "");
    } else {
        removeFile(modemDevice);
    }
}

bool Gateway::modemPresent() const {
    return exists(modemDevice);
}

void Gateway::editModem(const std::function<void(ModemFacts&)>& edit) {
    const std::lock_guard guard(block_->factsLock);
    edit(block_->facts.modem);
}

ModemFacts Gateway::modem() const {
    const std::lock_guard guard(block_->factsLock);
    return block_->facts.modem;
}

namespace {

void addReply(ModemScript& script, const Reply& reply, std::size_t& steps, std::size_t& bytes) {
    if (script.rowCount == scriptRowCount || steps + reply.steps.size() > scriptStepCount ||
        reply.command.size() >= sizeof ScriptRow::command) {
        throw std::length_error("modem script too long");
    }
    ScriptRow& row = script.rows[script.rowCount++];
    reply.command.copy(row.command, reply.command.size());
    row.firstStep = static_cast<std::uint16_t>(steps);
    row.stepCount = static_cast<std::uint16_t>(reply.steps.size());
    row.uses = reply.uses;
    for (const ReplyStep& step : reply.steps) {
        if (bytes + step.bytes.size() > scriptByteCount) {
            throw std::length_error("modem script too long");
        }
        script.steps[steps++] = {static_cast<std::uint32_t>(step.delay.count()),
                                 static_cast<std::uint32_t>(bytes),
                                 static_cast<std::uint32_t>(step.bytes.size()),
                                 static_cast<std::uint8_t>(step.hangUp ? 1 : 0)};
        step.bytes.copy(script.bytes + bytes, step.bytes.size());
        bytes += step.bytes.size();
    }
}

} // namespace

void Gateway::scriptModem(std::span<const Reply> replies) {
    ModemScript script{};
    std::size_t steps = 0;
    std::size_t bytes = 0;
    for (const Reply& reply : replies) {
        addReply(script, reply, steps, bytes);
    }
    editModem([&script](ModemFacts& facts) {
        script.generation = facts.script.generation + 1;
        facts.script = script;
    });
}

void Gateway::scriptModem(std::initializer_list<Reply> replies) {
    scriptModem(std::span(replies.begin(), replies.size()));
}

std::vector<Utterance> Gateway::transcript() const {
    std::vector<Utterance> utterances;
    const std::uint32_t total = block_->transcript.total;
    for (std::uint32_t i = total - std::min<std::uint32_t>(total, transcriptCount); i < total;
         ++i) {
        const TranscriptEntry& entry = block_->transcript.entries[i % transcriptCount];
        utterances.push_back({std::chrono::nanoseconds(entry.at), entry.fromModem != 0,
                              std::string(entry.bytes, entry.length)});
    }
    return utterances;
}

std::string Gateway::sentToModem() const {
    std::string bytes;
    for (const Utterance& utterance : transcript()) {
        bytes += utterance.fromModem ? "" : utterance.bytes;
    }
    return bytes;
}

std::string Gateway::sentByModem() const {
    std::string bytes;
    for (const Utterance& utterance : transcript()) {
        bytes += utterance.fromModem ? utterance.bytes : "";
    }
    return bytes;
}

void Gateway::clearTranscript() {
    block_->transcript.total = 0;
}

std::vector<LineSettings> Gateway::lineSettings() const {
    std::vector<LineSettings> settings;
    const std::uint32_t total = block_->lineSettingsTotal;
    for (std::uint32_t i = total - std::min<std::uint32_t>(total, lineSettingsCount); i < total;
         ++i) {
        settings.push_back(block_->lineSettings[i % lineSettingsCount]);
    }
    return settings;
}

// --- Message queue ---

bool Gateway::sendLogLine(std::string_view text, long type) {
    std::string bytes(text);
    if (bytes.size() < logTextSize) {
        bytes += '\0';
    }
    return sendLogBytes(bytes, type);
}

bool Gateway::sendLogBytes(std::string_view bytes, long type) {
    LogMessage message{type, {}};
    if (bytes.size() > message.text.size()) {
        throw std::length_error("log message too long");
    }
    bytes.copy(message.text.data(), bytes.size());
    return msgsnd(queueId_, &message, bytes.size(), IPC_NOWAIT) == 0;
}

std::size_t Gateway::logLinesWaiting() const {
    msqid_ds status{};
    checked(msgctl(queueId_, IPC_STAT, &status), "message queue");
    return status.msg_qnum;
}

bool Gateway::takeLogLine() {
    LogMessage message{};
    // Not the library's call, which counts as the daemon's.
    return syscall(SYS_msgrcv, queueId_, &message, message.text.size(), 0,
                   IPC_NOWAIT | MSG_NOERROR) >= 0;
}

// --- What the process did ---

std::uint64_t Gateway::calls(Call call) const {
    std::uint64_t sum = 0;
    for (const auto& count : block_->calls[static_cast<std::size_t>(call)]) {
        sum += count;
    }
    return sum;
}

std::uint64_t Gateway::calls(Call call, Path path) const {
    return block_->calls[static_cast<std::size_t>(call)][static_cast<std::size_t>(path)];
}

std::uint64_t Gateway::calls(Path path) const {
    std::uint64_t sum = 0;
    for (const auto& row : block_->calls) {
        sum += row[static_cast<std::size_t>(path)];
    }
    return sum;
}

void Gateway::resetCounters() {
    for (auto& row : block_->calls) {
        for (auto& count : row) {
            count = 0;
        }
    }
}

int Gateway::lastOpenFlags(Path path) const {
    return block_->lastOpenFlags[static_cast<std::size_t>(path)];
}

std::uint32_t Gateway::popenCount() const {
    return block_->popen.count;
}

std::string Gateway::lastPopen() const {
    return block_->popen.lastCommand;
}

// --- Faults ---

FaultId Gateway::failCall(Call call, int error, std::uint32_t nth, bool persistent, Path path) {
    for (Fault& fault : block_->faults) {
        if (fault.armed != 0) {
            continue;
        }
        fault.call = call;
        fault.path = path;
        fault.nth = nth;
        fault.error = error;
        fault.persistent = persistent;
        fault.seen = 0;
        fault.hits = 0;
        fault.armed = 1;
        return static_cast<FaultId>(&fault - block_->faults);
    }
    throw std::length_error("too many planned faults");
}

std::uint32_t Gateway::faultHits(FaultId fault) const {
    return block_->faults[fault].hits;
}

void Gateway::clearFaults() {
    for (Fault& fault : block_->faults) {
        fault.armed = 0;
    }
}

} // namespace sim
