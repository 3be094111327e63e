"""What a person holds: where things stand on the terminal, keys and ends, printed pages, plays."""

import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import termios
import time

import pytest

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "desk"))

import view  # noqa: E402
from gallery_test import GALLERY, pixels  # noqa: E402
from gateway import pages  # noqa: E402

DESK = TOP / "desk/desk"
PATIENCE = 20.0         # seconds
SIZES = [(80, 24, "braille"), (90, 28, "braille"), (100, 30, "braille"), (120, 40, "quadrants"),
         (150, 50, "half"), (200, 60, "half")]


def golden(lines: int, name: str) -> str:
    return (TOP / f"tests/golden/{lines}/{name}.txt").read_text()


def run(*arguments: str, text: str = "") -> subprocess.CompletedProcess:
    return subprocess.run([DESK, *arguments], input=text, capture_output=True, text=True,
                          timeout=60)


@pytest.mark.parametrize("columns, rows, cells", SIZES)
def test_everything_has_its_place(columns, rows, cells):
    for lines in (64, 32):
        layout = view.choose_layout(columns, rows, lines, 10, None)
        areas = [layout.panel, layout.facts, layout.remarks, layout.keys]
        places = [(x, y) for area in areas for y in range(area.top, area.top + area.rows)
                  for x in range(area.left, area.left + area.columns)]
        assert len(places) == len(set(places))
        assert all(0 <= x < columns and 0 <= y < rows for x, y in places)
        assert layout.facts.rows * layout.fact_columns >= 10
        assert layout.remarks.rows >= 1
    assert view.choose_layout(columns, rows, 64, 10, None).cells == cells
    box = view.help_area(columns, rows, 28)
    assert box.left + box.columns <= columns and box.top + box.rows <= rows


class Sitting:
    """The front on a terminal of its own."""

    def __init__(self) -> None:
        self._master, self._terminal = pty.openpty()
        fcntl.ioctl(self._terminal, termios.TIOCSWINSZ, struct.pack("4H", 50, 150, 0, 0))
        self._before = termios.tcgetattr(self._terminal)
        self.process = subprocess.Popen(
            [DESK], stdin=self._terminal, stdout=self._terminal, stderr=self._terminal,
            env={**os.environ, "TERM": "xterm-256color"}, start_new_session=True)
        self.seen = ""

    def type(self, keys: str) -> None:
        os.write(self._master, keys.encode())

    def read(self) -> None:
        end = time.monotonic() + 1
        while time.monotonic() < end and select.select([self._master], [], [], 0.2)[0]:
            self.seen += os.read(self._master, 65536).decode(errors="replace")

    def shows(self, pattern: str) -> re.Match | None:
        """Waits for the text on a screen that is drawn anew."""
        end, found = time.monotonic() + PATIENCE, None
        while not found and time.monotonic() < end:
            self.seen = ""
            self.type("\x0c")
            self.read()
            found = re.search(pattern, self.seen)
        return found

    def restored(self) -> bool:
        self.read()
        return termios.tcgetattr(self._terminal) == self._before and "\x1b[?1049l" in self.seen


def test_keys_press_the_button_and_change_the_facts():
    sitting = Sitting()
    for keys, expected in [("", "paneld, 64 lines"), ("h", r"held \d"), ("h", "○. button"),
                           ("1", "cable eth1 out"), ("l通信\r", "log 通信"),
                           ("fchannels gone\r", "file channels gone"), ("?", "Any key closes"),
                           ("xjnope\r", "no page 'nope'"), ("s", "paneld, 32 lines")]:
        sitting.type(keys)
        assert sitting.shows(expected), keys
    os.kill(int(sitting.shows(r"pid (\d+)")[1]), signal.SIGTERM)
    assert sitting.shows("r starts it again")
    sitting.type("r")
    assert sitting.shows(r"pid \d")
    sitting.process.terminate()


@pytest.mark.parametrize("number", [0, signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_the_terminal_is_given_back_and_the_daemon_ended(number):
    sitting = Sitting()
    daemon = sitting.shows(r"pid (\d+)")[1]
    if number:
        sitting.process.send_signal(number)
    else:
        sitting.type("q")
    assert sitting.process.wait(PATIENCE) == (128 + number if number else 0)
    assert sitting.restored()
    assert not pathlib.Path("/proc", daemon).exists()


def test_prints_every_page_and_fails_on_one_that_is_not_as_it_should_be():
    printed = run()
    listed = len(pages(64)) + len(pages(32))
    assert (printed.returncode, printed.stdout.count("-line panel: ")) == (0, listed)
    assert run("--paneld", "/bin/true").returncode == 1
    assert run("--cells", "none").returncode == 2


@pytest.mark.parametrize("line, expected", [
    ("cable eth1 off", "eth1|eth0|ppp0 in|out"), ("jump", "press"), ("press x", "TIMES"),
    ("modem sim gone", "absent"), ("address eth1 10.0.0.5/40", "PREFIX"), ("log €", "GB2312"),
    ("clock 2026", "YYYY-MM-DD"), ("write nix a", "sys.xml"), ("show 3", "nothing")])
def test_a_wrong_line_is_named_before_the_first_is_played(line, expected):
    played = run("--play", "-", text=f"show\n# a remark\n{line}\n")
    assert (played.returncode, played.stdout) == (2, "")
    assert re.match(r"line 3: .*expected.*", played.stderr) and expected in played.stderr


def test_a_played_day_ends_as_it_always_does(tmp_path):
    script = tmp_path / "day"
    script.write_text(f"""press
show
modem sim absent      # seen after the next answer
press 5
wait 6
show
zone Europe/Berlin
clock 2024-03-31 01:59:58
wait 7200
clock 2024-03-04 09:05:03
panel 32
show
save {tmp_path}/clock.png
""")
    played = run("--play", str(script))
    assert played.stdout == (golden(64, "ethernet1-address") + golden(64, "sim-status-no-card")
                             + golden(32, "clock"))
    assert pixels(tmp_path)["clock.png"] == pixels(GALLERY)["32/clock.png"]
