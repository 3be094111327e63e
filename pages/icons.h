#pragma once

// The icons of the page headers: one bit per pixel, a set bit is a lit pixel.

#include "gui/gui.h"

extern const GUI_Bitmap IconClock;    // an alarm clock, 24 x 24
extern const GUI_Bitmap IconInfo;     // a letter i in a filled circle, 24 x 24
extern const GUI_Bitmap IconEthernet; // a network socket, 16 x 16
