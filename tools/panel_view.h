#pragma once

// The panel as it stands, and the terminal that it is shown on.
//
// The video memory is mapped by the daemon's own driver and only read. One thread.

#include "picture/bitmap.h"
#include "picture/cells.h"

#include <optional>
#include <string>

namespace ctl {

// To be called before the others. False, after a complaint, when there is no panel of this kind.
bool openPanel();

picture::Bitmap panelPicture();

// The level in the brightness file of the fitted panel, -1 when it cannot be read.
int panelBrightness();

// Why nobody in front of the panel sees the picture so: it is dark, or what a daemon left. Empty
// when there is nothing to say.
std::string panelRemark();

// The largest cells with which the panel and two lines more fit into the terminal; square dots
// when standard output is none.
picture::CellKind fittingCells();

// Writes the rows to standard output.
void printPanel(const picture::Bitmap& bitmap, picture::CellKind cells);

// The panel in these cells, or in fitting ones, on standard output, then the remark on standard
// error.
void showPanel(const std::optional<picture::CellKind>& cells);

// Writes a remark to standard error, behind what standard output still holds; an empty one is none.
void remarkOn(const std::string& remark);

} // namespace ctl
