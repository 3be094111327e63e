"""What the scenarios share: a gateway that is looked at, on the gateways that were asked for.

A scenario is a function that gets a gateway with the ordinary facts and the clock page shown, and
presses, changes and looks. Time passes by `pass_` alone: at once on the simulated gateway.

    @panels(64)         the scenario is for that panel; else it is played on both
    @kernel(reason)     only on virtual gateways; @simulated(reason): only on the simulated one
    @everywhere         on a virtual gateway of each processor and panel; else of the first only
"""

import pathlib
import re
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
CLOCK_ICON_WIDTH = 34   # left of the digits, on both panels
CLOCK_LIMIT = 1.5       # the clock page is redrawn every second
CLOCK_TRIES = 4
PROCESSORS = ("amd64", "armhf")


def golden(lines: int, name: str) -> list[str]:
    return (TOP / f"tests/golden/{lines}/{name}.txt").read_text().split()


def has_text(rows: list[str], text: str) -> bool:
    """Whether the text stands anywhere in the body font."""
    font, wide = picture.body_font(), picture.GLYPH_WIDTH
    cells = ["".join(font[ord(letter)][line * wide:(line + 1) * wide] for letter in text)
             for line in range(picture.GLYPH_HEIGHT)]
    pattern = re.compile(f".{{{len(rows[0]) - len(cells[0])}}}".join(map(re.escape, cells)))
    return pattern.search("".join(rows)) is not None


class WatchedGateway(desk.Gateway):
    def __init__(self, command: list[str], lines: int, simulated: bool) -> None:
        super().__init__([*command, "--panel", str(lines)])
        self.lines, self.simulated = lines, simulated
        self.order = [page["name"] for page in desk.pages(lines)
                      if page["reach"] in ("start", "press")]

    def sees(self, holds, limit: float) -> bool:
        """Lets time pass until holds()."""
        for _ in range(round(limit / STEP)):
            if holds():
                return True
            self.pass_(STEP)
        return False

    def wait(self, holds, what: str, limit: float = DRAW_LIMIT, told="\n".join) -> None:
        assert self.sees(holds, limit), f"{what}: not within {limit} s\n{told(self.picture())}"

    def wait_page(self, name: str, limit: float = DRAW_LIMIT) -> None:
        if name == "clock":
            return self.wait_clock()
        expected = golden(self.lines, name)
        return self.wait(lambda: self.picture() == expected, f"{name}, '+' to be dark, '-' to be lit",
                         limit, lambda rows: picture.difference(rows, expected))

    def wait_text(self, *texts: str, limit: float = DRAW_LIMIT) -> None:
        self.wait(lambda: all(has_text(self.picture(), text) for text in texts), f"{texts}", limit)

    def wait_clock(self, name: str = "clock") -> None:
        """The clock page at the ordinary moment. The clock is set when the page is there; a busy
        machine may need several goes to draw it within the second."""
        expected = golden(self.lines, name)
        icon = [row[:CLOCK_ICON_WIDTH] for row in expected]
        self.wait(lambda: [row[:CLOCK_ICON_WIDTH] for row in self.picture()] == icon, "the clock")
        for _ in range(CLOCK_TRIES):
            self.clock(desk.ORDINARY["clock"])
            if self.sees(lambda: self.picture() == expected, CLOCK_LIMIT):
                return
        raise AssertionError(f"{name}:\n{picture.difference(self.picture(), expected)}")

    def go(self, name: str, start: str = "clock") -> None:
        """From one page to another one by presses."""
        self.press((self.order.index(name) - self.order.index(start)) % len(self.order))

    def go_round(self) -> None:
        """To the same page, which is drawn on a cleared panel."""
        self.press(len(self.order))

    def wait_said(self, text: str) -> None:
        self.wait(lambda: text in (self.said(), self.output)[1], f"{text!r} is said")


def pytest_addoption(parser) -> None:
    parser.addoption("--server", default=desk.SIMULATED[0], help="program of the simulated gateway")
    parser.addoption("--virtual", nargs="?", const=",".join(PROCESSORS), default="",
                     help="play on virtual gateways of these processors instead")


def pytest_configure(config) -> None:
    for mark in ("panels", "kernel", "simulated", "everywhere"):
        config.addinivalue_line("markers", f"{mark}: see conftest.py")


def pytest_generate_tests(metafunc) -> None:
    marks = {mark.name: mark.args for mark in metafunc.definition.iter_markers()}
    panels = marks.get("panels", (64, 32))
    processors = metafunc.config.getoption("--virtual")
    if not processors:
        kinds = [("simulated", lines) for lines in panels]
    else:
        kinds = [(processor, lines) for processor in processors.split(",") for lines in panels
                 if "everywhere" in marks or (processor, lines) == (PROCESSORS[0], panels[0])]
    metafunc.parametrize("gateway", kinds, indirect=True, ids=lambda kind: "{}-{}".format(*kind))


@pytest.fixture
def gateway(request):
    place, lines = request.param
    simulated = place == "simulated"
    for name, only in (("kernel", False), ("simulated", True)):
        mark = request.node.get_closest_marker(name)
        if mark and only != simulated:
            pytest.skip(f"{name} only: {mark.args[0]}")
    command = ([request.config.getoption("--server")] if simulated
               else [*desk.VIRTUAL, "--processor", place])
    with WatchedGateway(command, lines, simulated) as watched:
        yield watched
