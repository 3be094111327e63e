#include "sim/gateway.h"

#include "sim/facts.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/input.h>
#include <mutex>
#include <net/if.h>
#include <new>
#include <numeric>
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
#include <utility>

namespace sim {

namespace {

constexpr std::size_t pageSize = 4096;
constexpr std::size_t logTextSize = 68;
constexpr std::size_t eventsKept = 63; // by the kernel, for each reader, in a ring of 64
constexpr std::int32_t repetition = 2; // value of a key event

// Modification times count up from here, away from 0, which the daemon takes for "never read".
constexpr std::time_t firstStamp = 1'700'000'000;

constexpr const char* framebuffer = pathOf(Path::Framebuffer).data();
constexpr const char* button = pathOf(Path::Button).data();

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

constexpr std::string_view xmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// ` name="value"`, for values without signs that XML keeps to itself.
std::string attribute(std::string_view attributeName, std::string_view value) {
    return " " + std::string(attributeName) + "=\"" + std::string(value) + "\"";
}

std::size_t videoBytes(const Panel& panel) {
    return std::size_t{panel.width} * panel.height * panel.bitsPerPixel / 8;
}

// Up to the end of the page that the daemon maps, and one more.
std::string canary(const Panel& panel) {
    std::string bytes(2 * pageSize - videoBytes(panel) % pageSize, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(0xa5 ^ (i * 7));
    }
    return bytes;
}

std::string contentsOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

struct LogMessage {
    long type;
    std::array<char, 256> text;
};

} // namespace

Panel panelOf(int lines) {
    const auto* panel =
        std::find_if(std::begin(panels), std::end(panels), [lines](const Panel& row) {
            return row.height == static_cast<std::uint32_t>(lines);
        });
    if (panel == std::end(panels)) {
        throw std::invalid_argument("no panel of " + std::to_string(lines) + " lines");
    }
    return *panel;
}

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
    setPanel(panel);
    setButtonPresent(true);
    setOrdinary(*this);
}

