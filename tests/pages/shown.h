#pragma once

// What the panel of a simulated gateway shows, as a picture. Used from tests only.

#include "picture/bitmap.h"
#include "sim/gateway.h"

inline picture::Bitmap shown(const sim::Gateway& gateway) {
    const sim::Panel panel = gateway.panel();
    return picture::Bitmap::fromVideoMemory(gateway.picture(), static_cast<int>(panel.width),
                                            static_cast<int>(panel.height));
}

inline bool isBlank(const sim::Gateway& gateway) {
    return shown(gateway).litCount() == 0;
}
