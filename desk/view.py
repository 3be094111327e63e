"""Draws the desk on the terminal: the panel in its frame, how things stand, what was said, and what
the keys do."""

import contextlib
import curses
import unicodedata
from typing import NamedTuple

from picture import CELLS, WIDTH, cells

FRAME = 2               # columns and rows that the frame takes
LABEL_WIDTH = 12
FACT_WIDTH = 40
BESIDE_WIDTH = 46
ENTRY_WIDTH = 38        # of the help
UPRIGHT_KEYS = 13       # columns
KEY_ROWS = 2
SMALLEST = (80, 24)

LIVE_CELLS = ("half", "quadrants", "braille")       # the largest first

KEY_HINTS = [("spc", "press"), ("h", "hold"), ("s", "panel"), ("1 2 3", "ports"),
             ("a x X", "address"), ("i p", "SIM"), ("g", "register"), ("+ -", "signal"),
             ("n", "network"), ("m o", "modem"), ("k", "kind"), ("t T", "card"), ("f", "files"),
             ("l", "log"), ("c C", "clock"), ("j", "page"), ("?", "help"), ("q", "quit")]

# Keys that are not in the table of facts.
FRONT_HELP = [("spc", "short press (or Enter)"), ("h", "hold for ten seconds, or let go"),
              ("s", "the next kind of panel"), ("r", "start paneld again"),
              ("a", "change an address"), ("f", "rewrite, break, delete a file"),
              ("l", "send a line to the log"), ("j", "straight to a page"),
              (":", "any act of a play"), ("q", "quit")]
NOTES = ["Nothing here reaches this machine. On the virtual gateway a reboot and the",
         "other panel make the facts ordinary again. ./run --help tells of more.",
         "Any key closes this help."]


class Area(NamedTuple):
    left: int
    top: int
    columns: int
    rows: int


class Layout(NamedTuple):
    cells: str
    panel: Area
    facts: Area
    fact_columns: int
    remarks: Area
    keys: Area


def beside(kind: str, panel: Area, columns: int, rows: int, facts: int) -> Layout | None:
    """Facts and remarks to the right of the panel, keys below everything."""
    left, height = panel.columns + 1, rows - KEY_ROWS
    if columns - left < BESIDE_WIDTH or height < max(panel.rows, facts + 4):
        return None
    return Layout(kind, panel, Area(left, 0, columns - left, facts), 1,
                  Area(left, facts + 1, columns - left, height - facts - 1),
                  Area(0, height, columns, KEY_ROWS))


