// The list of messages in docs/messages.md, from which the manual is made, against the daemon.

#include "tests/tools/texts.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

const fs::path sources = PANELD_SOURCES;

std::set<std::string> listedMessages() {
    return allMatches(contentsOf(sources / "docs/messages.md"), "\n\\| `([^`]+)` \\|");
}

TEST(Messages, WhatTheDaemonPrintsIsInTheManual) {
    const std::set<std::string> listed = listedMessages();
    std::set<std::string> literals;
    std::set<std::string> variables; // messages that are not written in the call itself
    for (const char* room : {"app", "pages", "device", "modem", "gui"}) {
        for (const auto& entry : fs::recursive_directory_iterator(sources / room)) {
            if (entry.path().extension() == ".cpp") {
                const std::string text = contentsOf(entry.path());
                literals.merge(allMatches(
                    text, R"re(\b(?:std::)?(?:f?puts|printf)\(\s*"((?:[^"\\]|\\.)*)")re"));
                variables.merge(
                    allMatches(text, R"re(\b(?:std::)?(?:f?puts|printf)\(\s*([^"\s][^,)]*))re"));
            }
        }
    }
    ASSERT_GT(literals.size(), 15U);
    for (const std::string& message : literals) {
        EXPECT_TRUE(listed.contains(replaced(message, R"(\\n$)", ""))) << message;
    }
    // The backlight's two messages are fields of a table, and the parser's words pass through;
    // nothing else may hide like that.
    EXPECT_EQ(variables, (std::set<std::string>{"panel.openFailure", "piece"}));
}

TEST(Messages, WhatTheManualListsIsInTheProgramAndOnTheManualPage) {
    const std::set<std::string> listed = listedMessages();
    const std::string program = contentsOf(PANELD_PROGRAM);
    const std::string page = contentsOf(PANELD_MANUAL);
    ASSERT_GT(listed.size(), 15U);
    for (const std::string& message : listed) {
        EXPECT_TRUE(program.find(message + '\n') != std::string::npos ||
                    program.find(message + '\0') != std::string::npos)
            << "not in the program: " << message;
        const std::string escaped = replaced(replaced(message, "'", "\\(aq"), "-", "\\-");
        EXPECT_NE(page.find(".It Li \"" + escaped + "\"\n"), std::string::npos) << message;
    }
}

} // namespace
