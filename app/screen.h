#pragma once

// The backlight and the blank bordered screen on which a page is drawn after a key.
//
// All pick the panel kind from DeviceInfo. Main thread only.

// Brightness levels in use.
inline constexpr int backlightLit = 127;
inline constexpr int backlightOff = 0;

// The brightness file of the fitted panel.
const char* brightnessPath();

// Writes `level` to the brightness file of the fitted panel. Prints a line when the file
// cannot be opened or written; the brightness is unchanged then.
void setBacklight(int level);

// Initialises the graphics library afresh (blank display, default context) and draws the
// one-pixel border around the panel.
void initScreen();
