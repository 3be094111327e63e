"""What a person holds: where things stand on the terminal, keys and ends, printed pages, plays."""

import os
import pathlib
import pty
import re
import select
import signal
import subprocess
import termios
import time
from itertools import product

import pytest
from gallery_test import GALLERY, TOP, pixels

import view
from acts import act_of
from facts import Facts
from front import FACT_ROWS
from gateway import PANELS, SIMULATED, Gateway, pages
from picture import CELLS, cells

DESK = TOP / "desk/desk"
PATIENCE = 20.0         # seconds


def golden(lines: int, name: str) -> str:
    return (TOP / f"tests/golden/{lines}/{name}.txt").read_text()


def run(*arguments: str, text: str = "") -> subprocess.CompletedProcess:
    return subprocess.run([DESK, *arguments], input=text, capture_output=True, text=True,
                          timeout=60)


class Sitting:
    """The front on a terminal of its own."""

    def __init__(self, columns: int, rows: int) -> None:
        self._master, self._terminal = pty.openpty()
        self._before = termios.tcgetattr(self._terminal)
        self.process = subprocess.Popen(
            [DESK], stdin=self._terminal, stdout=self._terminal, stderr=self._terminal,
            env=os.environ | {"TERM": "xterm-256color", "COLUMNS": str(columns),
                              "LINES": str(rows)}, start_new_session=True)

    def type(self, keys: str) -> None:
        os.write(self._master, keys.encode())

    def read(self) -> str:
        seen, end = "", time.monotonic() + 1
        while time.monotonic() < end and select.select([self._master], [], [], 0.2)[0]:
            seen += os.read(self._master, 65536).decode(errors="replace")
        return seen

    def shows(self, pattern: str) -> re.Match | None:
        """Waits for the text on a screen that is drawn anew."""
        end, found = time.monotonic() + PATIENCE, None
        while not found and time.monotonic() < end:
            self.type("\x0c")
            found = re.search(pattern, self.read())
        return found

    def restored(self) -> bool:
        return ("\x1b[?1049l" in self.read()
                and termios.tcgetattr(self._terminal) == self._before)


@pytest.fixture(scope="module")
def told() -> dict[str, str]:
    """Key -> what it does, as the help has it."""
    with Gateway(SIMULATED) as gateway:
        changes = Facts(gateway).keys()
    assert all(callable(act_of(act)) for _, acts in changes.values() for act in acts)
    return dict(view.FRONT_HELP) | {key: words for key, (words, _) in changes.items()}


@pytest.mark.parametrize("columns, rows, cells, end", [
    (80, 24, "braille", "q"), (90, 28, "braille", signal.SIGINT),
    (100, 30, "braille", signal.SIGTERM), (120, 40, "quadrants", signal.SIGHUP),
    (150, 50, "half", "q"), (200, 60, "half", signal.SIGINT)])
def test_everything_has_its_place_until_the_terminal_is_given_back(told, columns, rows, cells, end):
    for lines in PANELS:
        layout = view.choose_layout(columns, rows, lines, FACT_ROWS, None)
        areas = [layout.panel, layout.facts, layout.remarks, layout.keys]
        places = [(x, y) for left, top, wide, high in areas
                  for x in range(left, left + wide) for y in range(top, top + high)]
        assert len({*places}) == len(places)
        assert {*places} <= {*product(range(columns), range(rows))}
        assert layout.facts.rows * layout.fact_columns >= FACT_ROWS and layout.remarks.rows >= 1
    assert view.choose_layout(columns, rows, 64, FACT_ROWS, None).cells == cells
    sitting = Sitting(columns, rows)
    daemon = sitting.shows(r"pid (\d+)")[1]
    sitting.type("?")
    box = sitting.shows("Any key closes").string
    assert all(words in box for words in told.values())
    sitting.type("?q") if end == "q" else sitting.process.send_signal(end)
    assert sitting.process.wait(PATIENCE) == (0 if end == "q" else 128 + end)
    assert sitting.restored()
    assert not pathlib.Path("/proc", daemon).exists()


def test_keys_press_the_button_and_change_the_facts(told):
    assert {key for hint, _ in view.KEY_HINTS for key in hint.split()} <= {"?", *told}
    sitting = Sitting(150, 50)
    for typed, expected in [("", "paneld, 64 lines"), (" ", r"redraw in ([2-9]|10) s"),
                            ("h", r"held \d"), ("h", "○. button"),
                            ("1", "cable eth1 out"), ("l通信\r", "log 通信"),
                            ("a\r", "address eth1 10.10.0.3/24"),
                            ("fchannels gone\r", "file channels gone"), (":press\r", "press"),
                            ("jnope\r", "no page 'nope'"), ("s", "paneld, 32 lines")]:
        sitting.type(typed)
        assert sitting.shows(expected), typed
    os.kill(int(sitting.shows(r"pid (\d+)")[1]), signal.SIGTERM)
    assert sitting.shows("ended: signal 15") and sitting.shows("r starts it again")
    sitting.type("r")
    assert sitting.shows(r"pid \d")
    sitting.process.terminate()


def test_draws_the_panel_with_the_characters_of_panelctl():
    session = (TOP / "tests/golden/tools/shot.txt").read_text()
    for lines, kind in product((64, 32), CELLS):  # the panels of the session
        rows = cells(golden(lines, "ethernet1-address").split(), kind)
        assert "\n".join(rows) in session


def test_prints_every_page_and_fails_on_one_that_is_not_as_it_should_be():
    printed = run()
    listed = sum(len(pages(lines)) for lines in PANELS)
    assert (printed.returncode, printed.stdout.count("-line panel: ")) == (0, listed)
    assert run("--paneld", "/bin/true").returncode == 1
    assert run("--cells", "none").returncode == 2


def test_wrong_lines_are_named_before_the_first_is_played():
    wrong = {"cable eth1 off": "eth1|eth0|ppp0 in|out", "jump": "press", "press x": "TIMES",
             "modem sim gone": "absent", "address eth1 10.0.0.5/40": "PREFIX", "log €": "GB2312",
             "clock 2026": "YYYY-MM-DD", "write nix a": "sys.xml", "show 3": "nothing"}
    played = run("--play", "-", text="show\n# a remark\n" + "\n".join(wrong))
    assert (played.returncode, played.stdout) == (2, "")
    for number, (said, expected) in enumerate(
            zip(played.stderr.splitlines(), wrong.values(), strict=True), 3):
        assert re.match(rf"line {number}: .*expected.*", said) and expected in said


def test_a_played_day_ends_as_it_always_does(tmp_path):
    played = run("--play", "-", text=f"""press
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
    assert played.stdout == (golden(64, "ethernet1-address") + golden(64, "sim-status-no-card")
                             + golden(32, "clock"))
    assert pixels(tmp_path)["clock.png"] == pixels(GALLERY)["32/clock.png"]
