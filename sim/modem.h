#pragma once

// The simulated cellular modem: takes the bytes that a program sent it and schedules the chunks
// that it sends back, each with the moment at which it arrives. A pure value without descriptors,
// threads or heap, so it is tested by itself and runs unchanged inside the interposer. Times are
// nanoseconds of the gateway's clock. What the modem is like stands in `ModemFacts`.

#include <array>
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

// Whether the modem repeats what it is told.
enum class Echo : std::uint8_t {
    Off,
    Joined,   // in one piece with the answer, right before it
    Separate, // a chunk of its own, half the answer delay after the command
};

// The commands that the modem knows; every other line starting with "AT" is `Other`.
enum class Command : std::uint8_t { Cpin, Creg, Csq, Cgmi, Cnsmod, Sysinfo, Other };

// The bit of a command in `ModemFacts::errorCommands` and `ModemFacts::silentCommands`.
constexpr std::uint8_t bit(Command command) {
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(command));
}
inline constexpr std::uint8_t everyCommand = 0xff;

inline constexpr std::size_t modemTextSize = 160;
inline constexpr std::size_t scriptRowCount = 32;
inline constexpr std::size_t scriptStepCount = 128;
inline constexpr std::size_t scriptByteCount = 32768;

// A step of a scripted reply: bytes that arrive together, or the line being hung up.
struct ScriptStep {
    std::uint32_t delayUs; // after the step before it, or after the command
    std::uint32_t offset;  // of its bytes in `ModemScript::bytes`
    std::uint32_t length;
    std::uint8_t hangUp; // 1: the far end closes the line, reads then return 0
};

// One scripted reply.
struct ScriptRow {
    char command[64]; // without its line end; several lines joined match one write of them all
    std::uint16_t firstStep;
    std::uint16_t stepCount; // 0: no answer at all
    std::uint16_t uses;      // how often the row answers; 0: always
};

// Exact replies that take the place of the modem's own. The first row that has its command and is
// not used up answers; a command without a row is answered from the facts.
struct ModemScript {
    std::uint32_t generation; // a new value makes every row fresh again
    std::uint16_t rowCount;
    ScriptRow rows[scriptRowCount];
    ScriptStep steps[scriptStepCount];
    char bytes[scriptByteCount];
};

// What the modem is like. All zero is not sensible: start from `ordinaryModem`.
struct ModemFacts {
    Maker maker;
    SimCard simCard;
    Echo echo;
    std::uint8_t registration;     // second number of +CREG: 0 to 5; 1 home, 2 searching, 5 roaming
    std::int32_t csq;              // first number of +CSQ; -1: at+csq is not answered
    std::uint32_t csqLeadingZeros; // so many answers of 0 first, anew each time the port is opened
    std::int32_t networkMode;      // second number of +CNSMOD
    std::uint32_t modeLeadingZeros;   // so many modes of 0 first, as for csq
    std::int32_t systemMode;          // fourth number of ^SYSINFO
    std::uint8_t errorCommands;       // `bit`s of the commands answered with ERROR
    std::uint8_t silentCommands;      // `bit`s of the commands never answered
    std::uint16_t fieldPadding;       // zeros put before every number, for fields that are too long
    std::uint32_t answerDelayUs;      // from command to answer; 0: the answer arrives before the
                                      // caller can flush its input, and is lost with it
    std::uint32_t commandGapUs;       // between the answers to commands sent in one write
    std::uint16_t chunkBytes;         // answers arrive in pieces of so many bytes; 0: whole
    std::uint32_t chunkGapUs;         // between two pieces
    std::uint32_t unsolicitedDelayUs; // from each command to `unsolicited`
    char unsolicited[modemTextSize];  // sent after each write; empty: none
    std::uint32_t chatterPeriodUs;    // `chatter` comes again and again from the opening; 0: never
    char chatter[modemTextSize];
    std::uint32_t opensLeft; // the port can be opened so often; then it is missing
    ModemScript script;
};

inline constexpr std::uint32_t opensUnlimited = UINT32_MAX;

// Sets `facts` to a SIMCOM modem with a ready SIM, registered at home, csq 20, LTE (mode 8, system
// mode 17), echo off, answering whole after 20 ms and commands of one write 5 ms apart.
inline void ordinaryModem(ModemFacts& facts) {
    facts = {};
    facts.maker = Maker::Simcom;
    facts.simCard = SimCard::Ready;
    facts.echo = Echo::Off;
    facts.registration = 1;
    facts.csq = 20;
    facts.networkMode = 8;
    facts.systemMode = 17;
    facts.answerDelayUs = 20'000;
    facts.commandGapUs = 5'000;
    facts.opensLeft = opensUnlimited;
}

// One arrival at the port.
struct ModemChunk {
    Nanoseconds due;
    bool hangUp;
    std::string_view bytes; // valid until the modem is used again
};

class Modem {
  public:
    // The port has been opened: what was still to arrive and is due by now is lost, the counts of
    // leading zeros start again and chatter begins.
    void opened(const ModemFacts& facts, Nanoseconds now);

    // Takes the bytes of one or more writes. Complete lines are answered; an incomplete one waits
    // for its end.
    void feed(const ModemFacts& facts, std::string_view bytes, Nanoseconds now);

    // When the next chunk arrives, or `never`.
    Nanoseconds nextDue() const;

    // Takes the earliest chunk that is due by `now` out of the schedule; false when there is none.
    bool take(Nanoseconds now, ModemChunk& chunk);

    // Pieces that found the schedule full and were lost; 0 in a sane test.
    std::uint32_t dropped() const { return droppedPieces_; }

  private:
    static constexpr std::size_t pieceSize = 240;
    static constexpr std::size_t pieceCount = 192;
    static constexpr std::size_t lineSize = 128;

    struct Piece {
        Nanoseconds due;
        bool hangUp;
        std::uint8_t length;
        std::array<char, pieceSize> bytes;
    };

    Nanoseconds answerLine(const ModemFacts& facts, std::string_view command, Nanoseconds now,
                           Nanoseconds at);
    bool answerFromScript(const ModemFacts& facts, std::string_view command, Nanoseconds now);
    std::int32_t numberFor(const ModemFacts& facts, Command command);
    void schedule(std::string_view bytes, Nanoseconds due);
    Nanoseconds scheduleSplit(const ModemFacts& facts, std::string_view bytes, Nanoseconds due);
    void insert(const Piece& piece);

    std::array<Piece, pieceCount> pieces_{}; // ascending by `due`
    std::size_t pieceTotal_ = 0;
    Piece taken_{};
    std::array<char, lineSize> line_{};
    std::size_t lineLength_ = 0;
    std::uint32_t csqAnswers_ = 0;
    std::uint32_t modeAnswers_ = 0;
    std::uint32_t scriptGeneration_ = 0;
    std::array<std::uint16_t, scriptRowCount> scriptUses_{};
    Nanoseconds chatterDue_ = never;
    Nanoseconds chatterPeriod_ = 0;
    std::array<char, modemTextSize> chatterText_{};
    std::uint32_t droppedPieces_ = 0;
};

} // namespace sim
