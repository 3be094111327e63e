#include "sim/terminal_facts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

namespace sim {
namespace {

std::string rowsText(const DeskFacts& facts) {
    std::string text;
    for (const FactRow& row : facts.rows())
        text += row.label + " " + row.value + "\n";
    return text;
}

std::string valueOf(const DeskFacts& facts, const std::string& label) {
    for (const FactRow& row : facts.rows())
        if (row.label == label)
            return row.value;
    return "no such row";
}

std::string press(DeskFacts& facts, char wanted) {
    for (const FactKey& key : factKeys())
        if (key.key == wanted)
            return (facts.*key.change)();
    return "no such key";
}

TEST(FactKeys, EachChangesWhatIsShownAndSaysSo) {
    std::set<char> seen;
    for (const FactKey& key : factKeys()) {
        Gateway gateway;
        DeskFacts facts(gateway);
        // The clock runs, so the rows are compared without its seconds standing in the way.
        const std::string before = rowsText(facts);
        EXPECT_FALSE((facts.*key.change)().empty()) << key.key;
        EXPECT_NE(rowsText(facts), before) << key.key;
        EXPECT_TRUE(seen.insert(key.key).second) << key.key << " stands twice";
        EXPECT_LE(std::string(key.help).size(), 33U) << key.key;
    }
}

TEST(FactKeys, AreThoseOfTheVirtualGateway) {
    std::ifstream file(VIRTUAL_GATEWAY "/facts.py");
    const std::string source(std::istreambuf_iterator<char>(file), {});
    std::size_t place = source.find("FACT_KEYS = {");
    ASSERT_NE(place, std::string::npos);
    for (const FactKey& key : factKeys()) {
        const std::size_t found =
            source.find(std::string("    \"") + key.key + "\": (\"" + key.help + "\", ", place);
        EXPECT_NE(found, std::string::npos) << key.key;
        place = std::min(found, source.size());
    }
    EXPECT_EQ(source.find("\": (\"", place + 10), std::string::npos) << "a key more";
}

TEST(Facts, APortKeepsItsAddressUntilThatIsTakenAway) {
    Gateway gateway;
    DeskFacts facts(gateway);
    facts.setAddress("eth1 10.9.8.7 255.255.0.0");
    const struct {
        char key;
        const char* shown;
    } steps[] = {{'1', "10.9.8.7/16, no cable"},
                 {'x', "no address, no cable"},
                 {'1', "no address"},
                 {'x', "10.9.8.7/16"}};
    for (const auto& [key, shown] : steps) {
        press(facts, key);
        EXPECT_EQ(valueOf(facts, "Port 1 eth1"), shown) << key;
        EXPECT_EQ(gateway.hasAddress("eth1"), std::string(shown).find("no a") == std::string::npos);
    }
    press(facts, '3');
    EXPECT_EQ(valueOf(facts, "Data ppp0"), "no link");
}

TEST(Facts, AnAddressThatIsNoneChangesNothing) {
    Gateway gateway;
    DeskFacts facts(gateway);
    const std::string before = rowsText(facts);
    for (const char* request : {"", "eth7 10.0.0.1", "eth1", "eth1 10.0.0.256"}) {
        facts.setAddress(request);
        EXPECT_EQ(rowsText(facts), before) << request;
    }
    facts.setAddress(facts.proposedAddress());
    EXPECT_NE(rowsText(facts), before);
}

TEST(Facts, AFileIsRestoredToItsVeryBytes) {
    const char* paths[] = {"/zelkora/Config/sys.xml", "/zelkora/Config/system/sn.xml",
                           "/zelkora/Config/version/main-version.conf",
                           "/zelkora/Config/Channel-template.xml"};
    for (std::size_t i = 0; i < configFileCount; ++i) {
        Gateway gateway;
        DeskFacts facts(gateway);
        const auto file = static_cast<ConfigFile>(i);
        const auto original = gateway.readFile(paths[i]);
        ASSERT_TRUE(original) << paths[i];
        std::set<std::string> contents = {*original};
        for (const ConfigState state : {ConfigState::Rewritten, ConfigState::Broken}) {
            facts.setConfig(file, state);
            contents.insert(gateway.readFile(paths[i]).value_or("missing"));
        }
        EXPECT_EQ(contents.size(), 3U) << paths[i];
        facts.setConfig(file, ConfigState::Deleted);
        EXPECT_FALSE(gateway.readFile(paths[i])) << paths[i];
        facts.setConfig(file, ConfigState::Original);
        EXPECT_EQ(gateway.readFile(paths[i]), original);
        EXPECT_EQ(valueOf(facts, "Files"), "all as they were");
    }
}

TEST(Facts, ALogLineIsSentWhenThePanelCanTakeIt) {
    Gateway gateway;
    DeskFacts facts(gateway);
    facts.sendLogLine(std::string(68, 'x'));
    facts.sendLogLine("通信");
    EXPECT_EQ(gateway.logLinesWaiting(), 2U);
    facts.sendLogLine(std::string(69, 'x'));
    facts.sendLogLine("price in €");
    EXPECT_EQ(gateway.logLinesWaiting(), 2U);
}

} // namespace
} // namespace sim
