#include "sim/terminal_text.h"

#include <iconv.h>

#include <cerrno>
#include <cstddef>
#include <cwchar>

namespace sim {
namespace {

constexpr std::size_t conversionFailed = static_cast<std::size_t>(-1);

// A conversion descriptor that is closed on every path.
class Converter {
  public:
    Converter(const char* to, const char* from) : handle(iconv_open(to, from)) {}
    ~Converter() {
        if (valid())
            iconv_close(handle);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool valid() const { return handle != reinterpret_cast<iconv_t>(-1); }

    // 0 when all was converted; else the errno, with the rest of the input left in text.
    int convert(std::string& text, std::string& result) {
        char* in = text.data();
        std::size_t inLeft = text.size();
        result.assign(2 * text.size() + 8, '\0');
        char* out = result.data();
        std::size_t outLeft = result.size();
        const bool done = iconv(handle, &in, &inLeft, &out, &outLeft) != conversionFailed;
        const int error = done ? 0 : errno;
        result.resize(result.size() - outLeft);
        text.erase(0, text.size() - inLeft);
        return error;
    }

  private:
    iconv_t handle;
};

// The first character of a UTF-8 text that iconv stopped at; empty when it is no character.
std::string firstCharacter(const std::string& text) {
    const auto lead = static_cast<unsigned char>(text.empty() ? '\0' : text.front());
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 1;
    if (length == 1 || lead > 0xF4 || text.size() < length)
        return {};
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            return {};
    return text.substr(0, length);
}

int columnsOf(wchar_t character) {
    const int width = wcwidth(character);
    return width < 0 ? 0 : width;
}

} // namespace

std::optional<std::string> toGb2312(std::string_view utf8, std::string* reason) {
    const auto refuse = [reason](const std::string& what) {
        if (reason != nullptr)
            *reason = what;
        return std::nullopt;
    };
    Converter converter("GB2312", "UTF-8");
    if (!converter.valid())
        return refuse("this system cannot convert to GB2312");
    std::string rest(utf8);
    std::string bytes;
    const int error = converter.convert(rest, bytes);
    if (error == 0)
        return bytes;
    // iconv reports a character that the target lacks like broken input; the rest tells them
    // apart.
    const std::string character = firstCharacter(rest);
    if (error != EILSEQ || character.empty())
        return refuse("the text is not UTF-8");
    return refuse("GB2312 has no '" + character + "'");
}

std::wstring widen(std::string_view text) {
    std::wstring wide;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = L'?';
        const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
        const bool good = length > 0 && length <= text.size();
        if (!good)
            state = {};
        wide += good ? character : L'?';
        text.remove_prefix(good ? length : 1);
    }
    return wide;
}

std::string narrow(std::wstring_view text) {
    std::string bytes;
    std::mbstate_t state{};
    for (const wchar_t character : text) {
        char buffer[16]; // MB_LEN_MAX
        const std::size_t length = std::wcrtomb(buffer, character, &state);
        if (length == conversionFailed)
            bytes += '?';
        else
            bytes.append(buffer, length);
    }
    return bytes;
}

int columnsOf(std::wstring_view text) {
    int columns = 0;
    for (const wchar_t character : text)
        columns += columnsOf(character);
    return columns;
}

std::wstring fitColumns(std::wstring_view text, int columns) {
    std::wstring fitted;
    int used = 0;
    for (wchar_t character : text) {
        if (wcwidth(character) < 0)
            character = L' ';
        if (used + columnsOf(character) > columns)
            break;
        used += columnsOf(character);
        fitted += character;
    }
    fitted.append(static_cast<std::size_t>(columns > used ? columns - used : 0), L' ');
    return fitted;
}

std::wstring tailColumns(std::wstring_view text, int columns) {
    while (!text.empty() && columnsOf(text) > columns)
        text.remove_prefix(1);
    return std::wstring(text);
}

} // namespace sim
