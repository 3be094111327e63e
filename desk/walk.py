"""The way through the pages of a panel, by the button alone."""

from collections.abc import Iterator

import picture
from gateway import LONG_PRESS, ORDINARY, Gateway, GatewayError, pages

LOG_LINES = ("link up 4G", "通信连接正常")
STEP = 0.05             # seconds between two looks
DRAWN = 5.0             # until a page is surely drawn; a modem query may be under way
ASKED = 12.0            # until the modem has been asked
RESET_LIMIT = 30        # until a machine has reset


def page_shown(rows: list[str]) -> dict | None:
    """The page of the list whose texts are on the panel, the one with most of them: none for a
    channel that is not ordinary, and on the 64-line panel in the dark."""
    lines = str(len(rows))
    shown = [page for page in pages(len(rows))
             if all(picture.has_text(rows, text) for text in page["texts"][lines])]
    return max(shown, key=lambda page: len("".join(page["texts"][lines])), default=None)


def changed(gateway: Gateway, before: list[str], limit: float = DRAWN) -> list[str]:
    """The picture once it differs from that before and stands still."""
    last = before
    for _ in range(int(limit / STEP)):
        rows = gateway.picture()
        if rows != before and rows == last:
            return rows
        last = rows
        gateway.pass_(STEP)
    raise GatewayError("the panel does not change")


def go_to(gateway: Gateway, name: str) -> None:
    """Presses until the page is there whose name begins so."""
    rows = gateway.picture()
    listed = pages(len(rows))
    wanted = next((page for page in listed if page["name"].startswith(name)), None)
    if wanted is None:
        raise GatewayError(f"no page '{name}' but {', '.join(page['name'] for page in listed)}")
    if not gateway.brightness():
        gateway.press()
    for _ in listed + listed:
        if wanted["reach"] == "hold":
            return gateway.press(1, LONG_PRESS)
        shown = page_shown(rows)
        if shown and (shown["page"], shown["subPage"]) == (wanted["page"], wanted["subPage"]):
            return None
        gateway.press()
        rows = changed(gateway, rows)
    raise GatewayError(f"{wanted['title']}: not reached by pressing")


def walk(gateway: Gateway, lines: int) -> Iterator[tuple[dict, list[str]]]:
    """Page and picture by picture on a gateway that has just been started, reboot last: presses
    until the first picture is back, the clock put back to the same moment before each press."""
    *listed, reboot = pages(lines)
    for line in LOG_LINES:
        gateway.post(line)
    gateway.clock(ORDINARY["clock"] + 3600)
    rows = changed(gateway, gateway.picture())
    first = None
    for page in listed:
        gateway.clock(ORDINARY["clock"])
        if page["reach"] == "press":
            gateway.press()
        rows = changed(gateway, rows, ASKED if page["reach"] == "redraw" else DRAWN)
        yield page, checked(page, rows)
        first = first or rows
    gateway.clock(ORDINARY["clock"])
    gateway.press()
    if changed(gateway, rows) != first:
        raise GatewayError("the cycle does not lead back to the first page; does desk/pages.json "
                           "lack one?")
    gateway.press(1, LONG_PRESS)
    yield reboot, checked(reboot, changed(gateway, first))
    for _ in range(RESET_LIMIT):
        if gateway.reboots() == 1:
            return
        gateway.pass_(1)
    raise GatewayError("the reboot page did not ask for one reboot")


def checked(page: dict, rows: list[str]) -> list[str]:
    shown = page_shown(rows)
    if shown != page:
        raise GatewayError(f"{page['title']}: the panel shows "
                           + (shown["title"] if shown else
                              f"no page whose {len(rows)}-line texts desk/pages.json has"))
    return rows
