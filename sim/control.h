#pragma once

// The control block of a simulated gateway: one fixed-size record in the file `controlFileName` of
// the gateway's sandbox, mapped shared by the harness and by the process that the interposer is
// bound to. It carries the clock, the fault plan, the counters and the facts that no file of the
// sandbox can hold. The harness writes facts through `Gateway`; the interposer reads them.

#include "sim/modem.h"
#include "sim/next_call.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sched.h>
#include <type_traits>

namespace sim {

// Environment variable that names the sandbox to a process with the preloaded interposer.
inline constexpr const char* gatewayVariable = "PANELD_GATEWAY";
inline constexpr const char* controlFileName = "control";

inline constexpr Nanoseconds nanosecondsPerSecond = 1'000'000'000;

// The calls that the interposer stands in for, variants of one call taken together. Calls on paths
// and descriptors count only when they concern the gateway; the others count always.
enum class Call : std::uint8_t {
    Open,
    Close,
    Write,
    Ioctl,
    Mmap,
    Stat,
    Access,
    Statfs,
    GetIfAddrs,
    FreeIfAddrs,
    MsgGet,
    MsgRcv,
    Popen,
    Pclose,
    ClockGettime,
    GetTimeOfDay,
    Usleep,
    Select,
    TcGetAttr,
    TcSetAttr,
    TcDrain,
    TcFlush,
    PthreadCreate,
    // Only with panel_failures.so preloaded as well:
    Malloc, // malloc, calloc and realloc, those of the libraries included
    Read,
};
inline constexpr std::size_t callCount = static_cast<std::size_t>(Call::Read) + 1;

// The places of the real gateway that are redirected into the sandbox; sim/places.h has their
// paths.
enum class Path : std::uint8_t {
    None, // no place of the gateway; as a fault's path: any
    Framebuffer,
    Button,
    ModemPort,
    TfDevice,
    TfMount,
    BacklightSsd1306,
    BacklightSt7565,
    SysXml,
    SnXml,
    VersionFile,
    ChannelTemplate,
    Zone,    // of the gateway's clock
    Refused, // a path where devices and configuration live and that the table does not have
};
inline constexpr std::size_t pathCount = static_cast<std::size_t>(Path::Refused) + 1;

// The call and the place as text, for reports.
const char* name(Call call);
const char* name(Path path);

enum class ClockMode : std::uint32_t {
    Real,    // time passes by itself; the offsets are added to the machine's clocks
    Virtual, // time stands still until every thread sleeps, then jumps to the first deadline
};

struct Clock {
    // What the gateway's CLOCK_REALTIME or CLOCK_MONOTONIC says.
    Nanoseconds reading(clockid_t id) const { return base(id) + offsets[id]; }
    void set(clockid_t id, Nanoseconds reading) { offsets[id] = reading - base(id); }

    // What the offset is counted from: `now`, or the machine's own clock.
    Nanoseconds base(clockid_t id) const {
        timespec time{};
        if (mode == ClockMode::Virtual) {
            return now;
        }
        callNext<"clock_gettime">(id, &time);
        return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
    }

