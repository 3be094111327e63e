#include "gui/fonts/font_functions.h"

#include "gui/lcd.h"
#include "gui/lcd_driver.h"

#include <cstddef>

namespace {

constexpr int glyphDepth = 1; // bits per pixel

void advanceCursor(int pixels) {
    GUI_Context.DispPosX = static_cast<std::int16_t>(GUI_Context.DispPosX + pixels);
}

// Draws one glyph at the text cursor in the present draw mode.
void drawGlyph(const GUI_Font& font, int xsize, int bytesPerLine, const std::uint8_t* glyph) {
    LCD_DrawBitmap(GUI_Context.DispPosX, GUI_Context.DispPosY, xsize, font.YSize, font.XMag,
                   font.YMag, glyphDepth, bytesPerLine, glyph, GUI_Context.aColorIndex);
}

const GUI_MonoFontData& monoData(const GUI_Font& font) {
    return *static_cast<const GUI_MonoFontData*>(font.pData);
}

bool isTranslated(const GUI_MonoFontData& data, std::uint16_t code) {
    return data.pTrans != nullptr && data.pTrans->FirstChar <= code &&
           code <= data.pTrans->LastChar;
}

bool isDirect(const GUI_MonoFontData& data, std::uint16_t code) {
    return data.FirstChar <= code && code <= data.LastChar;
}

struct MonoGlyphs {
    const std::uint8_t* base;    // or null
    const std::uint8_t* overlay; // or null
};

MonoGlyphs findMonoGlyphs(const GUI_Font& font, std::uint16_t code) {
    const GUI_MonoFontData& data = monoData(font);
    const std::ptrdiff_t glyphSize = std::ptrdiff_t{data.BytesPerLine} * font.YSize;
    if (isDirect(data, code)) {
        return {data.pData + (code - data.FirstChar) * glyphSize, nullptr};
    }
    if (!isTranslated(data, code)) {
        return {nullptr, nullptr};
    }
    const auto glyphAt = [&](std::int16_t index) {
        return index < 0 ? nullptr : data.pTransData + index * glyphSize;
    };
    const GUI_CharTrans pair = data.pTrans->pPairs[code - data.pTrans->FirstChar];
    return {glyphAt(pair.Base), glyphAt(pair.Overlay)};
}

void drawMonoGlyphs(const GUI_Font& font, const MonoGlyphs& glyphs) {
    const GUI_MonoFontData& data = monoData(font);
    const auto textMode = static_cast<std::uint8_t>(GUI_Context.TextMode);
    const std::uint8_t previous = LCD_SetDrawMode(textMode);
    drawGlyph(font, data.XSize, data.BytesPerLine, glyphs.base);
    if (glyphs.overlay != nullptr) {
        LCD_SetDrawMode(textMode | GUI_DM_TRANS);
        drawGlyph(font, data.XSize, data.BytesPerLine, glyphs.overlay);
    }
    LCD_SetDrawMode(previous);
}

// Null when no range holds the code.
const GUI_CharInfo* findPropChar(const GUI_Font& font, std::uint16_t code) {
    const auto* range = static_cast<const GUI_PropRange*>(font.pData);
    while (range != nullptr && range->Last < code) {
        range = range->pNext;
    }
    return range != nullptr && range->First <= code ? &range->pCharInfo[code - range->First]
                                                    : nullptr;
}

} // namespace

void GUI_MonoDispChar(std::uint16_t code) {
    const GUI_Font& font = *GUI_Context.pFont;
    const MonoGlyphs glyphs = findMonoGlyphs(font, code);
    if (glyphs.base != nullptr) {
        drawMonoGlyphs(font, glyphs);
    }
    advanceCursor(monoData(font).XDist);
}

int GUI_MonoGetCharDistX(std::uint16_t /*code*/) {
    return monoData(*GUI_Context.pFont).XDist;
}

void GUI_MonoGetFontInfo(const GUI_Font* /*font*/, GUI_FontInfo* info) {
    info->Flags = GUI_FONTINFO_MONO;
}

int GUI_MonoIsInFont(const GUI_Font* font, std::uint16_t code) {
    const GUI_MonoFontData& data = monoData(*font);
    return isDirect(data, code) || isTranslated(data, code) ? 1 : 0;
}

void GUI_PropDispChar(std::uint16_t code) {
    const GUI_Font& font = *GUI_Context.pFont;
    const GUI_CharInfo* const info = findPropChar(font, code);
    if (info == nullptr) {
        return;
    }
    const std::uint8_t previous = LCD_SetDrawMode(static_cast<std::uint8_t>(GUI_Context.TextMode));
    drawGlyph(font, info->XSize, info->BytesPerLine, info->pData);
    LCD_SetDrawMode(previous);
    advanceCursor(info->XDist * font.XMag);
}

int GUI_PropGetCharDistX(std::uint16_t code) {
    const GUI_Font& font = *GUI_Context.pFont;
    const GUI_CharInfo* const info = findPropChar(font, code);
    return info != nullptr ? info->XDist * font.XMag : 0;
}

void GUI_PropGetFontInfo(const GUI_Font* /*font*/, GUI_FontInfo* info) {
    info->Flags = GUI_FONTINFO_PROP;
}

int GUI_PropIsInFont(const GUI_Font* font, std::uint16_t code) {
    return findPropChar(*font, code) != nullptr ? 1 : 0;
}
