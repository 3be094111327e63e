#include "tools/panel_text.h"

#include "gui/lcd.h"
#include "tools/visible_text.h"

#include <algorithm>
#include <cerrno>
#include <iconv.h>

namespace {

using namespace ctl;

constexpr const char* panelEncoding = "GB2312";
constexpr const char* shellEncoding = "UTF-8";

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Converts as much of `text` as can be converted and removes it from its front. Returns the
// converted part; `error` receives the reason for stopping, 0 at the end.
std::string convert(const char* to, const char* from, std::string_view& text, int& error) {
    std::string result(4 * text.size() + 4, '\0');
    iconv_t converter = iconv_open(to, from);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): as iconv_open defines its failure
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        error = errno;
        return {};
    }
    char* input = const_cast<char*>(text.data()); // iconv does not write there
    char* output = result.data();
    std::size_t inputLeft = text.size();
    std::size_t outputLeft = result.size();
    error = 0;
    if (iconv(converter, &input, &inputLeft, &output, &outputLeft) ==
        static_cast<std::size_t>(-1)) {
        error = errno;
    }
    iconv_close(converter);
    text.remove_prefix(text.size() - inputLeft);
    result.resize(result.size() - outputLeft);
    return result;
}

std::string shownCharacter(std::string_view bytes) {
    if (bytes.size() == 1) {
        return visible(bytes);
    }
    int error = 0;
    std::string_view rest = bytes;
    const std::string text = convert(shellEncoding, panelEncoding, rest, error);
    return error == 0 ? visible(text) : hexadecimal(bytes);
}

// Calls visit with the bytes of each character, divided as the panel divides them.
template <class Visit>
void forEachCharacter(const std::string& bytes, Visit visit) {
    for (std::size_t at = 0; at < bytes.size();) {
        // The line length of one character at most is its size; 0 stands before a line feed
        // or a zero byte.
        const int size = GUI_FontMono6x12.pafEncode->pfGetLineLen(bytes.c_str() + at, 1);
        const auto length = static_cast<std::size_t>(std::max(1, size));
        visit(std::string_view(bytes).substr(at, length));
        at += length;
    }
}

bool isShown(std::string_view character) {
    if (character == "\n" || character == "\r") {
        return true;
    }
    unsigned code = 0;
    for (const char c : character) {
        code = code << 8 | static_cast<unsigned char>(c);
    }
    return GUI_FontMono6x12.pfIsInFont(&GUI_FontMono6x12, static_cast<std::uint16_t>(code)) != 0;
}

} // namespace

std::optional<std::string> ctl::toPanelText(std::string_view utf8, std::string& reason) {
    if (isAscii(utf8)) {
        return std::string(utf8);
    }
    int error = 0;
    std::string_view rest = utf8;
    std::string bytes = convert(panelEncoding, shellEncoding, rest, error);
    if (error == 0) {
        return bytes;
    }
    if (error == EINVAL && bytes.empty() && rest.size() == utf8.size() &&
        characterSize(utf8) != 0) {
        reason = "this system cannot convert to GB2312; only ASCII can be sent";
    } else if (const std::size_t size = characterSize(rest); size != 0) {
        reason = "the panel has no code for '" + std::string(rest.substr(0, size)) + "'";
    } else {
        reason =
            "byte " + std::to_string(utf8.size() - rest.size() + 1) + " of the text is not UTF-8";
    }
    return std::nullopt;
}

std::string ctl::fromPanelText(std::string_view bytes) {
    std::string text;
    forEachCharacter(std::string(bytes),
                     [&](std::string_view character) { text += shownCharacter(character); });
    return text;
}

std::vector<std::string> ctl::missingCharacters(const std::string& bytes) {
    std::vector<std::string> missing;
    forEachCharacter(bytes, [&](std::string_view character) {
        std::string shown = shownCharacter(character);
        if (!isShown(character) &&
            std::find(missing.begin(), missing.end(), shown) == missing.end()) {
            missing.push_back(std::move(shown));
        }
    });
    return missing;
}

int ctl::textWidth(const std::string& bytes) {
    const int length =
        GUI_FontMono6x12.pafEncode->pfGetLineLen(bytes.c_str(), static_cast<int>(bytes.size()));
    const GUI_Font* previous = GUI_SetFont(&GUI_FontMono6x12);
    const int width = GUI_FontMono6x12.pafEncode->pfGetLineDistX(bytes.c_str(), length);
    GUI_SetFont(previous);
    return width;
}

int ctl::charactersWithin(const std::string& bytes, int width) {
    int count = 0;
    std::string front;
    forEachCharacter(bytes, [&](std::string_view character) {
        front += character;
        if (textWidth(front) <= width) {
            ++count;
        }
    });
    return count;
}

std::string ctl::quotedList(const std::vector<std::string>& items) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) {
            text += i + 1 == items.size() ? " and " : ", ";
        }
        text += "'" + items[i] + "'";
    }
    return text;
}
