#include "gui/lcd.h"

#include "gui/lcd_driver.h"

#include <utility>

constinit GUI_CONTEXT GUI_Context{};

namespace {

constexpr std::uint32_t black = 0x000000;
constexpr std::uint32_t white = 0xFFFFFF;
// No caller passes it, so that the first setting of each colour takes effect.
constexpr std::uint32_t noColor = 0x0FFFFFFF;

constexpr std::size_t background = 0; // entries of aColorIndex
constexpr std::size_t foreground = 1;

bool isReversed() {
    return (GUI_Context.DrawMode & GUI_DM_REV) != 0;
}

} // namespace

std::uint8_t LCD_SetDrawMode(std::uint8_t mode) {
    const std::uint8_t previous = GUI_Context.DrawMode;
    if (((mode ^ previous) & GUI_DM_REV) != 0) {
        std::swap(GUI_Context.aColorIndex[background], GUI_Context.aColorIndex[foreground]);
    }
    GUI_Context.DrawMode = mode;
    return previous;
}

void LCD_SetColor(std::uint32_t color) {
    if (color == GUI_Context.Color) {
        return;
    }
    GUI_Context.Color = color;
    LCD_SetColorIndex(LCD_Color2Index(color));
}

void LCD_SetBkColor(std::uint32_t color) {
    if (color == GUI_Context.BkColor) {
        return;
    }
    GUI_Context.BkColor = color;
    LCD_SetBkColorIndex(LCD_Color2Index(color));
}

void LCD_SetColorIndex(std::uint8_t index) {
    GUI_Context.aColorIndex[isReversed() ? background : foreground] = index;
}

void LCD_SetBkColorIndex(std::uint8_t index) {
    GUI_Context.aColorIndex[isReversed() ? foreground : background] = index;
}

std::uint8_t LCD_Color2Index(std::uint32_t color) {
    // Mean brightness, rounded: half of 3 x 255 and above is lit.
    constexpr std::uint32_t full = 3 * 255;
    const std::uint32_t sum = (color >> 16) + (color & 0xFF) + ((color >> 8) & 0xFF);
    return static_cast<std::uint8_t>((sum + (full + 1) / 2) / full);
}

std::uint32_t LCD_Index2Color(int index) {
    return index == 0 ? black : white;
}

void LCD_SetClipRectMax(GUI_RECT* rect) {
    *rect = {0, 0, static_cast<std::int16_t>(LCD_XSIZE - 1),
             static_cast<std::int16_t>(LCD_YSIZE - 1)};
}

int LCD_InitDisplay() {
    LCD_SetClipRectMax(&GUI_Context.ClipRect);
    const int result = LCD_DriverInitController();
    LCD_DriverInitLUT();
    LCD_SetDrawMode(GUI_DM_REV);
    LCD_FillRect(0, 0, farEdge, farEdge);
    LCD_SetDrawMode(GUI_DM_NORMAL);
    LCD_DriverOn();
    return result;
}

int GUI_Init() {
    GUI_DecChar = '.';
    LCD_DriverInit();
    GUI_Context.pClipRect = &GUI_Context.ClipRect;
    LCD_SetClipRectMax(&GUI_Context.ClipRect);
    GUI_Context.Color = noColor;
    GUI_Context.BkColor = noColor;
    GUI_Context.PenSize = 1;
    GUI_Context.pFont = &GUI_Font6x8;
    LCD_SetBkColor(black);
    LCD_SetColor(white);
    GUI_Context.pEncodeAPI = &GUI__API_TableNone;
    GUI_CurrentTaskSlot = -1;
    GUI_X_Init();
    const int result = LCD_InitDisplay();
    for (GUI_TaskContext& slot : GUI_aTaskContext) {
        slot.Context = GUI_Context;
        slot.TaskId = 0;
    }
    return result;
}

std::uint8_t GUI_SetDrawMode(std::uint8_t mode) {
    GUI_Lock();
    const std::uint8_t previous = LCD_SetDrawMode(mode);
    GUI_Unlock();
    return previous;
}

std::int16_t GUI_SetTextMode(std::int16_t mode) {
    GUI_Lock();
    const std::int16_t previous = std::exchange(GUI_Context.TextMode, mode);
    GUI_Unlock();
    return previous;
}

std::int16_t GUI_SetTextAlign(std::int16_t align) {
    GUI_Lock();
    const std::int16_t previous = GUI_Context.TextAlign;
    storeForUnlocked(GUI_Context.TextAlign, align);
    GUI_Unlock();
    return previous;
}

const GUI_Font* GUI_SetFont(const GUI_Font* font) {
    // Read before the lock: with several drawing threads this is the font of whichever thread's
    // context is live.
    const GUI_Font* const previous = loadUnlocked(GUI_Context.pFont);
    GUI_Lock();
    if (font != nullptr) {
        storeForUnlocked(GUI_Context.pFont, font);
    }
    GUI_Unlock();
    return previous;
}

int GUI_GotoXY(std::int16_t x, std::int16_t y) {
    GUI_Lock();
    GUI_Context.DispPosY = y;
    GUI_Context.DispPosX = x;
    GUI_Unlock();
    return 0;
}
