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

struct PageCase {
    std::string golden; // in a folder called by the panel's number of lines
    PageNumber page;
    std::uint8_t subPage = 0;
    Facts facts = nullptr;
    std::vector<std::string> logLines = {};
    int drawsBefore = 0;
};

const std::string sixtyEightBytes =
    "0123456789 abcdefghij ABCDEFGHIJ 0123456789 klmnopqrst KLMNOPQRST 67";
const std::string connected = "\xC1\xAC\xBD\xD3 ppp0 \xD5\xFD\xB3\xA3"; // GB2312, 16 bytes

// The facts after a call of one of the gateway's operations.
template <class Method, class... Values>
Facts after(Method method, Values... values) {
    return [=](sim::Gateway& gateway) { (gateway.*method)(values...); };
}

Facts channel(const sim::Channel& settings) {
    return [=](sim::Gateway& gateway) { gateway.writeChannels({settings}); };
}

// 15 hours and a half east of Greenwich, where it is the next day.
void otherZone(sim::Gateway& /*gateway*/) {
    setenv("TZ", "ABC-15:30", 1);
}

// The modem is asked on the second draw of its page.
PageCase simStatus(const char* golden, Facts facts = nullptr) {
    return {golden, simStatusPage, 0, std::move(facts), {}, 1};
}

template <class Value>
PageCase simStatus(const char* golden, Value sim::ModemFacts::*member,
                   std::type_identity_t<Value> value) {
    return simStatus(golden, [=](sim::Gateway& gateway) {
        gateway.editModem([&](sim::ModemFacts& facts) { facts.*member = value; });
    });
}

PageCase simLog(const char* golden, std::vector<std::string> lines) {
    return {golden, simLogPage, 0, nullptr, std::move(lines)};
}

using sim::Gateway;

void addCasesOfBothPanels(std::vector<PageCase>& cases, const std::string& folder) {
    const PageCase both[] = {
        {"clock", clockPage},
        {"ethernet1-address", ethernetPage1, 0},
        {"ethernet1-netmask", ethernetPage1, 1},
        {"ethernet1-address-none", ethernetPage1, 0, after(&Gateway::removeInterface, "eth1")},
        {"ethernet2-address", ethernetPage2, 0},
        {"ethernet2-netmask", ethernetPage2, 1},
        {"gateway", gatewayPage},
        {"gateway-widest", gatewayPage, 0, after(&Gateway::writeSysXml, "255.255.255.2550", "0")},
        {"identity", identityPage},
        {"version", versionPage},
        {"version-longest", versionPage, 0,
         after(&Gateway::writeVersion, "V10.20.30-0123456789abcdefghij-and-what-is-cut\n")},
        {"tf-card", tfCardPage},
        {"tf-card-none", tfCardPage, 0, after(&Gateway::setTfCard, false)},
        {"tf-card-widest", tfCardPage, 0, after(&Gateway::setTfMegabytes, 99'996U, 262'144U)},
        {"channel", channelPage, 1},
        {"channel-2", channelPage, 2},
        {"channel-5", channelPage, 5},
        {"channel-16", channelPage, 16, channel({16, 115200, 7, "Even", 2})},
        {"channel-no-parity", channelPage, 2, channel({2, 9600, 8, "", 1})},
        {"channel-gone", channelPage, 3},
        {"reboot", rebootPage},
    };
    for (PageCase pageCase : both) {
        pageCase.golden.insert(0, folder);
        cases.push_back(std::move(pageCase));
    }
}

std::vector<PageCase> pageCases() {
    using F = sim::ModemFacts;
    std::vector<PageCase> cases = {
        {"64/clock-other-zone", clockPage, 0, otherZone},
        {"64/ethernet1-address-cascaded", ethernetPage1, 0,
         after(&Gateway::writeSysXml, "192.168.1.1", "1")},
        {"64/ethernet2-address-widest", ethernetPage2, 0,
         after(&Gateway::setInterface, "eth0", "255.255.255.255", "255.255.255.0")},
        {"32/ethernet2-netmask-widest", ethernetPage2, 1,
         after(&Gateway::setInterface, "eth0", "255.255.255.254", "255.255.255.255")},
        {"64/gateway-none", gatewayPage, 0, after(&Gateway::removeFile, "/zelkora/Config/sys.xml")},
        {"64/identity-longest", identityPage, 0,
         after(&Gateway::writeSnXml, "0123456789ABCDEFGHIJ0123456789ABCD", "X")},

        {"64/sim-scanning", simStatusPage},
        simStatus("64/sim-status"),
        simStatus("64/sim-status-no-bars", &F::csq, 99),
        simStatus("64/sim-status-1-bar", &F::csq, 5),
        simStatus("64/sim-status-2-bars", &F::csq, 17),
        simStatus("64/sim-status-4-bars", &F::csq, 31),
        simStatus("64/sim-status-no-card", &F::simCard, sim::SimCard::Absent),
        simStatus("64/sim-status-searching", &F::registration, 2),
        simStatus("64/sim-status-2g", &F::networkMode, 3),
        simStatus("64/sim-status-3g", &F::networkMode, 5),
        simStatus("64/sim-status-no-network", &F::networkMode, 0),
        simStatus("64/sim-status-no-modem", after(&Gateway::setModemPresent, false)),
        {"64/sim-address", simStatusPage, 1},
        {"64/sim-netmask", simStatusPage, 2},
        {"64/sim-address-none", simStatusPage, 1, after(&Gateway::removeInterface, "ppp0")},
        {"64/sim-netmask-none", simStatusPage, 2, after(&Gateway::removeInterface, "ppp0")},

        simLog("64/sim-log", {"link up", "ppp0 10.64.3.7"}),
        simLog("64/sim-log-empty", {}),
        simLog("64/sim-log-one", {"link up"}),
        // Commas have no glyph and take no room, so the end of what is shown can be seen.
        simLog("64/sim-log-longest", {sixtyEightBytes, std::string(60, ',') + "abcdefgh"}),
        simLog("64/sim-log-gb2312", {connected, "dial *99# (2, \xC8\xFD) ?"}),
        simLog("64/sim-log-cut-character", {"\xC1\xAC\xBD", "up \xD5"}),
        simLog("64/sim-log-empty-line", {"link up", ""}),
    };
    addCasesOfBothPanels(cases, "64/");
    addCasesOfBothPanels(cases, "32/");
    return cases;
}

class PagePictures : public PageTest, public testing::WithParamInterface<PageCase> {
  protected:
    PagePictures() : PageTest(GetParam().golden.starts_with("64/") ? sim::panel64 : sim::panel32) {}
};

TEST_P(PagePictures, MatchAndStayUnderATimerRedraw) {
    const PageCase& pageCase = GetParam();
    const std::string& name = pageCase.golden;
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
                             return std::regex_replace(suite.param.golden, std::regex("\\W"), "_");
                         });

} // namespace
