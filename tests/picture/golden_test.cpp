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

std::string differenceOf(const std::string& name) {
    std::ifstream stream(differences / (name + ".txt"));
    return {std::istreambuf_iterator<char>(stream), {}};
}

testing::AssertionResult matchesText(const std::string& text, const std::string& name) {
    return matches(picture::fromText(text).value(), name);
}

TEST(Golden, AnEqualPictureMatchesAndTakesAwayOldDifferences) {
    putGolden("64/equal", "...\n#..\n..#\n");
    const std::string message = matchesText("...\n..#\n#.#\n", "64/equal").message();
    EXPECT_NE(message.find("first differing pixel (0, 1)"), std::string::npos) << message;
    EXPECT_EQ(differenceOf("64/equal.actual"), "...\n..#\n#.#\n");
    EXPECT_EQ(differenceOf("64/equal.diff"), "...\n-.+\n+.#\n");
    EXPECT_TRUE(matchesText("...\n#..\n..#\n", "64/equal"));
    EXPECT_FALSE(fs::exists(differences / "64/equal.actual.txt"));
    EXPECT_FALSE(fs::exists(differences / "64/equal.diff.txt"));
}

TEST(Golden, AMissingOrDamagedOneFailsAndIsWrittenOnlyOnRequest) {
    fs::remove(goldens / "missing.txt");
    EXPECT_FALSE(matchesText("#\n", "missing"));
    EXPECT_FALSE(fs::exists(goldens / "missing.txt"));
    putGolden("damaged", "#.\n#\n");
    EXPECT_FALSE(matchesText("#.\n#.\n", "damaged"));
    setenv("PANELD_UPDATE_GOLDENS", "1", 1);
    EXPECT_TRUE(matchesText("#\n", "damaged"));
    unsetenv("PANELD_UPDATE_GOLDENS");
    EXPECT_TRUE(matchesText("#\n", "damaged"));
    EXPECT_FALSE(matchesText(".\n", "damaged"));
}

} // namespace
} // namespace golden
