// panelctl config: the verdict on each file, with its line.

#include "tests/tools/tool_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* sys = "/zelkora/Config/sys.xml";
constexpr const char* sn = "/zelkora/Config/system/sn.xml";
constexpr const char* version = "/zelkora/Config/version/main-version.conf";
constexpr const char* channels = "/zelkora/Config/Channel-template.xml";

TEST(Config, OrdinaryFilesAreFineAndTheirValuesListed) {
    sim::Gateway gateway;
    const Outcome outcome = panelctl(gateway, {"config"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output, "/zelkora/Config/sys.xml\n"
                              "  gateway         192.168.1.1\n"
                              "  cascade         0: Ethernet port 1 is eth1\n"
                              "/zelkora/Config/system/sn.xml\n"
                              "  series number   SN20240001\n"
                              "  model           GW-100-L\n"
                              "  modem dialogue  2: one command at a time\n"
                              "/zelkora/Config/version/main-version.conf\n"
                              "  version         V1.2.3\n"
                              "/zelkora/Config/Channel-template.xml\n"
                              "  channel 1       9600 8 N 1\n"
                              "  channel 2       115200 8 E 1\n"
                              "  channel 5       2400 7 O 2\n");
}

struct BrokenFile {
    const char* path;
    std::string contents;
    const char* finding; // behind the path
    const char* value;   // what the daemon reads all the same; null: not looked at
};

// Runs the tool on a gateway where this file alone is not in order.
void expectTrouble(const BrokenFile& file) {
    sim::Gateway gateway;
    gateway.writeFile(file.path, file.contents);
    const Outcome outcome = panelctl(gateway, {"config"});
    EXPECT_EQ(outcome.status, 1) << file.contents;
    EXPECT_THAT(outcome.output, HasSubstr(std::string(file.path) + file.finding)) << file.contents;
    if (file.value != nullptr) {
        EXPECT_THAT(outcome.output, HasSubstr(file.value)) << file.contents;
    }
    EXPECT_EQ(outcome.errors, "");
}

TEST(Config, TroubleInSysXmlHasItsLine) {
    const BrokenFile files[] = {
        {sys, "<sysConfig>\n<lan1 gateway='192.168.100.100.200' cascade='0'/>\n</sysConfig>",
         ":2: cut: gateway has 19 characters, the first 15 are kept", "192.168.100.100\n"},
        {sys, "<sysConfig><lan1 gateway='router' cascade='0'/></sysConfig>",
         ":1: wrong: gateway \"router\" is not an IPv4 address", "router"},
        {sys, "<sysConfig>\n\n<lan1 cascade='0'/></sysConfig>",
         ":3: missing: <lan1> has no attribute \"gateway\"", nullptr},
        {sys, "<sysConfig><lan1 gateway='10.0.0.1' cascade='yes'/></sysConfig>",
         ":1: wrong: cascade \"yes\" is not a number: it reads as 0", "eth1"},
        {sys, "<sysConfig><lan1 gateway='10.0.0.1' cascade='256'/></sysConfig>",
         ":1: wrong: cascade \"256\" is not within 0 to 255: it reads as 0", "eth1"},
        {sys, "<sysConfig><lan1 gateway='10.0.0.1' cascade='1x'/></sysConfig>",
         ":1: wrong: cascade \"1x\" goes on behind the number: it reads as 1", "eth0"},
        {sys,
         "<sysConfig><lan1 gateway='10.0.0.1' cascade='0'/>\n"
         "<lan1 gateway='10.0.0.2' cascade='0'/></sysConfig>",
         ":2: ignored: another <lan1>: only the one on line 1 counts", "10.0.0.1"},
        {sys, "<sysConfig>\n<LAN1 gateway='10.0.0.1'/></sysConfig>",
         ":2: ignored: element \"LAN1\": it must be written \"lan1\"", nullptr},
        {sys, "<sysConfig><lan1 GateWay='10.0.0.1' cascade='0'/></sysConfig>",
         ":1: ignored: attribute \"GateWay\": it must be written \"gateway\"", nullptr},
        {sys, "<sysConfig/>", ":1: missing: <sysConfig> has no element \"lan1\"", nullptr},
        {sys, "<sysConfig>\n<lan1 gateway='10.0.0.1'>\n</sysConfig>",
         ":3: wrong: ", "Document not parsed successfully."},
        {sys, "", ":1: wrong: ", "Document not parsed successfully."},
        {sys, "<snConfig/>", ":1: wrong: not the document", "root node != sysConfig"},
    };
    for (const BrokenFile& file : files) {
        expectTrouble(file);
    }
}

TEST(Config, TroubleInSnXmlAndTheVersionHasItsLine) {
    const BrokenFile files[] = {
        {sn, "<snConfig><sn sn='1'/></snConfig>",
         ":1: missing: <snConfig> has no element \"model\"", "modem dialogue  0: none"},
        {sn, "<snConfig>\n<sn sn='1'/>\n<sn sn='2'/><model model='A'/></snConfig>",
         ":2: ignored: this <sn>: the one on line 3 counts", "series number   2\n"},
        {sn, "<snConfig><sn sn='1'/>\n<model/></snConfig>",
         ":2: missing: <model> has no attribute \"model\"", nullptr},
        {sn, "<snConfig><sn sn='SN_2024'/><model model='A'/></snConfig>",
         ":1: cut: sn loses '_': the panel's font lacks it", "SN_2024"},
        {sn, "<snConfig><sn sn='0123456789012345678901'/><model model='A'/></snConfig>",
         ":1: cut: sn is 132 pixels wide", nullptr},
        {sn, "<snConfig><sn sn='1'/><model model='01234567890123456789012345678901-L'/></snConfig>",
         ":1: cut: model has 34 characters, the first 31 are kept", "1: all commands at once"},
        {version, "V0123456789012345678901234567890", ":1: cut: the version has 32 characters",
         "V01234567890123456789012345678\n"},
        {version, "", ":1: missing: the first line is empty", nullptr},
        {version, "V1 (beta)\nV2\n", ":1: cut: the version loses '(' and ')'", "V1 (beta)\n"},
        {version, std::string("V1\0V2", 5), ":1: cut: a zero byte ends the version after 2",
         "version         V1\n"},
    };
    for (const BrokenFile& file : files) {
        expectTrouble(file);
    }
}

TEST(Config, TroubleInTheChannelTemplateHasItsLine) {
    const std::string good = "<CommMode Mode='0' Baud='9600' DataSize='8' Parity='N' Stop='1'/>";
    const auto document = [](const std::string& body) {
        return "<ChannelConfig>\n" + body + "\n</ChannelConfig>";
    };
    const auto channel = [&](const std::string& number, const std::string& mode) {
        return "<Channel No='" + number + "'>" + mode + "</Channel>";
    };
    const BrokenFile files[] = {
        {channels, document("<Channel>" + good + "</Channel>"),
         ":2: missing: <Channel> has no attribute \"No\": it becomes channel 0", "channel 0"},
        {channels, document(channel("257", good)),
         ":2: wrong: No \"257\" is not within 0 to 255: it reads as 1", "channel 1"},
        {channels, document("<Channel No='3'/>"),
         ":2: missing: channel 3 has no <CommMode>: it is not shown", nullptr},
        {channels, document(channel("3", "<CommMode Baud='9600'/>")),
         ":2: missing: channel 3 has no \"Mode\": it is not shown", nullptr},
        {channels, document(channel("3", "<CommMode Mode='0' Baud='9600' DataSize='8' Stop='1'/>")),
         ":2: missing: the channel has no \"Parity\": it reads as 0", "9600 8  1"},
        {channels,
         document(channel("3", "<CommMode Mode='0' Baud='fast' DataSize='8' Parity='N' "
                               "Stop='1'/>")),
         ":2: wrong: Baud \"fast\" is not a number: it reads as 0", "0 8 N 1"},
        {channels,
         document(channel("3", "<CommMode Mode='0' Baud='9600' DataSize='8' Parity='' "
                               "Stop='1'/>")),
         ":2: cut: empty Parity: the settings line ends there", nullptr},
        {channels, document(channel("3", good) + "\n" + channel("3", good)),
         ":2: ignored: this channel 3: the one on line 3 counts", nullptr},
        {channels, document(channel("16", good)),
         ":2: wrong: channel 16: a smallest channel of 16 counts as none", nullptr},
        {channels, document(channel("2", good) + "\n" + channel("17", good)),
         ":3: wrong: channel 17 is not shown: the button steps to channels up to 16", nullptr},
        {channels, "<ChannelConfig><Channel No='1'>",
         ":1: wrong: ", "Document not parsed successfully."},
    };
    for (const BrokenFile& file : files) {
        expectTrouble(file);
    }
}

TEST(Config, WhatMayBeAsItIsDoesNotCountAsTrouble) {
    sim::Gateway gateway;
    gateway.writeFile(sys, "<sysConfig><!-- lan1 --><other/><lan1 gateway='10.0.0.1' dns='x' "
                           "cascade='1'/></sysConfig>");
    // Whatever a file declares, it is read as UTF-8.
    gateway.writeFile(sn, "<?xml version='1.0' encoding='GB18030'?>\n"
                          "<snConfig><sn sn='7'/><model model='M'/></snConfig>");
    gateway.writeFile(version, "V2.0\r\nbuilt yesterday (by hand)\n");
    gateway.writeFile(channels,
                      "<ChannelConfig><Channel No='1'><CommMode Mode='2'/></Channel>\n"
                      "<Channel No='4'><CommMode Mode='0' Baud='9600' DataSize='8' Parity='Even' "
                      "Stop='1'/><CommMode Baud='19200'/></Channel></ChannelConfig>");
    const Outcome outcome = panelctl(gateway, {"config"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("Channel-template.xml:1: note: channel 1 is in another "
                                          "mode"));
    EXPECT_THAT(outcome.output, HasSubstr("channel 4       19200 8 E 1\n"));
    EXPECT_THAT(outcome.output, HasSubstr("series number   7\n"));
    EXPECT_THAT(outcome.output, HasSubstr("version         V2.0\n"));
}

TEST(Config, FilesThatAreNotReadAtAllAreTrouble) {
    sim::Gateway gateway;
    gateway.removeFile(sys);
    gateway.touchFile(sn, 0);
    gateway.removeFile(version);
    mkfifo(gateway.place(version).c_str(), 0600);
    const Outcome outcome = panelctl(gateway, {"config"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, HasSubstr("sys.xml: missing: No such file or directory\n"));
    EXPECT_THAT(outcome.output,
                HasSubstr("the daemon prints \"get /zelkora/Config/sys.xml status error\""));
    EXPECT_THAT(outcome.output, HasSubstr("sn.xml: wrong: its modification time is the beginning "
                                          "of 1970"));
    EXPECT_THAT(outcome.output, HasSubstr("main-version.conf: wrong: not a regular file"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("SN20240001")));
}

} // namespace
