// panelctl modem: the daemon's dialogue, its transcript and its verdict.

#include "tests/tools/session.h"

namespace {

// Late enough for the flush behind the command and early enough for every wait, on a busy machine.
void answerAfterAWhile(sim::ModemFacts& modem) {
    modem.answerDelayUs = 50'000;
}

TEST_F(Panelctl, ModemShowsTheDialogueWithItsTimesAndTheVerdict) {
    startDaemon(); // may use the port as well
    gateway.editModem(answerAfterAWhile);
    type("panelctl modem");
    EXPECT_EQ(gateway.sentToModem(), "at+cpin?\r\nat+creg?\r\nat+csq\r\nAT+CGMI\r\nat+cnsmod?\r\n");
    EXPECT_EQ(gateway.lineSettings().size(), 3U); // the port is set up as by the daemon
    expectText("modem");
}

TEST_F(Panelctl, ModemTellsWhatIsNotAnsweredWhatIsLostAndWhatIsHostile) {
    const auto fact = [&](const char* name, void (*edit)(sim::ModemFacts & modem)) {
        text += "--- "s + name + "\n";
        gateway.editModem(sim::ordinaryModem);
        gateway.editModem(answerAfterAWhile);
        gateway.editModem(edit);
    };
    fact("no answer", [](auto& modem) { modem.silentCommands = sim::everyCommand; });
    type("panelctl modem");
    fact("searching a network", [](auto& modem) { modem.registration = 2; });
    type("panelctl modem");
    fact("answers at once", [](auto& /*modem*/) {});
    gateway.scriptModem({{"at+cpin?\r\nat+creg?\r\nat+csq",
                          {{std::chrono::milliseconds(0), "\r\nOK\r\n"},
                           {std::chrono::milliseconds(150), "\r\n+CREG: 0,1\r\n\r\nOK\r\n"}}}});
    type("panelctl modem --kind 1");
    fact("control sequences in its answer", [](auto& /*modem*/) {});
    gateway.scriptModem({{"at+csq", {{std::chrono::milliseconds(50), "\x1b]0;\a\x9b\r\n"}}}});
    type("panelctl modem");
    gateway.setModemPresent(false);
    type("panelctl modem");
    gateway.removeFile("/zelkora/Config/system/sn.xml");
    type("panelctl modem");
    expectText("modem-trouble");
}

} // namespace
