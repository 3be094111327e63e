"""The panel, its light and its button."""

import pytest
from conftest import ASK_LIMIT, golden
from gateway import BUTTON, LONG_PRESS, ORDINARY, SHORT_PRESS, pages
from picture import blank, bordered

LIT, OFF = 127, 0
CONFIG = "/zelkora/Config"
BRIGHTNESS = "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness"
NO_BACKLIGHT = "fail to open SSD1306 backlight file\n"
BARE_START = f"""Error:can not open LCD FrameBuffer Device /dev/fb0
get {CONFIG}/Channel-template.xml status error
get {CONFIG}/sys.xml status error
get {CONFIG}/system/sn.xml status error
get {CONFIG}/version/main-version.conf status error
Error:can not open LCD FrameBuffer Device /dev/fb0
{NO_BACKLIGHT}Open /input/event0 failed, Please check the driver module is insmod.
"""
REBOOTING = "system is rebooting\n"


def walk(gateway):
    for line in ORDINARY["log"]:
        gateway.post(line)
    for page in pages(gateway.lines):
        if page["reach"] == "press":
            gateway.press()
        if page["reach"] == "hold":
            gateway.press(held=LONG_PRESS)
        gateway.wait_page(page["name"], ASK_LIMIT)


@pytest.mark.everywhere
def test_start_shows_the_clock_lit_and_says_nothing(gateway):
    before = gateway.daemon()
    gateway.restart()
    assert gateway.daemon() not in (0, before)
    gateway.wait(lambda: bordered(gateway.picture()), "a border")
    gateway.wait_clock()
    assert gateway.brightness() == LIT and gateway.said() == gateway.errors == ""
    shown = gateway.picture()
    gateway.wait(lambda: gateway.picture() != shown, "the clock goes on", 3)


@pytest.mark.everywhere
def test_walk_through_every_page(gateway):
    walk(gateway)


@pytest.mark.simulated("a kernel does not count calls, and init does not let the daemon end")
def test_every_path_and_call_is_reached_before_an_end_without_a_leak(gateway):
    walk(gateway)
    calls = gateway.calls()
    missing = {call for call, places in calls.items() if not sum(places.values())}
    assert missing <= ({"tcgetattr"} if gateway.lines == 64 else {"msgrcv"})
    assert gateway.exit() == 0
    gateway.said()
    assert gateway.errors == ""


@pytest.mark.everywhere
def test_a_minute_without_keys_darkens_the_panel(gateway):
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")
    start = gateway.now()[1]
    gateway.pass_(57)
    assert gateway.brightness() == LIT
    gateway.wait(lambda: gateway.brightness() == OFF, "dark")
    if gateway.simulated:
        assert 58.7 <= gateway.now()[1] - start <= 60
    if gateway.lines == 64:
        gateway.wait(lambda: blank(gateway.picture()), "a blank panel")
        gateway.press(held=LONG_PRESS)     # consumed: it lights the panel and does not reboot
        gateway.wait_clock()
    else:
        gateway.wait_page("ethernet1-address")
        gateway.press()
        gateway.pass_(1)
        gateway.wait_page("ethernet1-address")
    assert gateway.brightness() == LIT and gateway.reboots() == 0
    gateway.press()
    gateway.wait_page("ethernet1-address" if gateway.lines == 64 else "ethernet1-netmask")


@pytest.mark.simulated("nobody else writes into the video memory of a kernel")
def test_only_the_small_panel_is_drawn_in_the_dark(gateway):
    gateway.pass_(62)
    gateway.fill(0xff)
    gateway.pass_(10)
    assert ("." in "".join(gateway.picture())) == (gateway.lines == 32)
    assert gateway.brightness() == OFF


@pytest.mark.everywhere
def test_nine_seconds_are_a_short_press_and_ten_reboot(gateway):
    gateway.press(held=9.5)
    gateway.wait_page("ethernet1-address")
    gateway.press(held=LONG_PRESS)
    gateway.wait_page("reboot")
    gateway.wait(lambda: gateway.reboots() == 1, "a reboot is asked for", 60)
    gateway.wait_said(REBOOTING)


@pytest.mark.simulated("the machine resets meanwhile")
def test_the_reboot_page_asks_again(gateway):
    gateway.press(held=LONG_PRESS)
    gateway.pass_(21)
    gateway.press()
    gateway.wait_page("reboot")
    gateway.wait_said(3 * REBOOTING)
    assert gateway.reboots() == 3


@pytest.mark.panels(64)
@pytest.mark.kernel("nothing ends a daemon that has asked the simulated gateway for a reboot")
def test_a_reset_comes_back_to_the_clock(gateway):
    gateway.press(held=LONG_PRESS)
    assert gateway.reset(60) > 0
    gateway.wait_clock()
    assert gateway.brightness() == LIT


@pytest.mark.panels(64)
@pytest.mark.kernel("init restarts a daemon that has died")
def test_a_killed_daemon_comes_back(gateway):
    gateway.go("ethernet1-address")
    gateway.signal(9)
    gateway.wait(lambda: gateway.daemon() != 0, "another daemon")
    gateway.wait_clock()
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")


def test_a_burst_of_presses_leaves_the_daemon_in_step(gateway):
    """The kernel keeps 64 events; when there are more it drops all but the newest."""
    for _ in range(20):
        gateway.key(BUTTON, 1)
        gateway.key(BUTTON, 0)
    gateway.pass_(5)
    shown = [name for name in gateway.order[:5] if name != "clock"
             and golden(gateway.lines, name) == gateway.picture()]
    assert shown == ["ethernet2-netmask"] if gateway.simulated else len(shown) == 1
    gateway.press()
    gateway.wait_page(gateway.order[gateway.order.index(shown[0]) + 1])


def test_other_buttons_and_repetitions_are_ignored(gateway):
    for code, value in ((257, 1), (257, 0), (BUTTON, 1), (BUTTON, 2)):
        gateway.key(code, value)
        gateway.pass_(SHORT_PRESS)
    gateway.wait_clock()
    gateway.key(BUTTON, 0)
    gateway.wait_page("ethernet1-address")


@pytest.mark.panels(64)
@pytest.mark.simulated("devices of a kernel cannot be missing at the daemon's start only")
def test_a_bare_machine_is_told_of_and_endured(gateway):
    for path in ("/dev/fb0", "/dev/input/event0", BRIGHTNESS, CONFIG):
        gateway.remove(path)
    gateway.said()
    gateway.restart()
    gateway.pass_(1)
    assert gateway.said() == BARE_START
    gateway.pass_(120)
    assert gateway.said() == NO_BACKLIGHT      # the minute without keys
    assert gateway.exit() == 0 and gateway.errors == ""
