// panelctl config: the values that the daemon reads, and the trouble in each file with its line.

#include "tests/tools/tool_process.h"

namespace {

constexpr const char* sys = "/zelkora/Config/sys.xml";
constexpr const char* sn = "/zelkora/Config/system/sn.xml";
constexpr const char* version = "/zelkora/Config/version/main-version.conf";
constexpr const char* channels = "/zelkora/Config/Channel-template.xml";

void expectReport(sim::Gateway& gateway, int status, const char* report) {
    const Outcome outcome = panelctl(gateway, "config");
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(replaced(outcome.output, "/zelkora/Config/", ""), report);
    EXPECT_EQ(outcome.errors, "");
}

// Whatever a file declares, it is read as UTF-8; what may be as it is does not count as trouble.
TEST(Config, ListsTheValuesOfFilesThatAreFine) {
    sim::Gateway gateway;
    gateway.writeFile(sys, "<sysConfig><!-- lan1 --><other/><lan1 gateway='10.0.0.1' dns='x' "
                           "cascade='1'/></sysConfig>");
    gateway.writeFile(sn, "<?xml version='1.0' encoding='GB18030'?>\n"
                          "<snConfig><sn sn='7'/><model model='GW-100-L'/></snConfig>");
    gateway.writeFile(version, "V2.0\r\nbuilt yesterday (by hand)\n");
    gateway.writeFile(channels,
                      "<ChannelConfig><Channel No='1'><CommMode Mode='2'/></Channel>\n"
                      "<Channel No='4'><CommMode Mode='0' Baud='9600' DataSize='8' Parity='Even' "
                      "Stop='1'/><CommMode Mode='2' Baud='19200'/></Channel></ChannelConfig>");
    expectReport(gateway, 0, R"(sys.xml
  gateway         10.0.0.1
  cascade         1: Ethernet port 1 is eth0
system/sn.xml
  series number   7
  model           GW-100-L
  modem dialogue  2: one command at a time
version/main-version.conf
  version         V2.0
Channel-template.xml
  channel 4       9600 8 E 1
Channel-template.xml:1: note: channel 1 is in another mode than 0: it is not shown
Channel-template.xml:2: note: another <CommMode>: it goes on from the settings of the one before
)");
}

TEST(Config, EveryTroubleIsListedWithItsLine) {
    sim::Gateway gateway;
    gateway.writeFile(sys, "<sysConfig>\n"
                           "<LAN1/><lan1 gateway='192.168.100.100.200' cascade='256'/>\n"
                           "<lan1/></sysConfig>");
    gateway.writeFile(sn, "<snConfig>\n"
                          "<sn sn='1'/><sn Sn='0'/>\n"
                          "<sn sn='SN_45678901234567890'/></snConfig>");
    gateway.writeFile(version, "V1 (beta) of the ninth of May 2024\n");
    const std::string complete = "Baud='9600' DataSize='8' Parity='N' Stop='1'/></Channel>\n";
    gateway.writeFile(channels, "<ChannelConfig>\n"
                                "<Channel No='257'><CommMode Mode='0' Baud='fast' Parity=''/>"
                                "</Channel>\n"
                                "<Channel No='3'><CommMode Mode='0' " +
                                    complete + "<Channel No='3'><CommMode Mode='0' " + complete +
                                    "<Channel No='17'><CommMode Mode='0x' " + complete +
                                    "<Channel No='7'><CommMode " + complete +
                                    "<Channel No='8'/>\n</ChannelConfig>");
    expectReport(gateway, 1, R"(sys.xml
  gateway         192.168.100.100
  cascade         0: Ethernet port 1 is eth1
sys.xml:2: ignored: element "LAN1": it must be written "lan1"
sys.xml:2: cut: gateway has 19 characters, the first 15 are kept
sys.xml:2: wrong: gateway "192.168.100.100.200" is not an IPv4 address
sys.xml:2: wrong: cascade "256" is not within 0 to 255: it reads as 0
sys.xml:3: ignored: another <lan1>: only the one on line 2 counts
system/sn.xml
  series number   SN_45678901234567890
  model           
  modem dialogue  0: none
system/sn.xml:2: ignored: attribute "Sn": it must be written "sn"
system/sn.xml:2: missing: <sn> has no attribute "sn": no series number is shown
system/sn.xml:2: ignored: this <sn>: the one on line 3 counts
system/sn.xml:3: cut: sn loses '_': the panel's font lacks it
system/sn.xml:1: missing: <snConfig> has no element "model": the modem is asked nothing
version/main-version.conf
  version         V1 (beta) of the ninth of May 
version/main-version.conf:1: cut: the version has 34 characters, the first 30 are kept
version/main-version.conf:1: cut: the version loses '(' and ')': the panel's font lacks them
version/main-version.conf:1: cut: the version is 168 pixels wide and the panel has 126 between its borders: both ends run over
Channel-template.xml
  channel 1       0 0  0
  channel 3       9600 8 N 1
  channel 17      9600 8 N 1
Channel-template.xml:2: wrong: No "257" is not within 0 to 255: it reads as 1
Channel-template.xml:2: missing: the channel has no "DataSize": it reads as 0
Channel-template.xml:2: missing: the channel has no "Stop": it reads as 0
Channel-template.xml:2: wrong: Baud "fast" is not a number: it reads as 0
Channel-template.xml:2: cut: empty Parity: the settings line ends there
Channel-template.xml:3: ignored: this channel 3: the one on line 4 counts
Channel-template.xml:5: wrong: Mode "0x" goes on behind the number: it reads as 0
Channel-template.xml:6: missing: channel 7 has no "Mode": it is not shown
Channel-template.xml:7: missing: channel 8 has no <CommMode>: it is not shown
Channel-template.xml:5: wrong: channel 17 is not shown: the button steps to channels up to 16
)");
}

// Files that are not read, one that never ends, and one whose words would take the terminal over.
TEST(Config, UnreadableEndlessAndHostileFilesAreTrouble) {
    sim::Gateway gateway;
    gateway.removeFile(sys);
    gateway.writeFile(sn, "<snConfig><sn sn='\u202e7&#10;\u009b2J'/><model model='M'/></snConfig>");
    gateway.writeFile(version, "");
    std::filesystem::resize_file(gateway.place(version), 3'000'000'000U);
    gateway.writeFile(channels, "<ChannelConfig>\n<Channel No='1'>");
    expectReport(gateway, 1, R"(sys.xml
sys.xml: missing: No such file or directory
sys.xml: note: the daemon prints "get sys.xml status error" at each attempt
system/sn.xml
  series number   \xe2\x80\xae\x37\n\xc2\x9b2J
  model           M
  modem dialogue  1: all commands at once
system/sn.xml:1: cut: sn loses '\xe2\x80', '\xae\x37' and '\xc2\x9b': the panel's font lacks them
version/main-version.conf
  version         
version/main-version.conf:1: cut: only 4096 characters are looked at
version/main-version.conf:1: cut: a zero byte ends the version after 0 characters
Channel-template.xml
Channel-template.xml:2: wrong: Premature end of data in tag Channel line 2
Channel-template.xml: note: the daemon prints "Channel-template.xml Document not parsed successfully." at each attempt
)");
    gateway.writeFile(sys, "<sysConfig><\u202e\u009b></sysConfig>");
    gateway.touchFile(sn, 0);
    gateway.writeFile(version, "");
    EXPECT_THAT(panelctl(gateway, "config").output,
                AllOf(HasSubstr("sys.xml:1: wrong: "), Not(HasSubstr("\u202e")),
                      HasSubstr("sn.xml: wrong: its modification time is the beginning of 1970"),
                      HasSubstr("the first line is empty: no version is shown")));
}

} // namespace
