#include "gui/pixel_writes.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace {

bool isInside(int value, int low, int high) {
    return value >= low && value <= high;
}

// Both kinds of panel are 128 pixels wide. Their columns are walked in constant steps and several
// rows at a time, so that the loop's own steps weigh less than the pixels.
constexpr std::size_t panelStride = 16;
constexpr int rowsAtOnce = 16;

template <PixelAction action, std::size_t... row>
inline void writeRows(std::uint8_t* byte, unsigned bit, std::index_sequence<row...> /*rows*/) {
    (writePixel<action>(byte + row * panelStride, bit), ...);
}

// Column of count pixels in the same place of their bytes, which are stride apart.
template <PixelAction action>
inline void writeColumn(std::uint8_t* byte, unsigned bit, std::size_t stride, int count) {
    if (stride == panelStride) {
        for (; count >= rowsAtOnce; count -= rowsAtOnce, byte += rowsAtOnce * panelStride) {
            writeRows<action>(byte, bit, std::make_index_sequence<rowsAtOnce>{});
        }
    }
    for (; count > 0; --count, byte += stride) {
        writePixel<action>(byte, bit);
    }
}

// Not inlined: its registers would be saved for every column, 2 % of an outline.
[[gnu::noinline]] void drawCheckedVLine(int x, int y0, int y1) {
    for (int y = y0; y <= y1; ++y) {
        LCD_DrawPixel(x, y);
    }
}

void drawVLine(int x, int y0, int y1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    y0 = std::max<int>(y0, clip.y0);
    y1 = std::min<int>(y1, clip.y1);
    if (!isInside(x, clip.x0, clip.x1) || y0 > y1) {
        return;
    }
    if (!isPlainScreen(x, y0, x, y1)) {
        drawCheckedVLine(x, y0, y1);
        return;
    }
    withAction(foregroundAction(), [=]<PixelAction action>(PixelActionConstant<action>) {
        const unsigned bit = 1U << (static_cast<unsigned>(x) % 8);
        writeColumn<action>(byteOfPixel(x, y0), bit, bytesPerRow(), y1 - y0 + 1);
    });
}

// ---- Sloped lines ---------------------------------------------------------------------------

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
    // Unsigned: the step behind the last pixel may lead past the largest coordinate.
    auto minor = static_cast<unsigned>(walk.minor);
    const int end = walk.major + walk.pixels;
    while (walk.major < end) {
        plot(walk.major++, static_cast<int>(minor));
        walk.rest += walk.slope;
        if (walk.rest >= walk.n) {
            walk.rest -= walk.n;
            minor += static_cast<unsigned>(walk.minorStep);
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

// Not inlined: its registers would be saved for straight lines too, 5 % of an outline.
[[gnu::noinline]] void drawSlopedLine(int x0, int y0, int x1, int y1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    const std::int64_t dx = std::int64_t{x1} - x0;
    const std::int64_t dy = std::int64_t{y1} - y0;
    if (std::abs(dx) >= std::abs(dy)) {
        drawWalk<false>(visibleWalk({x0, y0, x1, y1}, clip.x0, clip.x1));
    } else {
        drawWalk<true>(visibleWalk({y0, x0, y1, x1}, clip.y0, clip.y1));
    }
}

} // namespace

void LCD_DrawPixel(int x, int y) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    if (!isInside(x, clip.x0, clip.x1) || !isInside(y, clip.y0, clip.y1)) {
        return;
    }
    if ((GUI_Context.DrawMode & GUI_DM_XOR) != 0) {
        LCD_DriverXorPixel(x, y);
    } else {
        LCD_DriverSetPixelIndex(x, y, GUI_Context.aColorIndex[1]);
    }
}

void LCD_DrawPoint(int x, int y) {
    LCD_DrawPixel(x, y);
}

void LCD_DrawHLine(int x0, int y, int x1) {
    const GUI_RECT& clip = GUI_Context.ClipRect;
    if (!isInside(y, clip.y0, clip.y1)) {
        return;
    }
    x0 = std::max<int>(x0, clip.x0);
    x1 = std::min<int>(x1, clip.x1);
    if (x0 > x1) {
        return;
    }
    LCD_DriverDrawHLine(x0, y, x1);
}

void LCD_DrawLine(int x0, int y0, int x1, int y1) {
    if (x0 == x1 && y0 == y1) {
        LCD_DrawPoint(x0, y0);
    } else if (y0 == y1) {
        LCD_DrawHLine(std::min(x0, x1), y0, std::max(x0, x1));
    } else if (x0 == x1) {
        drawVLine(x0, std::min(y0, y1), std::max(y0, y1));
    } else {
        drawSlopedLine(x0, y0, x1, y1);
    }
}
