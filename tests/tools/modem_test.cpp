// panelctl modem: the daemon's dialogue, its transcript and its verdict.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

TEST(ModemCommand, ShowsTheDialogueOfTheModelWithItsTimesAndTheVerdict) {
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    panel.settle();
    const Outcome outcome = panelctl(gateway, {"modem"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\nAT+CGMI\r\nat+cnsmod?\r\n");
    EXPECT_EQ(gateway.lineSettings().size(), 3U); // the port is set up as by the daemon
    EXPECT_THAT(outcome.output,
                AllOf(ContainsRegex(R"( s  > at\+csq\\r\\n
 +[0-9]+\.[0-9]+ s  < .*\+CSQ: 20,.*\(after [0-9]+ ms\))"),
                      HasSubstr("model \"GW-100-L\", dialogue of kind 2"),
                      HasSubstr("SIM         OK\n"), HasSubstr("network     4G (code 8)\n"),
                      HasSubstr("signal      20, 3 of 4 bars (csq 20)\n")));
    EXPECT_THAT(outcome.errors,
                HasSubstr("paneld (process " + std::to_string(panel.pid()) + ") may use the port"));
}

TEST(ModemCommand, TellsWhatIsNotAnsweredAndWhatIsLost) {
    sim::Gateway silent;
    silent.editModem([](sim::ModemFacts& modem) { modem.silentCommands = sim::everyCommand; });
    const Outcome nothing = panelctl(silent, {"modem"});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.output,
                AllOf(ContainsRegex("< nothing for [0-9]+ ms"), HasSubstr("SIM         NG"),
                      HasSubstr("network     no service (code 0)"),
                      HasSubstr("signal      -1, 0 of 4 bars (csq -1)")));

    sim::Gateway searching;
    searching.editModem([](sim::ModemFacts& modem) { modem.registration = 2; });
    EXPECT_EQ(panelctl(searching, {"modem"}).status, 1);

    sim::Gateway hasty;
    hasty.editModem([](sim::ModemFacts& modem) { modem.answerDelayUs = 0; });
    EXPECT_THAT(panelctl(hasty, {"modem", "--kind", "1"}).output,
                HasSubstr("before the command was out and were dropped"));
    EXPECT_EQ(hasty.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\n");
}

TEST(ModemCommand, WithoutPortOrModelSaysWhy) {
    sim::Gateway gateway;
    gateway.setModemPresent(false);
    const Outcome port = panelctl(gateway, {"modem"});
    EXPECT_EQ(port.status, 1);
    EXPECT_THAT(port.errors, HasSubstr("cannot open /dev/mux3: No such file or directory"));
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    EXPECT_THAT(panelctl(gateway, {"modem"}).errors, HasSubstr("no model in sn.xml"));
}

} // namespace
