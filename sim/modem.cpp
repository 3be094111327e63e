#include "sim/modem.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace sim {

namespace {

constexpr Nanoseconds nanosecondsPerMicrosecond = 1000;
constexpr std::size_t answerSize = 1024;
constexpr std::string_view lineEnd = "\r\n";

// Text that is cut rather than written past its end.
class Text {
  public:
    void add(std::string_view part) {
        const std::size_t count = std::min(part.size(), text_.size() - length_);
        std::memcpy(text_.data() + length_, part.data(), count);
        length_ += count;
    }

    void addNumber(std::int32_t value, unsigned padding = 0) {
        std::array<char, 16> digits{};
        std::snprintf(digits.data(), digits.size(), "%d", static_cast<int>(value));
        for (unsigned i = 0; i < padding; ++i) {
            add("0");
        }
        add(digits.data());
    }

    std::string_view view() const { return {text_.data(), length_}; }

  private:
    std::array<char, answerSize> text_;
    std::size_t length_ = 0;
};

struct CommandName {
    std::string_view text; // in capitals
    Command command;
};

constexpr CommandName commandNames[] = {
    {"AT+CPIN?", Command::Cpin}, {"AT+CREG?", Command::Creg},     {"AT+CSQ", Command::Csq},
    {"AT+CGMI", Command::Cgmi},  {"AT+CNSMOD?", Command::Cnsmod}, {"AT^SYSINFO", Command::Sysinfo},
};

bool sameIgnoringCase(std::string_view text, std::string_view capitals) {
    return std::equal(
        text.begin(), text.end(), capitals.begin(), capitals.end(),
        [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
}

Command recognise(std::string_view line) {
    for (const CommandName& entry : commandNames) {
        if (sameIgnoringCase(line, entry.text)) {
            return entry.command;
        }
    }
    return Command::Other;
}

bool speaksCnsmod(Maker maker) {
    return maker == Maker::Simcom || maker == Maker::Both;
}

bool speaksSysinfo(Maker maker) {
    return maker == Maker::AirM2m || maker == Maker::Both;
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

void addResult(Text& text, std::string_view result) {
    text.add(lineEnd);
    text.add(result);
    text.add(lineEnd);
}

void addPinAnswer(Text& text, SimCard card) {
    if (card == SimCard::Absent) {
        addResult(text, "+CME ERROR: 10");
        return;
    }
    addResult(text, card == SimCard::Ready ? "+CPIN: READY" : "+CPIN: SIM PIN");
    addResult(text, "OK");
}

void addNumberAnswer(Text& text, std::string_view before, std::int32_t value, unsigned padding,
                     std::string_view after) {
    text.add(lineEnd);
    text.add(before);
    text.addNumber(value, padding);
    text.add(after);
    text.add(lineEnd);
    addResult(text, "OK");
}

// The modem's answer to a command it heard as `line`; nothing for silence.
void addAnswer(Text& text, const ModemFacts& facts, std::string_view line, Command command,
               std::int32_t number) {
    if ((facts.silentCommands & bit(command)) != 0) {
        return;
    }
    if ((facts.errorCommands & bit(command)) != 0) {
        addResult(text, "ERROR");
    } else if (command == Command::Cpin) {
        addPinAnswer(text, facts.simCard);
    } else if (command == Command::Creg) {
        addNumberAnswer(text, "+CREG: 0,", number, facts.fieldPadding, "");
    } else if (command == Command::Csq) {
        if (number >= 0) {
            addNumberAnswer(text, "+CSQ: ", number, facts.fieldPadding, ",99");
        }
    } else if (command == Command::Cgmi) {
        addResult(text, makerText(facts.maker));
        addResult(text, "OK");
    } else if (command == Command::Cnsmod && speaksCnsmod(facts.maker)) {
        addNumberAnswer(text, "+CNSMOD: 0,", number, facts.fieldPadding, "");
    } else if (command == Command::Sysinfo && speaksSysinfo(facts.maker)) {
        addNumberAnswer(text, "^SYSINFO: 2,3,0,", number, facts.fieldPadding, ",1");
    } else {
        addResult(text, sameIgnoringCase(line, "AT") ? "OK" : "ERROR");
    }
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
    if (facts.unsolicited[0] != '\0') {
        Text text;
        addResult(text, facts.unsolicited);
        schedule(text.view(), now + microseconds(facts.unsolicitedDelayUs));
    }
    if (lineLength_ == 0 && answerFromScript(facts, trimmed(bytes), now)) {
        return;
    }
    Nanoseconds at = now;
    Nanoseconds gap = microseconds(facts.answerDelayUs);
    for (const char c : bytes) {
        if (c != '\r' && c != '\n') {
            line_[lineLength_] = c;
            lineLength_ = std::min(lineLength_ + 1, lineSize - 1);
            continue;
        }
        if (lineLength_ > 0) {
            at += gap;
            at = answerLine(facts, {line_.data(), lineLength_}, now, at);
            gap = microseconds(facts.commandGapUs);
            lineLength_ = 0;
        }
    }
}

// Gives when the answer is over: the next one follows it.
Nanoseconds Modem::answerLine(const ModemFacts& facts, std::string_view command, Nanoseconds now,
                              Nanoseconds at) {
    if (answerFromScript(facts, command, now)) {
        return at;
    }
    Text echo;
    if (facts.echo != Echo::Off) {
        echo.add(command);
        echo.add(lineEnd);
    }
    Text text;
    if (facts.echo == Echo::Separate) {
        schedule(echo.view(), now + (at - now) / 2);
    } else {
        text.add(echo.view());
    }
    const Command known = recognise(command);
    addAnswer(text, facts, command, known, numberFor(facts, known));
    return scheduleSplit(facts, text.view(), at);
}

// The number that the answer to a query carries, -1 for no answer. Counts the leading zeros.
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
        return -1;
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
            if (reply.hangUp != 0) {
                insert({at, true, 0, {}});
            }
        }
        return true;
    }
    return false;
}

Nanoseconds Modem::scheduleSplit(const ModemFacts& facts, std::string_view bytes, Nanoseconds due) {
    const std::size_t size = facts.chunkBytes == 0 ? bytes.size() : facts.chunkBytes;
    for (; bytes.size() > size; bytes.remove_prefix(size)) {
        schedule(bytes.substr(0, size), due);
        due += microseconds(facts.chunkGapUs);
    }
    schedule(bytes, due);
    return due;
}

// Bytes that arrive together, however many pieces hold them.
void Modem::schedule(std::string_view bytes, Nanoseconds due) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(pieceSize, bytes.size()))) {
        const std::string_view part = bytes.substr(0, pieceSize);
        Piece piece{due, false, static_cast<std::uint8_t>(part.size()), {}};
        std::memcpy(piece.bytes.data(), part.data(), part.size());
        insert(piece);
    }
}

// Keeps the pieces ascending by time, and those of one moment in the order they were given.
void Modem::insert(const Piece& piece) {
    if (pieceTotal_ == pieceCount) {
        ++droppedPieces_;
        return;
    }
    std::size_t at = pieceTotal_;
    for (; at > 0 && pieces_[at - 1].due > piece.due; --at) {
        pieces_[at] = pieces_[at - 1];
    }
    pieces_[at] = piece;
    ++pieceTotal_;
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
