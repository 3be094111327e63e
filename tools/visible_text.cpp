#include "tools/visible_text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <system_error>

namespace {

struct Character {
    std::size_t size; // bytes; 0: none
    char32_t code;
};

struct CodeRange {
    char32_t first;
    char32_t last;
};

constexpr CodeRange hiddenCodes[] = {
    {0x0000, 0x001f}, // controls
    {0x007f, 0x009f}, // delete, and the second set of controls
    {0x061c, 0x061c}, // direction
    {0x200e, 0x200f}, // direction
    {0x2028, 0x202e}, // line, paragraph, direction
    {0x2066, 0x2069}, // direction
};

Character decode(std::string_view utf8) {
    constexpr char32_t smallestCodes[] = {0, 0, 0x80, 0x800, 0x10000}; // by size
    const auto lead = static_cast<unsigned char>(utf8.front());
    if (lead < 0x80) {
        return {1, lead};
    }
    const std::size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc0 || lead > 0xf7 || utf8.size() < size) {
        return {};
    }
    char32_t code = lead & (0x7fU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto next = static_cast<unsigned char>(utf8[i]);
        if ((next & 0xc0U) != 0x80) {
            return {};
        }
        code = code << 6 | (next & 0x3fU);
    }
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return surrogate || code < smallestCodes[size] || code > 0x10ffff ? Character{}
                                                                      : Character{size, code};
}

bool isHidden(char32_t code) {
    return std::any_of(
        std::begin(hiddenCodes), std::end(hiddenCodes),
        [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

std::string escaped(char32_t code) {
    char text[12];
    std::snprintf(text, sizeof text, code < 0x80 ? "\\x%02x" : "\\u%04x",
                  static_cast<unsigned>(code));
    return code == '\n' ? "\\n" : code == '\r' ? "\\r" : text;
}

} // namespace

std::string ctl::visible(std::string_view utf8) {
    std::string text;
    while (!utf8.empty()) {
        const auto [size, code] = decode(utf8);
        const std::string_view bytes = utf8.substr(0, std::max<std::size_t>(size, 1));
        if (size == 0) {
            text += hexadecimal(bytes);
        } else if (isHidden(code)) {
            text += escaped(code);
        } else {
            text += bytes;
        }
        utf8.remove_prefix(bytes.size());
    }
    return text;
}

std::string ctl::hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
        text += code;
    }
    return text;
}

std::size_t ctl::characterSize(std::string_view utf8) {
    return decode(utf8).size;
}

std::string ctl::formattedList(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::string ctl::systemReason(int error) {
    return std::generic_category().message(error);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): like printf, and checked like it
std::string ctl::formatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = formattedList(format, arguments);
    va_end(arguments);
    return text;
}
