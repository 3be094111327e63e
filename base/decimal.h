#pragma once

// Decimal text from outside (modem answers, configuration files) as numbers.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

// The number at the start of `text` in base 10: leading blanks are skipped, conversion
// stops at the first non-digit, text that is no number gives 0. Values beyond 32 bits
// are clamped, so that the 32-bit target and a 64-bit host agree.
inline std::int32_t parseDecimal(const char* text) {
    constexpr long lowest = std::numeric_limits<std::int32_t>::min();
    constexpr long highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 10), lowest, highest));
}
