// The port's settings, the waits of the transactions and the dialogues with a whole modem, on the
// simulated gateway's serial line and clock.

#include "device/file_descriptor.h"
#include "modem/at_transaction.h"
#include "modem/modem_status.h"
#include "modem/serial_port.h"
#include "tests/modem/modem_status_text.h"
#include "tests/support/gateway_test.h"

#include <fcntl.h>
#include <sstream>

namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

class ModemPortTest : public GatewayTest {
  protected:
    static FileDescriptor port() { return FileDescriptor(openModemPort(modemPortPath)); }

    // What a dialogue finds out; the transcript begins with it.
    std::string ask(std::uint8_t kind) {
        gateway.clearTranscript();
        return query(kind, port().get());
    }
};

TEST_F(ModemPortTest, IsMadeRawAndDropsItsSpeedForAMoment) {
    const FileDescriptor line = port();
    EXPECT_EQ(gateway.lastOpenFlags(sim::Path::ModemPort), O_RDWR | O_NOCTTY | O_NONBLOCK);
    EXPECT_EQ(fcntl(line.get(), F_GETFL) & O_NONBLOCK, 0);
    termios before{};
    before.c_iflag = IXON | IXOFF | ICRNL | INPCK | IGNBRK | BRKINT;
    before.c_oflag = OPOST | OLCUC | OCRNL | ONOCR | ONLRET | ONLCR;
    before.c_cflag = CS7 | CSTOPB | PARODD | CRTSCTS | B9600;
    before.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN | NOFLSH;
    before.c_cc[VMIN] = 7;
    before.c_cc[VTIME] = 9;
    ASSERT_EQ(tcsetattr(line.get(), TCSAFLUSH, &before), 0);
    EXPECT_EQ(setPortSpeed(line.get(), B460800), 0);

    termios after{};
    ASSERT_EQ(tcgetattr(line.get(), &after), 0);
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
        EXPECT_EQ(setPortSpeed(line.get(), B9600), failing == 3 ? -1 : 0);
    }
}

