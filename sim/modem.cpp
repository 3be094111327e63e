#include "sim/modem.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace sim {

namespace {

// Between the answers to commands that came in one write.
constexpr Nanoseconds commandGap = 5'000'000;
// Between two pieces of an answer.
constexpr Nanoseconds pieceGap = 20'000'000;

// What the modem is asked, and what it answers.
struct Query {
    std::string_view text; // in capitals
    Command command;
    const char* answer = ""; // printf's form of the first line, from a number ...
    std::int32_t ModemFacts::*number = nullptr; // ... that is this one
};

constexpr Query queries[] = {
    {"AT+CPIN?", Command::Cpin},
    {"AT+CREG?", Command::Creg, "+CREG: 0,%d", &ModemFacts::registration},
    {"AT+CSQ", Command::Csq, "+CSQ: %d,99", &ModemFacts::csq},
    {"AT+CGMI", Command::Cgmi},
    {"AT+CNSMOD?", Command::Cnsmod, "+CNSMOD: 0,%d", &ModemFacts::networkMode},
    {"AT^SYSINFO", Command::Sysinfo, "^SYSINFO: 2,3,0,%d,1", &ModemFacts::systemMode},
    {"AT", Command::Other},
};
// Any other line.
constexpr Query unknown = {"", Command::Other};

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
    const bool foreign = (query.command == Command::Cnsmod && maker == Maker::AirM2m) ||
                         (query.command == Command::Sysinfo && maker == Maker::Simcom);
    const bool asks = query.command == Command::Cnsmod || query.command == Command::Sysinfo;
    return &query != &unknown && !foreign && !(asks && maker == Maker::Neither);
}

// By its number.
constexpr const char* makerTexts[] = {"SIMCOM INCORPORATED", "AirM2M",
                                      "SIMCOM INCORPORATED, AirM2M", "GENERIC"};

// Without the line ends at the end.
std::string_view trimmed(std::string_view bytes) {
    while (!bytes.empty() && (bytes.back() == '\r' || bytes.back() == '\n')) {
        bytes.remove_suffix(1);
    }
    return bytes;
}

} // namespace

void Modem::opened(Nanoseconds now) {
    ModemChunk lost{};
    while (take(now, lost)) {
    }
    lineLength_ = 0;
    csqAnswers_ = 0;
    modeAnswers_ = 0;
}

void Modem::feed(ModemFacts& facts, std::string_view bytes, Nanoseconds now) {
    if (lineLength_ == 0 && answerFromScript(facts.script, trimmed(bytes), now)) {
        return;
    }
    Nanoseconds at = now + facts.answerDelayUs * Nanoseconds{1000};
    for (const char c : bytes) {
        if (c != '\r' && c != '\n') {
            line_[lineLength_] = c;
            lineLength_ = std::min(lineLength_ + 1, lineSize - 1);
        } else if (lineLength_ > 0) {
            const std::string_view line(line_.data(), lineLength_);
            if (!answerFromScript(facts.script, line, now)) {
                answer(facts, line, at);
            }
            at += commandGap;
            lineLength_ = 0;
        }
    }
}

void Modem::answer(const ModemFacts& facts, std::string_view command, Nanoseconds& at) {
    const Query& query = recognise(command);
    const bool asksMode = query.command == Command::Cnsmod || query.command == Command::Sysinfo;
    const bool early = query.command == Command::Csq
                           ? csqAnswers_++ < facts.csqLeadingZeros
                           : asksMode && modeAnswers_++ < facts.modeLeadingZeros;
    const int value = early || query.number == nullptr ? 0 : facts.*query.number;
    if ((facts.silentCommands & bit(query.command)) != 0 ||
        (query.command == Command::Csq && value < 0)) {
        return;
    }
    std::array<char, 128> text{};
    const auto say = [&text](const char* line, const char* last) {
        const char* end = *line == '\0' ? "" : "\r\n";
        std::snprintf(text.data(), text.size(), "%s%s%s\r\n%s\r\n", end, line, end, last);
    };
    if ((facts.errorCommands & bit(query.command)) != 0 || !knows(facts.maker, query)) {
        say("", "ERROR");
    } else if (query.command == Command::Cpin && facts.simCard == SimCard::Absent) {
        say("", "+CME ERROR: 10");
    } else if (query.command == Command::Cpin) {
        say(facts.simCard == SimCard::Ready ? "+CPIN: READY" : "+CPIN: SIM PIN", "OK");
    } else if (query.command == Command::Cgmi) {
        say(makerTexts[static_cast<std::size_t>(facts.maker)], "OK");
    } else {
        std::array<char, 64> line{};
        std::snprintf(line.data(), line.size(), query.answer, value);
        say(line.data(), "OK");
    }
    std::string_view rest(text.data());
    const std::size_t size = facts.chunkBytes == 0 ? rest.size() : facts.chunkBytes;
    for (; rest.size() > size; rest.remove_prefix(size)) {
        schedule(rest.substr(0, size), at);
        at += pieceGap;
    }
    schedule(rest, at);
}

// Answers from the first script row of this command that is not used up; false without one.
bool Modem::answerFromScript(ModemScript& script, std::string_view command, Nanoseconds now) {
    auto* const end = script.rows + script.rowCount;
    auto* const row = std::find_if(script.rows, end, [command](const ScriptRow& other) {
        return command == other.command && other.uses != 0;
    });
    if (row == end) {
        return false;
    }
    row->uses = static_cast<std::int16_t>(row->uses - (row->uses > 0 ? 1 : 0));
    Nanoseconds at = now;
    for (std::size_t i = 0; i < row->stepCount; ++i) {
        const ReplyStep& step = row->steps[i];
        at += std::chrono::nanoseconds(step.delay).count();
        schedule(step.text, at, step.hangUp);
    }
    return true;
}

// Keeps the pieces ascending by time, and those of one moment in the order they were given.
void Modem::schedule(std::string_view bytes, Nanoseconds due, bool hangUp) {
    if (pieceTotal_ == pieceCount) {
        return;
    }
    std::size_t at = pieceTotal_++;
    for (; at > 0 && pieces_[at - 1].due > due; --at) {
        pieces_[at] = pieces_[at - 1];
    }
    pieces_[at].due = due;
    pieces_[at].hangUp = hangUp;
    pieces_[at].length = bytes.copy(pieces_[at].bytes.data(), pieceSize);
}

bool Modem::take(Nanoseconds now, ModemChunk& chunk) {
    if (nextDue() > now) {
        return false;
    }
    taken_ = pieces_[0];
    std::copy(pieces_.begin() + 1, pieces_.begin() + static_cast<std::ptrdiff_t>(pieceTotal_--),
              pieces_.begin());
    chunk = {taken_.hangUp, {taken_.bytes.data(), taken_.length}};
    return true;
}

} // namespace sim
