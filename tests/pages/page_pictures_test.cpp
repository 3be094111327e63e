// Every page and sub-page as it stands on a blank bordered screen, compared with the pictures in
// tests/golden: those of desk/pages.json with ordinary data, and the awkward ones below. The
// ordinary ones are also drawn on a lit screen, where the cells and areas that they write dark can
// be told from those that they leave alone.

#include "app/log_receiver.h"
#include "sim/facts.h"
#include "tests/pages/page_test.h"

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <nlohmann/json.hpp>

namespace {

using Facts = std::function<void(sim::Gateway&)>;
using sim::Gateway;

struct PageCase {
    std::string golden; // in a folder called by the panel's number of lines
    int page;
    int subPage;
    Facts facts = nullptr; // the ordinary ones
};

// The facts after a call of one of the gateway's operations.
template <class Method, class... Values>
Facts after(Method method, Values... values) {
    return [=](Gateway& gateway) { (gateway.*method)(values...); };
}

Facts channel(const sim::Channel& settings) {
    return [=](Gateway& gateway) { gateway.writeChannels({settings}); };
}

Facts modem(const nlohmann::json& changes) {
    return [=](Gateway& gateway) { sim::setModem(gateway, changes); };
}

Facts logLines(const std::vector<std::string>& lines) {
    return [=](Gateway& gateway) {
        openLogQueue();
        for (const std::string& line : lines) {
            gateway.sendLogLine(line);
            receiveLogMessage();
        }
    };
}

// The zone changes behind a first draw: 15 hours and a half east of Greenwich it is the next day.
void otherZone(Gateway& /*gateway*/) {
    initScreen();
    PageTable[clockPage].draw(clockPage, 0);
    setenv("TZ", "ABC-15:30", 1);
}

std::vector<PageCase> awkwardPages() {
    const std::string sixtyEightBytes =
        "0123456789 abcdefghij ABCDEFGHIJ 0123456789 klmnopqrst KLMNOPQRST 67";
    const std::string connected = "\xC1\xAC\xBD\xD3 ppp0 \xD5\xFD\xB3\xA3"; // GB2312, 16 bytes
    std::vector<PageCase> cases = {
        {"64/clock-other-zone", clockPage, 0, otherZone},
        {"64/ethernet1-address-cascaded", ethernetPage1, 0,
         after(&Gateway::writeSysXml, "192.168.1.1", "1")},
        {"64/gateway-none", gatewayPage, 0, after(&Gateway::removeFile, "/zelkora/Config/sys.xml")},

        {"64/sim-status-no-bars", simStatusPage, 0, modem({{"signal", 99}})},
        {"64/sim-status-1-bar", simStatusPage, 0, modem({{"signal", 5}})},
        {"64/sim-status-no-card", simStatusPage, 0, modem({{"sim", "absent"}})},
        {"64/sim-status-2g", simStatusPage, 0, modem({{"networkMode", 3}})},
        {"64/sim-status-no-modem", simStatusPage, 0, modem({{"present", false}})},
        {"64/sim-address-none", simStatusPage, 1, after(&Gateway::removeInterface, "ppp0")},

        {"64/sim-log-empty", simLogPage, 0},
        {"64/sim-log-one", simLogPage, 0, logLines({"link up"})},
        // Commas have no glyph and take no room, so the end of what is shown can be seen.
        {"64/sim-log-longest", simLogPage, 0,
         logLines({sixtyEightBytes, std::string(60, ',') + "abcdefgh"})},
        {"64/sim-log-gb2312", simLogPage, 0, logLines({connected, "dial *99# (2, \xC8\xFD) ?"})},
        {"64/sim-log-empty-line", simLogPage, 0, logLines({"link up", ""})},
    };
    const PageCase onEveryPanel[] = {
        {"ethernet1-address-none", ethernetPage1, 0, after(&Gateway::removeInterface, "eth1")},
        {"gateway-widest", gatewayPage, 0, after(&Gateway::writeSysXml, "255.255.255.2550", "0")},
        {"version-longest", versionPage, 0,
         after(&Gateway::writeVersion, "V10.20.30-0123456789abcdefghij-and-what-is-cut\n")},
        {"tf-card-none", tfCardPage, 0, after(&Gateway::setTfCard, false)},
        {"tf-card-widest", tfCardPage, 0, after(&Gateway::setTfMegabytes, 99'996U, 262'144U)},
        {"channel-16", channelPage, 16, channel({16, 115200, 7, "Even", 2})},
        {"channel-no-parity", channelPage, 2, channel({2, 9600, 8, "", 1})},
        {"channel-gone", channelPage, 3},
    };
    for (const PageCase& awkward : onEveryPanel) {
        for (const sim::Panel& panel : sim::panels) {
            cases.push_back(awkward);
            cases.back().golden.insert(0, std::to_string(panel.height) + "/");
        }
    }
    return cases;
}

std::vector<PageCase> allPages() {
    std::vector<PageCase> cases = awkwardPages();
    const Facts ordinaryLog = logLines(sim::deskFile("ordinary.json")["log"]);
    for (const nlohmann::json& page : sim::deskFile("pages.json")) {
        for (const auto& [lines, texts] : page["texts"].items()) {
            cases.push_back({lines + "/" + std::string(page["name"]), page["page"], page["subPage"],
                             page["page"] == simLogPage ? ordinaryLog : nullptr});
        }
    }
    return cases;
}

class PagePictures : public PageTest, public testing::WithParamInterface<PageCase> {
  protected:
    PagePictures() : PageTest(sim::panelOf(std::stoi(GetParam().golden))) {}
};

TEST_P(PagePictures, MatchAndStayUnderATimerRedraw) {
    const auto& [name, pageNumber, subPageNumber, facts] = GetParam();
    const auto page = static_cast<std::uint8_t>(pageNumber);
    const auto subPage = static_cast<std::uint8_t>(subPageNumber);
    if (facts != nullptr) {
        facts(gateway);
    }
    enter(page, subPage);
    if (name.starts_with("64/sim-status")) { // the modem is asked on the second draw
        enter(page, subPage);
    }
    EXPECT_TRUE(golden::matches(shown(gateway), name));
    if (name == "64/sim-scanning") { // shown once only
        return;
    }
    redraw(page, subPage);
    EXPECT_TRUE(golden::matches(shown(gateway), name)) << "after a timer redraw";
    if (facts == nullptr) {
        gateway.fillPicture(0xff);
        redraw(page, subPage);
        EXPECT_TRUE(golden::matches(shown(gateway), name + "-on-lit"));
    }
    EXPECT_TRUE(gateway.canaryIntact());
}

INSTANTIATE_TEST_SUITE_P(Golden, PagePictures, testing::ValuesIn(allPages()),
                         [](const auto& suite) {
                             std::string name = suite.param.golden;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](char c) { return c == '/' || c == '-'; }, '_');
                             return name;
                         });

TEST(PageList, KnowsHowOftenEachPageIsRedrawn) {
    for (const nlohmann::json& page : sim::deskFile("pages.json")) {
        EXPECT_EQ(page["refreshSeconds"], PageTable.at(page["page"]).refreshSeconds) << page;
    }
}

TEST_F(PageTest, TheRebootPageSaysWhenItsCommandCannotBeRun) {
    gateway.failCall(sim::Call::Popen, ENOMEM);
    EXPECT_EQ(outputOf([] { enter(rebootPage); }), "exec reboot error\n");
    EXPECT_TRUE(golden::matches(shown(gateway), "64/reboot"));
    EXPECT_EQ(gateway.calls(sim::Call::Pclose), 0U);
}

} // namespace
