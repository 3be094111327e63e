#include "sim/modem.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace sim {

namespace {

constexpr Nanoseconds nanosecondsPerMicrosecond = 1000;
// Between the answers to commands that came in one write.
constexpr Nanoseconds commandGap = 5'000'000;

// Text that is cut rather than written past its end.
class Text {
  public:
    void add(std::string_view part) {
        part = part.substr(0, text_.size() - length_);
        part.copy(text_.data() + length_, part.size());
        length_ += part.size();
    }

    // A line as modems write it.
    void addLine(std::string_view before, std::string_view value = {},
                 std::string_view after = {}) {
        for (const std::string_view part : {lineEnd, before, value, after, lineEnd}) {
            add(part);
        }
    }

    std::string_view view() const { return {text_.data(), length_}; }

  private:
    static constexpr std::string_view lineEnd = "\r\n";

    std::array<char, 256> text_;
    std::size_t length_ = 0;
};

// What the modem is asked, and what stands around the number that it answers.
struct Query {
    std::string_view text; // in capitals
    Command command;
    std::string_view before;
    std::string_view after;
};

constexpr Query queries[] = {
    {"AT+CPIN?", Command::Cpin, "", ""},
    {"AT+CREG?", Command::Creg, "+CREG: 0,", ""},
    {"AT+CSQ", Command::Csq, "+CSQ: ", ",99"},
    {"AT+CGMI", Command::Cgmi, "", ""},
    {"AT+CNSMOD?", Command::Cnsmod, "+CNSMOD: 0,", ""},
    {"AT^SYSINFO", Command::Sysinfo, "^SYSINFO: 2,3,0,", ",1"},
    {"AT", Command::Other, "", ""},
};
// Any other line.
constexpr Query unknown = {"", Command::Other, "", ""};

const Query& recognise(std::string_view line) {
    for (const Query& query : queries) {
        if (std::equal(
                line.begin(), line.end(), query.text.begin(), query.text.end(),
                [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; })) {
            return query;
        }
    }
    return unknown;
}

// Whether a modem of this maker takes the command for one.
bool knows(Maker maker, const Query& query) {
    switch (query.command) {
    case Command::Cnsmod:
        return maker == Maker::Simcom || maker == Maker::Both;
    case Command::Sysinfo:
        return maker == Maker::AirM2m || maker == Maker::Both;
    default:
        return &query != &unknown;
    }
}

std::string_view makerText(Maker maker) {
    switch (maker) {
    case Maker::Simcom:
        return "SIMCOM INCORPORATED";
    case Maker::AirM2m:
        return "AirM2M";
    case Maker::Both:
        return "SIMCOM INCORPORATED, AirM2M";
    case Maker::Neither:
        break;
    }
    return "GENERIC";
}

// Without the line ends at the end.
std::string_view trimmed(std::string_view bytes) {
    while (!bytes.empty() && (bytes.back() == '\r' || bytes.back() == '\n')) {
        bytes.remove_suffix(1);
    }
    return bytes;
}

Nanoseconds microseconds(std::uint32_t count) {
    return count * nanosecondsPerMicrosecond;
}

} // namespace

void Modem::opened(const ModemFacts& facts, Nanoseconds now) {
    std::size_t lost = 0;
    while (lost < pieceTotal_ && pieces_[lost].due <= now) {
        ++lost;
    }
    std::move(pieces_.begin() + static_cast<std::ptrdiff_t>(lost),
              pieces_.begin() + static_cast<std::ptrdiff_t>(pieceTotal_), pieces_.begin());
    pieceTotal_ -= lost;
    lineLength_ = 0;
    csqAnswers_ = 0;
    modeAnswers_ = 0;
    chatterPeriod_ = microseconds(facts.chatterPeriodUs);
    chatterDue_ = chatterPeriod_ > 0 ? now + chatterPeriod_ : never;
    std::memcpy(chatterText_.data(), facts.chatter, chatterText_.size());
}

void Modem::feed(const ModemFacts& facts, std::string_view bytes, Nanoseconds now) {
    if (lineLength_ == 0 && answerFromScript(facts, trimmed(bytes), now)) {
        return;
    }
    Nanoseconds at = now + microseconds(facts.answerDelayUs);
    for (const char c : bytes) {
        if (c != '\r' && c != '\n') {
            line_[lineLength_] = c;
            lineLength_ = std::min(lineLength_ + 1, lineSize - 1);
        } else if (lineLength_ > 0) {
            const std::string_view line(line_.data(), lineLength_);
            if (!answerFromScript(facts, line, now)) {
                answer(facts, line, at);
            }
            at += commandGap;
            lineLength_ = 0;
        }
    }
}

