"""What the scenarios share: a gateway that is looked at. A scenario gets one with the ordinary
facts and the clock page shown, and presses, changes and looks; time passes by `pass_` alone. Marks:

panels(64)          it is for that panel; else it is played on all
kernel(reason)      on virtual gateways only; simulated(reason): on the simulated one only
everywhere          on a virtual gateway of each processor and panel; else on the first of them
crosswise           on one of each processor, with another panel on each
live                the simulated one runs on real time, as other programs on it need
"""

import itertools
import os
import pathlib
import subprocess
import sys

import pytest

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "desk"))

import gateway as desk  # noqa: E402
import picture  # noqa: E402

STEP = 0.1              # seconds between two looks
DRAW_LIMIT = 8.0        # for a picture that follows a key; an emulated machine takes its time
REFRESH = 12.0          # the slow pages are redrawn every ten seconds
ASK_LIMIT = 25.0        # until the modem has been asked twice at most
CLOCK_LIMIT = 1.5       # the clock page is redrawn every second
CLOCK_TRIES = 4
CLOCK_ICON_WIDTH = 34   # left of the digits, on both panels


class WatchedGateway(desk.Gateway):
    def __init__(self, command: list[str], lines: int, simulated: bool) -> None:
        super().__init__([*command, "--panel", str(lines)])
        self.lines, self.simulated = lines, simulated
        self.order = [page["name"] for page in desk.pages(lines)
                      if page["reach"] in ("start", "press")]

    def go(self, name: str, start: str = "clock") -> None:
        """By presses; from a page to itself once round, so that it is drawn on a cleared panel."""
        steps = self.order.index(name) - self.order.index(start)
        self.press(steps % len(self.order) or len(self.order))

    def golden(self, name: str) -> list[str]:
        return (TOP / f"tests/golden/{self.lines}/{name}.txt").read_text().split()

    def shows(self, *texts: str) -> bool:
        rows = self.picture()
        return all(picture.has_text(rows, text) for text in texts)

    def sees(self, holds, limit: float) -> bool:
        for _ in range(round(limit / STEP)):
            if holds():
                return True
            self.pass_(STEP)
        return False

    def wait(self, holds, limit: float = DRAW_LIMIT, expected: list[str] | None = None) -> None:
        """Lets time pass until holds()."""
        if not self.sees(holds, limit):
            rows = self.picture()
            pytest.fail(f"not within {limit} s; '+' to be dark, '-' to be lit\n"
                        + picture.difference(rows, expected or rows))

    def wait_page(self, name: str, limit: float = DRAW_LIMIT) -> None:
        expected = self.golden(name)
        if name.startswith("clock"):
            self.wait_clock(expected)
        else:
            self.wait(lambda: self.picture() == expected, limit, expected)

    def wait_clock(self, expected: list[str]) -> None:
        """The clock page at the ordinary moment. The clock is set when the page is there; a busy
        machine may need several goes to draw it within the second."""
        icon = [row[:CLOCK_ICON_WIDTH] for row in expected]
        self.wait(lambda: [row[:CLOCK_ICON_WIDTH] for row in self.picture()] == icon)
        for _ in range(CLOCK_TRIES):
            self.clock(desk.ORDINARY["clock"])
            if self.sees(lambda: self.picture() == expected, CLOCK_LIMIT):
                return
        pytest.fail(picture.difference(self.picture(), expected))

    def wait_text(self, *texts: str, limit: float = DRAW_LIMIT) -> None:
        self.wait(lambda: self.shows(*texts), limit)

    def panelctl(self, *words: str) -> tuple[int, str]:
        """Runs the tool on the gateway: its status, and all that it printed."""
        if not self.simulated:
            status, text = self.ask("sh", " ".join(("panelctl", *words)))
            return status, text.encode("latin-1").decode()
        sanitizers = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        done = subprocess.run([desk.BUILD / "panelctl", *words], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True,
                              env=os.environ | self.environment() | {"ASAN_OPTIONS": sanitizers})
        return done.returncode, done.stdout

    def wait_said(self, text: str) -> None:
        self.wait(lambda: text in (self.said(), self.output)[1])


def pytest_addoption(parser) -> None:
    parser.addoption("--virtual", default="", help="virtual gateways of these processors instead")


def pytest_configure(config) -> None:
    for mark in ("panels", "kernel", "simulated", "everywhere", "crosswise", "live"):
        config.addinivalue_line("markers", f"{mark}: see conftest.py")


def pytest_generate_tests(metafunc) -> None:
    marks = {mark.name: mark.args for mark in metafunc.definition.iter_markers()}
    panels = marks.get("panels", desk.PANELS)
    chosen = metafunc.config.getoption("--virtual")
    places = (chosen or "simulated").split(",")
    kinds = [*itertools.product(places, panels)]
    if chosen and "crosswise" in marks:
        kinds = [*zip(places, reversed(panels))]
    elif chosen and "everywhere" not in marks:
        kinds = kinds[:1]
    metafunc.parametrize("gateway", kinds, indirect=True, ids=lambda kind: "{}-{}".format(*kind))


def pytest_collection_modifyitems(items) -> None:
    """First those that are played in several places: they take longest, and each place's machine
    has to be booted once."""
    items.sort(key=lambda item: not any(map(item.get_closest_marker, ("crosswise", "everywhere"))))


@pytest.fixture
def gateway(request):
    place, lines = request.param
    other = "kernel" if place == "simulated" else "simulated"
    if mark := request.node.get_closest_marker(other):
        pytest.skip(f"{other} only: {mark.args[0]}")
    live = ["--live"] * bool(request.node.get_closest_marker("live"))
    command = ([*desk.SIMULATED, *live] if place == "simulated"
               else [*desk.VIRTUAL, "--processor", place])
    with WatchedGateway(command, lines, place == "simulated") as watched:
        yield watched
