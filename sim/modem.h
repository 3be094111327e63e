#pragma once

// The simulated cellular modem: takes the bytes that a program sent it and schedules the chunks
// that it sends back, each with the moment at which it arrives. A pure value without descriptors,
// threads or heap, so it is tested by itself and runs unchanged inside the interposer. Times are
// nanoseconds of the gateway's clock. What the modem is like stands in `ModemFacts`.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sim {

// Nanoseconds on the gateway's clock, or a duration.
using Nanoseconds = std::int64_t;

// A moment that never comes.
inline constexpr Nanoseconds never = INT64_MAX;

enum class Maker : std::uint8_t { Simcom, AirM2m, Both, Neither };

// What the modem says to at+cpin?.
enum class SimCard : std::uint8_t {
    Ready,    // +CPIN: READY, OK
    NeedsPin, // +CPIN: SIM PIN, OK
    Absent,   // +CME ERROR: 10
};

// The commands that the modem knows; every other line starting with "AT" is `Other`.
enum class Command : std::uint8_t { Cpin, Creg, Csq, Cgmi, Cnsmod, Sysinfo, Other };

// The bit of a command in `ModemFacts::errorCommands` and `ModemFacts::silentCommands`.
constexpr std::uint8_t bit(Command command) {
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(command));
}
inline constexpr std::uint8_t everyCommand = 0xff;

// A step of a scripted reply: bytes that arrive together.
struct ReplyStep {
    ReplyStep() = default;
    ReplyStep(std::chrono::microseconds wait, std::string_view bytes, bool last = false)
        : delay(wait), hangUp(last) {
        bytes.copy(text, sizeof text - 1);
    }

    std::chrono::microseconds delay{}; // after the step before it, or after the command; 0 for a
                                       // first step: lost to the caller's flush
    char text[63] = {};
    bool hangUp = false; // the far end closes the line after these bytes, reads then return 0
};

// One scripted reply.
struct ScriptRow {
    char command[64]; // without its line end; several lines joined match one write of them all
    std::uint16_t stepCount; // 0: no answer at all
    std::int16_t uses;       // how often the row answers yet; below 0: always
    ReplyStep steps[64];
};

// Exact replies that take the place of the modem's own. The first row that has its command and is
// not used up answers; a command without a row is answered from the facts.
struct ModemScript {
    std::uint16_t rowCount;
    ScriptRow rows[8];
};

// What the modem is like. All zero is not sensible: start from `ordinaryModem`.
struct ModemFacts {
    Maker maker;
    SimCard simCard;
    std::int32_t registration;     // second number of +CREG: 0 to 5; 1 home, 2 searching, 5 roaming
    std::int32_t csq;              // first number of +CSQ; -1: at+csq is not answered
    std::uint32_t csqLeadingZeros; // so many answers of 0 first, anew each time the port is opened
    std::int32_t networkMode;      // second number of +CNSMOD
    std::uint32_t modeLeadingZeros; // so many modes of 0 first, as for csq
    std::int32_t systemMode;        // fourth number of ^SYSINFO
    std::uint8_t errorCommands;     // `bit`s of the commands answered with ERROR
    std::uint8_t silentCommands;    // `bit`s of the commands never answered
    std::uint32_t answerDelayUs;    // from command to answer; 0: the answer arrives before the
                                    // caller can flush its input, and is lost with it
    std::uint16_t chunkBytes; // answers arrive in pieces of so many bytes, 20 ms apart; 0: whole
    ModemScript script;
};

// Sets `modem` to what desk/ordinary.json says, which answers whole after a short while.
void ordinaryModem(ModemFacts& modem);

// One arrival at the port.
struct ModemChunk {
    bool hangUp;            // after the bytes
    std::string_view bytes; // valid until the modem is used again
};

class Modem {
  public:
    // The port has been opened: what was still to arrive and is due by now is lost, and the counts
    // of leading zeros start again.
    void opened(Nanoseconds now);

    // Takes the bytes of one or more writes. Complete lines are answered; an incomplete one waits
    // for its end. Counts the uses of scripted replies.
    void feed(ModemFacts& facts, std::string_view bytes, Nanoseconds now);

    // When the next chunk arrives, or `never`.
    Nanoseconds nextDue() const { return pieceTotal_ > 0 ? pieces_[0].due : never; }

    // Takes the earliest chunk that is due by `now` out of the schedule; false when there is none.
    bool take(Nanoseconds now, ModemChunk& chunk);

  private:
    static constexpr std::size_t pieceSize = 240;
    static constexpr std::size_t pieceCount = 192;
    static constexpr std::size_t lineSize = 128;

    struct Piece {
        Nanoseconds due;
        bool hangUp;
        std::size_t length;
        std::array<char, pieceSize> bytes;
    };

    // `at` moves on to the end of the answer: the next one follows it.
    void answer(const ModemFacts& facts, std::string_view command, Nanoseconds& at);
    bool answerFromScript(ModemScript& script, std::string_view command, Nanoseconds now);
    void schedule(std::string_view bytes, Nanoseconds due, bool hangUp = false);

    std::array<Piece, pieceCount> pieces_{}; // ascending by `due`
    std::size_t pieceTotal_ = 0;
    Piece taken_{};
    std::array<char, lineSize> line_{};
    std::size_t lineLength_ = 0;
    std::uint32_t csqAnswers_ = 0;
    std::uint32_t modeAnswers_ = 0;
};

} // namespace sim
