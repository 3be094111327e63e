// The list of messages in docs/messages.md, from which the manual is made, against the daemon.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path sources = PANELD_SOURCES;

std::string read(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::set<std::string> allMatches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

std::set<std::string> listedMessages() {
    return allMatches(read(sources / "docs/messages.md"), "\n\\| `([^`]+)` \\|");
}

// Everything that the daemon's rooms hand to printf, puts or fputs. A message that is not written
// in the call itself is named as a variable; such variables are looked up among the strings that
// initialise a field of that name's structure.
struct PrintedMessages {
    std::set<std::string> literals;
    std::set<std::string> variables;
};

PrintedMessages printedMessages() {
    PrintedMessages printed;
    for (const char* room : {"app", "pages", "device", "modem", "gui"}) {
        for (const auto& entry : fs::recursive_directory_iterator(sources / room)) {
            if (entry.path().extension() != ".cpp") {
                continue;
            }
            const std::string text = read(entry.path());
            for (std::string literal :
                 allMatches(text, R"re(\b(?:std::)?(?:f?puts|printf)\(\s*"((?:[^"\\]|\\.)*)")re")) {
                literal = std::regex_replace(literal, std::regex(R"(\\n$)"), "");
                printed.literals.insert(literal);
            }
            printed.variables.merge(
                allMatches(text, R"re(\b(?:std::)?(?:f?puts|printf)\(\s*([^"\s][^,)]*))re"));
        }
    }
    return printed;
}

// The strings of at least `shortest` printable characters in a program.
std::set<std::string> stringsOf(const fs::path& program, std::size_t shortest) {
    std::set<std::string> strings;
    std::string current;
    for (const char c : read(program)) {
        if (c >= ' ' && c <= '~') {
            current += c;
            continue;
        }
        if (current.size() >= shortest && (c == '\0' || c == '\n')) {
            strings.insert(current);
        }
        current.clear();
    }
    return strings;
}

TEST(Messages, WhatTheDaemonPrintsIsInTheManual) {
    const std::set<std::string> listed = listedMessages();
    const PrintedMessages printed = printedMessages();
    ASSERT_GT(printed.literals.size(), 15U);
    for (const std::string& message : printed.literals) {
        EXPECT_TRUE(listed.count(message) == 1) << "not in docs/messages.md: " << message;
    }
    // The backlight's two messages are fields of a table; nothing else may hide like that.
    EXPECT_EQ(printed.variables, std::set<std::string>{"panel.openFailure"});
}

TEST(Messages, WhatTheManualListsIsInTheProgram) {
    const std::set<std::string> listed = listedMessages();
    ASSERT_GT(listed.size(), 15U);
    const std::set<std::string> strings = stringsOf(PANELD_PROGRAM, 8);
    for (const std::string& message : listed) {
        EXPECT_TRUE(strings.count(message) == 1) << "not in the program: " << message;
    }
}

TEST(Messages, EveryMessageReachesTheManualPage) {
    const std::string page = read(PANELD_MANUAL);
    for (std::string message : listedMessages()) {
        message = std::regex_replace(message, std::regex("'"), "\\(aq");
        message = std::regex_replace(message, std::regex("-"), "\\-");
        EXPECT_NE(page.find(".It Li \"" + message + "\"\n"), std::string::npos) << message;
    }
}

} // namespace
