#include "app/screen.h"

#include "tests/support/gateway_test.h"

#include <cerrno>

namespace {

using sim::Path;

// The number of lines of the fitted panel.
class Screen : public GatewayTest, public testing::WithParamInterface<int> {
  protected:
    Screen() : GatewayTest(sim::panelOf(GetParam())) {}
};

TEST_P(Screen, TheBacklightLevelGoesToTheFileOfTheFittedPanel) {
    const bool large = GetParam() == 64;
    const Path own = large ? Path::BacklightSsd1306 : Path::BacklightSt7565;
    const Path other = large ? Path::BacklightSt7565 : Path::BacklightSsd1306;
    gateway.writeFile(pathOf(other), "50\n");
    for (const int level : {127, 0, 127}) {
        setBacklight(level);
        EXPECT_EQ(gateway.brightness(own), std::to_string(level));
    }
    gateway.failCall(sim::Call::Write, EIO, 1, true, own);
    EXPECT_EQ(outputOf([] { setBacklight(0); }), "fail to set Brightness 0 ,errno is 5\n");
    EXPECT_EQ(gateway.calls(sim::Call::Close, own), 4U);
    gateway.removeFile(pathOf(own));
    EXPECT_EQ(outputOf([] { setBacklight(backlightLit); }),
              large ? "fail to open SSD1306 backlight file\n"
                    : "fail to open st7565bl0 backlight file\n");
    EXPECT_EQ(gateway.brightness(other), "50");
}

INSTANTIATE_TEST_SUITE_P(Panels, Screen, testing::Values(64, 32),
                         testing::PrintToStringParamName());

} // namespace
