#pragma once

// What the page layouts share: the panel kind, the title bar and the body text.
//
// Coordinates are pixels from the top-left corner. Titles stand reversed in the fixed
// 19-row font, on the 64-line panel only. Everything else is in the 12-row font, but for
// the clock's figures on the 64-line panel and the reboot page's word.

#include "gui/gui.h"

#include <cstddef>

// Size of a formatted value or title; longer text is cut.
inline constexpr std::size_t valueSize = 32;

// x of the panel's middle, on which centred texts stand.
inline constexpr int panelCentre = 64;

// True on the 32-line panel.
bool isSmallPanel();

// Selects normal text in the body font.
void selectBodyText();

// Draws a reversed title with its left end at (x, y); body text is selected afterwards.
void drawTitleAt(const char* title, int x, int y);

// Draws a reversed title centred on the panel's width; body text is selected afterwards.
void drawTitleCentred(const char* title, int y);

// Draws a text centred on the panel's width in the current font and mode.
void drawCentred(const char* text, int y);
