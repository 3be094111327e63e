// panelctl modem: the daemon's dialogue, its transcript and its verdict.

#include "sim/panel_process.h"
#include "tests/tools/tool_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

TEST(ModemCommand, ShowsTheStepwiseDialogueWithItsTimesAndTheVerdict) {
    sim::Gateway gateway;
    const Outcome outcome = panelctl(gateway, {"modem"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\nAT+CGMI\r\nat+cnsmod?\r\n");
    EXPECT_EQ(gateway.lineSettings().size(), 3U); // the port is set up as by the daemon
    const std::regex exchange(R"( s  > at\+csq\\r\\n\n +\d+\.\d{3} s  < .*\+CSQ: 20,.*)"
                              R"(\(after \d+ ms\)\n)");
    EXPECT_TRUE(std::regex_search(outcome.output, exchange)) << outcome.output;
    EXPECT_THAT(outcome.output,
                AllOf(HasSubstr("model \"GW-100-L\", dialogue of kind 2"),
                      HasSubstr("SIM         OK\n"), HasSubstr("network     4G (code 8)\n"),
                      HasSubstr("signal      20, 3 of 4 bars (csq 20)\n")));
}

TEST(ModemCommand, FollowsTheModelAndTheChosenKind) {
    const std::string combined = "at+cpin?\r\nat+creg?\r\nat+csq\r\n";
    for (const bool byModel : {true, false}) {
        sim::Gateway gateway;
        if (byModel) {
            gateway.writeSnXml("SN1", "GW-100");
        }
        const Outcome outcome =
            panelctl(gateway, byModel ? std::vector<std::string>{"modem"}
                                      : std::vector<std::string>{"modem", "--kind", "1"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(gateway.sentToModem(), combined);
        EXPECT_THAT(outcome.output, HasSubstr("network     2G (code 2)"));
    }
}

TEST(ModemCommand, TellsWhatIsNotAnsweredAndWhatIsLost) {
    sim::Gateway silent;
    silent.editModem([](sim::ModemFacts& modem) { modem.silentCommands = sim::everyCommand; });
    const Outcome nothing = panelctl(silent, {"modem"});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.output,
                AllOf(ContainsRegex("< nothing for [5-9][0-9][0-9]"), HasSubstr("SIM         NG"),
                      HasSubstr("network     no service (code 0)"),
                      HasSubstr("signal      -1, 0 of 4 bars (csq -1)")));

    sim::Gateway hasty;
    hasty.editModem([](sim::ModemFacts& modem) { modem.answerDelayUs = 0; });
    const Outcome lost = panelctl(hasty, {"modem"});
    EXPECT_EQ(lost.status, 1);
    EXPECT_THAT(lost.output, HasSubstr("before the command was out and were dropped"));
}

TEST(ModemCommand, WithoutPortOrModelSaysWhy) {
    sim::Gateway gateway;
    gateway.setModemPresent(false);
    const Outcome port = panelctl(gateway, {"modem"});
    EXPECT_EQ(port.status, 1);
    EXPECT_THAT(port.errors, HasSubstr("cannot open /dev/mux3: No such file or directory"));
    EXPECT_EQ(port.output, "");

    sim::Gateway nameless;
    nameless.removeFile("/zelkora/Config/system/sn.xml");
    const Outcome model = panelctl(nameless, {"modem"});
    EXPECT_EQ(model.status, 1);
    EXPECT_THAT(model.errors, HasSubstr("no model in sn.xml"));
    EXPECT_EQ(nameless.calls(sim::Call::Open, sim::Path::ModemPort), 0U);
}

TEST(ModemCommand, WarnsOfARunningDaemon) {
    sim::Gateway gateway;
    gateway.setClockMode(sim::ClockMode::Real);
    sim::PanelProcess panel(gateway, PANELD_PROGRAM, PANELD_INTERPOSER);
    panel.settle();
    EXPECT_THAT(panelctl(gateway, {"modem"}).errors,
                HasSubstr("paneld (process " + std::to_string(panel.pid()) + ") may use the port"));
}

} // namespace