Gateway::~Gateway() {
    if (attached_) {
        panel_gateway_attach(nullptr);
    }
    ::close(buttonFd_);
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

void Gateway::makeControlBlock() {
    const std::string file = sandbox_ + "/" + controlFileName;
    const int descriptor = checked(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600), file);
    checked(ftruncate(descriptor, sizeof(ControlBlock)), file);
    void* memory =
        mmap(nullptr, sizeof(ControlBlock), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
    if (memory == MAP_FAILED) {
        fail(file);
    }
    block_ = new (memory) ControlBlock{};
    sandbox_.copy(block_->sandbox, sizeof block_->sandbox - 1);
    block_->clock.mode = ClockMode::Virtual;
    block_->clock.limit = never;
    block_->clock.settledAt = -1;
    block_->size = sizeof(ControlBlock);
}

// The key comes from the sandbox's own file; keys of others that happen to be equal are passed by.
void Gateway::makeQueue() {
    const std::string file = sandbox_ + "/" + controlFileName;
    errno = EEXIST;
    for (int project = 1; queueId_ < 0 && project <= UCHAR_MAX && errno == EEXIST; ++project) {
        block_->queueKey = ftok(file.c_str(), project);
        queueId_ = msgget(block_->queueKey, IPC_CREAT | IPC_EXCL | 0600);
    }
    checked(queueId_, "message queue");
}

// Members that change the gateway are not const, whether they change this object or not.
// NOLINTBEGIN(readability-make-member-function-const)

// --- Clock ---

void Gateway::setClockMode(ClockMode mode) {
    const Nanoseconds wall = wallClock().count();
    const Nanoseconds uptime = monotonic().count();
    block_->clock.mode = mode;
    block_->clock.set(CLOCK_REALTIME, wall);
    block_->clock.set(CLOCK_MONOTONIC, uptime);
}

void Gateway::setWallClock(std::time_t seconds, std::chrono::nanoseconds fraction) {
    block_->clock.set(CLOCK_REALTIME,
                      std::int64_t{seconds} * nanosecondsPerSecond + fraction.count());
}

void Gateway::pass(std::chrono::nanoseconds duration) {
    if (!attached_) {
        throw std::logic_error("pass needs an attached gateway");
    }
    panel_gateway_pass(duration.count());
}

// --- Panel ---

void Gateway::setPanel(Panel panel) {
    editFacts([panel](Facts& facts) { facts.panel = panel; });
    writeFile(framebuffer, std::string(videoBytes(panel), '\0') + canary(panel));
    for (const Panel& other : panels) {
        removeFile(pathOf(other.backlight));
    }
    writeFile(pathOf(panel.backlight), bootBrightness);
}

std::vector<std::uint8_t> Gateway::picture() const {
    const std::string bytes = contentsOf(place(framebuffer)).substr(0, videoBytes(panel()));
    return {bytes.begin(), bytes.end()};
}

void Gateway::fillPicture(std::uint8_t value) {
    std::fstream(place(framebuffer), std::ios::in | std::ios::out)
        << std::string(videoBytes(panel()), static_cast<char>(value));
}

bool Gateway::canaryIntact() const {
    return contentsOf(place(framebuffer)).substr(videoBytes(panel())) == canary(panel());
}

// --- Backlight ---

std::optional<std::string> Gateway::brightness() const {
    return brightness(panel().backlight);
}

std::optional<std::string> Gateway::brightness(Path file) const {
    std::ifstream text(place(pathOf(file)));
    std::string level;
    return std::getline(text, level) ? std::optional(level) : std::nullopt;
}

// --- Button ---

void Gateway::setButtonPresent(bool present) {
    ::close(std::exchange(buttonFd_, -1));
    removeFile(button);
    keysDown_.reset();
    if (present) {
        std::filesystem::create_directories(place("/dev/input"));
        checked(mkfifo(place(button).c_str(), 0600), button);
        // Open for as long as the device is there, so that events wait for their reader.
        buttonFd_ = checked(::open(place(button).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC), button);
    }
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
    std::array<input_event, 2> events{};
    events[0].type = EV_SYN;
    events[0].code = SYN_DROPPED;
    events[1].type = type;
    events[1].code = code;
    events[1].value = value;
    int waiting = 0;
    ioctl(buttonFd_, FIONREAD, &waiting);
    std::string_view bytes(reinterpret_cast<const char*>(events.data()), sizeof events);
    if (static_cast<std::size_t>(waiting) >= eventsKept * sizeof(input_event)) {
        dropEvents();
    } else {
        bytes.remove_prefix(sizeof(input_event));
    }
    sendEventBytes(bytes);
}

void Gateway::sendEventBytes(std::string_view bytes) {
    checked(static_cast<int>(::write(buttonFd_, bytes.data(), bytes.size())), button);
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

void Gateway::writeChannels(const std::vector<Channel>& channels) {
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

// Written aside and moved into place, so that no reader meets half a file or a wrong stamp.
void Gateway::writeFile(std::string_view realPath, std::string_view contents,
                        std::optional<std::time_t> modified) {
    const std::string target = place(realPath);
    const std::string draft = sandbox_ + "/draft";
    std::filesystem::create_directories(std::filesystem::path(target).parent_path());
    std::ofstream(draft, std::ios::binary) << contents;
    setStamp(draft, modified);
    std::filesystem::rename(draft, target);
}

void Gateway::setStamp(const std::string& file, std::optional<std::time_t> modified) {
    const timespec stamp{modified.value_or(++lastStamp_), 0};
    const timespec stamps[] = {stamp, stamp};
    checked(utimensat(AT_FDCWD, file.c_str(), stamps, 0), file);
}

void Gateway::removeFile(std::string_view realPath) {
    std::filesystem::remove_all(place(realPath));
}

bool Gateway::exists(std::string_view realPath) const {
    return std::filesystem::exists(place(realPath));
}

void Gateway::setPresent(std::string_view realPath, bool present) {
    if (present) {
        writeFile(realPath, "");
    } else {
        removeFile(realPath);
    }
}

// --- Network and TF card ---

void Gateway::editFacts(const std::function<void(Facts&)>& edit) {
    const std::lock_guard guard(block_->factsLock);
    edit(block_->facts);
}

Facts Gateway::facts() const {
    const std::lock_guard guard(block_->factsLock);
    return block_->facts;
}

void Gateway::setInterface(std::string_view interfaceName, std::string_view address,
                           unsigned prefix) {
    InterfaceEntry entry{};
    entry.present = entry.hasAddress = entry.hasNetmask = 1;
    entry.family = AF_INET;
    entry.flags = IFF_UP | IFF_RUNNING;
    interfaceName.copy(entry.name, sizeof entry.name - 1);
    const in_addr_t netmask = htonl(static_cast<in_addr_t>(~(UINT64_MAX >> 32 >> prefix)));
    std::memcpy(entry.netmask, &netmask, sizeof netmask);
    if (inet_pton(AF_INET, std::string(address).c_str(), entry.address) != 1) {
        throw std::invalid_argument("not an IPv4 address: " + std::string(address));
    }
    editFacts([&](Facts& facts) {
        auto& entries = facts.interfaces;
        for (const InterfaceEntry& other : entries) {
            entry.flags = interfaceName == other.name ? other.flags : entry.flags;
        }
        auto* place = std::find_if(std::begin(entries), std::end(entries), [&](const auto& other) {
            return other.family == AF_INET && interfaceName == other.name;
        });
        if (place == std::end(entries)) {
            place = std::find_if(std::begin(entries), std::end(entries),
                                 [](const auto& other) { return other.present == 0; });
        }
        if (place == std::end(entries)) {
            throw std::length_error("too many interfaces");
        }
        *place = entry;
    });
}

void Gateway::removeInterface(std::string_view interfaceName) {
    editFacts([interfaceName](Facts& facts) {
        std::replace_if(
            std::begin(facts.interfaces), std::end(facts.interfaces),
            [interfaceName](const InterfaceEntry& entry) { return interfaceName == entry.name; },
            InterfaceEntry{});
    });
}

void Gateway::setInterfaceEntries(std::span<const InterfaceEntry> entries) {
    if (entries.size() > interfaceCount) {
        throw std::length_error("too many interfaces");
    }
    editFacts([entries](Facts& facts) {
        auto* end = std::copy(entries.begin(), entries.end(), facts.interfaces);
        std::fill(end, std::end(facts.interfaces), InterfaceEntry{});
    });
}

void Gateway::setTfCard(bool inserted) {
    setPresent(pathOf(Path::TfDevice), inserted);
    if (inserted) {
        setTfMounted(true);
    }
}

void Gateway::setTfMounted(bool mounted) {
    if (mounted) {
        std::filesystem::create_directories(place(pathOf(Path::TfMount)));
    } else {
        removeFile(pathOf(Path::TfMount));
    }
}

void Gateway::setTfMegabytes(std::uint32_t freeMb, std::uint32_t totalMb) {
    const std::uint64_t freeBlocks = std::uint64_t{freeMb} * tfBlocksPerMegabyte;
    setTfFigures(
        {tfBlockSize, std::uint64_t{totalMb} * tfBlocksPerMegabyte, freeBlocks, freeBlocks});
}

// --- Modem ---

void Gateway::scriptModem(const std::vector<Reply>& replies) {
    ModemScript script{};
    for (const Reply& reply : replies) {
        ScriptRow& row = script.rows[script.rowCount++];
        if (script.rowCount > std::size(script.rows) || reply.steps.size() > std::size(row.steps)) {
            throw std::length_error("modem script too long");
        }
        reply.command.copy(row.command, sizeof row.command - 1);
        row.uses = static_cast<std::int16_t>(reply.uses == 0 ? -1 : reply.uses);
        row.stepCount = static_cast<std::uint16_t>(reply.steps.size());
        std::copy(reply.steps.begin(), reply.steps.end(), row.steps);
    }
    editModem([&script](ModemFacts& facts) { facts.script = script; });
}

std::string Gateway::sentToModem() const {
    std::string bytes;
    const SentBytes& sent = block_->sentToModem;
    const std::uint32_t total = sent.total;
    const auto kept = std::min<std::uint32_t>(total - sentBefore_, sizeof sent.bytes);
    for (std::uint32_t i = total - kept; i < total; ++i) {
        bytes += sent.bytes[i % sizeof sent.bytes];
    }
    return bytes;
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

void Gateway::limitQueue(std::optional<std::size_t> bytes) {
    msqid_ds settings{};
    checked(msgctl(queueId_, IPC_STAT, &settings), "message queue");
    settings.msg_qbytes = bytes.value_or(0);
    checked(msgctl(queueId_, bytes ? IPC_SET : IPC_RMID, &settings), "message queue");
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

const char* name(Call call) {
    static constexpr const char* names[] = {
        "open",         "close",   "write",          "ioctl",      "mmap",
        "stat",         "access",  "statfs",         "getifaddrs", "freeifaddrs",
        "msgget",       "msgrcv",  "popen",          "pclose",     "clock_gettime",
        "gettimeofday", "usleep",  "select",         "tcgetattr",  "tcsetattr",
        "tcdrain",      "tcflush", "pthread_create", "malloc",     "read",
    };
    static_assert(std::size(names) == callCount);
    return names[static_cast<std::size_t>(call)];
}

const char* name(Path path) {
    return path == Path::None ? "none" : path == Path::Refused ? "refused" : pathOf(path).data();
}

std::uint64_t Gateway::calls(Call call) const {
    const auto& row = block_->calls[static_cast<std::size_t>(call)];
    return std::accumulate(std::begin(row), std::end(row), std::uint64_t{0});
}

std::uint64_t Gateway::calls(Path path) const {
    std::uint64_t sum = 0;
    for (const auto& row : block_->calls) {
        sum += row[static_cast<std::size_t>(path)];
    }
    return sum;
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

// NOLINTEND(readability-make-member-function-const)

} // namespace sim
