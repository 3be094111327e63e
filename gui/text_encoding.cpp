#include "gui/lcd.h"

namespace {

std::uint16_t byteCode(const char* s) {
    return static_cast<unsigned char>(*s);
}

int byteCharSize(const char* /*s*/) {
    return 1;
}

int byteCodeSize(std::uint16_t /*code*/) {
    return 1;
}

int encodeByte(char* s, std::uint16_t code) {
    *s = static_cast<char>(code);
    return 1;
}

struct Character {
    std::uint16_t code;
    int size;        // bytes
    bool isComplete; // false: a lead byte at the end of a text that was cut there
};

// The character at s, which is not the end of the string. A lead byte takes the next byte with
// it, whatever that is, but never the terminating zero.
Character characterAt(const char* s) {
    constexpr unsigned leadBit = 0x80;
    const unsigned first = static_cast<unsigned char>(s[0]);
    const unsigned second = static_cast<unsigned char>(s[1]);
    if ((first & leadBit) == 0) {
        return {static_cast<std::uint16_t>(first), 1, true};
    }
    if (second == 0) {
        return {static_cast<std::uint16_t>(first), 1, false};
    }
    return {static_cast<std::uint16_t>(first << 8 | second), 2, true};
}

// Calls visit with the code of each complete character that starts in the first n bytes.
template <typename Visit>
void forEachCharacter(const char* s, int n, Visit visit) {
    for (int i = 0; i < n && s[i] != '\0';) {
        const Character character = characterAt(s + i);
        if (character.isComplete) {
            visit(character.code);
        }
        i += character.size;
    }
}

int doubleByteLineDistX(const char* s, int n) {
    int width = 0;
    const GUI_Font& font = *GUI_Context.pFont;
    forEachCharacter(s, n, [&](std::uint16_t code) { width += font.pfGetCharDistX(code); });
    return width;
}

int doubleByteLineLen(const char* s, int maximum) {
    int length = 0;
    while (length < maximum && s[length] != '\0' && s[length] != '\n') {
        length += characterAt(s + length).size;
    }
    return length;
}

void doubleByteDispLine(const char* s, int n, const GUI_RECT& /*rect*/) {
    forEachCharacter(s, n, GUI_DispChar);
}

} // namespace

const GUI_EncodeAPI GUI__API_TableNone = {byteCode, byteCharSize, byteCodeSize, encodeByte};
const GUI_LineAPI GUI__API_TableDoubleByte = {doubleByteLineDistX, doubleByteLineLen,
                                              doubleByteDispLine};

std::uint16_t GUI_GetCharCodeInc(const char** ps) {
    const GUI_EncodeAPI& encoding = *GUI_Context.pEncodeAPI;
    const std::uint16_t code = encoding.pfGetCharCode(*ps);
    *ps += encoding.pfGetCharSize(*ps);
    return code;
}

int GUI_NumChars2NumBytes(const char* s, int n) {
    int bytes = 0;
    for (int i = 0; i < n; ++i) {
        bytes += GUI_Context.pEncodeAPI->pfGetCharSize(s + bytes);
    }
    return bytes;
}