def below(kind: str, panel: Area, columns: int, rows: int, facts: int) -> Layout | None:
    """Facts and remarks below the panel, keys to its right or below everything."""
    right = columns - panel.columns - 1
    upright = right >= UPRIGHT_KEYS and panel.rows >= len(KEY_HINTS)
    fact_columns = max(columns // FACT_WIDTH, 1)
    fact_rows = -(-facts // fact_columns)
    bottom = rows if upright else rows - KEY_ROWS
    if right < -1 or bottom - panel.rows - fact_rows < 1:
        return None
    top = panel.rows + fact_rows
    return Layout(kind, panel, Area(0, panel.rows, columns, fact_rows), fact_columns,
                  Area(0, top, columns, bottom - top),
                  Area(panel.columns + 1, 0, right, panel.rows) if upright
                  else Area(0, bottom, columns, KEY_ROWS))


def choose_layout(columns: int, rows: int, lines: int, facts: int,
                  wanted: str | None) -> Layout | None:
    """The wanted cells if they fit, or the largest that do."""
    for kind in [wanted, *LIVE_CELLS] if wanted else LIVE_CELLS:
        _, wide, high = CELLS[kind]
        panel = Area(0, 0, WIDTH // wide + FRAME, lines // high + FRAME)
        layout = (beside(kind, panel, columns, rows, facts)
                  or below(kind, panel, columns, rows, facts))
        if layout:
            return layout
    return None


def help_area(columns: int, rows: int, entries: int) -> Area:
    """In the middle of the terminal: two columns of entries, a blank row, the notes."""
    wide, high = 2 * ENTRY_WIDTH + 4, -(-entries // 2) + len(NOTES) + 3
    return Area(max((columns - wide) // 2, 0), max((rows - high) // 2, 0), wide, high)


# Colours of the 256 and of the eight, and the background: the glass, or the terminal's own.
COLOURS = {"lit": (195, curses.COLOR_CYAN, 16), "dark": (60, curses.COLOR_BLUE, 16),
           "frame": (245, curses.COLOR_WHITE, -1), "bad": (203, curses.COLOR_RED, -1),
           "label": (110, curses.COLOR_CYAN, -1)}


class View:
    def __init__(self, screen) -> None:
        self._screen = screen
        curses.curs_set(0)
        self._looks = {"plain": 0, "strong": curses.A_BOLD, "quiet": curses.A_DIM,
                       **dict.fromkeys(COLOURS, 0), "dark": curses.A_DIM}
        if curses.has_colors():
            curses.use_default_colors()
            rich = curses.COLORS >= 256
            for pair, (name, (many, few, back)) in enumerate(COLOURS.items(), 1):
                curses.init_pair(pair, many if rich else few, back if rich else min(back, 0))
                self._looks[name] = curses.color_pair(pair)
        self._looks["bad"] |= curses.A_BOLD
        self._looks["notice"] = self._looks["bad"] | curses.A_REVERSE

    def _put(self, left: int, top: int, text: str, look: str = "plain",
             columns: int | None = None) -> None:
        """Writes the text, cut with an ellipsis or filled with blanks to so many columns."""
        height, width = self._screen.getmaxyx()
        columns = min(columns_of(text) if columns is None else columns, width - left)
        if columns <= 0 or not 0 <= top < height:
            return
        text = "".join(letter if letter.isprintable() else " " for letter in text)
        while columns_of(text) > columns:
            text = text.rstrip("…")[:-1] + "…"
        with contextlib.suppress(curses.error):     # the last corner, without scrolling
            self._screen.addstr(top, left, text + " " * (columns - columns_of(text)),
                                self._looks[look])

    def draw(self, front) -> None:
        """All of the front and its desk."""
        self._screen.erase()
        rows, columns = self._screen.getmaxyx()
        desk, facts = front.desk, front.desk.fact_rows()
        layout = choose_layout(columns, rows, len(desk.rows), len(facts), front.cells)
        if layout is None:
            self._put(0, 0, f"The terminal has {columns} x {rows} characters;")
            self._put(0, 1, "the panel needs {} x {}. q quits.".format(*SMALLEST))
        else:
            self._draw_panel(desk, layout, f" paneld, {len(desk.rows)} lines{front.title} ")
            self._draw_facts(facts, layout)
            self._draw_keys(layout.keys)
            self._draw_remarks(desk, front, layout.remarks)
            if front.help:
                self._draw_help(front.help, columns, rows)
        self._screen.refresh()

    def _draw_frame(self, area: Area) -> None:
        window = self._screen.derwin(area.rows, area.columns, area.top, area.left)
        window.erase()
        window.attrset(self._looks["frame"])
        window.box()

    def _draw_panel(self, desk, layout: Layout, title: str) -> None:
        area, light = layout.panel, desk.backlight
        bottom, right = area.top + area.rows - 1, area.left + area.columns - 2
        self._draw_frame(area)
        for y, row in enumerate(cells(desk.rows, layout.cells), area.top + 1):
            self._put(area.left + 1, y, row, "lit" if light else "dark")
        self._put(area.left + 2, area.top, title, "strong")
        self._put(area.left + 2, bottom, desk.button(), "strong" if desk.pressed_at else "plain")
        counts = desk.redraw_in and not desk.busy
        redraw = f" redraw in {desk.redraw_in} s," if counts else ""
        state = f"{redraw} backlight {light}{'' if light else ', dark'} "
        self._put(right - len(state), bottom, state, "plain" if light else "quiet")
        if desk.notice:
            notice = f"  {desk.notice}  "
            self._put(area.left + max(0, (area.columns - len(notice)) // 2), bottom - 1, notice,
                      "notice", min(len(notice), area.columns))

    def _draw_facts(self, facts: list[tuple[str, str, bool]], layout: Layout) -> None:
        area = layout.facts
        width = area.columns // layout.fact_columns
        for index, (label, value, good) in enumerate(facts):
            left, top = area.left + index // area.rows * width, area.top + index % area.rows
            self._put(left, top, label, "label", LABEL_WIDTH)
            self._put(left + LABEL_WIDTH, top, value, "plain" if good else "bad",
                      width - LABEL_WIDTH - 1)

    def _draw_remarks(self, desk, front, area: Area) -> None:
        room = area.rows - (front.typed is not None)
        for y, (clock, text, look, count) in enumerate(desk.remarks[-room:] if room else [],
                                                       area.top):
            times = f" ({count} times)" if count > 1 else ""
            self._put(area.left, y, f"{clock} {text}{times}", look, area.columns)
        if front.typed is not None:
            line = f"> {front.typed}_"
            while columns_of(line) > area.columns:
                line = line[1:]
            self._put(area.left, area.top + area.rows - 1, line, "strong", area.columns)

    def _draw_keys(self, area: Area) -> None:
        upright = area.rows > KEY_ROWS
        x, y = area.left, area.top
        for keys, meaning in KEY_HINTS:
            whole = len(keys) + 1 + len(meaning)
            if x > area.left and (upright or x + whole > area.left + area.columns):
                x, y = area.left, y + 1
            self._put(x, y, keys, "strong")
            self._put(x + len(keys) + 1, y, meaning)
            x += whole + 2

    def _draw_help(self, entries: list[tuple[str, str]], columns: int, rows: int) -> None:
        area, half = help_area(columns, rows, len(entries)), -(-len(entries) // 2)
        self._draw_frame(area)
        for index, (key, meaning) in enumerate(entries):
            x, y = area.left + 2 + index // half * ENTRY_WIDTH, area.top + 1 + index % half
            self._put(x, y, key, "strong")
            self._put(x + 4, y, meaning)
        for y, note in enumerate(NOTES, area.top + half + 2):
            self._put(area.left + 2, y, note, "quiet")


def columns_of(text: str) -> int:
    """Chinese characters are two columns wide."""
    return sum(2 if unicodedata.east_asian_width(letter) in "WF" else 1 for letter in text)
