"""The walk through the pages of a panel, by the button alone, and what is made of it."""

import pathlib
import sys
from collections.abc import Callable, Iterator

import picture
from gateway import LONG_PRESS, ORDINARY, Gateway, pages

LOG_LINES = ("link up 4G", "通信连接正常")
STEP = 0.05             # seconds between two looks
DRAWN = 3.0             # until a page is surely drawn
ASKED = 12.0            # until the modem has been asked
GALLERY_SCALE = 4


# Name, title, picture.
Page = tuple[str, str, list[str]]


class WalkError(Exception):
    """A page that is not as it should be."""


def page_shown(rows: list[str]) -> dict | None:
    """The page of the list whose texts are on the panel, the one with most of them; the clock page
    has none."""
    lines = len(rows)

    def length(page: dict) -> int:
        return sum(map(len, page["texts"][str(lines)]))
    shown = [page for page in pages(lines)
             if all(picture.written(rows, text) for text in page["texts"][str(lines)])]
    return max(shown, key=length, default=None)


def changed(gateway: Gateway, before: list[str], limit: float) -> list[str]:
    """The picture once it differs from that before and stands still."""
    last = before
    for _ in range(int(limit / STEP)):
        rows = gateway.picture()
        if rows != before and rows == last:
            return rows
        last = rows
        gateway.pass_(STEP)
    raise WalkError("the panel does not change")


def walk(gateway: Gateway, lines: int) -> Iterator[Page]:
    """The pages of a gateway that has just been started, reboot last: presses until the first
    picture is back, the clock put back to the same moment before each press."""
    *listed, reboot = pages(lines)
    for line in LOG_LINES:
        gateway.post(line)
    gateway.clock(ORDINARY["clock"] + 3600)
    rows = changed(gateway, gateway.picture(), DRAWN)
    seen = []
    for page in listed:
        gateway.clock(ORDINARY["clock"])
        rows = reached(gateway, page, rows)
        if seen and rows == seen[0]:
            raise WalkError(f"{page['title']}: the cycle leads back to the first page before it")
        yield checked(page, rows, seen)
        seen.append(rows)
    gateway.clock(ORDINARY["clock"])
    gateway.press()
    if changed(gateway, rows, DRAWN) != seen[0]:
        raise WalkError("the cycle does not lead back to the first page; is a new page missing in "
                        "desk/pages.json?")
    gateway.press(1, LONG_PRESS)
    yield checked(reboot, changed(gateway, seen[0], DRAWN), seen)
    if gateway.reboots() != 1:
        raise WalkError("the reboot page did not ask for one reboot")


def reached(gateway: Gateway, page: dict, before: list[str]) -> list[str]:
    if page["reach"] == "press":
        gateway.press()
    try:
        return changed(gateway, before, ASKED if page["reach"] == "redraw" else DRAWN)
    except WalkError as error:
        raise WalkError(f"{page['title']}: {error}") from None


def checked(page: dict, rows: list[str], seen: list[list[str]]) -> Page:
    title = page["title"]
    if picture.blank([row[1:-1] for row in rows[1:-1]]):
        raise WalkError(f"{title}: the page is blank")
    if rows in seen:
        raise WalkError(f"{title}: the picture is that of page {seen.index(rows) + 1}")
    shown = page_shown(rows)
    if shown != page:
        raise WalkError(f"{title}: the panel shows {shown['title'] if shown else 'another page'}")
    return page["name"], title, rows


def walk_panels(start: Callable[[int], Gateway], panels: list[int],
                take: Callable[[int, Page], None]) -> int:
    """Hands out the pages of each panel, on gateways of their own. The status of the program: 1
    after a page that is not as it should be; the daemon's own words help to understand it."""
    for lines in panels:
        with start(lines) as gateway:
            try:
                for page in walk(gateway, lines):
                    take(lines, page)
            except WalkError as error:
                gateway.said()
                print(f"run: {lines}-line panel: {error}\n{gateway.output}{gateway.errors}",
                      file=sys.stderr)
                return 1
    return 0


def print_page(kind: str) -> Callable[[int, Page], None]:
    def take(lines: int, page: Page) -> None:
        print(f"{lines}-line panel: {page[1]}", *picture.cells(page[2], kind), "", sep="\n",
              flush=True)
    return take


def draw_gallery(folder: pathlib.Path) -> Callable[[int, Page], None]:
    def take(lines: int, page: Page) -> None:
        place = folder / str(lines)
        place.mkdir(parents=True, exist_ok=True)
        (place / f"{page[0]}.png").write_bytes(picture.png(page[2], GALLERY_SCALE))
    return take
