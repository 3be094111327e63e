// What is written about the daemon and panelctl, against the programs: docs/messages.md, from which
// the manual is made, and the options in manual and completion.

#include "tests/tools/session.h"

namespace {

namespace fs = std::filesystem;

const fs::path sources = PANELD_SOURCES;

// The first arguments of every printing call of the daemon that match.
std::set<std::string> printed(const char* argument) {
    std::set<std::string> found;
    for (const char* room : {"app", "pages", "device", "modem", "gui"}) {
        for (const auto& entry : fs::recursive_directory_iterator(sources / room)) {
            const std::string call = R"(\b(?:std::)?(?:f?puts|printf)\(\s*)";
            if (entry.path().extension() == ".cpp") {
                found.merge(allMatches(contentsOf(entry.path()), (call + argument).c_str()));
            }
        }
    }
    return found;
}

TEST(Messages, WhatTheDaemonPrintsIsInTheManualAndNothingElse) {
    const std::string page = contentsOf(PANELD_MANUAL);
    const std::string program = contentsOf(PANELD_PROGRAM);
    const auto listed = allMatches(contentsOf(sources / "docs/messages.md"), "\n\\| `([^`]+)` \\|");
    const auto literals = printed(R"re("((?:[^"\\]|\\.)*)")re");
    ASSERT_GT(literals.size(), 15U);
    for (const std::string& message : literals) {
        EXPECT_TRUE(listed.contains(replaced(message, R"(\\n$)", ""))) << message;
    }
    // The backlight's two messages are fields of a table, and the parser's words pass through;
    // nothing else may hide like that.
    EXPECT_EQ(printed(R"re(([^"\s][^,)]*))re"),
              (std::set<std::string>{"panel.openFailure", "piece"}));
    for (const std::string& message : listed) {
        EXPECT_TRUE(program.find(message + '\n') != std::string::npos ||
                    program.find(message + '\0') != std::string::npos)
            << "not in the program: " << message;
        const std::string escaped = replaced(replaced(message, "'", "\\(aq"), "-", "\\-");
        EXPECT_NE(page.find(".It Li \"" + escaped + "\"\n"), std::string::npos) << message;
    }
}

TEST_F(Panelctl, EveryOptionIsInTheCompletionAndInTheManual) {
    std::set<std::string> all;
    for (const std::string command : {"", "shot", "press", "say", "queue", "config", "modem"}) {
        const auto options =
            allMatches(type("panelctl " + command + " --help"), "\n +(?:-h,)?(--[a-z-]+)");
        ASSERT_FALSE(options.empty());
        const std::string offered =
            type("source " PANELD_SOURCES "/packaging/panelctl.bash-completion\n"
                 "COMP_WORDS=(panelctl " +
                 command +
                 " --)\n"
                 "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _panelctl; echo \"${COMPREPLY[@]}\"");
        EXPECT_EQ(allMatches(offered, "(--[a-z-]+)"), options) << command;
        all.insert(options.begin(), options.end());
    }
    const std::string manual = contentsOf(sources / "packaging/man/panelctl.1.in");
    const std::string plain = replaced(replaced(manual, R"( \\-)", " --"), R"(\\-)", "-");
    EXPECT_EQ(allMatches(plain, "(--[a-z]{2,}(?:-[a-z]+)*)"), all);
}

} // namespace
