#include "app/screen.h"

#include "tests/support/gateway_test.h"

#include <cerrno>

namespace {

struct PanelCase {
    const char* name;
    sim::Panel panel;
    sim::Path own;
    sim::Path other;
    const char* openFailure;
};

const PanelCase panels[] = {
    {"64", sim::panel64, sim::Path::BacklightSsd1306, sim::Path::BacklightSt7565,
     "fail to open SSD1306 backlight file\n"},
    {"32", sim::panel32, sim::Path::BacklightSt7565, sim::Path::BacklightSsd1306,
     "fail to open st7565bl0 backlight file\n"},
};

class Screen : public GatewayTest, public testing::WithParamInterface<PanelCase> {
  protected:
    Screen() : GatewayTest(GetParam().panel) {
        gateway.writeFile(pathOf(GetParam().other), "50\n");
    }
};

TEST_P(Screen, TheBacklightLevelGoesToTheFileOfTheFittedPanel) {
    const auto& [name, panel, own, other, openFailure] = GetParam();
    const auto untouched = gateway.brightness(other);
    for (const auto& [level, text] : {std::pair{127, "127"}, {0, "0"}, {127, "127"}}) {
        setBacklight(level);
        EXPECT_EQ(gateway.brightness(), text);
    }
    gateway.failCall(sim::Call::Write, EIO, 1, true, own);
    EXPECT_EQ(outputOf([] { setBacklight(0); }), "fail to set Brightness 0 ,errno is 5\n");
    EXPECT_EQ(gateway.calls(sim::Call::Close, own), 4U);
    gateway.removeFile(pathOf(own));
    EXPECT_EQ(outputOf([] { setBacklight(backlightLit); }), openFailure);
    EXPECT_EQ(gateway.brightness(other), untouched);
}

INSTANTIATE_TEST_SUITE_P(Panels, Screen, testing::ValuesIn(panels),
                         [](const auto& suite) { return suite.param.name; });

} // namespace
