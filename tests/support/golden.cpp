#include "tests/support/golden.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace golden {
namespace {

namespace fs = std::filesystem;

const fs::path goldenFolder = PANELD_GOLDEN_FOLDER;
const fs::path diffFolder = PANELD_GOLDEN_DIFF_FOLDER;

bool updateWanted() {
    const char* value = std::getenv("PANELD_UPDATE_GOLDENS");
    return value != nullptr && std::string(value) == "1";
}

bool writeFile(const fs::path& path, const std::string& text) {
    std::error_code ignored; // the write below fails if the folder is not there
    fs::create_directories(path.parent_path(), ignored);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    return !file.fail();
}

std::optional<std::string> readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

testing::AssertionResult update(const fs::path& goldenFile, const std::string& text) {
    if (!writeFile(goldenFile, text))
        return testing::AssertionFailure() << "cannot write " << goldenFile.string();
    return testing::AssertionSuccess();
}

testing::AssertionResult compare(const picture::Bitmap& actual, const picture::Bitmap& expected) {
    const auto pixel = picture::firstDifference(expected, actual);
    if (!pixel)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "first differing pixel (" << pixel->x << ", " << pixel->y << "), "
           << (actual.at(pixel->x, pixel->y) ? "lit" : "dark") << " in the actual picture\nactual "
           << actual.width() << " x " << actual.height() << ":\n"
           << picture::toText(actual) << "expected " << expected.width() << " x "
           << expected.height() << ":\n"
           << picture::toText(expected);
}

} // namespace

testing::AssertionResult matches(const picture::Bitmap& actual, const std::string& name) {
    const fs::path goldenFile = goldenFolder / (name + ".txt");
    const fs::path actualFile = diffFolder / (name + ".actual.txt");
    const fs::path diffFile = diffFolder / (name + ".diff.txt");
    if (updateWanted())
        return update(goldenFile, picture::toText(actual));

    const std::optional<std::string> text = readFile(goldenFile);
    if (!text) {
        writeFile(actualFile, picture::toText(actual));
        return testing::AssertionFailure()
               << "no golden " << goldenFile.string() << "; the actual picture is in "
               << actualFile.string() << "\n"
               << picture::toText(actual);
    }
    std::string reason;
    const auto expected = picture::fromText(*text, &reason);
    if (!expected)
        return testing::AssertionFailure() << goldenFile.string() << ": " << reason;

    testing::AssertionResult result = compare(actual, *expected);
    if (!result) {
        writeFile(actualFile, picture::toText(actual));
        writeFile(diffFile, picture::diffText(*expected, actual));
        return result << "golden " << goldenFile.string() << "\ndifferences in "
                      << diffFile.string() << "\n";
    }
    std::error_code ignored; // most often there is nothing left of an earlier difference
    fs::remove(actualFile, ignored);
    fs::remove(diffFile, ignored);
    return result;
}

testing::AssertionResult matchesList(const std::string& actual, const std::string& name) {
    const fs::path goldenFile = goldenFolder / (name + ".txt");
    const fs::path actualFile = diffFolder / (name + ".actual.txt");
    if (updateWanted())
        return update(goldenFile, actual);
    if (readFile(goldenFile) == actual)
        return testing::AssertionSuccess();
    writeFile(actualFile, actual);
    return testing::AssertionFailure()
           << "another text than " << goldenFile.string() << ": " << actualFile.string();
}

} // namespace golden
