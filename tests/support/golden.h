// Comparison of a picture with one that is kept as text in tests/golden. Used from tests only.
// A missing golden fails. With PANELD_UPDATE_GOLDENS=1 in the environment the golden is written
// instead of compared. A difference leaves <name>.actual.txt and <name>.diff.txt in the build
// folder's golden-diff.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "picture/bitmap.h"

namespace golden {

// Compares with the golden called name, which may contain folders: "64/clock" stands in
// tests/golden/64/clock.txt. The failure shows both pictures and the first pixel that differs.
// Use it as EXPECT_TRUE(golden::matches(picture, "64/clock")).
testing::AssertionResult matches(const picture::Bitmap& actual, const std::string& name);

// The same for a text, which is compared as it stands.
testing::AssertionResult matchesList(const std::string& actual, const std::string& name);

} // namespace golden
