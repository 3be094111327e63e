// The port's settings, the waits of the transactions and the dialogues with a whole modem, on the
// simulated gateway's serial line and clock.

#include "modem/at_transaction.h"
#include "modem/modem_status.h"
#include "modem/serial_port.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <fcntl.h>
#include <pty.h>

namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

// A port that is closed at the end of its scope.
struct OpenPort {
    OpenPort() : fd(openModemPort(modemPortPath)) {}
    ~OpenPort() { closeModemPort(fd); }
    OpenPort(const OpenPort&) = delete;
    OpenPort& operator=(const OpenPort&) = delete;
    const int fd;
};

class ModemPortTest : public GatewayTest {};

TEST_F(ModemPortTest, IsOpenedWithoutWaitingAndThenReadsWait) {
    const OpenPort port;
    ASSERT_GE(port.fd, 0);
    EXPECT_EQ(gateway.lastOpenFlags(sim::Path::ModemPort), O_RDWR | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(fcntl(port.fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(ModemPortTest, MissingIsSilent) {
    gateway.setModemPresent(false);
    int fd = 0;
    EXPECT_EQ(outputOf([&] { fd = openModemPort(modemPortPath); }), "");
    EXPECT_EQ(fd, -1);
}

TEST_F(ModemPortTest, SpeedIsDroppedForAMomentInTheSecondOfThreeSettings) {
    const OpenPort port;
    const std::vector<sim::LineSettings> settings = gateway.lineSettings();
    ASSERT_EQ(settings.size(), 3U);
    constexpr tcflag_t line = CS8 | CREAD | HUPCL | CLOCAL;
    EXPECT_EQ(settings[0].controlFlags, line | B115200);
    EXPECT_EQ(settings[1].controlFlags, line | B0);
    EXPECT_EQ(settings[2].controlFlags, line | B115200);
    for (const sim::LineSettings& one : settings) {
        EXPECT_EQ(one.inputFlags, tcflag_t{IGNBRK});
        EXPECT_EQ(one.localFlags & (ISIG | ICANON | ECHO | ECHOE), 0U);
        EXPECT_EQ(one.outputFlags & OPOST, 0U);
        EXPECT_EQ(one.action, TCSANOW);
    }
}

TEST_F(ModemPortTest, ResultOfTheLastSettingCounts) {
    const OpenPort port;
    const struct {
        std::uint32_t nth;
        int result;
    } cases[] = {{1, 0}, {2, 0}, {3, -1}};
    for (const auto& one : cases) {
        gateway.clearFaults();
        gateway.failCall(sim::Call::TcSetAttr, EIO, one.nth);
        EXPECT_EQ(setPortSpeed(port.fd, B9600), one.result);
    }
}

TEST(LineSettings, ReplaceOnlyWhatTheyMust) {
    termios before{};
    before.c_iflag = IXON | IXOFF | ICRNL | INPCK | IGNBRK | BRKINT;
    before.c_oflag = OPOST | OLCUC | OCRNL | ONOCR | ONLRET | ONLCR;
    before.c_cflag = CS7 | CSTOPB | PARODD | CRTSCTS | B9600;
    before.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN | NOFLSH;
    before.c_cc[VMIN] = 7;
    before.c_cc[VTIME] = 9;
    int master = -1;
    int port = -1;
    ASSERT_EQ(openpty(&master, &port, nullptr, &before, nullptr), 0);

    EXPECT_EQ(setPortSpeed(port, B460800), 0);
    termios after{};
    ASSERT_EQ(tcgetattr(port, &after), 0);
    EXPECT_EQ(after.c_iflag, tcflag_t{IGNBRK});
    EXPECT_EQ(after.c_oflag, tcflag_t{ONLCR});
    EXPECT_EQ(after.c_cflag, tcflag_t{CS8 | CREAD | HUPCL | CLOCAL | B460800});
    EXPECT_EQ(after.c_lflag, tcflag_t{ECHOK | IEXTEN | NOFLSH});
    EXPECT_EQ(after.c_cc[VMIN], 7);
    EXPECT_EQ(after.c_cc[VTIME], 9);
    EXPECT_EQ(closeModemPort(port), 0);
    close(master);
}

TEST_F(ModemPortTest, WaitsAreBoundedByPolls) {
    constexpr const char* ready = "\r\n+CPIN: READY\r\n\r\nOK\r\n";
    constexpr const char* signal = "\r\n+CSQ: 23,99\r\n";
    const std::vector<sim::ReplyStep> chatter(60, {1ms, "RING\r\n"});
    const struct {
        const char* behaviour;
        int (*ask)(int fd);
        std::vector<sim::ReplyStep> reply;
        int result;
        milliseconds time;
    } cases[] = {
        {"no answer to a marker transaction", checkSimReady, {}, 0, 500ms},
        {"no answer to a value query", querySignalQuality, {}, -1, 100ms},
        {"an answer within the waits", checkSimReady, {{495ms, ready}}, 1, 495ms},
        {"an answer behind them", checkSimReady, {{505ms, ready}}, 0, 500ms},
        {"a value within the waits", querySignalQuality, {{95ms, signal}}, 23, 95ms},
        {"a value behind them", querySignalQuality, {{105ms, signal}}, -1, 100ms},
        // Two waits of 10 ms, two chunks, 46 more waits.
        {"a split marker", checkSimReady, {{25ms, "\r\nO"}, {2ms, "K\r\n"}}, 0, 487ms},
        {"searching", checkRegistered, {{25ms, "+CREG: 0,2\r\n\r\nOK\r\n"}}, 0, 495ms},
        {"chatter uses up the polls", checkSimReady, chatter, 0, 50ms},
        {"and those of a value query", querySignalQuality, chatter, -1, 10ms},
        {"ERROR ends at once", checkSimReady, {{25ms, "\r\n+CME ERROR: 10\r\n"}}, 0, 25ms},
        {"the line is hung up", checkSimReady, {{25ms, "", true}}, 0, 25ms},
        {"the line is hung up under a value", querySignalQuality, {{25ms, "", true}}, -1, 25ms},
        {"what comes before the flush is lost", checkSimReady, {{0ms, ready}}, 0, 500ms},
        {"and a value too", querySignalQuality, {{0ms, signal}}, -1, 100ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.behaviour);
        gateway.scriptModem({{one.ask == checkSimReady     ? "at+cpin?"
                              : one.ask == checkRegistered ? "at+creg?"
                                                           : "at+csq",
                              one.reply}});
        const OpenPort port;
        int result = -2;
        EXPECT_EQ(timeOf([&] { result = one.ask(port.fd); }), one.time);
        EXPECT_EQ(result, one.result);
    }
}

TEST_F(ModemPortTest, AFailedSelectCountsAsAWaitThatExpired) {
    gateway.editModem([](sim::ModemFacts& facts) { facts.silentCommands = sim::everyCommand; });
    gateway.failCall(sim::Call::Select, EINTR, 1);
    const OpenPort port;
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(checkSimReady(port.fd), 0); }), 490ms);
}

using sim::Command;
using sim::Maker;

// What differs from the ordinary modem.
struct Modem {
    Maker maker = Maker::Simcom;
    sim::SimCard simCard = sim::SimCard::Ready;
    std::uint8_t registration = 1;
    std::int32_t csq = 20;
    std::uint32_t csqLeadingZeros = 0;
    std::int32_t networkMode = 8;
    std::uint32_t modeLeadingZeros = 0;
    std::int32_t systemMode = 17;
    std::uint8_t errors = 0;
    std::uint8_t silent = 0;
    sim::Echo echo = sim::Echo::Off;

    void apply(sim::ModemFacts& facts) const {
        facts.maker = maker;
        facts.simCard = simCard;
        facts.registration = registration;
        facts.csq = csq;
        facts.csqLeadingZeros = csqLeadingZeros;
        facts.networkMode = networkMode;
        facts.modeLeadingZeros = modeLeadingZeros;
        facts.systemMode = systemMode;
        facts.errorCommands = errors;
        facts.silentCommands = silent;
        facts.echo = echo;
    }
};

// What a stepwise query makes of it.
struct Query {
    const char* behaviour;
    Modem modem;
    ModemStatus status;
    const char* sent; // as DialogueTest::sent
    milliseconds time;
};

class DialogueTest : public GatewayTest {
  protected:
    ModemStatus query(std::uint8_t kind) {
        ModemStatus status{};
        gateway.clearTranscript();
        const OpenPort port;
        queryModemStatus(kind, port.fd, status);
        return status;
    }

    // One letter for each command sent: pin, registration, quality, maker, network, system info.
    std::string sent() const {
        constexpr struct {
            std::string_view command;
            char letter;
        } letters[] = {{"at+cpin?\r\n", 'p'}, {"at+creg?\r\n", 'r'},   {"at+csq\r\n", 'q'},
                       {"AT+CGMI\r\n", 'm'},  {"at+cnsmod?\r\n", 'n'}, {"AT^SYSINFO\r\n", 's'}};
        const std::string bytes = gateway.sentToModem();
        std::string_view rest = bytes;
        std::string result;
        while (!rest.empty()) {
            const auto* known =
                std::find_if(std::begin(letters), std::end(letters), [&](auto& one) {
                    return rest.substr(0, one.command.size()) == one.command;
                });
            if (known == std::end(letters)) {
                return bytes;
            }
            result += known->letter;
            rest.remove_prefix(known->command.size());
        }
        return result;
    }
};

const Query queries[] = {
    {"SIMCOM", {}, {1, 1, 20, 3, 8}, "prqmn", 150ms},
    {"AirM2M", {.maker = Maker::AirM2m}, {1, 1, 20, 3, 8}, "prqms", 150ms},
    {"both", {.maker = Maker::Both, .systemMode = 5}, {1, 1, 20, 3, 9}, "prqms", 150ms},
    {"neither", {.maker = Maker::Neither}, {1, 1, 20, 3, 0}, "prqm", 130ms},
    {"maker refused", {.errors = bit(Command::Cgmi)}, {1, 1, 20, 3, 0}, "prqm", 130ms},
    {"maker unanswered", {.silent = bit(Command::Cgmi)}, {1, 1, 20, 3, 0}, "prqm", 2070ms},
    {"mode 0 for ever", {.networkMode = 0}, {1, 1, 20, 3, 0}, "prqmnnn", 190ms},
    {"mode 0 twice",
     {.networkMode = 13, .modeLeadingZeros = 2},
     {1, 1, 20, 3, 13},
     "prqmnnn",
     190ms},
    {"mode refused", {.errors = bit(Command::Cnsmod)}, {1, 1, 20, 3, -1}, "prqmn", 150ms},
    {"system mode unknown",
     {.maker = Maker::AirM2m, .systemMode = 0},
     {1, 1, 20, 3, -1},
     "prqms",
     150ms},
    {"no SIM", {.simCard = sim::SimCard::Absent}, {0, 1, -1, 0, 8}, "pprqmn", 170ms},
    {"no network", {.registration = 2}, {1, 0, -1, 0, 8}, "prrqmn", 1130ms},
    {"roaming", {.registration = 5}, {1, 1, 20, 3, 8}, "prqmn", 150ms},
    {"signal 0 once", {.csq = 9, .csqLeadingZeros = 1}, {1, 1, 9, 1, 8}, "prqqmn", 170ms},
    {"signal 0 twice", {.csqLeadingZeros = 2}, {1, 1, 0, 1, 8}, "prqqmn", 170ms},
    {"signal 0 without SIM",
     {.simCard = sim::SimCard::Absent, .csq = 0},
     {0, 1, -1, 0, 8},
     "pprqqmn",
     190ms},
    {"signal not measurable", {.csq = 99}, {1, 1, 99, 0, 8}, "prqmn", 150ms},
    {"signal refused", {.errors = bit(Command::Csq)}, {1, 1, -1, 0, 8}, "prqmn", 150ms},
    {"signal unanswered", {.csq = -1}, {1, 1, -1, 0, 8}, "prqmn", 230ms},
    {"echo with the answer", {.echo = sim::Echo::Joined}, {1, 1, 20, 3, 8}, "prqmn", 150ms},
    {"echo before it", {.echo = sim::Echo::Separate}, {1, 1, 20, 3, 8}, "prqmn", 150ms},
    {"silent", {.silent = sim::everyCommand}, {0, 0, -1, 0, 0}, "pprrqm", 4110ms},
};

TEST_F(DialogueTest, StepwiseQueryOfEachModem) {
    for (const Query& one : queries) {
        SCOPED_TRACE(one.behaviour);
        gateway.editModem([&](sim::ModemFacts& facts) {
            sim::ordinaryModem(facts);
            one.modem.apply(facts);
        });
        ModemStatus status{};
        EXPECT_EQ(timeOf([&] { status = query(modelStepwise); }), one.time);
        EXPECT_EQ(status, one.status);
        EXPECT_EQ(sent(), one.sent);
    }
}

TEST_F(DialogueTest, ASecondCheckMaySucceed) {
    gateway.scriptModem(
        {{"at+cpin?", {{20ms, "\r\nERROR\r\n"}}, 1}, {"at+creg?", {{20ms, "\r\nERROR\r\n"}}, 1}});
    EXPECT_EQ(query(modelStepwise), (ModemStatus{1, 1, 20, 3, 8}));
    EXPECT_EQ(sent(), "pprrqmn");
}

TEST_F(DialogueTest, MakersAnswerIsAwaitedTwoSecondsThenFiftyMilliseconds) {
    const struct {
        std::vector<sim::ReplyStep> reply;
        std::int32_t networkType;
        milliseconds time; // of the maker's answer alone
    } cases[] = {
        {{{2000ms, "SIMCOM"}}, 8, 2050ms},
        {{{2020ms, "SIMCOM"}}, 0, 2010ms},
        {{{10ms, "SIM"}, {45ms, "COM"}}, 8, 105ms},
        {{{10ms, "SIM"}, {55ms, "COM"}}, 0, 60ms},
    };
    for (const auto& one : cases) {
        gateway.scriptModem({{"AT+CGMI", one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        ModemStatus status{};
        const auto time = timeOf([&] { status = query(modelStepwise); });
        EXPECT_EQ(time, one.time + 60ms + (one.networkType != 0 ? 20ms : 0ms));
        EXPECT_EQ(status.networkType, one.networkType);
    }
}

TEST_F(DialogueTest, CombinedAnswerIsAwaitedThreeSecondsThenFiftyMilliseconds) {
    const struct {
        const char* behaviour;
        std::vector<sim::ReplyStep> reply;
        ModemStatus status;
        milliseconds time;
    } cases[] = {
        {"silence", {}, {0, 0, 0, 1, 2}, 3000ms},
        {"late", {{2990ms, "OK\r\n+CREG: 0,1\r\n"}}, {1, 1, 0, 1, 2}, 3040ms},
        {"too late", {{3010ms, "OK\r\n+CREG: 0,1\r\n"}}, {0, 0, 0, 1, 2}, 3000ms},
        {"in pieces",
         {{20ms, "OK\r\n+CR"}, {45ms, "EG: 0,1\r\n+CSQ: 1"}, {45ms, "8,99"}},
         {1, 1, 18, 3, 2},
         160ms},
        {"with a pause",
         {{20ms, "OK\r\n+CREG: 0,1"}, {55ms, "\r\n+CSQ: 18,99"}},
         {1, 1, 0, 1, 2},
         70ms},
        {"hung up", {{20ms, "OK"}, {5ms, "", true}}, {1, 0, 0, 1, 2}, 25ms},
        {"before the flush", {{0ms, "OK\r\n+CREG: 0,1"}}, {0, 0, 0, 1, 2}, 3000ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.behaviour);
        gateway.scriptModem({{"at+cpin?\r\nat+creg?\r\nat+csq", one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        ModemStatus status{};
        EXPECT_EQ(timeOf([&] { status = query(modelCombined); }), one.time);
        EXPECT_EQ(status, one.status);
    }
}

TEST_F(DialogueTest, CombinedQueryOfAWholeModem) {
    gateway.editModem([](sim::ModemFacts& facts) {
        facts.echo = sim::Echo::Joined;
        facts.registration = 5;
        facts.csq = 31;
        std::snprintf(facts.unsolicited, sizeof facts.unsolicited, "+CREG: 1");
    });
    EXPECT_EQ(query(modelCombined), (ModemStatus{1, 1, 31, 4, 2}));
    EXPECT_EQ(sent(), "prq");
}

} // namespace
