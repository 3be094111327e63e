#include "gui/lcd.h"

namespace {

// Wraps where even an int is too short, as the 16-bit pen does earlier.
int offsetBy(int origin, std::int16_t coordinate) {
    return static_cast<int>(static_cast<unsigned>(origin) + static_cast<unsigned>(coordinate));
}

bool isSamePoint(const GUI_POINT& a, const GUI_POINT& b) {
    return a.x == b.x && a.y == b.y;
}

} // namespace

void GUI__MoveTo(int x, int y) {
    GUI_Context.DrawPosX = static_cast<std::int16_t>(x);
    GUI_Context.DrawPosY = static_cast<std::int16_t>(y);
}

void GUI__DrawLineTo(int x, int y) {
    LCD_DrawLine(GUI_Context.DrawPosX, GUI_Context.DrawPosY, x, y);
    GUI__MoveTo(x, y);
}

void GUI__DrawPolygon(const GUI_POINT* points, int count, int x0, int y0) {
    if (count < 1) {
        return;
    }
    const GUI_POINT& first = points[0];
    GUI__MoveTo(offsetBy(x0, first.x), offsetBy(y0, first.y));
    for (int k = 1; k < count; ++k) {
        GUI__DrawLineTo(offsetBy(x0, points[k].x), offsetBy(y0, points[k].y));
    }
    if (!isSamePoint(points[count - 1], first)) {
        GUI__DrawLineTo(offsetBy(x0, first.x), offsetBy(y0, first.y));
    }
}

void GUI_DrawPolygon(const GUI_POINT* points, int count, int x0, int y0) {
    GUI_Lock();
    GUI__DrawPolygon(points, count, x0, y0);
    GUI_Unlock();
}
