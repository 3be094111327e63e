#include "app/key_input.h"

#include "tests/support/gateway_test.h"

#include <fcntl.h>
#include <linux/input.h>

namespace {

using namespace std::chrono_literals;

constexpr std::time_t morning = 1'709'543'103; // some moment of the wall clock

constexpr KeyEvent nothing = KeyEvent::None;
constexpr KeyEvent shortPress = KeyEvent::ShortPress;
constexpr KeyEvent longPress = KeyEvent::LongPress;

struct Input {
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};
constexpr Input press{EV_KEY, BTN_0, 1};
constexpr Input release{EV_KEY, BTN_0, 0};
constexpr Input repeat{EV_KEY, BTN_0, 2};
constexpr Input sync{EV_SYN, SYN_REPORT, 0};
constexpr Input otherPress{EV_KEY, BTN_1, 1};
constexpr Input otherRelease{EV_KEY, KEY_ESC, 0};

struct ButtonStep {
    Input input;
    std::chrono::microseconds at; // wall clock since `morning` when the event is read
    KeyEvent expected;
};

struct ButtonCase {
    const char* name;
    std::vector<ButtonStep> steps;
};

class Button : public GatewayTest, public testing::WithParamInterface<ButtonCase> {
  protected:
    void setClock(std::chrono::microseconds at) {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(at);
        gateway.setWallClock(morning + seconds.count(), at - seconds);
    }
};

TEST_P(Button, IsTimedByTheWallClock) {
    setClock(0s);
    KeyInput* button = KeyInput::instance();
    for (const auto& [input, at, expected] : GetParam().steps) {
        gateway.sendEvent(input.type, input.code, input.value);
        setClock(at);
        EXPECT_EQ(button->readKey(), expected) << "at " << at.count() << " us";
        EXPECT_EQ(button->readKey(), nothing) << "after " << at.count() << " us";
    }
}

const ButtonCase buttonCases[] = {
    {"shortPress",
     {{press, 0s, nothing},
      {sync, 0s, nothing},
      {release, 200ms, shortPress},
      {sync, 200ms, nothing}}},
    {"tenSecondsAreLong",
     {{press, 900ms, nothing},
      {release, 10'899'999us, shortPress},
      {press, 20'900ms, nothing},
      {release, 30'900ms, longPress}}},
    {"microsecondsBorrowASecond",
     {{press, 999'999us, nothing},
      {release, 10'999'998us, shortPress},
      {press, 20'999'999us, nothing},
      {release, 31s, longPress}}},
    {"otherEventsDoNotChangeTheTiming",
     {{press, 0s, nothing},
      {repeat, 5s, nothing},
      {otherPress, 8s, nothing},
      {otherRelease, 9s, nothing},
      {release, 10s, longPress}}},
    {"aSecondPressStartsTheTimingAgain",
     {{press, 0s, nothing}, {press, 9s, nothing}, {release, 11s, shortPress}}},
    {"aReleaseWithoutPressIsTimedFromConstruction",
     {{release, 9s, shortPress}, {release, 10s, longPress}}},
    {"aClockSetBackKeepsTheDurationBefore",
     {{press, 0s, nothing},
      {release, 12s, longPress},
      {press, 20'500ms, nothing},
      {release, 19'999'999us, longPress},
      {release, 20'499'999us, longPress},
      {release, 20'700ms, shortPress}}},
    {"aClockSetBackInTheFirstPressIsShort", {{press, 30s, nothing}, {release, 1s, shortPress}}},
};

INSTANTIATE_TEST_SUITE_P(Sequences, Button, testing::ValuesIn(buttonCases),
                         [](const auto& suite) { return suite.param.name; });

class ButtonDevice : public GatewayTest {};

TEST_F(ButtonDevice, APieceOfAnEventIsNoKey) {
    KeyInput* button = KeyInput::instance();
    EXPECT_EQ(gateway.lastOpenFlags(sim::Path::Button) & (O_ACCMODE | O_NONBLOCK),
              O_RDWR | O_NONBLOCK);
    // All but the last byte of a release.
    gateway.sendEventBytes(std::string(sizeof(input_event) - 6, '\0') +
                           std::string("\0\1\0\0\0", 5));
    EXPECT_EQ(button->readKey(), nothing);
    gateway.sendEvent(EV_KEY, BTN_0, 0);
    EXPECT_EQ(button->readKey(), shortPress);
}

TEST_F(ButtonDevice, AMissingDeviceIsReportedOnceAndNeverOpenedAgain) {
    gateway.setButtonPresent(false);
    std::string output;
    const auto taken = timeOf([&] { output = outputOf([] { KeyInput::instance(); }); });
    EXPECT_EQ(output, "Open /input/event0 failed, Please check the driver module is insmod.\n");
    EXPECT_EQ(taken, 100ms);

    gateway.setButtonPresent(true);
    gateway.press();
    gateway.release();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(KeyInput::instance()->readKey(), nothing);
    }
    EXPECT_EQ(gateway.calls(sim::Call::Open, sim::Path::Button), 1U);
}

} // namespace