void Modem::answer(const ModemFacts& facts, std::string_view line, Nanoseconds& at) {
    const Query& query = recognise(line);
    const std::int32_t value = numberFor(facts, query.command);
    if ((facts.silentCommands & bit(query.command)) != 0 ||
        (query.command == Command::Csq && value < 0)) {
        return;
    }
    Text text;
    if ((facts.errorCommands & bit(query.command)) != 0 || !knows(facts.maker, query)) {
        text.addLine("ERROR");
    } else if (query.command == Command::Cpin && facts.simCard == SimCard::Absent) {
        text.addLine("+CME ERROR: 10");
    } else {
        if (query.command == Command::Cpin) {
            text.addLine(facts.simCard == SimCard::Ready ? "+CPIN: READY" : "+CPIN: SIM PIN");
        } else if (query.command == Command::Cgmi) {
            text.addLine(makerText(facts.maker));
        } else if (query.command != Command::Other) {
            std::array<char, 16> digits{};
            std::snprintf(digits.data(), digits.size(), "%d", static_cast<int>(value));
            text.addLine(query.before, digits.data(), query.after);
        }
        text.addLine("OK");
    }
    scheduleSplit(facts, text.view(), at);
}

// The number that the answer to a query carries. Counts the leading zeros.
std::int32_t Modem::numberFor(const ModemFacts& facts, Command command) {
    switch (command) {
    case Command::Creg:
        return facts.registration;
    case Command::Csq:
        return csqAnswers_++ < facts.csqLeadingZeros ? 0 : facts.csq;
    case Command::Cnsmod:
        return modeAnswers_++ < facts.modeLeadingZeros ? 0 : facts.networkMode;
    case Command::Sysinfo:
        return modeAnswers_++ < facts.modeLeadingZeros ? 0 : facts.systemMode;
    default:
        return 0;
    }
}

// Answers from the first script row of this command that is not used up; false without one.
bool Modem::answerFromScript(const ModemFacts& facts, std::string_view command, Nanoseconds now) {
    const ModemScript& script = facts.script;
    if (script.generation != scriptGeneration_) {
        scriptGeneration_ = script.generation;
        scriptUses_.fill(0);
    }
    for (std::size_t i = 0; i < script.rowCount; ++i) {
        const ScriptRow& row = script.rows[i];
        if (command != row.command || (row.uses != 0 && scriptUses_[i] >= row.uses)) {
            continue;
        }
        ++scriptUses_[i];
        Nanoseconds at = now;
        for (std::size_t step = row.firstStep; step < row.firstStep + row.stepCount; ++step) {
            const ScriptStep& reply = script.steps[step];
            at += microseconds(reply.delayUs);
            schedule({script.bytes + reply.offset, reply.length}, at);
            if (reply.hangUp) {
                insert({at, true, 0, {}});
            }
        }
        return true;
    }
    return false;
}

void Modem::scheduleSplit(const ModemFacts& facts, std::string_view bytes, Nanoseconds& due) {
    const std::size_t size = facts.chunkBytes == 0 ? bytes.size() : facts.chunkBytes;
    for (; bytes.size() > size; bytes.remove_prefix(size)) {
        schedule(bytes.substr(0, size), due);
        due += microseconds(facts.chunkGapUs);
    }
    schedule(bytes, due);
}

// Bytes that arrive together, however many pieces hold them.
void Modem::schedule(std::string_view bytes, Nanoseconds due) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(pieceSize, bytes.size()))) {
        Piece piece{due, false, 0, {}};
        piece.length = static_cast<std::uint8_t>(bytes.copy(piece.bytes.data(), pieceSize));
        insert(piece);
    }
}

// Keeps the pieces ascending by time, and those of one moment in the order they were given.
void Modem::insert(const Piece& piece) {
    if (pieceTotal_ == pieceCount) {
        return;
    }
    std::size_t at = pieceTotal_++;
    for (; at > 0 && pieces_[at - 1].due > piece.due; --at) {
        pieces_[at] = pieces_[at - 1];
    }
    pieces_[at] = piece;
}

Nanoseconds Modem::nextDue() const {
    return std::min(pieceTotal_ > 0 ? pieces_[0].due : never, chatterDue_);
}

bool Modem::take(Nanoseconds now, ModemChunk& chunk) {
    if (nextDue() > now) {
        return false;
    }
    if (chatterDue_ < never && chatterDue_ == nextDue()) {
        chunk = {chatterDue_, false, {chatterText_.data(), std::strlen(chatterText_.data())}};
        chatterDue_ += chatterPeriod_;
        return true;
    }
    taken_ = pieces_[0];
    std::move(pieces_.begin() + 1, pieces_.begin() + static_cast<std::ptrdiff_t>(pieceTotal_),
              pieces_.begin());
    --pieceTotal_;
    chunk = {taken_.due, taken_.hangUp, {taken_.bytes.data(), taken_.length}};
    return true;
}

} // namespace sim
