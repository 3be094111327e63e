#include "gui/lcd.h"

void (*GUI_pfDispCharStyle)(std::uint16_t code) = nullptr;

namespace {

constexpr int alignHorizontal = 3;
constexpr int alignVertical = 12;
constexpr int longestLine = 32767; // bytes or characters

std::int16_t toCoordinate(int value) {
    return static_cast<std::int16_t>(value);
}

const GUI_Font& currentFont() {
    return *GUI_Context.pFont;
}

void drawCharacter(std::uint16_t code) {
    currentFont().pfDispChar(code);
    if (GUI_pfDispCharStyle != nullptr) {
        GUI_pfDispCharStyle(code);
    }
}

bool intersects(const GUI_RECT& a, const GUI_RECT& b) {
    return a.x0 <= b.x1 && b.x0 <= a.x1 && a.y0 <= b.y1 && b.y0 <= a.y1;
}

// How far the alignment moves a line of this width to the left. Right and centre together mean
// neither.
int horizontalShift(int width) {
    switch (GUI_Context.TextAlign & alignHorizontal) {
    case GUI_TA_RIGHT:
        return width;
    case GUI_TA_HCENTER:
        return width / 2;
    default:
        return 0;
    }
}

// Where the line after a line break starts: below the start of the string when it is aligned
// right or centred, else at the left border.
std::int16_t nextLineX(std::int16_t xStart) {
    const int align = GUI_Context.TextAlign & alignHorizontal;
    return align == GUI_TA_RIGHT || align == GUI_TA_HCENTER ? xStart : GUI_Context.LBorder;
}

// Draws the line at s and moves the cursor to where the next one starts. Returns the line's end.
const char* drawLine(const char* s, std::int16_t xStart, int fontDistY) {
    const int length = GUI_GetLineLen(s, longestLine);
    const int width = GUI_GetLineDistX(s, length);
    const std::int16_t x = toCoordinate(GUI_Context.DispPosX - horizontalShift(width));
    const std::int16_t y = GUI_Context.DispPosY;
    GUI_DispLine(s, length, {x, y, toCoordinate(x + width - 1), toCoordinate(y + fontDistY - 1)});
    GUI_Context.DispPosY = y;

    const char* const end = s + GUI_NumChars2NumBytes(s, length);
    if (*end == '\n' || *end == '\r') {
        GUI_Context.DispPosX = nextLineX(xStart);
    } else {
        GUI_Context.DispPosX = toCoordinate(x + width);
    }
    if (*end == '\n') {
        GUI_Context.DispPosY = toCoordinate(y + fontDistY);
    }
    return end;
}

} // namespace

int GUI_GetYAdjust() {
    switch (GUI_Context.TextAlign & alignVertical) {
    case GUI_TA_TOP:
        return 0;
    case GUI_TA_BOTTOM:
        return currentFont().YSize - 1;
    default:
        return currentFont().YSize / 2;
    }
}

int GUI_GetLineLen(const char* s, int maximum) {
    if (currentFont().pafEncode != nullptr) {
        return currentFont().pafEncode->pfGetLineLen(s, maximum);
    }
    int length = 0;
    while (length < maximum) {
        const std::uint16_t code = GUI_GetCharCodeInc(&s);
        if (code == '\0' || code == '\n') {
            break;
        }
        ++length;
    }
    return length;
}

int GUI_GetLineDistX(const char* s, int n) {
    if (currentFont().pafEncode != nullptr) {
        return currentFont().pafEncode->pfGetLineDistX(s, n);
    }
    int width = 0;
    for (int i = 0; i < n; ++i) {
        width += currentFont().pfGetCharDistX(GUI_GetCharCodeInc(&s));
    }
    return width;
}

void GUI_DispLine(const char* s, int n, const GUI_RECT& rect) {
    GUI_Context.DispPosX = rect.x0;
    GUI_Context.DispPosY = rect.y0;
    if (GUI_Context.pClipRect != nullptr && !intersects(rect, *GUI_Context.pClipRect)) {
        return;
    }
    if (currentFont().pafEncode != nullptr) {
        currentFont().pafEncode->pfDispLine(s, n, rect);
        return;
    }
    for (int i = 0; i < n; ++i) {
        drawCharacter(GUI_GetCharCodeInc(&s));
    }
}

void GUI_DispString(const char* s) {
    if (s == nullptr) {
        return;
    }
    GUI_Lock();
    const int fontDistY = GUI_GetFontDistY();
    const int yAdjust = GUI_GetYAdjust();
    const std::int16_t xStart = GUI_Context.DispPosX;
    GUI_Context.DispPosY = toCoordinate(GUI_Context.DispPosY - yAdjust);
    while (*s != '\0') {
        s = drawLine(s, xStart, fontDistY);
        if (*s != '\0') {
            ++s;
        }
    }
    GUI_Context.DispPosY = toCoordinate(GUI_Context.DispPosY + yAdjust);
    storeForUnlocked(GUI_Context.TextAlign,
                     static_cast<std::int16_t>(GUI_Context.TextAlign & ~alignHorizontal));
    GUI_Unlock();
}

void GUI_DispStringAt(const char* s, std::int16_t x, std::int16_t y) {
    GUI_Lock();
    GUI_Context.DispPosY = y;
    GUI_Context.DispPosX = x;
    GUI_DispString(s);
    GUI_Unlock();
}

void GUI_DispStringHCenterAt(const char* s, std::int16_t x, std::int16_t y) {
    // Read before the lock: with several drawing threads this is the alignment of whichever
    // thread's context is live.
    const std::int16_t align = loadUnlocked(GUI_Context.TextAlign);
    GUI_Lock();
    const std::int16_t previous =
        GUI_SetTextAlign(static_cast<std::int16_t>(align | GUI_TA_HCENTER));
    GUI_DispStringAt(s, x, y);
    GUI_SetTextAlign(previous);
    GUI_Unlock();
}

void GUI_DispChar(std::uint16_t code) {
    if (code == '\r') {
        return;
    }
    GUI_Lock();
    if (code == '\n') {
        GUI_DispNextLine();
    } else {
        drawCharacter(code);
    }
    GUI_Unlock();
}

void GUI_DispNextLine() {
    GUI_Lock();
    GUI_Context.DispPosX = GUI_Context.LBorder;
    GUI_Context.DispPosY = toCoordinate(GUI_Context.DispPosY + GUI_GetFontDistY());
    GUI_Unlock();
}

int GUI_GetCharDistX(std::uint16_t code) {
    GUI_Lock();
    const int distX = currentFont().pfGetCharDistX(code);
    GUI_Unlock();
    return distX;
}

int GUI_GetFontDistY() {
    GUI_Lock();
    const int distY = currentFont().YDist;
    GUI_Unlock();
    return distY;
}
