#include "tests/support/golden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace golden {
namespace {

namespace fs = std::filesystem;

const fs::path goldens = PANELD_GOLDEN_FOLDER;
const fs::path differences = PANELD_GOLDEN_DIFF_FOLDER;

// Every test uses a name of its own, so that tests can run at the same time.
void putGolden(const std::string& name, const std::string& text) {
    const fs::path file = goldens / (name + ".txt");
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

picture::Bitmap bitmapOf(const std::string& text) {
    return picture::fromText(text).value();
}

TEST(Golden, AnEqualPictureMatchesAndTakesAwayOldDifferences) {
    putGolden("64/equal", "#.\n.#\n");
    const testing::AssertionResult result = matches(bitmapOf("#.\n##\n"), "64/equal");
    EXPECT_FALSE(result);
    const std::string message = result.message();
    EXPECT_NE(message.find("first differing pixel (0, 1)"), std::string::npos) << message;
    EXPECT_EQ(contentOf(differences / "64/equal.actual.txt"), "#.\n##\n");
    EXPECT_EQ(contentOf(differences / "64/equal.diff.txt"), "#.\n+#\n");
    EXPECT_TRUE(matches(bitmapOf("#.\n.#\n"), "64/equal"));
    EXPECT_FALSE(fs::exists(differences / "64/equal.actual.txt"));
    EXPECT_FALSE(fs::exists(differences / "64/equal.diff.txt"));
}

TEST(Golden, AMissingOrDamagedOneFailsAndIsWrittenOnlyOnRequest) {
    fs::remove(goldens / "missing.txt");
    EXPECT_FALSE(matches(bitmapOf("#\n"), "missing"));
    EXPECT_FALSE(fs::exists(goldens / "missing.txt"));
    putGolden("damaged", "#.\n#\n");
    EXPECT_FALSE(matches(bitmapOf("#.\n#.\n"), "damaged"));
    ASSERT_EQ(setenv("PANELD_UPDATE_GOLDENS", "1", 1), 0);
    EXPECT_TRUE(matches(bitmapOf("#\n"), "damaged"));
    ASSERT_EQ(unsetenv("PANELD_UPDATE_GOLDENS"), 0);
    EXPECT_TRUE(matches(bitmapOf("#\n"), "damaged"));
    EXPECT_FALSE(matches(bitmapOf(".\n"), "damaged"));
}

} // namespace
} // namespace golden
