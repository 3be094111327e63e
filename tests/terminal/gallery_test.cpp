#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "picture/image.h"

namespace {

namespace fs = std::filesystem;

const fs::path docs = PANELD_DOCS;

int drawGallery(const fs::path& folder) {
    return std::system(("'" PANEL_SIM "' --gallery '" + folder.string() + "' > /dev/null").c_str());
}

// The PNG files below a folder, as "64/clock.png".
std::set<std::string> pictures(const fs::path& folder) {
    std::set<std::string> names;
    if (fs::exists(folder))
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            if (entry.path().extension() == ".png")
                names.insert(fs::relative(entry.path(), folder).string());
    return names;
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(Gallery, ThePicturesAreWhatTheProgramDrawsToday) {
    const char* update = std::getenv("PANELD_UPDATE_GOLDENS");
    if (update != nullptr && std::string(update) == "1") {
        ASSERT_EQ(drawGallery(docs / "gallery"), 0);
    }
    const fs::path drawn = fs::current_path() / "gallery-today";
    fs::remove_all(drawn);
    ASSERT_EQ(drawGallery(drawn), 0);

    EXPECT_EQ(pictures(drawn), pictures(docs / "gallery"));
    EXPECT_GE(pictures(drawn).size(), 30U);
    for (const std::string& name : pictures(drawn)) {
        std::string reason;
        const auto today = picture::readPng((drawn / name).string(), &reason);
        ASSERT_TRUE(today) << reason;
        const auto kept = picture::readPng((docs / "gallery" / name).string(), &reason);
        ASSERT_TRUE(kept) << reason;
        EXPECT_TRUE(*today == *kept) << name << " is out of date; drawn now: " << drawn / name;
    }
}

TEST(Gallery, EveryPictureIsShownOnItsPage) {
    const std::string page = contentOf(docs / "gallery.md");
    for (const std::string& name : pictures(docs / "gallery"))
        EXPECT_NE(page.find("\"gallery/" + name + "\""), std::string::npos) << name;
}

} // namespace
