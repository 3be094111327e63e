#include "gui/lcd.h"

#include <algorithm>

char GUI_DecChar = '.';

const std::uint32_t GUI_Pow10[10] = {1,       10,        100,        1'000,       10'000,
                                     100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};

namespace {

constexpr std::uint8_t maximumDigits = 9; // GUI_Pow10 has the power above these

// Places left for digits. The count wraps in 8 bits when not even the sign fits; whatever is
// above nine counts as nine.
std::uint8_t digitCount(std::uint8_t length, bool isNegative, bool hasSeparator) {
    const auto places =
        static_cast<std::uint8_t>(length - (isNegative ? 1 : 0) - (hasSeparator ? 1 : 0));
    return std::min(places, maximumDigits);
}

} // namespace

void GUI_AddDec(std::int32_t value, std::uint8_t length, std::uint8_t shift, char** ps) {
    char*& s = *ps;
    const bool isNegative = value < 0;
    auto magnitude = static_cast<std::uint32_t>(value);
    if (isNegative) {
        *s++ = '-';
        magnitude = 0U - magnitude; // defined for the smallest integer too
    }
    const std::uint8_t digits = digitCount(length, isNegative, shift != 0);
    magnitude = std::min(magnitude, GUI_Pow10[digits] - 1);
    for (std::uint8_t left = digits; left > 0; --left) {
        if (left == shift) {
            *s++ = GUI_DecChar;
        }
        const std::uint32_t power = GUI_Pow10[left - 1];
        *s++ = static_cast<char>('0' + magnitude / power);
        magnitude %= power;
    }
    *s = '\0';
}

void GUI_DispDecAt(std::int32_t value, std::int16_t x, std::int16_t y, std::uint8_t length) {
    char text[1 + maximumDigits + 1 + 1]; // sign, digits, separator, terminator
    char* end = text;
    GUI_AddDec(value, length, 0, &end);
    GUI_DispStringAt(text, x, y);
}
