#pragma once

// A simulated gateway: one sandbox folder with everything that the daemon finds on the real one,
// and the facts that can change under it. Each `Gateway` has a message queue and files of its own,
// so any number of them live side by side; all is removed with it. A harness uses one gateway from
// one thread. Setting up fails loudly: what cannot be made throws std::system_error.

#include "app/key_input.h"
#include "sim/places.h"

#include <algorithm>
#include <bitset>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// The one of `panels`; throws std::invalid_argument when none has so many lines.
Panel panelOf(int lines);

// Settings of one serial channel as the template gives them.
struct Channel {
    int number;
    int baud = 9600;
    int dataSize = 8;
    std::string parity = "None";
    int stop = 1;
    int mode = 0; // only mode 0 is shown
};

// A scripted modem reply; `uses` 0: for every such command, else for so many.
struct Reply {
    std::string command; // without its line end
    std::vector<ReplyStep> steps;
    std::uint16_t uses = 0;
};

// Identifies a planned failure.
using FaultId = std::size_t;

class Gateway {
  public:
    // Makes the sandbox with a virtual clock, the panel given with its backlight file, the button
    // and the facts of desk/ordinary.json.
    explicit Gateway(Panel panel = panelOf(64));
    ~Gateway();
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    // Makes the interposer of this program work on this gateway, until its end. Virtual time is
    // free: sleeping advances it at once. Throws when the program lacks the interposer.
    void attach();

    const std::string& folder() const { return sandbox_; }
    ControlBlock& control() { return *block_; }
    const ControlBlock& control() const { return *block_; }

    // The place in the sandbox that stands for an absolute path of the real gateway.
    std::string place(std::string_view realPath) const { return sandbox_ + std::string(realPath); }

    // --- Clock ---

    // Real time, or virtual time as at construction. The clocks keep their readings.
    void setClockMode(ClockMode mode);
    // Sets the wall clock; it goes on from there. The monotonic clock is not touched.
    void setWallClock(std::time_t seconds, std::chrono::nanoseconds fraction = {});
    std::chrono::nanoseconds wallClock() const {
        return std::chrono::nanoseconds(block_->clock.reading(CLOCK_REALTIME));
    }
    std::chrono::nanoseconds monotonic() const {
        return std::chrono::nanoseconds(block_->clock.reading(CLOCK_MONOTONIC));
    }
    // In a program with the attached interposer: sleeps that long on the virtual clock. Other
    // threads run meanwhile. Not counted as a sleep of the program.
    void pass(std::chrono::nanoseconds duration);

    // --- Panel ---

    // Another panel: new framebuffer contents and backlight file. Only while no daemon runs.
    void setPanel(Panel panel);
    Panel panel() const { return facts().panel; }
    // The bytes of the panel's video memory as they stand.
    std::vector<std::uint8_t> picture() const;
    // Fills the video memory, to tell "drawn dark" from "untouched".
    void fillPicture(std::uint8_t value);
    // Whether the bytes after the video memory are as they were put there.
    bool canaryIntact() const;

    // --- Backlight ---

    // What the brightness file of the fitted panel, or of another, answers, without its line feed;
    // nullopt when missing.
    std::optional<std::string> brightness() const;
    std::optional<std::string> brightness(Path file) const;

    // --- Button ---

    // A press or release of the button with the synchronisation event that follows it.
    void press() { reportKey(buttonCode, 1); }
    void release() { reportKey(buttonCode, 0); }
    // What the driver reports of a key. The kernel's input layer passes on changes between 0 (up)
    // and anything else (down), and every 2, which is a repetition; other reports give no event.
    void reportKey(std::uint16_t code, std::int32_t value);
    // One event, alone, as a reader may meet it that has lost the ones before: past the input
    // layer. The 64th event that nobody has read drives out all before it, as in the kernel.
    void sendEvent(std::uint16_t type, std::uint16_t code, std::int32_t value);
    // Raw bytes into the device, for short reads.
    void sendEventBytes(std::string_view bytes);
    // Drops the events that nobody has read.
    void dropEvents();
    void setButtonPresent(bool present);

    // --- Configuration files: each write has a modification time of its own ---

    void writeSysXml(std::string_view gatewayAddress, std::string_view cascade = "0");
    void writeSnXml(std::string_view seriesNumber, std::string_view model);
    // The whole contents.
    void writeVersion(std::string_view contents) { writeFile(pathOf(Path::VersionFile), contents); }
    void writeChannels(const std::vector<Channel>& channels);
    // Any file by its path on the real gateway, folders made as needed, with the modification time
    // given or the next unused second.
    void writeFile(std::string_view realPath, std::string_view contents,
                   std::optional<std::time_t> modified = std::nullopt);
    void touchFile(std::string_view realPath, std::optional<std::time_t> modified = std::nullopt) {
        setStamp(place(realPath), modified);
    }
    void removeFile(std::string_view realPath);
    bool exists(std::string_view realPath) const;

