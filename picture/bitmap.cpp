#include "picture/bitmap.h"

#include <algorithm>

namespace picture {
namespace {

constexpr char litMark = '#';
constexpr char darkMark = '.';
constexpr int pixelsPerByte = 8;

bool inside(const Bitmap& bitmap, int x, int y) {
    return x < bitmap.width() && y < bitmap.height();
}

char diffMark(const Bitmap& expected, const Bitmap& actual, int x, int y) {
    if (inside(expected, x, y) != inside(actual, x, y)) {
        return '?';
    }
    if (expected.at(x, y) == actual.at(x, y)) {
        return actual.at(x, y) ? litMark : darkMark;
    }
    return actual.at(x, y) ? '+' : '-';
}

std::vector<std::string_view> splitRows(std::string_view text) {
    std::vector<std::string_view> rows;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view row = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        if (row.ends_with('\r')) {
            row.remove_suffix(1);
        }
        rows.push_back(row);
    }
    return rows;
}

} // namespace

Bitmap::Bitmap(int width, int height)
    : width_(std::max(width, 0)), height_(std::max(height, 0)),
      pixels_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_)) {}

Bitmap Bitmap::fromVideoMemory(std::span<const std::uint8_t> memory, int width, int height) {
    Bitmap bitmap(width, height);
    const int rowBytes = (bitmap.width() + pixelsPerByte - 1) / pixelsPerByte;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            const auto offset = static_cast<std::size_t>(y) * static_cast<std::size_t>(rowBytes) +
                                static_cast<std::size_t>(x / pixelsPerByte);
            if (offset < memory.size()) {
                bitmap.set(x, y, (memory[offset] >> (x % pixelsPerByte) & 1) != 0);
            }
        }
    }
    return bitmap;
}

bool Bitmap::contains(int x, int y) const {
    return x >= 0 && x < width_ && y >= 0 && y < height_;
}

std::size_t Bitmap::index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
           static_cast<std::size_t>(x);
}

bool Bitmap::at(int x, int y) const {
    return contains(x, y) && pixels_[index(x, y)] != 0;
}

void Bitmap::set(int x, int y, bool lit) {
    if (contains(x, y)) {
        pixels_[index(x, y)] = lit ? 1 : 0;
    }
}

std::size_t Bitmap::litCount() const {
    return static_cast<std::size_t>(std::count(pixels_.begin(), pixels_.end(), 1));
}

std::string toText(const Bitmap& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            text += bitmap.at(x, y) ? litMark : darkMark;
        }
        text += '\n';
    }
    return text;
}

std::optional<Bitmap> fromText(std::string_view text, std::string* reason) {
    const auto refuse = [reason](std::size_t row, const char* what) {
        if (reason != nullptr) {
            *reason = "row " + std::to_string(row) + " " + what;
        }
        return std::nullopt;
    };
    const std::vector<std::string_view> rows = splitRows(text);
    const std::size_t width = rows.empty() ? 0 : rows.front().size();
    Bitmap bitmap(static_cast<int>(width), static_cast<int>(rows.size()));
    for (std::size_t y = 0; y < rows.size(); ++y) {
        if (rows[y].size() != width) {
            return refuse(y, "has another length than the first");
        }
        for (std::size_t x = 0; x < width; ++x) {
            if (rows[y][x] != litMark && rows[y][x] != darkMark) {
                return refuse(y, "holds a character other than '#' and '.'");
            }
            bitmap.set(static_cast<int>(x), static_cast<int>(y), rows[y][x] == litMark);
        }
    }
    return bitmap;
}

std::optional<Pixel> firstDifference(const Bitmap& expected, const Bitmap& actual) {
    const int width = std::max(expected.width(), actual.width());
    const int height = std::max(expected.height(), actual.height());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const char mark = diffMark(expected, actual, x, y);
            if (mark != litMark && mark != darkMark) {
                return Pixel{x, y};
            }
        }
    }
    return std::nullopt;
}

std::string diffText(const Bitmap& expected, const Bitmap& actual) {
    const int width = std::max(expected.width(), actual.width());
    const int height = std::max(expected.height(), actual.height());
    std::string text;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            text += diffMark(expected, actual, x, y);
        }
        text += '\n';
    }
    return text;
}

} // namespace picture
