#include "app/key_input.h"

#include "tests/support/gateway_test.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/input.h>

namespace {

using namespace std::chrono_literals;

constexpr std::time_t morning = 1'709'543'103; // some moment of the wall clock

using enum KeyEvent;

struct ButtonStep {
    std::uint16_t code;
    std::int32_t value;
    std::chrono::microseconds at; // wall clock since `morning` when the event is read
    KeyEvent expected = None;
};

class Button : public GatewayTest {
  protected:
    // Reads each event at its moment.
    void expectKeys(const std::vector<ButtonStep>& steps) {
        setClock(0s);
        KeyInput* button = KeyInput::instance();
        for (const auto& [code, value, at, expected] : steps) {
            gateway.sendEvent(EV_KEY, code, value);
            setClock(at);
            EXPECT_EQ(button->readKey(), expected) << "at " << at.count() << " us";
            EXPECT_EQ(button->readKey(), None) << "after " << at.count() << " us";
        }
    }

  private:
    void setClock(std::chrono::microseconds at) {
        const auto whole = std::chrono::floor<std::chrono::seconds>(at);
        gateway.setWallClock(morning + whole.count(), at - whole);
    }
};

TEST_F(Button, IsLongFromTenSecondsAfterItsLastPressOnWhateverElseComes) {
    expectKeys({{buttonCode, 0, 9s, ShortPress}, // without a press: since construction
                {buttonCode, 0, 10s, LongPress},
                {buttonCode, 1, 15s},
                {buttonCode, 1, 20'999'999us}, // the microseconds borrow a second
                {buttonCode, 0, 30'999'998us, ShortPress},
                {buttonCode, 1, 40'999'999us},
                {buttonCode, 2, 45s},
                {BTN_1, 1, 48s},
                {KEY_ESC, 0, 50s},
                {buttonCode, 0, 51s, LongPress}});
}

TEST_F(Button, KeepsTheDurationBeforeWhenTheClockIsSetBack) {
    expectKeys({{buttonCode, 1, 30s},
                {buttonCode, 0, 1s, ShortPress}, // the first: none before
                {buttonCode, 1, 2s},
                {buttonCode, 0, 12s, LongPress},
                {buttonCode, 1, 20'500ms},
                {buttonCode, 0, 19'999'999us, LongPress},
                {buttonCode, 0, 20'499'999us, LongPress},
                {buttonCode, 0, 20'500ms, ShortPress}});
}

TEST_F(Button, APressThatTheClockDoesNotTimeIsShort) {
    for (const std::uint32_t failing : {1U, 3U}) { // of the press, which asks twice; of the release
        expectKeys(
            {{buttonCode, 1, 0s}, {buttonCode, 0, 11s, LongPress}}); // what a press before it left
        gateway.failCall(sim::Call::GetTimeOfDay, EINVAL, failing);
        expectKeys({{buttonCode, 1, 30s},
                    {buttonCode, 0, 45s, ShortPress}, // set back: as the one before
                    {buttonCode, 1, 60s},
                    {buttonCode, 0, 59s, ShortPress}});
        gateway.clearFaults();
    }
}

TEST_F(Button, APieceOfAnEventIsNoKey) {
    KeyInput* button = KeyInput::instance();
    EXPECT_EQ(gateway.lastOpenFlags(sim::Path::Button) & (O_ACCMODE | O_NONBLOCK),
              O_RDWR | O_NONBLOCK);
    // All but the last byte of a release.
    input_event event{};
    event.type = EV_KEY;
    event.code = buttonCode;
    gateway.sendEventBytes({reinterpret_cast<const char*>(&event), sizeof event - 1});
    EXPECT_EQ(button->readKey(), None);
    gateway.sendEvent(EV_KEY, buttonCode, 0);
    EXPECT_EQ(button->readKey(), ShortPress);
}

TEST_F(Button, AMissingDeviceIsReportedOnceAndNeverOpenedAgain) {
    gateway.setButtonPresent(false);
    EXPECT_EQ(timeOf(KeyInput::instance), 100ms);
    gateway.setButtonPresent(true);
    gateway.sendEvent(EV_KEY, buttonCode, 0);
    EXPECT_EQ(KeyInput::instance()->readKey(), None);
    EXPECT_EQ(gateway.calls(sim::Call::Open, sim::Path::Button), 1U);
}

} // namespace
