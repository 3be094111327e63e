"""The panel, its light and its button."""

import pytest
from conftest import ASK_LIMIT
from gateway import BUTTON, LONG_PRESS, ORDINARY, SHORT_PRESS, pages
from picture import blank, bordered, cells

LIT, OFF = 127, 0
CONFIG = "/zelkora/Config"
BRIGHTNESS = {64: "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness",
              32: "/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness"}
PATHS = {"/dev/fb0", "/dev/input/event0", "/dev/mmcblk0p1", "/media/mmcblk0p1", *ORDINARY["files"]}
# Calls that the daemon does not make, or that count only where a failure of them is planned.
NOT_COUNTED = {"fopen", "malloc", "read"}
NO_BACKLIGHT = "fail to open SSD1306 backlight file\n"
BARE_START = f"""Error:can not open LCD FrameBuffer Device /dev/fb0
get {CONFIG}/Channel-template.xml status error
get {CONFIG}/sys.xml status error
get {CONFIG}/system/sn.xml status error
get {CONFIG}/version/main-version.conf status error
Error:can not open LCD FrameBuffer Device /dev/fb0
{NO_BACKLIGHT}Open /input/event0 failed, Please check the driver module is insmod.
"""


@pytest.mark.everywhere
def test_start_shows_the_clock_lit_and_says_nothing(gateway):
    before = gateway.daemon()
    gateway.restart()
    assert gateway.daemon() not in (0, before)
    gateway.wait(lambda: bordered(gateway.picture()))
    gateway.wait_page("clock")
    assert gateway.brightness() == LIT and gateway.said() == gateway.errors == ""
    shown = gateway.picture()
    gateway.wait(lambda: gateway.picture() != shown, 3)


@pytest.mark.everywhere
def test_walk_through_every_page(gateway):
    for line in ORDINARY["log"]:
        gateway.post(line)
    for page in pages(gateway.lines):
        if page["reach"] in ("press", "hold"):
            gateway.press(held=LONG_PRESS if page["reach"] == "hold" else SHORT_PRESS)
        gateway.wait_page(page["name"], ASK_LIMIT)
    if gateway.simulated:
        calls = gateway.calls()
        reached = {path for places in calls.values() for path in places}
        missed = {call for call, places in calls.items() if not places} - NOT_COUNTED
        assert PATHS <= reached and "refused" not in reached
        assert reached & {*BRIGHTNESS.values()} == {BRIGHTNESS[gateway.lines]}
        assert gateway.lines != 64 or "/dev/mux3" in reached and not missed
        assert gateway.exit() == gateway.ended() == 0
        gateway.said()
        assert gateway.errors == ""        # where a leak would be reported


@pytest.mark.crosswise
def test_a_minute_without_keys_darkens_the_panel(gateway):
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")
    start = gateway.now()[1]
    gateway.pass_(57)
    assert gateway.brightness() == LIT
    gateway.wait(lambda: gateway.brightness() == OFF)
    assert not gateway.simulated or 58.7 <= gateway.now()[1] - start <= 60
    assert blank(gateway.picture()) == (gateway.lines == 64)
    if gateway.simulated:                  # only a small panel is drawn in the dark
        gateway.fill(0xff)
        gateway.pass_(10)
        assert ("." in "".join(gateway.picture())) == (gateway.lines != 64)
    gateway.press(held=LONG_PRESS)         # consumed: it lights the panel and does not reboot
    gateway.wait_page("clock" if gateway.lines == 64 else "ethernet1-address")
    assert gateway.brightness() == LIT and gateway.reboots() == 0
    gateway.press()
    gateway.wait_page("ethernet1-address" if gateway.lines == 64 else "ethernet1-netmask")


@pytest.mark.crosswise
def test_nine_seconds_are_a_short_press_and_ten_reboot(gateway):
    gateway.press(held=9.5)
    gateway.wait_page("ethernet1-address")
    gateway.press(held=LONG_PRESS)
    gateway.wait_page("reboot")
    gateway.wait_said("system is rebooting\n")
    if gateway.simulated:                  # nothing ends the daemon, which asks again
        gateway.pass_(21)
        gateway.press()
        gateway.wait_page("reboot")
        assert gateway.reboots() == 3
    else:
        gateway.reset(60)
        gateway.wait_page("clock")
        assert gateway.brightness() == LIT and gateway.reboots() == 1


@pytest.mark.crosswise
@pytest.mark.live
def test_panelctl_presses_and_shows_what_comes(gateway):
    for name in gateway.order[1:3]:
        status, shown = gateway.panelctl("press")
        assert gateway.picture() == gateway.golden(name), shown
        assert (status, shown.split("\n")[:-1]) == (0, cells(gateway.picture(), "half"))
    assert gateway.panelctl("press", "--quiet") == (0, "")
    gateway.wait_page(gateway.order[3])
    if gateway.simulated:
        gateway.remove("/dev/input/event0")
        status, said = gateway.panelctl("press")
        assert status == 1 and "no button on /dev/" in said
    else:
        assert gateway.panelctl("press --hold 10 --reboot >/dev/null 2>&1 &") == (0, "")
        gateway.reset(60)
        gateway.wait_page("clock")


@pytest.mark.kernel("init restarts a daemon that has died")
def test_a_killed_daemon_comes_back(gateway):
    gateway.go("ethernet1-address")
    gateway.signal(9)
    gateway.wait(lambda: gateway.ended() == -9)
    gateway.wait(lambda: gateway.daemon() != 0)
    gateway.wait_page("clock")
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")


def test_a_burst_of_presses_leaves_the_daemon_in_step(gateway):
    """The kernel keeps 64 events; when there are more it drops all but the newest."""
    for _ in range(20):
        gateway.key(BUTTON, 1)
        gateway.key(BUTTON, 0)
    gateway.pass_(5)
    pictures = {name: gateway.golden(name) for name in gateway.order[1:5]}
    shown, = (name for name in pictures if pictures[name] == gateway.picture())
    gateway.press()
    gateway.wait_page(gateway.order[gateway.order.index(shown) + 1])


def test_other_buttons_and_repetitions_are_ignored(gateway):
    for code, value in ((257, 1), (257, 0), (BUTTON, 1), (BUTTON, 2)):
        gateway.key(code, value)
        gateway.pass_(SHORT_PRESS)
    gateway.wait_page("clock")
    gateway.key(BUTTON, 0)
    gateway.wait_page("ethernet1-address")


@pytest.mark.panels(64)
@pytest.mark.simulated("files of sysfs cannot be removed from a kernel")
def test_a_bare_machine_is_told_of_and_endured(gateway):
    for path in ("/dev/fb0", "/dev/input/event0", BRIGHTNESS[64], CONFIG):
        gateway.remove(path)
    gateway.restart()
    gateway.pass_(1)
    assert gateway.said() == BARE_START
    gateway.pass_(120)
    assert gateway.said() == NO_BACKLIGHT  # the minute without keys
    assert gateway.exit() == 0 and gateway.errors == ""
