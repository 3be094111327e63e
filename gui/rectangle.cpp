#include "gui/lcd.h"
#include "gui/lcd_driver.h"

void GUI_FillRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    LCD_FillRect(x0, y0, x1, y1);
    GUI_Unlock();
}

void GUI_InvertRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    const std::uint8_t previous = GUI_SetDrawMode(GUI_DM_XOR);
    LCD_FillRect(x0, y0, x1, y1);
    GUI_SetDrawMode(previous);
    GUI_Unlock();
}

void GUI_ClearRect(int x0, int y0, int x1, int y1) {
    GUI_Lock();
    const std::uint8_t previous = LCD_SetDrawMode(GUI_DM_REV);
    LCD_FillRect(x0, y0, x1, y1);
    LCD_SetDrawMode(previous);
    GUI_Unlock();
}

void GUI_Clear() {
    constexpr int farEdge = 4095; // outside any panel
    GUI_Lock();
    GUI_GotoXY(0, 0);
    GUI_ClearRect(-farEdge, -farEdge, farEdge, farEdge);
    GUI_Unlock();
}
