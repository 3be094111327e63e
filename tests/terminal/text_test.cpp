#include "sim/terminal_text.h"

#include <gtest/gtest.h>

#include <clocale>

namespace sim {
namespace {

TEST(TypedText, BecomesTheBytesOfThePanel) {
    EXPECT_EQ(toGb2312("link up"), "link up");
    EXPECT_EQ(toGb2312("通信OK"), "\xCD\xA8\xD0\xC5OK");
    EXPECT_EQ(toGb2312("？"), "\xA3\xBF");
    EXPECT_EQ(toGb2312(""), "");
}

TEST(TypedText, IsRefusedWithTheReasonWhenThePanelHasNoBytesForIt) {
    const struct {
        const char* text;
        const char* reason;
    } cases[] = {{"a€b", "GB2312 has no '€'"},
                 {"\xF0\x9F\x98\x80", "GB2312 has no '\xF0\x9F\x98\x80'"},
                 {"a\xFF", "the text is not UTF-8"},
                 {"\xE4\xBD", "the text is not UTF-8"},
                 {"\xE4\xBDz", "the text is not UTF-8"}};
    for (const auto& one : cases) {
        std::string reason;
        EXPECT_FALSE(toGb2312(one.text, &reason)) << one.text;
        EXPECT_EQ(reason, one.reason);
    }
}

TEST(TerminalText, IsCutByColumnsNotByCharacters) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(columnsOf(widen("通a")), 3);
    EXPECT_EQ(fitColumns(L"abc", 2), L"ab");
    EXPECT_EQ(fitColumns(L"abc", 5), L"abc  ");
    EXPECT_EQ(fitColumns(widen("a通"), 2), L"a ");
    EXPECT_EQ(fitColumns(L"a\x1b[2J", 5), L"a [2J");
    EXPECT_EQ(tailColumns(widen("通信ab"), 4), widen("信ab"));
    EXPECT_EQ(fitColumns(L"abc", 0), L"");
}

TEST(TerminalText, SurvivesTheWayThroughWideCharacters) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(narrow(widen("│ 通信 █")), "│ 通信 █");
    EXPECT_EQ(narrow(widen("a\xFF"
                           "b")),
              "a?b");
}

} // namespace
} // namespace sim
