"""A virtual gateway that is looked at: what should be on its panel, and what a scenario says when
it is not."""

import pathlib
import time

from gateway import GOLDEN_MOMENT, POLL, Gateway
from panel_picture import Picture

GOLDENS = pathlib.Path(__file__).resolve().parents[1] / "golden"

DRAW_LIMIT = 8.0        # seconds for a picture that follows a key
CLOCK_ICON_WIDTH = 34   # left of the digits, on both panels
CLOCK_HELD_MS = 1500    # the clock page is redrawn every second
CLOCK_TRIES = 4


class Failure(AssertionError):
    """A scenario saw something else than it should have."""


def golden(lines: int, name: str) -> Picture:
    return Picture((GOLDENS / str(lines) / f"{name}.txt").read_text().splitlines())


class WatchedGateway(Gateway):
    def wait_until(self, holds, what: str, limit: float = DRAW_LIMIT) -> None:
        """Looks at the panel until holds(picture); fails with the last picture seen."""
        end = time.monotonic() + limit
        while not holds(picture := self.picture()):
            if time.monotonic() > end:
                raise Failure(f"{what}: not within {limit:.0f} s; the panel shows\n{picture}")
            time.sleep(POLL)

    def wait_page(self, name: str, limit: float = DRAW_LIMIT) -> None:
        expected = golden(self.kind.lines, name)
        end = time.monotonic() + limit
        while (picture := self.picture()) != expected:
            if time.monotonic() > end:
                raise Failure(f"page {name}: not within {limit:.0f} s; '+' is lit and should be "
                              f"dark, '-' is dark and should be lit\n{picture.difference(expected)}")
            time.sleep(POLL)

    def wait_text(self, x: int, y: int, text: str, limit: float = DRAW_LIMIT) -> None:
        self.wait_until(lambda picture: picture.text_at(x, y) == text, f"'{text}' at {x}, {y}", limit)

    def wait_centred(self, y: int, text: str, limit: float = DRAW_LIMIT) -> None:
        self.wait_until(lambda picture: picture.centred(y, text), f"'{text}' alone at {y}", limit)

    def wait_clock(self, moment: int = GOLDEN_MOMENT) -> None:
        """The clock page as its golden shows it. The clock is held at that moment for longer than a
        redraw takes; a busy host may need several goes. It is not touched before the page is there:
        a press that the daemon is still timing would become a long one."""
        expected = golden(self.kind.lines, "clock")
        icon = [row[:CLOCK_ICON_WIDTH] for row in expected.rows]
        self.wait_until(lambda picture: [row[:CLOCK_ICON_WIDTH] for row in picture.rows] == icon,
                        "the clock page")
        for _ in range(CLOCK_TRIES):
            self.agent.do("hold", f"{moment} {CLOCK_HELD_MS}")
            picture = self.picture()
            if picture == expected:
                return
        raise Failure(f"page clock:\n{picture.difference(expected)}")

    def expect(self, holds: bool, what: str) -> None:
        if not holds:
            raise Failure(f"{what}; the panel shows\n{self.picture()}")
