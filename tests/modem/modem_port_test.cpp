// The port's settings, the waits of the transactions and the dialogues with a whole modem, on the
// simulated gateway's serial line and clock.

#include "modem/at_transaction.h"
#include "modem/modem_status.h"
#include "modem/serial_port.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <fcntl.h>
#include <functional>
#include <sstream>

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

TEST_F(ModemPortTest, IsMadeRawAndDropsItsSpeedForAMoment) {
    const OpenPort port;
    EXPECT_EQ(gateway.lastOpenFlags(sim::Path::ModemPort), O_RDWR | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(fcntl(port.fd, F_GETFL) & O_NONBLOCK, 0);
    termios before{};
    before.c_iflag = IXON | IXOFF | ICRNL | INPCK | IGNBRK | BRKINT;
    before.c_oflag = OPOST | OLCUC | OCRNL | ONOCR | ONLRET | ONLCR;
    before.c_cflag = CS7 | CSTOPB | PARODD | CRTSCTS | B9600;
    before.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN | NOFLSH;
    before.c_cc[VMIN] = 7;
    before.c_cc[VTIME] = 9;
    ASSERT_EQ(tcsetattr(port.fd, TCSAFLUSH, &before), 0);
    EXPECT_EQ(setPortSpeed(port.fd, B460800), 0);

    termios after{};
    ASSERT_EQ(tcgetattr(port.fd, &after), 0);
    EXPECT_EQ(after.c_oflag, tcflag_t{ONLCR});
    EXPECT_EQ(after.c_lflag, tcflag_t{ECHOK | IEXTEN | NOFLSH});
    EXPECT_EQ(after.c_cc[VMIN], 7);
    EXPECT_EQ(after.c_cc[VTIME], 9);
    std::vector<sim::LineSettings> settings = gateway.lineSettings();
    std::erase_if(settings, [](auto& one) { return one.action != TCSANOW; });
    const speed_t speeds[] = {B115200, B0, B115200, B460800, B0, B460800};
    ASSERT_EQ(settings.size(), std::size(speeds));
    for (std::size_t i = 0; i < settings.size(); ++i) {
        EXPECT_EQ(settings[i].controlFlags, CS8 | CREAD | HUPCL | CLOCAL | speeds[i]);
        EXPECT_EQ(settings[i].inputFlags, tcflag_t{IGNBRK});
    }
    for (const std::uint32_t failing : {1U, 2U, 3U}) { // the last one's result counts
        gateway.clearFaults();
        gateway.failCall(sim::Call::TcSetAttr, EIO, failing);
        EXPECT_EQ(setPortSpeed(port.fd, B9600), failing == 3 ? -1 : 0);
    }
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
        {"an answer behind them", checkSimReady, {{505ms, ready}}, 0, 500ms},
        {"a value behind them", querySignalQuality, {{105ms, signal}}, -1, 100ms},
        // Two waits of 10 ms, two chunks, 46 more waits.
        {"a split marker", checkSimReady, {{25ms, "\r\nO"}, {2ms, "K\r\n"}}, 0, 487ms},
        {"chatter uses up the polls", checkSimReady, chatter, 0, 50ms},
        {"and those of a value query", querySignalQuality, chatter, -1, 10ms},
        {"ERROR ends at once", checkSimReady, {{25ms, "\r\n+CME ERROR: 10\r\n"}}, 0, 25ms},
        {"the line is hung up", checkSimReady, {{25ms, "", true}}, 0, 25ms},
        {"what comes before the flush is lost", checkSimReady, {{0ms, ready}}, 0, 500ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.behaviour);
        gateway.scriptModem({{one.ask == checkSimReady ? "at+cpin?" : "at+csq", one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        const OpenPort port;
        int result = -2;
        EXPECT_EQ(timeOf([&] { result = one.ask(port.fd); }), one.time);
        EXPECT_EQ(result, one.result);
    }
    // A failed wait counts as one that expired.
    gateway.scriptModem({{"at+cpin?", {}}});
    gateway.failCall(sim::Call::Select, EINTR, 1);
    const OpenPort port;
    EXPECT_EQ(timeOf([&] { checkSimReady(port.fd); }), 490ms);
}

using Edit = std::function<void(sim::ModemFacts&)>;

// Sets members of the modem's facts: member, value, member, value.
template <class Member, class Value, class... More>
Edit with(Member member, Value value, More... more) {
    return [=](sim::ModemFacts& facts) {
        facts.*member = static_cast<std::remove_reference_t<decltype(facts.*member)>>(value);
        if constexpr (sizeof...(more) > 0) {
            with(more...)(facts);
        }
    };
}

class DialogueTest : public GatewayTest {
  protected:
    ModemStatus query(std::uint8_t kind) {
        ModemStatus status{};
        gateway.clearTranscript();
        const OpenPort port;
        queryModemStatus(kind, port.fd, &status);
        return status;
    }

    // The fifth letter of each command sent: p (cpin), r (creg), s (csq), G (CGMI), n (cnsmod),
    // Y (SYSINFO).
    std::string sent() const {
        std::istringstream lines(gateway.sentToModem());
        std::string letters;
        for (std::string line; std::getline(lines, line);) {
            letters += line.at(4);
        }
        return letters;
    }
};

TEST_F(DialogueTest, StepwiseQueryOfEachModem) {
    using F = sim::ModemFacts;
    using sim::Command, sim::Maker;
    const Edit noSim = with(&F::simCard, sim::SimCard::Absent);
    const Edit noMaker = with(&F::errorCommands, bit(Command::Cgmi));
    const Edit noMode = with(&F::errorCommands, bit(Command::Cnsmod));
    const Edit noSystemMode = with(&F::maker, Maker::AirM2m, &F::systemMode, 0);
    const Edit noCsqNorSim = with(&F::csq, 0, &F::simCard, sim::SimCard::Absent);
    const struct {
        const char* modem;
        Edit edit;
        ModemStatus status;
        const char* sent;
        milliseconds time;
    } cases[] = {
        {"SIMCOM", with(&F::maker, Maker::Simcom), {1, 1, 20, 3, 8}, "prsGn", 150ms},
        {"both makers", with(&F::maker, Maker::Both), {1, 1, 20, 3, 8}, "prsGY", 150ms},
        {"no maker", noMaker, {1, 1, 20, 3, 0}, "prsG", 130ms},
        {"mode 0", with(&F::networkMode, 0), {1, 1, 20, 3, 0}, "prsGnnn", 190ms},
        {"mode 0 twice", with(&F::modeLeadingZeros, 2U), {1, 1, 20, 3, 8}, "prsGnnn", 190ms},
        {"no mode", noMode, {1, 1, 20, 3, -1}, "prsGn", 150ms},
        {"no system mode", noSystemMode, {1, 1, 20, 3, -1}, "prsGY", 150ms},
        {"no SIM", noSim, {0, 1, -1, 0, 8}, "pprsGn", 170ms},
        {"no network", with(&F::registration, 2), {1, 0, -1, 0, 8}, "prrsGn", 1130ms},
        {"csq 0 twice", with(&F::csqLeadingZeros, 2U), {1, 1, 0, 1, 8}, "prssGn", 170ms},
        {"csq 0, no SIM", noCsqNorSim, {0, 1, -1, 0, 8}, "pprssGn", 190ms},
        {"no csq", with(&F::csq, -1), {1, 1, -1, 0, 8}, "prsGn", 230ms},
        {"silent", with(&F::silentCommands, sim::everyCommand), {0, 0, -1, 0, 0}, "pprrsG", 4110ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.modem);
        gateway.editModem(sim::ordinaryModem);
        gateway.editModem(one.edit);
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
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+cpin?\r\nat+creg?\r\nat+creg?\r\nat+csq\r\n"
                                     "AT+CGMI\r\nat+cnsmod?\r\n");
    gateway.editModem(with(&sim::ModemFacts::maker, sim::Maker::AirM2m));
    query(modelStepwise);
    EXPECT_TRUE(gateway.sentToModem().ends_with("AT+CGMI\r\nAT^SYSINFO\r\n"));
}

TEST_F(DialogueTest, LongAnswersAreAwaitedSecondsThenFiftyMilliseconds) {
    constexpr const char* maker = "AT+CGMI";
    constexpr const char* all = "at+cpin?\r\nat+creg?\r\nat+csq";
    const struct {
        const char* command;
        std::vector<sim::ReplyStep> reply;
        ModemStatus status;
        milliseconds time;
    } cases[] = {
        // The maker's answer, after 60 ms of others; the mode takes 20 ms more.
        {maker, {{2000ms, "SIMCOM"}}, {1, 1, 20, 3, 8}, 2130ms},
        {maker, {{2020ms, "SIMCOM"}}, {1, 1, 20, 3, 0}, 2070ms},
        {maker, {{10ms, "SIM"}, {45ms, "COM"}}, {1, 1, 20, 3, 8}, 185ms},
        {maker, {{10ms, "SIM"}, {55ms, "COM"}}, {1, 1, 20, 3, 0}, 120ms},
        // The combined answer.
        {all, {}, {0, 0, 0, 1, 2}, 3000ms},
        {all, {{2990ms, "OK\r\n+CREG: 0,1\r\n"}}, {1, 1, 0, 1, 2}, 3040ms},
        {all, {{3010ms, "OK\r\n+CREG: 0,1\r\n"}}, {0, 0, 0, 1, 2}, 3000ms},
        {all, {{20ms, "OK+CR"}, {45ms, "EG: 0,1"}}, {1, 1, 0, 1, 2}, 115ms},
        {all, {{20ms, "OK"}, {5ms, "", true}}, {1, 0, 0, 1, 2}, 25ms},
        {all, {{0ms, "OK\r\n+CREG: 0,1"}}, {0, 0, 0, 1, 2}, 3000ms}, // lost by the flush
    };
    for (const auto& one : cases) {
        gateway.scriptModem({{one.command, one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        ModemStatus status{};
        const auto kind = one.command == maker ? modelStepwise : modelCombined;
        EXPECT_EQ(timeOf([&] { status = query(kind); }), one.time);
        EXPECT_EQ(status, one.status);
    }
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\n");
}

} // namespace
