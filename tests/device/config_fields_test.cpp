// What the readers take out of well-formed files.

#include "device/device_info.h"
#include "tests/support/gateway_test.h"

namespace {

class FieldsTest : public GatewayTest {
  protected:
    void writeSys(const std::string& inner) {
        gateway.writeFile("/zelkora/Config/sys.xml", "<sysConfig>" + inner + "</sysConfig>");
        DeviceInfo::instance()->gateway();
    }
    void writeSn(const std::string& inner) {
        gateway.writeFile("/zelkora/Config/system/sn.xml", "<snConfig>" + inner + "</snConfig>");
        DeviceInfo::instance()->seriesNumber();
    }
};

TEST_F(FieldsTest, GatewayAndCascade) {
    const struct {
        const char* inner;
        const char* gateway;
        int cascade;
    } cases[] = {
        {R"(<lan1 cascade="256" gateway="123.123.123.123"/>)", "123.123.123.123", 0},
        {R"(<lan1 gateway="123.123.123.1234" cascade="abc"/>)", "123.123.123.123", 0},
        {R"(<lan1 gateway="01234567890123456789" cascade="257"/>)", "012345678901234", 1},
        {R"(<lan1 cascade="-1"/>)", "012345678901234", 255},     // absent: as it was
        {R"(<lan1 gateway="" cascade="4294967296"/>)", "", 255}, // clamped, then cut
        {R"(<lan1 gateway="&#49;.&amp;&lt;" cascade=" &#x37;x"/>)", "1.&<", 7},
        {R"(<a><lan1 gateway="9.9.9.9"/></a><lan1/><lan1 gateway="9.9.9.9"/>)", "1.&<", 7},
        {R"(<!-- c --><?lan1 gateway="9.9.9.9"?><lan1 gateway="A" cascade=""/>)", "A", 0},
        {R"(<LAN1 gateway="9.9.9.9"/><lan1 Gateway="9.9.9.9" cascade="3"/>)", "A", 3},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(outputOf([&] { writeSys(one.inner); }), "");
        EXPECT_STREQ(DeviceInfo::instance()->gateway(), one.gateway) << one.inner;
        EXPECT_EQ(DeviceInfo::instance()->cascade(), one.cascade) << one.inner;
    }
    // The bytes are UTF-8, whatever the file declares; a plain document type changes nothing.
    gateway.writeFile("/zelkora/Config/sys.xml",
                      "<?xml version='1.0' encoding='ISO-8859-1'?>"
                      "<!DOCTYPE sysConfig SYSTEM 'sys.dtd'>"
                      "<sysConfig><lan1 gateway='10.1.\xC3\xA9'/></sysConfig>");
    EXPECT_STREQ(DeviceInfo::instance()->gateway(), "10.1.\xC3\xA9");
}

TEST_F(FieldsTest, SeriesNumberAndModel) {
    const std::string text31 = "abcdefghijklmnopqrstuvwxyz01234";
    const struct {
        std::string inner;
        std::string seriesNumber;
        std::string model;
        int kind;
    } cases[] = {
        {R"(<sn sn="S1"/><sn sn="S2"/><model model="GW-100"/>)", "S2", "GW-100", 1},
        {R"(<sn SN="S3" model="x"/><model sn="y" model="gw-100-l"/>)", "S2", "gw-100-l", 1},
        {R"(<model model="A-L"/><model model="BL-"/><model/>)", "S2", "BL-", 1},
        {"<sn sn='" + text31 + "5'/><model model='" + text31 + "-L'/>", text31, text31, 1},
        {"<model model='" + text31.substr(0, 29) + "-L'/>", text31, text31.substr(0, 29) + "-L", 2},
        {"<sn sn=''/><other sn='x'/><?sn sn='y'?><model model=''/>", "", "", 1},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(outputOf([&] { writeSn(one.inner); }), "");
        EXPECT_EQ(DeviceInfo::instance()->seriesNumber(), one.seriesNumber) << one.inner;
        EXPECT_EQ(DeviceInfo::instance()->model(), one.model) << one.inner;
        EXPECT_EQ(DeviceInfo::instance()->modelKind(), one.kind) << one.inner;
    }
}

TEST_F(FieldsTest, VersionIsTheFirstLineWithItsLineFeedWhenThatFits) {
    const std::string digits = "0123456789012345678901234567890123456789";
    const auto cut = [&](std::size_t size) { return digits.substr(0, size); };
    const std::pair<std::string, std::string> cases[] = {
        {"V1\r\nsecond\n", "V1\r\n"},
        {cut(29) + "\nsecond\n", cut(29) + "\n"},
        {cut(30) + "\nsecond\n", cut(30)},
        {"short", "short"}, // nothing is left of the longer text
        {cut(31) + "\nsecond\n", cut(30)},
        {cut(40), cut(30)},
        {"\nV1\n", "\n"},
        {"", ""},
    };
    for (const auto& [contents, version] : cases) {
        gateway.writeVersion(contents);
        EXPECT_EQ(DeviceInfo::instance()->version(), version);
    }
}

TEST_F(FieldsTest, ChannelsOfATemplate) {
    const struct {
        const char* inner;
        const char* channels;
    } cases[] = {
        {R"(<Channel No="3"><CommMode Mode="0" Baud="9600" DataSize="7" Parity="Even" Stop="2"/>
            </Channel>
            <Channel No="1"><CommMode Stop="1" Parity="None" DataSize="8" Baud="115200" Mode="0"/>
            </Channel>)",
         "1: 115200 8 N 1; 3: 9600 7 E 2; "},
        {R"(<Channel No="1"><CommMode Mode="1" Baud="9600"/></Channel>
            <Channel No="2"><CommMode Baud="9600"/></Channel><Channel No="3"/>)",
         ""},
        // Settings and mode carry over within a channel, not to the next one.
        {R"(<Channel No="1"><CommMode Mode="0" Baud="9600" Stop="1"/><CommMode Baud="19200"/>
            </Channel><Channel No="2"><CommMode Stop="2"/></Channel>)",
         "1: 19200 0 - 1; "},
        {R"(<Channel No="1"><CommMode Mode="1" Baud="9600"/><CommMode Mode="0" Stop="1"/>
            </Channel>
            <Channel No="2"><CommMode Mode="0" Baud="9600"/><CommMode Mode="1" Baud="4800"/>
            </Channel>)",
         "1: 9600 0 - 1; 2: 9600 0 - 0; "},
        // Without a number, with the same one, with one that wraps.
        {R"(<Channel><CommMode Mode="0" Baud="1"/></Channel>
            <Channel No="5"><CommMode Mode="0" Baud="1" Stop="1"/></Channel>
            <Channel No="261"><CommMode Mode="256" Baud="2"/></Channel>
            <Channel No="5"><CommMode Mode="9" Baud="3"/></Channel>
            <Channel No="-1"><CommMode Mode="no" DataSize="264" Stop="-2"/></Channel>)",
         "0: 1 0 - 0; 5: 2 0 - 0; 255: 0 8 - 254; "},
        {R"(<Channel No="2"><CommMode Mode="0" Baud="4294967295" Parity=""/></Channel>
            <Channel No="3"><CommMode Mode="0" Baud="-99999999999" Parity="&#111;dd"/></Channel>)",
         "2: 2147483647 0 - 0; 3: -2147483648 0 o 0; "},
        {R"(<?Channel No="9"?><Channel No="4"><?CommMode Mode="0"?><!-- Mode --></Channel>
            <channel No="7"><CommMode Mode="0"/></channel>
            <Group><Channel No="8"><CommMode Mode="0"/></Channel></Group>
            <Channel No="6"><Other Mode="0"/><X><CommMode Mode="0"/></X></Channel>)",
         ""},
        {"", ""},
    };
    for (const auto& one : cases) {
        gateway.writeFile("/zelkora/Config/Channel-template.xml",
                          std::string("<ChannelConfig>") + one.inner + "</ChannelConfig>");
        const int first = DeviceInfo::instance()->firstChannel();
        std::string channels;
        for (std::uint32_t number = 0; number < 600; ++number) {
            const ChannelConfig untouched{};
            const ChannelConfig* found = &untouched;
            if (DeviceInfo::instance()->findChannel(number, &found) != 0) {
                EXPECT_EQ(found, &untouched);
                continue;
            }
            EXPECT_EQ(found->No, number);
            char text[64];
            std::snprintf(text, sizeof text, "%u: %d %d %c %d; ", number, int{found->Baud},
                          found->DataSize, found->Parity != '\0' ? found->Parity : '-',
                          found->Stop);
            channels += text;
        }
        EXPECT_EQ(channels, one.channels) << one.inner;
        EXPECT_EQ(first, channels.empty() ? 16 : std::stoi(channels)) << one.inner;
    }
}

} // namespace
