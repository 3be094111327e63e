#include "gui/sloped_line.h"

#include "gui/pixel_writes.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

bool isInside(int value, int low, int high) {
    return value >= low && value <= high;
}

// A sloping line as it is walked: major grows by one per pixel, minor is the other coordinate.
// The exact minor coordinate of pixel i is start + (n / 2 + i * slope) / n, cut towards the
// start; rest carries the remainder of that division from pixel to pixel.
struct Walk {
    int major;
    int minor;
    int minorStep; // 1 or -1
    int pixels;
    std::uint64_t n;     // major length, pixels
    std::uint64_t slope; // minor length, at most n
    std::uint64_t rest;

    int lastMinor() const {
        const auto last = static_cast<std::uint64_t>(pixels - 1);
        return minor + minorStep * static_cast<int>((rest + last * slope) / n);
    }
};

struct Line {
    std::int64_t major0;
    std::int64_t minor0;
    std::int64_t major1;
    std::int64_t minor1;
};

// The part of the line whose major coordinate lies within low to high.
Walk visibleWalk(Line line, int low, int high) {
    if (line.major1 < line.major0) {
        std::swap(line.major0, line.major1);
        std::swap(line.minor0, line.minor1);
    }
    const bool isRising = line.minor1 >= line.minor0;
    const auto n = static_cast<std::uint64_t>(line.major1 - line.major0);
    const auto slope = static_cast<std::uint64_t>(isRising ? line.minor1 - line.minor0
                                                           : line.minor0 - line.minor1);
    const std::int64_t first = std::max<std::int64_t>(line.major0, low);
    const std::int64_t last = std::min<std::int64_t>(line.major1, high);
    if (first > last) {
        return {};
    }
    const std::uint64_t sum = n / 2 + static_cast<std::uint64_t>(first - line.major0) * slope;
    const auto passed = static_cast<std::int64_t>(sum / n);
    return {.major = static_cast<int>(first),
            .minor = static_cast<int>(line.minor0 + (isRising ? passed : -passed)),
            .minorStep = isRising ? 1 : -1,
            .pixels = static_cast<int>(last - first + 1),
            .n = n,
            .slope = slope,
            .rest = sum % n};
}

template <typename Plot>
void walkLine(Walk walk, Plot plot) {
    const int end = walk.major + walk.pixels;
    while (walk.major < end) {
        plot(walk.major++, walk.minor);
        walk.rest += walk.slope;
        if (walk.rest >= walk.n) {
            walk.rest -= walk.n;
            walk.minor += walk.minorStep;
        }
    }
}

// Draws along x, or along y when the walk's major coordinate is y.
template <bool isSteep>
void drawWalk(const Walk& walk) {
    if (walk.pixels == 0) {
        return; // beside the clip rectangle
    }
    const GUI_RECT& clip = GUI_Context.ClipRect;
    const int low = isSteep ? clip.x0 : clip.y0;
    const int high = isSteep ? clip.x1 : clip.y1;
    const bool isUnclipped =
        isInside(walk.minor, low, high) && isInside(walk.lastMinor(), low, high);
    if (!isUnclipped || !isPlainScreen(clip.x0, clip.y0, clip.x1, clip.y1)) {
        walkLine(walk, [](int major, int minor) {
            LCD_DrawPixel(isSteep ? minor : major, isSteep ? major : minor);
        });
        return;
    }
    withAction(foregroundAction(), [&]<PixelAction action>(PixelActionConstant<action>) {
        // Kept here, because the compiler expects a pixel to change them.
        std::uint8_t* const origin = byteOfPixel(0, 0);
        const std::ptrdiff_t stride = bytesPerRow();
        walkLine(walk, [=](int major, int minor) {
            const auto x = static_cast<unsigned>(isSteep ? minor : major);
            const int y = isSteep ? major : minor;
            writePixel<action>(origin + y * stride + x / 8, 1U << (x % 8));
        });
    });
}

} // namespace

void LCD_DrawSlopedLine(int x0, int y0, int x1, int y1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    const std::int64_t dx = std::int64_t{x1} - x0;
    const std::int64_t dy = std::int64_t{y1} - y0;
    if (std::abs(dx) >= std::abs(dy)) {
        drawWalk<false>(visibleWalk({x0, y0, x1, y1}, clip.x0, clip.x1));
    } else {
        drawWalk<true>(visibleWalk({y0, x0, y1, x1}, clip.y0, clip.y1));
    }
}