    // --- Network and TF card ---

    // Changes the facts that the control block holds, under their lock.
    void editFacts(const std::function<void(Facts&)>& edit);
    Facts facts() const;

    // Gives the interface this IPv4 address; changes the first IPv4 entry of that name or adds one.
    void setInterface(std::string_view interfaceName, std::string_view address,
                      unsigned prefix = 24);
    // Takes every entry of that name away, as when a data link ends.
    void removeInterface(std::string_view interfaceName);
    // The exact list, in this order.
    void setInterfaceEntries(std::span<const InterfaceEntry> entries);

    // An inserted card is mounted. Of a pulled one the device node goes at once; its mount stays,
    // and statfs answers, until setTfMounted takes it away.
    void setTfCard(bool inserted);
    // The mount point, with whatever device node there is.
    void setTfMounted(bool mounted);
    void setTfFigures(const TfFigures& figures) {
        editFacts([&figures](Facts& facts) { facts.tf = figures; });
    }
    // Figures that show as these sizes, blocks of 4096 bytes; rounded to 4 MiB.
    void setTfMegabytes(std::uint32_t freeMb, std::uint32_t totalMb);

    // --- Modem ---

    void setModemPresent(bool present) { setPresent(pathOf(Path::ModemPort), present); }
    // Changes its facts under their lock; in force from the modem's next answer on.
    void editModem(const std::function<void(ModemFacts&)>& edit) {
        editFacts([&edit](Facts& facts) { edit(facts.modem); });
    }
    // Exact replies; an empty list gives the modem its own answers back.
    void scriptModem(const std::vector<Reply>& replies);
    // All bytes that the modem was sent since `clearTranscript`, the newest when they are many.
    std::string sentToModem() const;
    void clearTranscript() { sentBefore_ = block_->sentToModem.total; }
    // What the tcsetattr calls on the port asked for, oldest first, at most the last 16.
    std::vector<LineSettings> lineSettings() const;

    // --- Message queue ---

    int queueKey() const { return block_->queueKey; }
    // Sends a line as another process of the gateway would; a NUL ends it when it is shorter than
    // 68 bytes. False when the queue refuses it.
    bool sendLogLine(std::string_view text, long type = 1);
    // Sends exactly these bytes.
    bool sendLogBytes(std::string_view bytes, long type = 1);
    // Room for so many bytes, fewer than wait in it too; nullopt takes the queue away.
    void limitQueue(std::optional<std::size_t> bytes);
    // Messages that wait in the queue.
    std::size_t logLinesWaiting() const;
    // Takes the oldest message out, as another reader would; false when there is none.
    bool takeLogLine();

    // --- What the process did ---

    // Calls since the gateway was made, or since resetCounters.
    std::uint64_t calls(Call call) const;
    std::uint64_t calls(Call call, Path path) const {
        return block_->calls[static_cast<std::size_t>(call)][static_cast<std::size_t>(path)];
    }
    // Calls of any kind on this place.
    std::uint64_t calls(Path path) const;
    void resetCounters() { std::fill_n(&block_->calls[0][0], callCount * pathCount, 0); }
    // Flags of the last open of this place.
    int lastOpenFlags(Path path) const {
        return block_->lastOpenFlags[static_cast<std::size_t>(path)];
    }
    std::uint32_t popenCount() const { return block_->popenCount; }

    // --- Faults ---

    // Plans that the nth call from now on fails with `error`, and every later one too when
    // persistent; only calls on `path` when one is given. Throws when eight are planned already.
    FaultId failCall(Call call, int error, std::uint32_t nth = 1, bool persistent = false,
                     Path path = Path::None);
    // How many calls the planned failure has hit.
    std::uint32_t faultHits(FaultId fault) const { return block_->faults[fault].hits; }
    void clearFaults() {
        for (Fault& fault : block_->faults) {
            fault.armed = 0;
        }
    }

  private:
    void makeControlBlock();
    void makeQueue();
    void setStamp(const std::string& file, std::optional<std::time_t> modified);
    void setPresent(std::string_view realPath, bool present);

    std::string sandbox_;
    ControlBlock* block_ = nullptr;
    int queueId_ = -1;
    int buttonFd_ = -1;
    std::bitset<KEY_CNT> keysDown_; // as the input layer knows them
    std::time_t lastStamp_;
    std::uint32_t sentBefore_ = 0; // bytes to the modem, when the transcript was cleared
    bool attached_ = false;
};

} // namespace sim
