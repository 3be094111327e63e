// Text between the person at the terminal and the gateway: what is typed arrives as UTF-8, the
// panel speaks GB2312, and terminal rows are cut by columns, not by bytes. One thread. Prints
// nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

// The GB2312 bytes of a UTF-8 text. Nothing, with a reason, when the text is not UTF-8 or holds a
// character that GB2312 lacks.
std::optional<std::string> toGb2312(std::string_view utf8, std::string* reason = nullptr);

// The text as wide characters in the locale's encoding; bytes that are none in it become '?'.
std::wstring widen(std::string_view text);

// The text in the locale's encoding.
std::string narrow(std::wstring_view text);

// Columns that the text takes on a terminal; control characters take none.
int columnsOf(std::wstring_view text);

// The longest start of the text that fits into so many columns, filled up with blanks to exactly
// that many. Control characters become blanks.
std::wstring fitColumns(std::wstring_view text, int columns);

// The end of the text that fits into so many columns, for a field that is being typed into.
std::wstring tailColumns(std::wstring_view text, int columns);

} // namespace sim
