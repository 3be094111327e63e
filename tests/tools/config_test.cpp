// panelctl config: the values that the daemon reads, and the trouble in each file with its line.

#include "tests/tools/session.h"

namespace {

constexpr const char* sys = "/zelkora/Config/sys.xml";
constexpr const char* sn = "/zelkora/Config/system/sn.xml";
constexpr const char* version = "/zelkora/Config/version/main-version.conf";
constexpr const char* channels = "/zelkora/Config/Channel-template.xml";

// Whatever a file declares, it is read as UTF-8; what may be as it is does not count as trouble.
TEST_F(Panelctl, ConfigListsTheValuesOfFilesThatAreFine) {
    write(sys, "<sysConfig><!-- lan1 --><other/>"
               "<lan1 gateway='10.0.0.1' dns='x' cascade='1'/></sysConfig>");
    write(sn, "<?xml version='1.0' encoding='GB18030'?>\n"
              "<snConfig><sn sn='7'/><model model='GW-100-L'/></snConfig>");
    write(version, "V2.0\r\nbuilt yesterday (by hand)\n");
    write(channels, "<ChannelConfig><Channel No='1'><CommMode Mode='2'/></Channel>\n"
                    "<Channel No='4'>\n"
                    "<CommMode Mode='0' Baud='9600' DataSize='8' Parity='Even' Stop='1'/>\n"
                    "<CommMode Mode='2' Baud='19200'/></Channel></ChannelConfig>");
    type("panelctl config");
    expectText("config-fine");
}

TEST_F(Panelctl, ConfigListsEveryTroubleWithItsLine) {
    write(sys, "<sysConfig>\n"
               "<LAN1/><lan1 gateway='192.168.100.100.200' cascade='256'/>\n"
               "<lan1/></sysConfig>");
    write(sn, "<snConfig>\n"
              "<sn sn='1'/><sn Sn='0'/>\n"
              "<sn sn='SN_45678901234567890'/></snConfig>");
    write(version, "V1 (beta) of the ninth of May 2024\n");
    const std::string complete = "Baud='9600' DataSize='8' Parity='N' Stop='1'/></Channel>\n";
    write(channels, "<ChannelConfig>\n"
                    "<Channel No='257'><CommMode Mode='0' Baud='fast' Parity=''/></Channel>\n"
                    "<Channel No='3'><CommMode Mode='0' " +
                        complete + "<Channel No='3'><CommMode Mode='0' " + complete +
                        "<Channel No='17'><CommMode Mode='0x' " + complete +
                        "<Channel No='7'><CommMode " + complete +
                        "<Channel No='8'/>\n</ChannelConfig>");
    type("panelctl config");
    expectText("config-trouble");
}

// Files that are not read, one that never ends, and one whose words would take the terminal over.
TEST_F(Panelctl, ConfigTellsWhyFilesAreNotRead) {
    gateway.removeFile(sys);
    write(sn, "<snConfig><sn sn='\u202e7&#10;\u009b2J'/><model model='M'/></snConfig>");
    gateway.writeFile(version, "");
    std::filesystem::resize_file(gateway.place(version), 3'000'000'000U);
    write(channels, "<ChannelConfig>\n<Channel No='1'>");
    type("panelctl config");

    write(sys, "<sysConfig><\u202e\u009b></sysConfig>");
    gateway.touchFile(sn, 0);
    write(version, "");
    write(channels, "<!DOCTYPE x [<!ENTITY a 'b'>]>\n<ChannelConfig/>");
    type("panelctl config");

    write(sys, "<sysConfig/>");
    type("head -c 256K /dev/zero | tr '\\0' ' ' >> zelkora/Config/sys.xml");
    write(sn, "<snConfig/>");
    type("cd zelkora/Config/system; gzip sn.xml; mv sn.xml.gz sn.xml");
    write(channels, "<other/>");
    type("panelctl config");
    expectText("config-unread");
}

} // namespace
