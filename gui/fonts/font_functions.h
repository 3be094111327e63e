#pragma once
// The two kinds of font: monospaced with a translation list, and proportional with chained code
// ranges. These functions fill the function fields of the font records and are reached through
// them, with the library lock held; the current font is the one in the drawing context.
// Print nothing.

#include "gui/gui.h"

// A base glyph and an overlay glyph (an accent), each -1 for none.
struct GUI_CharTrans {
    std::int16_t Base;
    std::int16_t Overlay;
};

struct GUI_CharTransList {
    std::uint16_t FirstChar;
    std::uint16_t LastChar;
    const GUI_CharTrans* pPairs; // one for each code of the range
};

struct GUI_MonoFontData {
    const std::uint8_t* pData;       // glyph i begins at i * BytesPerLine * YSize
    const std::uint8_t* pTransData;  // glyphs of translated codes
    const GUI_CharTransList* pTrans; // or null
    std::uint16_t FirstChar;
    std::uint16_t LastChar;
    std::uint8_t XSize;
    std::uint8_t XDist;
    std::uint8_t BytesPerLine;
};

struct GUI_CharInfo {
    std::uint8_t XSize;
    std::uint8_t XDist; // advance
    std::uint8_t BytesPerLine;
    const std::uint8_t* pData;
};

struct GUI_PropRange {
    std::uint16_t First;
    std::uint16_t Last;
    const GUI_CharInfo* pCharInfo; // one for each code of the range
    const GUI_PropRange* pNext;    // higher codes, or null
};

void GUI_MonoDispChar(std::uint16_t code);
int GUI_MonoGetCharDistX(std::uint16_t code);
void GUI_MonoGetFontInfo(const GUI_Font* font, GUI_FontInfo* info);
int GUI_MonoIsInFont(const GUI_Font* font, std::uint16_t code);

void GUI_PropDispChar(std::uint16_t code);
int GUI_PropGetCharDistX(std::uint16_t code);
void GUI_PropGetFontInfo(const GUI_Font* font, GUI_FontInfo* info);
int GUI_PropIsInFont(const GUI_Font* font, std::uint16_t code);
