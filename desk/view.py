"""Draws the desk on the terminal: the panel in its frame, how things stand, what was said, and what
the keys do."""

import curses
import dataclasses
import unicodedata

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

KEY_HINTS = [("spc", "press"), ("h", "hold"), ("s", "64/32"), ("1 2 3", "ports"),
             ("a x X", "address"), ("i p", "SIM"), ("g", "register"), ("+ -", "signal"),
             ("n", "network"), ("m o", "modem"), ("k", "kind"), ("t T", "card"), ("f", "files"),
             ("l", "log"), ("c C", "clock"), ("j", "page"), ("?", "help"), ("q", "quit")]

# Keys that are not in the table of facts.
FRONT_HELP = [("spc", "short press (or Enter)"), ("h", "hold for ten seconds, or let go"),
              ("s", "64-line or 32-line panel"), ("r", "start paneld again"),
              ("a", "change an address"), ("f", "rewrite, break, delete a file"),
              ("l", "send a line to the log"), ("j", "straight to a page"), ("q", "quit")]
NOTES = ["Nothing here reaches this machine. On the virtual gateway a reboot and the",
         "other panel make the facts ordinary again. ./run --help tells of more.",
         "Any key closes this help."]


@dataclasses.dataclass
class Area:
    left: int
    top: int
    columns: int
    rows: int


