#pragma once
// Monochrome graphics library: the operations and types that pages use.
// Every operation takes the library lock, so any thread may call any of them, except GUI_Init,
// which must run while no other thread draws. Nothing is buffered: a pixel that was drawn is on
// the panel. Coordinates are signed pixels from the top-left corner, rectangles include both
// corners, and everything is cut to the clip rectangle, which after GUI_Init is the whole screen.
// Prints nothing by itself; a framebuffer that cannot be used is reported by the driver.

#include <cstdint>

// Draw modes, bits that may be combined.
inline constexpr std::uint8_t GUI_DM_NORMAL = 0;
inline constexpr std::uint8_t GUI_DM_XOR = 1;   // pixels are inverted instead of written
inline constexpr std::uint8_t GUI_DM_TRANS = 2; // bitmap pixels of value 0 are left untouched
inline constexpr std::uint8_t GUI_DM_REV = 4;   // foreground and background exchanged

// Text modes: the draw mode in force while characters are drawn.
inline constexpr std::int16_t GUI_TM_NORMAL = 0; // whole cells, ink lit
inline constexpr std::int16_t GUI_TM_XOR = 1;    // ink inverts
inline constexpr std::int16_t GUI_TM_TRANS = 2;  // ink only
inline constexpr std::int16_t GUI_TM_REV = 4;    // whole cells, ink dark in a lit bar

// Text alignment: one horizontal value or-ed with one vertical value.
inline constexpr std::int16_t GUI_TA_LEFT = 0;
inline constexpr std::int16_t GUI_TA_RIGHT = 1;
inline constexpr std::int16_t GUI_TA_HCENTER = 2;
inline constexpr std::int16_t GUI_TA_TOP = 0;
inline constexpr std::int16_t GUI_TA_BOTTOM = 4;
inline constexpr std::int16_t GUI_TA_VCENTER = 12;

struct GUI_POINT {
    std::int16_t x;
    std::int16_t y;
};

struct GUI_RECT {
    std::int16_t x0; // both corners belong to the rectangle
    std::int16_t y0;
    std::int16_t x1;
    std::int16_t y1;
};
static_assert(sizeof(GUI_POINT) == 4 && sizeof(GUI_RECT) == 8);

struct GUI_Palette {
    std::int32_t NumEntries;
    std::uint8_t HasTrans;            // non-zero: pixel value 0 is not drawn
    const std::uint32_t* pPalEntries; // colours 0xRRGGBB
};

struct GUI_BitmapMethods; // no bitmap brings drawing methods of its own

struct GUI_Bitmap {
    std::uint16_t XSize; // pixels
    std::uint16_t YSize; // pixels
    std::uint16_t BytesPerLine;
    std::uint16_t BitsPerPixel; // 1, 2, 4 or 8
    const std::uint8_t* pData;  // rows from top to bottom, leftmost pixel in the highest bits
    const GUI_Palette* pPal;    // null: 1-bit pixels take the current colours, others are raw
    const GUI_BitmapMethods* pMethods; // null
};

// Kind of a font as its pfGetFontInfo reports it.
inline constexpr std::uint16_t GUI_FONTINFO_PROP = 1;
inline constexpr std::uint16_t GUI_FONTINFO_MONO = 2;

struct GUI_FontInfo {
    std::uint16_t Flags;
};

// Line functions of fonts whose strings hold two-byte characters (n counts bytes).
struct GUI_LineAPI {
    int (*pfGetLineDistX)(const char* s, int n);
    int (*pfGetLineLen)(const char* s, int maximum);
    void (*pfDispLine)(const char* s, int n, const GUI_RECT& rect);
};

struct GUI_Font {
    void (*pfDispChar)(std::uint16_t code);    // draws at the text cursor and advances it
    int (*pfGetCharDistX)(std::uint16_t code); // advance in pixels
    void (*pfGetFontInfo)(const GUI_Font* font, GUI_FontInfo* info);
    int (*pfIsInFont)(const GUI_Font* font, std::uint16_t code); // 1: has a glyph, else 0
    const GUI_LineAPI* pafEncode;                                // null: one byte per character
    std::uint8_t YSize;                                          // glyph height in rows
    std::uint8_t YDist;                                          // step of a line feed
    std::uint8_t XMag;
    std::uint8_t YMag;
    const void* pData; // GUI_MonoFontData, or the first GUI_PropRange
    std::uint8_t Baseline;
    std::uint8_t LHeight;
    std::uint8_t CHeight;
};

extern const GUI_Font GUI_Font6x8;       // Latin-1, 6 x 8; the font after GUI_Init
extern const GUI_Font GUI_FontMono6x12;  // body text
extern const GUI_Font GUI_FontMono10x19; // titles
extern const GUI_Font GUI_FontProp19;    // the clock

// Opens the framebuffer on the first call only. Every call blanks the display and resets the
// colours (white on black), the font, the clip rectangle, the draw mode and the contexts of all
// threads; text mode, alignment and cursor stay. Takes no lock. Always 0.
int GUI_Init();

// The library lock, recursive per thread. The outermost GUI_Lock brings in the calling thread's
// own drawing context; four threads have one each, further ones share the first.
void GUI_Lock();
void GUI_Unlock();

// Setters of the calling thread's context; each returns the previous value.
std::uint8_t GUI_SetDrawMode(std::uint8_t mode);
std::int16_t GUI_SetTextMode(std::int16_t mode);
std::int16_t GUI_SetTextAlign(std::int16_t align);
const GUI_Font* GUI_SetFont(const GUI_Font* font); // null changes nothing

// Moves the text cursor. Always 0.
int GUI_GotoXY(std::int16_t x, std::int16_t y);

// Draw a string at the text cursor or at (x, y); a line feed starts a new line. Horizontal
// alignment holds for one string and is GUI_TA_LEFT afterwards. The cursor then stands behind the
// last character. A null string draws nothing.
void GUI_DispString(const char* s);
void GUI_DispStringAt(const char* s, std::int16_t x, std::int16_t y);
// The same with GUI_TA_HCENTER or-ed to the alignment, which afterwards is what it was before: the
// string is centred on x, but starts at x when the alignment was right, which cancels the centring.
void GUI_DispStringHCenterAt(const char* s, std::int16_t x, std::int16_t y);

// Draws one character; 10 moves to the next line, 13 does nothing.
void GUI_DispChar(std::uint16_t code);
// Cursor to the left border, one line distance down.
void GUI_DispNextLine();
// Advance of a character and line distance of the current font, in pixels.
int GUI_GetCharDistX(std::uint16_t code);
int GUI_GetFontDistY();

// Draws value at (x, y) in exactly length characters, sign included: leading zeros, all nines
// where it does not fit. At most nine digits.
void GUI_DispDecAt(std::int32_t value, std::int16_t x, std::int16_t y, std::uint8_t length);

// Outline through count points, each moved by (x0, y0), closed back to the first.
void GUI_DrawPolygon(const GUI_POINT* points, int count, int x0, int y0);
// Paint a rectangle in the foreground (XOR mode inverts), invert it, paint it in the background.
void GUI_FillRect(int x0, int y0, int x1, int y1);
void GUI_InvertRect(int x0, int y0, int x1, int y1);
void GUI_ClearRect(int x0, int y0, int x1, int y1);
// Clears the clip rectangle and moves the text cursor to the origin.
void GUI_Clear();
// Draws a bitmap with its top-left corner at (x, y).
void GUI_DrawBitmap(const GUI_Bitmap* bitmap, int x, int y);
