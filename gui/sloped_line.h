#pragma once
// Lines that are neither horizontal nor vertical.
// Run with the library lock held. Print nothing by themselves.

// Draws the line with both its ends, clipped, in the foreground index; XOR mode inverts.
void LCD_DrawSlopedLine(int x0, int y0, int x1, int y1);