TEST_F(ModemPortTest, WaitsAreBoundedByPolls) {
    constexpr const char* ready = "\r\n+CPIN: READY\r\n\r\nOK\r\n";
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
        // Two waits of 10 ms, two chunks, 46 more waits.
        {"a split marker", checkSimReady, {{25ms, "\r\nO"}, {2ms, "K\r\n"}}, 0, 487ms},
        {"chatter uses up the polls", checkSimReady, chatter, 0, 50ms},
        {"ERROR ends at once", checkSimReady, {{25ms, "\r\n+CME ERROR: 10\r\n"}}, 0, 25ms},
        {"the line is hung up", checkSimReady, {{25ms, "", true}}, 0, 25ms},
        {"what comes before the flush is lost", checkSimReady, {{0ms, ready}}, 0, 500ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.behaviour);
        gateway.scriptModem({{one.ask == checkSimReady ? "at+cpin?" : "at+csq", one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        const FileDescriptor line = port();
        EXPECT_EQ(timeOf([&] { EXPECT_EQ(one.ask(line.get()), one.result); }), one.time);
    }
    // A failed wait counts as one that expired.
    gateway.scriptModem({{"at+cpin?", {}}});
    gateway.failCall(sim::Call::Select, EINTR, 1);
    const FileDescriptor line = port();
    EXPECT_EQ(timeOf([&] { checkSimReady(line.get()); }), 490ms);
}

TEST_F(ModemPortTest, StepwiseQueryOfEachModem) {
    using sim::Command;
    using sim::Maker;
    const struct {
        const char* modem;
        void (*edit)(sim::ModemFacts& modem);
        const char* status;
        const char* sent; // the fifth letters: at+cpin, creg, csq, AT+CGMI, at+cnsmod, AT^SYSINFO
        milliseconds time;
    } cases[] = {
        {"both makers", [](auto& m) { m.maker = Maker::Both; }, "1 1 20 3 8", "prsGY", 150ms},
        {"no maker", [](auto& m) { m.errorCommands = bit(Command::Cgmi); }, "1 1 20 3 0", "prsG",
         130ms},
        {"mode 0", [](auto& m) { m.networkMode = 0; }, "1 1 20 3 0", "prsGnnn", 190ms},
        {"mode 0 twice", [](auto& m) { m.modeLeadingZeros = 2; }, "1 1 20 3 8", "prsGnnn", 190ms},
        {"no mode", [](auto& m) { m.errorCommands = bit(Command::Cnsmod); }, "1 1 20 3 -1", "prsGn",
         150ms},
        {"no network", [](auto& m) { m.registration = 2; }, "1 0 -1 0 8", "prrsGn", 1130ms},
        {"csq 0 twice", [](auto& m) { m.csqLeadingZeros = 2; }, "1 1 0 1 8", "prssGn", 170ms},
        {"csq 0, no SIM",
         [](auto& m) {
             m.csq = 0;
             m.simCard = sim::SimCard::Absent;
         },
         "0 1 -1 0 8", "pprssGn", 190ms},
        {"no csq", [](auto& m) { m.csq = -1; }, "1 1 -1 0 8", "prsGn", 230ms},
        {"silent", [](auto& m) { m.silentCommands = sim::everyCommand; }, "0 0 -1 0 0", "pprrsG",
         4110ms},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.modem);
        gateway.editModem(sim::ordinaryModem);
        gateway.editModem(one.edit);
        EXPECT_EQ(timeOf([&] { EXPECT_EQ(ask(modelStepwise), one.status); }), one.time);
        std::istringstream commands(gateway.sentToModem());
        std::string letters; // each command's fifth
        for (std::string command; std::getline(commands, command);) {
            letters += command.at(4);
        }
        EXPECT_EQ(letters, one.sent);
    }
}

TEST_F(ModemPortTest, ASecondCheckMaySucceed) {
    gateway.scriptModem(
        {{"at+cpin?", {{20ms, "\r\nERROR\r\n"}}, 1}, {"at+creg?", {{20ms, "\r\nERROR\r\n"}}, 1}});
    EXPECT_EQ(ask(modelStepwise), "1 1 20 3 8");
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+cpin?\r\nat+creg?\r\nat+creg?\r\nat+csq\r\n"
                                     "AT+CGMI\r\nat+cnsmod?\r\n");
}

TEST_F(ModemPortTest, LongAnswersAreAwaitedSecondsThenFiftyMilliseconds) {
    constexpr const char* maker = "AT+CGMI";
    constexpr const char* all = "at+cpin?\r\nat+creg?\r\nat+csq";
    const struct {
        const char* command;
        std::vector<sim::ReplyStep> reply;
        const char* status;
        milliseconds time;
    } cases[] = {
        // The maker's answer, after 60 ms of others; the mode takes 20 ms more.
        {maker, {{2000ms, "SIMCOM"}}, "1 1 20 3 8", 2130ms},
        {maker, {{2020ms, "SIMCOM"}}, "1 1 20 3 0", 2070ms},
        {maker, {{10ms, "SIM"}, {45ms, "COM"}}, "1 1 20 3 8", 185ms},
        {maker, {{10ms, "SIM"}, {55ms, "COM"}}, "1 1 20 3 0", 120ms},
        // The combined answer.
        {all, {{2990ms, "OK\r\n+CREG: 0,1\r\n"}}, "1 1 0 1 2", 3040ms},
        {all, {{3010ms, "OK\r\n+CREG: 0,1\r\n"}}, "0 0 0 1 2", 3000ms},
        {all, {{20ms, "OK+CR"}, {45ms, "EG: 0,1"}}, "1 1 0 1 2", 115ms},
    };
    for (const auto& one : cases) {
        gateway.scriptModem({{one.command, one.reply}});
        gateway.pass(1s); // what the case before left on its way is lost
        const auto kind = one.command == maker ? modelStepwise : modelCombined;
        EXPECT_EQ(timeOf([&] { EXPECT_EQ(ask(kind), one.status); }), one.time);
    }
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\n");
}

} // namespace