    std::atomic<ClockMode> mode;
    std::atomic<Nanoseconds> now;            // virtual time since the gateway was made
    std::atomic<Nanoseconds> limit;          // virtual time does not pass this; `never`: free
    std::atomic<Nanoseconds> offsets[2];     // of CLOCK_REALTIME and CLOCK_MONOTONIC
    std::atomic<std::uint32_t> wakeSequence; // futex: bumped when limit or exitRequested changes
    std::atomic<Nanoseconds> settledAt;      // the limit at which all threads last slept; -1: none
    std::atomic<std::uint32_t> settleSequence; // futex: bumped when settledAt changes
};
static_assert(CLOCK_REALTIME == 0 && CLOCK_MONOTONIC == 1);

// One planned failure.
struct Fault {
    std::atomic<std::uint32_t> armed; // 1 while it counts
    Call call;
    Path path;                       // only calls on this place; None: any
    std::uint32_t nth;               // the first matching call that fails, counted from 1
    int error;                       // errno of the failure
    bool persistent;                 // every later matching call fails too
    std::atomic<std::uint32_t> seen; // matching calls so far
    std::atomic<std::uint32_t> hits; // of these, made to fail
};
inline constexpr std::size_t faultCount = 8;

// One entry of the list that getifaddrs gives. The kernel gives every entry of an interface the
// interface's own flags.
struct InterfaceEntry {
    char name[16];
    std::uint8_t present;
    std::uint8_t hasAddress; // 0: the entry's address pointer is null
    std::uint8_t hasNetmask; // 0: the entry's netmask pointer is null
    std::uint16_t family;    // AF_INET, AF_INET6, AF_PACKET
    std::uint8_t address[4];
    std::uint8_t netmask[4];
    std::uint32_t flags; // IFF_UP, IFF_RUNNING while there is a cable
};
inline constexpr std::size_t interfaceCount = 24;

// What statfs says of the TF card's mount point.
struct TfFigures {
    std::uint64_t blockSize;
    std::uint64_t blocks;
    std::uint64_t blocksFree;
    std::uint64_t blocksAvailable;
};

inline constexpr std::uint32_t tfBlockSize = 4096;
inline constexpr std::uint32_t tfBlocksPerMegabyte = 256;

// What FBIOGET_VSCREENINFO says.
struct Panel {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t bitsPerPixel;
    Path backlight = Path::BacklightSt7565;
};

// Everything guarded by `ControlBlock::factsLock`.
struct Facts {
    Panel panel;
    InterfaceEntry interfaces[interfaceCount];
    TfFigures tf;
    ModemFacts modem;
};

// What the modem was sent: byte i at i % its size, oldest overwritten first.
struct SentBytes {
    std::atomic<std::uint32_t> total;
    char bytes[65536];
};

// Line settings that a tcsetattr on the modem port asked for, before the driver adapted them.
struct LineSettings {
    std::uint32_t inputFlags;
    std::uint32_t controlFlags; // speed bits included
    std::int32_t action;        // TCSANOW, ...
};
inline constexpr std::size_t lineSettingsCount = 16;

// Looks until `holds` says so: often at once, then a millisecond apart, for a second at least. Its
// waits are counted by no interposed clock.
template <typename Condition>
void await(Condition holds) {
    constexpr int quickLooks = 200;
    constexpr int slowLooks = 1000;
    for (int look = 0; !holds() && look < quickLooks + slowLooks; ++look) {
        if (look < quickLooks) {
            sched_yield();
        } else {
            poll(nullptr, 0, 1);
        }
    }
}

// A lock for a moment, among processes and threads. A holder that died is overruled after a second
// or so, so a killed daemon never hangs its harness.
class BriefLock {
  public:
    void lock() {
        await([this] { return held_.exchange(1) == 0; });
    }
    void unlock() { held_ = 0; }

  private:
    std::atomic<std::uint32_t> held_{0};
};

struct ControlBlock {
    std::uint32_t size;    // sizeof(ControlBlock), so that two builds never share a sandbox
    char sandbox[256];     // absolute folder, without a slash at its end
    std::int32_t queueKey; // stands for the daemon's message queue key
    std::atomic<std::uint32_t> exitRequested; // 1: the main thread's next sleep calls exit(0)
    Clock clock;
    std::atomic<std::uint64_t> mainSleeps; // of the main thread through usleep
    Fault faults[faultCount];
    std::atomic<std::int32_t> libraryCaller;    // process whose library calls count; 0: none yet
    std::atomic<std::uint64_t> watchedSizes[2]; // allocations of these sizes, bytes, ...
    std::atomic<std::uint32_t> watchedRefused;  // ... set this to 1 when they are made to fail
    std::atomic<std::uint64_t> calls[callCount][pathCount]; // calls without a place count on None
    std::atomic<std::int32_t> lastOpenFlags[pathCount];
    std::atomic<std::uint32_t> popenCount;        // commands that were started
    std::atomic<std::uint32_t> lineSettingsTotal; // tcsetattr calls on the modem port
    LineSettings lineSettings[lineSettingsCount]; // call i is at i % lineSettingsCount
    SentBytes sentToModem;
    BriefLock factsLock;
    Facts facts;
};

static_assert(std::is_standard_layout_v<ControlBlock>);
static_assert(std::atomic<Nanoseconds>::is_always_lock_free);

} // namespace sim

// NOLINTBEGIN(readability-identifier-naming): names of C, found by the linker

// Binds the interposer linked into this program to a control block, or to none with null. Every
// redirected place is refused while there is none. Weak: a program without the interposer links.
extern "C" __attribute__((weak)) void panel_gateway_attach(sim::ControlBlock* block);

// Counts a call of the libraries, an allocation with its size. True when the fault plan wants it to
// fail; sets errno then. Weak.
extern "C" __attribute__((weak)) bool panel_gateway_fails(sim::Call call, std::size_t size);

// Lets the calling thread sleep on the clock of the attached control block, uncounted. Weak.
extern "C" __attribute__((weak)) void panel_gateway_pass(sim::Nanoseconds duration);

// NOLINTEND(readability-identifier-naming)
