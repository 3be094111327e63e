// The list of messages in docs/messages.md, from which the manual is made, against the daemon.

#include "tests/tools/tool_process.h"

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
    // The backlight's two messages are fields of a table; nothing else may hide like that.
    EXPECT_EQ(printed(R"re(([^"\s][^,)]*))re"), std::set<std::string>{"panel.openFailure"});
    for (const std::string& message : listed) {
        EXPECT_TRUE(program.find(message + '\n') != std::string::npos ||
                    program.find(message + '\0') != std::string::npos)
            << "not in the program: " << message;
        const std::string escaped = replaced(replaced(message, "'", "\\(aq"), "-", "\\-");
        EXPECT_NE(page.find(".It Li \"" + escaped + "\"\n"), std::string::npos) << message;
    }
}

} // namespace
