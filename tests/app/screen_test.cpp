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

class Screen : public GatewayTest, public testing::WithParamInterface<PanelCase> {
  protected:
    Screen() : GatewayTest(GetParam().panel) {
        gateway.writeFile(pathOf(GetParam().other), "50\n");
    }
};

TEST_P(Screen, TheBacklightLevelGoesToTheFileOfTheFittedPanel) {
    const auto untouched = gateway.brightness(GetParam().other);
    for (const auto& [level, text] : {std::pair{127, "127"}, {0, "0"}, {127, "127"}}) {
        EXPECT_EQ(outputOf([level = level] { setBacklight(level); }), "");
        EXPECT_EQ(gateway.brightness(), text);
    }
    gateway.failCall(sim::Call::Write, EIO, 1, true, GetParam().own);
    EXPECT_EQ(outputOf([] { setBacklight(0); }), "fail to set Brightness 0 ,errno is 5\n");
    EXPECT_EQ(gateway.calls(sim::Call::Close, GetParam().own), 4U);
    gateway.removeFile(pathOf(GetParam().own));
    EXPECT_EQ(outputOf([] { setBacklight(backlightLit); }), GetParam().openFailure);
    EXPECT_EQ(gateway.brightness(GetParam().other), untouched);
}

const PanelCase panelCases[] = {
    {"64", sim::panel64, sim::Path::BacklightSsd1306, sim::Path::BacklightSt7565,
     "fail to open SSD1306 backlight file\n"},
    {"32", sim::panel32, sim::Path::BacklightSt7565, sim::Path::BacklightSsd1306,
     "fail to open st7565bl0 backlight file\n"},
};

INSTANTIATE_TEST_SUITE_P(Panels, Screen, testing::ValuesIn(panelCases),
                         [](const auto& suite) { return suite.param.name; });

} // namespace
