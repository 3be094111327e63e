#include "sim/terminal_text.h"

#include <gtest/gtest.h>

#include <clocale>

namespace sim {
namespace {

TEST(TypedText, BecomesTheBytesOfThePanelOrIsRefusedWithTheReason) {
    const std::pair<const char*, const char*> cases[] = {{"a€b", "GB2312 has no '€'"},
                                                         {"a\xFF", "the text is not UTF-8"},
                                                         {"\xE4\xBD", "the text is not UTF-8"},
                                                         {"\xE4\xBDz", "the text is not UTF-8"}};
    for (const auto& [text, expected] : cases) {
        std::string reason;
        EXPECT_FALSE(toGb2312(text, &reason)) << text;
        EXPECT_EQ(reason, expected);
    }
    EXPECT_EQ(toGb2312("通信OK？"), "\xCD\xA8\xD0\xC5OK\xA3\xBF");
}

TEST(TerminalText, IsCutByColumnsNotByCharacters) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(columnsOf(widen("通a")), 3);
    EXPECT_EQ(fitColumns(L"abc", 5), L"abc  ");
    EXPECT_EQ(fitColumns(widen("a通"), 2), L"a ");
    EXPECT_EQ(fitColumns(L"a\x1b[2J", 5), L"a [2J");
    EXPECT_EQ(tailColumns(widen("通信ab"), 4), widen("信ab"));
    EXPECT_EQ(narrow(widen("│ 通信 █")), "│ 通信 █");
}

} // namespace
} // namespace sim