@dataclasses.dataclass
class Layout:
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
    """The largest cells that fit, or those that are wanted."""
    for kind in [wanted] if wanted else LIVE_CELLS:
        _, wide, high = CELLS[kind]
        panel = Area(0, 0, WIDTH // wide + FRAME, lines // high + FRAME)
        layout = (beside(kind, panel, columns, rows, facts)
                  or below(kind, panel, columns, rows, facts))
        if layout:
            return layout
    return choose_layout(columns, rows, lines, facts, None) if wanted else None


def help_area(columns: int, rows: int, entries: int) -> Area:
    """In the middle of the terminal: two columns of entries, a blank row, the notes."""
    wide, high = 2 * ENTRY_WIDTH + 4, -(-entries // 2) + len(NOTES) + 3
    return Area(max((columns - wide) // 2, 0), max((rows - high) // 2, 0), wide, high)


@dataclasses.dataclass
class Shown:
    """What is on the screen besides the panel's own picture."""
    rows: list[str]                 # of the panel
    title: str
    button: str
    pressed: bool
    backlight: int | None
    facts: list[tuple[str, str, bool]]
    remarks: list[tuple[str, str]]  # text and speaker: "desk", "daemon", "errors"
    notice: str = ""                # across the panel
    question: str = ""
    typed: str | None = None
    help: list[tuple[str, str]] | None = None


class View:
    def __init__(self, screen) -> None:
        self._screen = screen
        curses.curs_set(0)
        colours = curses.has_colors()
        if colours:
            curses.use_default_colors()
            rich = curses.COLORS >= 256
            for pair, (many, few, back) in enumerate(
                    [(195, curses.COLOR_CYAN, 16), (60, curses.COLOR_BLUE, 16),
                     (245, curses.COLOR_WHITE, -1), (203, curses.COLOR_RED, -1),
                     (110, curses.COLOR_CYAN, -1)], 1):
                curses.init_pair(pair, many if rich else few,
                                 back if rich or back < 0 else curses.COLOR_BLACK)
        pair = curses.color_pair if colours else lambda _: 0
        self._lit, self._frame, self._label = pair(1), pair(3), pair(5)
        self._dark = pair(2) | (0 if colours else curses.A_DIM)
        self._bad = pair(4) | curses.A_BOLD

    def _put(self, left: int, top: int, columns: int, text: str, look: int = 0) -> None:
        """Writes the text into so many columns, cut with an ellipsis or filled with blanks."""
        height, width = self._screen.getmaxyx()
        columns = min(columns, width - left)
        if columns <= 0 or not 0 <= top < height:
            return
        text = "".join(letter if letter.isprintable() else " " for letter in text)
        while columns_of(text) > columns:
            text = text.rstrip("…")[:-1] + "…"
        try:
            self._screen.addstr(top, left, text + " " * (columns - columns_of(text)), look)
        except curses.error:
            pass    # the last corner of the screen cannot be written without scrolling

    def draw(self, shown: Shown, wanted: str | None) -> None:
        self._screen.erase()
        rows, columns = self._screen.getmaxyx()
        layout = choose_layout(columns, rows, len(shown.rows), len(shown.facts), wanted)
        if layout is None:
            self._put(0, 0, columns, f"The terminal has {columns} x {rows} characters;")
            self._put(0, 1, columns, "the panel needs {} x {}. q quits.".format(*SMALLEST))
        else:
            self._draw_panel(shown, layout)
            self._draw_facts(shown, layout)
            self._draw_keys(layout)
            if shown.notice:
                text = f"  {shown.notice}  "
                area = layout.panel
                self._put(area.left + max(0, (area.columns - len(text)) // 2),
                          area.top + area.rows - FRAME, min(len(text), area.columns), text,
                          self._bad | curses.A_REVERSE)
            self._draw_remarks(shown, layout.remarks)
            if shown.help:
                self._draw_help(shown.help, columns, rows)
        self._screen.refresh()

    def _draw_frame(self, area: Area) -> None:
        bottom = area.top + area.rows - 1
        self._put(area.left, area.top, area.columns, "┌" + "─" * (area.columns - 2) + "┐",
                  self._frame)
        for y in range(area.top + 1, bottom):
            self._put(area.left, y, 1, "│", self._frame)
            self._put(area.left + area.columns - 1, y, 1, "│", self._frame)
        self._put(area.left, bottom, area.columns, "└" + "─" * (area.columns - 2) + "┘",
                  self._frame)

    def _draw_panel(self, shown: Shown, layout: Layout) -> None:
        area = layout.panel
        bottom = area.top + area.rows - 1
        self._draw_frame(area)
        for y, row in enumerate(cells(shown.rows, layout.cells), area.top + 1):
            self._put(area.left + 1, y, area.columns - 2, row,
                      self._lit if shown.backlight else self._dark)
        self._put(area.left + 2, area.top, len(shown.title), shown.title, curses.A_BOLD)
        self._put(area.left + 2, bottom, len(shown.button), shown.button,
                  curses.A_BOLD if shown.pressed else 0)
        light = f" backlight {shown.backlight}{'' if shown.backlight else ', dark'} "
        self._put(area.left + area.columns - 2 - len(light), bottom, len(light), light,
                  0 if shown.backlight else curses.A_DIM)

    def _draw_facts(self, shown: Shown, layout: Layout) -> None:
        area = layout.facts
        width = area.columns // layout.fact_columns
        for index, (label, value, good) in enumerate(shown.facts):
            left = area.left + index // area.rows * width
            top = area.top + index % area.rows
            self._put(left, top, LABEL_WIDTH, label, self._label)
            self._put(left + LABEL_WIDTH, top, width - LABEL_WIDTH - 1, value,
                      0 if good else self._bad)

    def _draw_remarks(self, shown: Shown, area: Area) -> None:
        room = area.rows - bool(shown.question)
        for y, (text, speaker) in enumerate(shown.remarks[-room:] if room else [], area.top):
            self._put(area.left, y, area.columns, text,
                      {"desk": curses.A_DIM, "errors": self._bad}.get(speaker, 0))
        if shown.question:
            line = shown.question + (f" {shown.typed}_" if shown.typed is not None else "")
            while columns_of(line) > area.columns:
                line = line[1:]
            self._put(area.left, area.top + area.rows - 1, area.columns, line, curses.A_BOLD)

    def _draw_keys(self, layout: Layout) -> None:
        area = layout.keys
        upright = area.rows > KEY_ROWS
        x, y = area.left, area.top
        for keys, meaning in KEY_HINTS:
            whole = len(keys) + 1 + len(meaning)
            if x > area.left and x + whole > area.left + area.columns:
                x, y = area.left, y + 1
            if y >= area.top + area.rows:
                return
            self._put(x, y, len(keys), keys, curses.A_BOLD)
            self._put(x + len(keys) + 1, y, len(meaning), meaning)
            x = area.left + area.columns if upright else x + whole + 2

    def _draw_help(self, entries: list[tuple[str, str]], columns: int, rows: int) -> None:
        area, half = help_area(columns, rows, len(entries)), -(-len(entries) // 2)
        for y in range(area.top, area.top + area.rows):
            self._put(area.left, y, area.columns, "")
        self._draw_frame(area)
        for index, (key, meaning) in enumerate(entries):
            x, y = area.left + 2 + index // half * ENTRY_WIDTH, area.top + 1 + index % half
            self._put(x, y, 4, key, curses.A_BOLD)
            self._put(x + 4, y, ENTRY_WIDTH - 5, meaning)
        for y, note in enumerate(NOTES, area.top + half + 2):
            self._put(area.left + 2, y, area.columns - 4, note, curses.A_DIM)


def columns_of(text: str) -> int:
    """Chinese characters are two columns wide."""
    return sum(2 if unicodedata.east_asian_width(letter) in "WF" else 1 for letter in text)
