#include "tests/support/golden.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace golden {
namespace {

namespace fs = std::filesystem;

fs::path goldenFile(const std::string& name) {
    return fs::path(PANELD_GOLDEN_FOLDER) / (name + ".txt");
}

fs::path differenceFile(const std::string& name) {
    return fs::path(PANELD_GOLDEN_DIFF_FOLDER) / (name + ".txt");
}

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text << std::flush;
}

// The golden, with PANELD_UPDATE_GOLDENS=1 after it was made from `actual`.
std::optional<std::string> goldenFor(const std::string& name, const std::string& actual) {
    const char* update = std::getenv("PANELD_UPDATE_GOLDENS");
    if (update != nullptr && std::string(update) == "1") {
        writeFile(goldenFile(name), actual);
    }
    std::ifstream file(goldenFile(name), std::ios::binary);
    return file ? std::optional(std::string(std::istreambuf_iterator<char>(file), {}))
                : std::nullopt;
}

testing::AssertionResult compare(const picture::Bitmap& actual, const picture::Bitmap& expected) {
    const auto pixel = picture::firstDifference(expected, actual);
    if (!pixel) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "first differing pixel (" << pixel->x << ", " << pixel->y << ")\nactual "
           << actual.width() << " x " << actual.height() << ":\n"
           << picture::toText(actual) << "expected " << expected.width() << " x "
           << expected.height() << ":\n"
           << picture::toText(expected);
}

} // namespace

testing::AssertionResult matches(const picture::Bitmap& actual, const std::string& name) {
    const std::string text = picture::toText(actual);
    const auto expected =
        picture::fromText(goldenFor(name, text).value_or("")).value_or(picture::Bitmap());
    testing::AssertionResult result = compare(actual, expected);
    fs::remove(differenceFile(name + ".actual"));
    fs::remove(differenceFile(name + ".diff"));
    if (!result) {
        writeFile(differenceFile(name + ".actual"), text);
        writeFile(differenceFile(name + ".diff"), picture::diffText(expected, actual));
        result << "golden " << goldenFile(name) << "\ndifferences in "
               << differenceFile(name + ".diff") << "\n";
    }
    return result;
}

testing::AssertionResult matchesList(const std::string& actual, const std::string& name) {
    if (goldenFor(name, actual) == actual) {
        return testing::AssertionSuccess();
    }
    writeFile(differenceFile(name + ".actual"), actual);
    return testing::AssertionFailure()
           << "another text than " << goldenFile(name) << ": " << differenceFile(name + ".actual");
}

} // namespace golden
