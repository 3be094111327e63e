#include "gui/lcd.h"
#include "gui/lcd_driver.h"

std::uint8_t LCD__aConvTable[256];

const std::uint8_t* LCD_GetPalConvTable(const GUI_Palette* palette) {
    constexpr std::int32_t tableSize = sizeof LCD__aConvTable;
    if (palette == nullptr || palette->pPalEntries == nullptr || palette->NumEntries > tableSize) {
        return nullptr;
    }
    for (std::int32_t i = 0; i < palette->NumEntries; ++i) {
        LCD__aConvTable[i] = LCD_Color2Index(palette->pPalEntries[i]);
    }
    return LCD__aConvTable;
}
