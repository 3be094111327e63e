#pragma once
// Inside of the graphics library: drawing context, lock state and the operations that run with
// the lock held (or inside GUI_Init). Only the thread that holds the lock may call them or touch
// the data, except where a field says otherwise. Pages include gui/gui.h instead.
// Prints nothing.

#include "gui/gui.h"

#include <atomic>
#include <pthread.h>

// ---- Context --------------------------------------------------------------------------------

// How the bytes of a string become character codes.
struct GUI_EncodeAPI {
    std::uint16_t (*pfGetCharCode)(const char* s);
    int (*pfGetCharSize)(const char* s);          // bytes of the character at s
    int (*pfGetCodeSize)(std::uint16_t code);     // bytes needed to encode a code
    int (*pfEncode)(char* s, std::uint16_t code); // bytes stored
};

extern const GUI_EncodeAPI GUI__API_TableNone;     // one byte per character
extern const GUI_LineAPI GUI__API_TableDoubleByte; // strings with two-byte characters

struct GUI_CONTEXT {
    std::uint8_t aColorIndex[2]; // [0] background, [1] foreground; swapped while REV is set
    GUI_RECT ClipRect;
    std::uint8_t DrawMode; // GUI_DM_ bits
    GUI_RECT* pClipRect;   // culls text lines; always ClipRect of the live context
    std::uint8_t PenSize;  // pixels, always 1
    std::uint8_t PenShape;
    std::uint8_t LineStyle;
    const GUI_Font* pFont; // read without the lock by GUI_SetFont
    const GUI_EncodeAPI* pEncodeAPI;
    std::int16_t LBorder;  // x to which a line feed returns
    std::int16_t DispPosX; // text cursor
    std::int16_t DispPosY;
    std::int16_t DrawPosX; // graphic pen
    std::int16_t DrawPosY;
    std::int16_t TextMode;  // GUI_TM_ bits
    std::int16_t TextAlign; // read without the lock by GUI_DispStringHCenterAt
    std::uint32_t Color;    // 0xRRGGBB as last set
    std::uint32_t BkColor;
};

extern GUI_CONTEXT GUI_Context; // the live one

// Access to the two fields that are read without the lock, as whole values in no order: by their
// readers, and by whatever writes them while other threads may draw.
template <typename T>
T loadUnlocked(T& field) {
    return std::atomic_ref<T>(field).load(std::memory_order_relaxed);
}
template <typename T>
void storeForUnlocked(T& field, T value) {
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

// Return the previous mode; swap the colour indices when the REV bit changes.
std::uint8_t LCD_SetDrawMode(std::uint8_t mode);
// Do nothing when the colour is the stored one already.
void LCD_SetColor(std::uint32_t color);
void LCD_SetBkColor(std::uint32_t color);
// Store a pixel index in the entry that is foreground (background) in the present draw mode.
void LCD_SetColorIndex(std::uint8_t index);
void LCD_SetBkColorIndex(std::uint8_t index);
// 1 for colours whose channels add up to 382 or more, else 0; and back.
std::uint8_t LCD_Color2Index(std::uint32_t color);
std::uint32_t LCD_Index2Color(int index);
// The whole screen.
void LCD_SetClipRectMax(GUI_RECT* rect);
// Clip rectangle to the whole screen, which is painted with the background index. 0.
int LCD_InitDisplay();

// ---- Lock -----------------------------------------------------------------------------------

inline constexpr int GUI_TASK_SLOTS = 4;

struct GUI_TaskContext {
    pthread_t TaskId; // 0: free
    GUI_CONTEXT Context;
};

extern std::atomic<std::int32_t> GUI_LockCnt; // nesting depth of the owner, 0 = free
extern std::atomic<pthread_t> GUI_LockOwner;  // last taker; not cleared on release
extern GUI_TaskContext GUI_aTaskContext[GUI_TASK_SLOTS];
extern std::int32_t GUI_CurrentTaskSlot; // whose context is live, -1 = none

void GUI_X_Lock();
void GUI_X_Unlock();
void GUI_X_Init();

// ---- Text -----------------------------------------------------------------------------------

extern char GUI_DecChar; // decimal separator
extern const std::uint32_t GUI_Pow10[10];
extern void (*GUI_pfDispCharStyle)(std::uint16_t code); // called after each character; or null

// Rows by which the vertical alignment lifts the text.
int GUI_GetYAdjust();
// Length of the line at s: bytes for two-byte fonts, else characters. Stops before a line feed,
// at the terminating zero and at maximum.
int GUI_GetLineLen(const char* s, int maximum);
// Width in pixels of the first n bytes (two-byte fonts) or characters.
int GUI_GetLineDistX(const char* s, int n);
// Moves the cursor to the rectangle's top-left corner and draws n bytes or characters there;
// draws nothing when the rectangle lies outside the clip rectangle.
void GUI_DispLine(const char* s, int n, const GUI_RECT& rect);
// Code of the character at *ps; moves *ps behind it.
std::uint16_t GUI_GetCharCodeInc(const char** ps);
int GUI_NumChars2NumBytes(const char* s, int n);
// Writes value in length characters and a terminating zero at *ps, the separator before the last
// shift digits (0: none); leaves *ps at the terminator. At most nine digits. Needs no lock.
void GUI_AddDec(std::int32_t value, std::uint8_t length, std::uint8_t shift, char** ps);

// ---- Primitives -----------------------------------------------------------------------------

// All clip, draw in the foreground index and invert in XOR mode.
void LCD_DrawPixel(int x, int y);
void LCD_DrawPoint(int x, int y);
void LCD_DrawHLine(int x0, int y, int x1);
void LCD_DrawLine(int x0, int y0, int x1, int y1); // both ends are drawn
void GUI__MoveTo(int x, int y);
void GUI__DrawLineTo(int x, int y); // from the pen; the pen follows
void GUI__DrawPolygon(const GUI_POINT* points, int count, int x0, int y0);
void GUI__DrawBitmap(const GUI_Bitmap* bitmap, int x, int y);
