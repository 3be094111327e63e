// Every page and sub-page as it stands on a blank bordered screen, with ordinary data and with
// the awkward, compared with the pictures in tests/golden. Pages with ordinary data are also drawn
// on a lit screen, where the cells and areas that they write dark can be told from those that they
// leave alone.

#include "tests/pages/page_test.h"

#include <cstdlib>
#include <functional>
#include <regex>

namespace {

using Facts = std::function<void(sim::Gateway&)>;
using ModemEdit = std::function<void(sim::ModemFacts&)>;

struct PageCase {
    const char* golden; // in a folder called by the panel's number of lines
    PageNumber page;
    std::uint8_t subPage = 0;
    Facts facts = nullptr;
    std::vector<std::string> logLines = {};
    int drawsBefore = 0;
};

const std::string sixtyEightBytes =
    "0123456789 abcdefghij ABCDEFGHIJ 0123456789 klmnopqrst KLMNOPQRST 67";
const std::string connected = "\xC1\xAC\xBD\xD3 ppp0 \xD5\xFD\xB3\xA3"; // GB2312, 16 bytes

Facts modem(ModemEdit edit) {
    return [edit](sim::Gateway& gateway) { gateway.editModem(edit); };
}

Facts signal(std::int32_t csq) {
    return modem([csq](sim::ModemFacts& facts) { facts.csq = csq; });
}

Facts networkMode(std::int32_t mode) {
    return modem([mode](sim::ModemFacts& facts) { facts.networkMode = mode; });
}

Facts without(const char* interfaceName) {
    return [=](sim::Gateway& gateway) { gateway.removeInterface(interfaceName); };
}

Facts address(const char* interfaceName, const char* text, const char* netmask = "255.255.255.0") {
    return [=](sim::Gateway& gateway) { gateway.setInterface(interfaceName, text, netmask); };
}

Facts sysXml(const char* gatewayAddress, const char* cascade = "0") {
    return [=](sim::Gateway& gateway) { gateway.writeSysXml(gatewayAddress, cascade); };
}

Facts version(const char* contents) {
    return [=](sim::Gateway& gateway) { gateway.writeVersion(contents); };
}

Facts channel(const sim::Channel& settings) {
    return [=](sim::Gateway& gateway) { gateway.writeChannels({settings}); };
}

Facts card(std::uint32_t freeMb, std::uint32_t totalMb) {
    return [=](sim::Gateway& gateway) { gateway.setTfMegabytes(freeMb, totalMb); };
}

// 15 hours and a half east of Greenwich, where it is the next day.
void otherZone(sim::Gateway& /*gateway*/) {
    setenv("TZ", "ABC-15:30", 1);
}

// The modem is asked on the second draw of its page.
PageCase simStatus(const char* golden, Facts facts = nullptr) {
    return {golden, simStatusPage, 0, std::move(facts), {}, 1};
}

PageCase simLog(const char* golden, std::vector<std::string> lines) {
    return {golden, simLogPage, 0, nullptr, std::move(lines)};
}

std::vector<PageCase> pageCases() {
    return {
        {"64/clock", clockPage},
        {"64/clock-other-zone", clockPage, 0, otherZone},
        {"64/ethernet1-address", ethernetPage1, 0},
        {"64/ethernet1-netmask", ethernetPage1, 1},
        {"64/ethernet1-address-none", ethernetPage1, 0, without("eth1")},
        {"64/ethernet1-address-cascaded", ethernetPage1, 0, sysXml("192.168.1.1", "1")},
        {"64/ethernet2-address", ethernetPage2, 0},
        {"64/ethernet2-netmask", ethernetPage2, 1},
        {"64/ethernet2-address-widest", ethernetPage2, 0, address("eth0", "255.255.255.255")},
        {"64/gateway", gatewayPage},
        {"64/gateway-widest", gatewayPage, 0, sysXml("255.255.255.2550")},
        {"64/gateway-none", gatewayPage, 0,
         [](auto& gateway) { gateway.removeFile("/zelkora/Config/sys.xml"); }},

        {"64/sim-scanning", simStatusPage},
        simStatus("64/sim-status"),
        simStatus("64/sim-status-no-bars", signal(99)),
        simStatus("64/sim-status-1-bar", signal(5)),
        simStatus("64/sim-status-2-bars", signal(17)),
        simStatus("64/sim-status-4-bars", signal(31)),
        simStatus("64/sim-status-no-card",
                  modem([](sim::ModemFacts& facts) { facts.simCard = sim::SimCard::Absent; })),
        simStatus("64/sim-status-searching",
                  modem([](sim::ModemFacts& facts) { facts.registration = 2; })),
        simStatus("64/sim-status-2g", networkMode(3)),
        simStatus("64/sim-status-3g", networkMode(5)),
        simStatus("64/sim-status-no-network", networkMode(0)),
        simStatus("64/sim-status-no-modem", [](auto& gateway) { gateway.setModemPresent(false); }),
        {"64/sim-address", simStatusPage, 1},
        {"64/sim-netmask", simStatusPage, 2},
        {"64/sim-address-none", simStatusPage, 1, without("ppp0")},
        {"64/sim-netmask-none", simStatusPage, 2, without("ppp0")},

        simLog("64/sim-log", {"link up", "ppp0 10.64.3.7"}),
        simLog("64/sim-log-empty", {}),
        simLog("64/sim-log-one", {"link up"}),
        // Commas have no glyph and take no room, so the end of what is shown can be seen.
        simLog("64/sim-log-longest", {sixtyEightBytes, std::string(60, ',') + "abcdefgh"}),
        simLog("64/sim-log-gb2312", {connected, "dial *99# (2, \xC8\xFD) ?"}),
        simLog("64/sim-log-cut-character", {"\xC1\xAC\xBD", "up \xD5"}),
        simLog("64/sim-log-empty-line", {"link up", ""}),

        {"64/identity", identityPage},
        {"64/identity-longest", identityPage, 0,
         [](sim::Gateway& gateway) {
             gateway.writeSnXml("0123456789ABCDEFGHIJ0123456789ABCD", "X");
         }},
        {"64/version", versionPage},
        {"64/version-longest", versionPage, 0,
         version("V10.20.30-0123456789abcdefghij-and-what-is-cut\n")},
        {"64/tf-card", tfCardPage},
        {"64/tf-card-none", tfCardPage, 0, [](auto& gateway) { gateway.setTfCard(false); }},
        {"64/tf-card-widest", tfCardPage, 0, card(99'996, 262'144)},
        {"64/channel", channelPage, 1},
        {"64/channel-16", channelPage, 16, channel({16, 115200, 7, "Even", 2})},
        {"64/channel-no-parity", channelPage, 2, channel({2, 9600, 8, "", 1})},
        {"64/channel-gone", channelPage, 3},
        {"64/reboot", rebootPage},

        {"32/clock", clockPage},
        {"32/ethernet1-address", ethernetPage1, 0},
        {"32/ethernet1-netmask", ethernetPage1, 1},
        {"32/ethernet2-address", ethernetPage2, 0},
        {"32/ethernet2-netmask", ethernetPage2, 1},
        {"32/ethernet1-address-none", ethernetPage1, 0, without("eth1")},
        {"32/ethernet2-netmask-widest", ethernetPage2, 1,
         address("eth0", "255.255.255.254", "255.255.255.255")},
        {"32/gateway", gatewayPage},
        {"32/gateway-widest", gatewayPage, 0, sysXml("255.255.255.2550")},
        {"32/identity", identityPage},
        {"32/version", versionPage},
        {"32/version-longest", versionPage, 0,
         version("V10.20.30-0123456789abcdefghij-and-what-is-cut\n")},
        {"32/tf-card", tfCardPage},
        {"32/tf-card-none", tfCardPage, 0, [](auto& gateway) { gateway.setTfCard(false); }},
        {"32/tf-card-widest", tfCardPage, 0, card(99'996, 262'144)},
        {"32/channel", channelPage, 1},
        {"32/channel-16", channelPage, 16, channel({16, 115200, 7, "Even", 2})},
        {"32/channel-no-parity", channelPage, 2, channel({2, 9600, 8, "", 1})},
        {"32/channel-gone", channelPage, 3},
        {"32/reboot", rebootPage},
    };
}

sim::Panel panelOf(const PageCase& pageCase) {
    return std::string_view(pageCase.golden).starts_with("64/") ? sim::panel64 : sim::panel32;
}

class PagePictures : public PageTest, public testing::WithParamInterface<PageCase> {
  protected:
    PagePictures() : PageTest(panelOf(GetParam())) {}
};

TEST_P(PagePictures, MatchAndStayUnderATimerRedraw) {
    const PageCase& pageCase = GetParam();
    const std::string name = pageCase.golden;
    if (pageCase.facts != nullptr) {
        pageCase.facts(gateway);
    }
    for (const std::string& line : pageCase.logLines) {
        log(line);
    }
    for (int draw = 0; draw <= pageCase.drawsBefore; ++draw) {
        enter(pageCase.page, pageCase.subPage);
    }
    EXPECT_TRUE(golden::matches(shown(gateway), name));
    if (name == "64/sim-scanning") { // shown once only
        return;
    }
    redraw(pageCase.page, pageCase.subPage);
    EXPECT_TRUE(golden::matches(shown(gateway), name)) << "after a timer redraw";
    if (pageCase.facts == nullptr && pageCase.logLines.empty()) {
        gateway.fillPicture(0xff);
        redraw(pageCase.page, pageCase.subPage);
        EXPECT_TRUE(golden::matches(shown(gateway), name + "-on-lit"));
    }
    EXPECT_TRUE(gateway.canaryIntact());
}

INSTANTIATE_TEST_SUITE_P(Golden, PagePictures, testing::ValuesIn(pageCases()),
                         [](const auto& suite) {
                             return std::regex_replace(std::string(suite.param.golden),
                                                       std::regex("\\W"), "_");
                         });

} // namespace
