#pragma once

// Text of others made fit for a terminal: nothing in it moves the cursor, begins a line of its own
// or turns the direction of writing. And text of this tool put together. Prints nothing.

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace ctl {

// The text with what cannot be seen written out: "\n", "\r", other control characters and bytes
// that are no UTF-8 as "\xHH", the controls beyond ASCII and marks of line and direction as
// "\uHHHH". Applied to its own result it changes nothing.
std::string visible(std::string_view utf8);

// Every byte as "\xHH".
std::string hexadecimal(std::string_view bytes);

// What printf makes of its arguments, at full length.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);
[[gnu::format(printf, 1, 0)]] std::string formattedList(const char* format, std::va_list arguments);

// What the system says of an error number, in English.
std::string systemReason(int error);

// Bytes of the character at the front of a text that is not empty; 0 when they are no UTF-8.
std::size_t characterSize(std::string_view utf8);

} // namespace ctl
