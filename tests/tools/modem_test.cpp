// panelctl modem: the daemon's dialogue, its transcript and its verdict.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

namespace {

using testing::ContainsRegex;

TEST(ModemCommand, ShowsTheDialogueOfTheModelWithItsTimesAndTheVerdict) {
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    panel.settle();
    expectOutcome(
        gateway, "modem", 0,
        AllOf(ContainsRegex(R"( s  > at\+csq\\r\\n
 +[0-9]+\.[0-9]+ s  < .*\+CSQ: 20,.*\(after [0-9]{1,3} ms\))"),
              HasSubstr("model \"GW-100-L\", dialogue of kind 2"), HasSubstr("SIM         OK\n"),
              HasSubstr("network     4G (code 8)\n"),
              HasSubstr("signal      20, 3 of 4 bars (csq 20)\n")),
        HasSubstr("paneld (process " + std::to_string(panel.pid()) + ") may use the port"));
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\nAT+CGMI\r\nat+cnsmod?\r\n");
    EXPECT_EQ(gateway.lineSettings().size(), 3U); // the port is set up as by the daemon
}

TEST(ModemCommand, TellsWhatIsNotAnsweredWhatIsLostAndWhatIsHostile) {
    const struct {
        void (*edit)(sim::ModemFacts& modem);
        const char* arguments;
        int status;
        Matcher<std::string> output;
    } cases[] = {
        {[](auto& modem) { modem.silentCommands = sim::everyCommand; }, "modem", 1,
         AllOf(ContainsRegex("< nothing for [0-9]+ ms"), HasSubstr("SIM         NG"),
               HasSubstr("network     no service (code 0)"),
               HasSubstr("signal      -1, 0 of 4 bars (csq -1)"))},
        {[](auto& modem) { modem.registration = 2; }, "modem", 1, HasSubstr("registered  no")},
        {[](auto& modem) { modem.answerDelayUs = 0; }, "modem --kind 1", 1,
         AllOf(HasSubstr("before the command was out and were dropped"),
               HasSubstr("kind 1: all commands at once"))},
    };
    for (const auto& c : cases) {
        sim::Gateway gateway;
        gateway.editModem(c.edit);
        expectOutcome(gateway, c.arguments, c.status, c.output, testing::_);
    }
    sim::Gateway gateway;
    gateway.scriptModem({{"at+csq", {{std::chrono::milliseconds(20), "\x1b]0;\a\x9b\r\n"}}}});
    EXPECT_THAT(panelctl(gateway, "modem").output, HasSubstr(R"(< \x1b]0;\x07\x9b\r\n  ()"));
    gateway.setModemPresent(false);
    expectOutcome(gateway, "modem", 1, "",
                  HasSubstr("cannot open /dev/mux3: No such file or directory"));
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    expectOutcome(gateway, "modem", 1, "", HasSubstr("no model in sn.xml"));
}

} // namespace
