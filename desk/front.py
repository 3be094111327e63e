"""The panel live in the terminal, with keys for its button and for the gateway's facts."""

import contextlib
import curses
import pathlib
import threading
import time
from collections.abc import Callable

from acts import act_of, clock_text, note_of
from facts import Facts, Row
from gateway import BUTTON, LONG_PRESS, PANELS, SHORT_PRESS, Gateway, GatewayError
from picture import WIDTH
from view import FRONT_HELP, View
from walk import page_shown

FRAME = 0.05                # seconds between two looks at the panel
LOOK_ASIDE = 1.0            # between two looks at facts and process
GRACE = 0.5                 # before something is worth a notice
RESET_LIMIT = 60.0
ZONE = pathlib.Path("/etc/localtime")
REBOOTING = "system is rebooting"   # said by the daemon
REMARKS = 200
FACT_ROWS = 10
TYPED_LIMIT = 200
CLEAR, REDRAW, ESCAPE = "\x15", "\x0c", "\x1b"
ENTER = ("\n", "\r", curses.KEY_ENTER)
SAME_KEYS = {curses.KEY_UP: "+", curses.KEY_DOWN: "-", **dict.fromkeys(ENTER, " ")}


class Desk:
    """A gateway, the finger on its button, and what has been said. What may take long is done by a
    thread; nobody else speaks to the gateway meanwhile."""

    def __init__(self, start: Callable[[int], Gateway], lines: int, virtual: bool) -> None:
        self.remarks: list[tuple[str, str, str, int]] = []  # clock, text, look, how often
        self.gateway: Gateway | None = None
        self.facts: Facts | None = None
        self.rows = ["." * WIDTH] * lines
        self._page: dict | None = None
        self.redraw_in = 0              # seconds; 0: not at all, or it cannot be told
        self.backlight: int | None = 0
        self.pressed_at: float | None = None
        self._holding = False
        self._virtual = virtual
        self._rebooting = 0             # the daemon that has asked for it
        self._begin("the gateway starts", lambda: self._boot(start, lines))

    def _meet(self) -> None:
        """A gateway that has just come up; a virtual one is given this machine's hour."""
        if self._virtual:
            with contextlib.suppress(OSError):
                self.gateway.write(str(ZONE), ZONE.read_bytes())
            self.gateway.clock(time.time())
        self.facts = Facts(self.gateway)

    def _boot(self, start: Callable[[int], Gateway], lines: int) -> None:
        self.gateway = start(lines)
        self._meet()
        self.remark(f"paneld started, {lines}-line panel")

    def _boot_again(self) -> None:
        seconds = self.gateway.reset(RESET_LIMIT)
        self._doing = "the gateway starts again"
        self._meet()
        self.remark(f"the machine has reset {seconds:.1f} s later; the gateway has started again")

    def _begin(self, doing: str, work: Callable[[], None]) -> None:
        self._doing, self._began = doing, time.monotonic()
        self._failure: Exception | None = None
        self._worker: threading.Thread | None = threading.Thread(
            target=self._guarded, args=[work], daemon=True)
        self._worker.start()
        self._worker.join(GRACE)

    def _guarded(self, work: Callable[[], None]) -> None:
        try:
            work()
            self._look_aside()
        except Exception as failure:  # raised again by the thread that draws
            self._failure = failure

    # --- How it stands ---

    @property
    def busy(self) -> bool:
        return self._worker is not None

    @property
    def notice(self) -> str:
        if self.busy:
            return f"{self._doing} - {time.monotonic() - self._began:.0f} s"
        if not self._pid:
            return "paneld does not run - r starts it again"
        return ("a real gateway would restart now - r starts paneld again"
                if self._pid == self._rebooting else "")

    def poll(self) -> None:
        """Moves the finger when it is time to, looks at the gateway and follows its reboot."""
        if self._worker:
            if self._worker.is_alive():
                return
            if self._failure:
                raise self._failure
            self._worker = None
        if self.pressed_at and time.monotonic() - self.pressed_at > (
                LONG_PRESS if self._holding else SHORT_PRESS):
            self.let_go()
        rebooting = self._hear()
        self._see(self.gateway.picture())
        if rebooting and self._virtual:     # there is soon nobody inside to answer
            self._begin("the gateway reboots", self._boot_again)
        elif rebooting or time.monotonic() - self._looked_aside > LOOK_ASIDE:
            self._look_aside()
            self._rebooting = self._pid if rebooting else self._rebooting

    def _see(self, rows: list[str]) -> None:
        """The picture, its light, and when the timer is due to draw it again: whole periods after
        the second of the last key. The clock page, first after a start, has one of a second."""
        if rows != self.rows:
            self._page = page_shown(rows)
        self.rows, self.backlight = rows, self.gateway.brightness()
        drawn = self._pid and self._page and (self.backlight or len(rows) < 64)
        period = self._page["refreshSeconds"] if drawn else 0
        since = int(self.gateway.now()[1]) - int(self.gateway.released)
        self.redraw_in = period and period - since % period

    def _look_aside(self) -> None:
        self._looked_aside = time.monotonic()
        self.facts.look()
        self._pid, self._reboots = self.gateway.daemon(), self.gateway.reboots()
        self._ended = None if self._pid else self.gateway.ended()
        self._waiting = self.gateway.waiting()

    def fact_rows(self) -> list[Row]:
        if self.busy:
            return [("", "", True)] * FACT_ROWS
        state = (f"pid {self._pid}" if self._pid else "not running" if self._ended is None
                 else f"ended: {'exit' if self._ended >= 0 else 'signal'} {abs(self._ended)}")
        waiting = f", {self._waiting} unread" if self._waiting else ""
        reboots = f", reboots: {self._reboots}" if self._reboots else ""
        return [*self.facts.rows(), ("Daemon", state + waiting + reboots, bool(self._pid))]

    def button(self) -> str:
        if not self._holding:
            return " (●) button " if self.pressed_at else " (○) button "
        held = time.monotonic() - self.pressed_at
        return f" (●) held {held:.1f} s {'- long' if held >= 10 else 'of 10'} "

    # --- What is said ---

    def _hear(self) -> bool:
        """Takes what the daemon has said; whether it has asked for a reboot."""
        said = self.gateway.said_both()
        for look, text in zip(("plain", "bad"), said):
            for line in text.splitlines():
                if line.strip(" ^"):    # the XML library marks a place by a caret below it
                    self.remark(f"paneld: {line}", look)
        return REBOOTING in said[0]

    def remark(self, text: str, look: str = "quiet") -> None:
        """The same words again and again are counted."""
        count = 1
        if self.remarks and self.remarks[-1][1:3] == (text, look):
            count += self.remarks.pop()[3]
        self.remarks.append((clock_text(self.facts.clock).split()[1], text, look, count))
        del self.remarks[:-REMARKS]

    # --- What is done ---

    def press(self, holding: bool = False) -> None:
        self.let_go()
        self.gateway.key(BUTTON, 1)
        self.pressed_at, self._holding = time.monotonic(), holding

    def toggle_hold(self) -> None:
        if self._holding:
            self.let_go()
        else:
            self.press(holding=True)

    def let_go(self) -> None:
        if self.pressed_at:
            self.gateway.key(BUTTON, 0)
        self.pressed_at, self._holding = None, False

    def do(self, line: str) -> None:
        """An act, and a remark on what comes of it."""
        self.let_go()
        self._begin(line, lambda: self._do(line))

    def _do(self, line: str) -> None:
        try:
            act_of(line)(self.gateway)
            if self._virtual and line.startswith("panel "):
                self._meet()
            self.facts.heed(line)
            note = note_of(line)
            self.remark(line + (f" ({note})" if note else ""))
        except (ValueError, GatewayError, OSError) as error:
            self.remark(str(error))


class Front:
    """Turns keys into what the desk does."""

    def __init__(self, desk: Desk, title: str, wanted_cells: str | None) -> None:
        self.desk, self.title, self.cells = desk, title, wanted_cells
        self.typed: str | None = None           # the act that is being written
        self.help: list[tuple[str, str]] = []

    def run(self, screen) -> None:
        view = View(screen)
        screen.timeout(int(FRAME * 1000))
        while True:
            self.desk.poll()
            view.draw(self)
            with contextlib.suppress(curses.error):     # no key in time
                key = screen.get_wch()
                if key == REDRAW:
                    screen.clearok(True)
                elif key != curses.KEY_RESIZE and not self._take(key):
                    return

    def _take(self, key: str | int) -> bool:
        """False when the key asks for the end."""
        if self.help:
            self.help = []
        elif self.typed is not None:
            self._type(key)
        elif key == "q":
            return False
        elif not self.desk.busy:
            self._command(SAME_KEYS.get(key, key))
        return True

    def _command(self, key: str | int) -> None:
        desk, facts = self.desk, self.desk.facts
        changes = facts.keys()
        begun = {"a": f"address {facts.proposed_address()}", "l": "log ", "f": "file ",
                 "j": "page ", ":": ""}
        next_panel = PANELS[(PANELS.index(facts.lines) + 1) % len(PANELS)]
        acts = {"s": f"panel {next_panel}", "r": "restart"}
        if key == " ":
            desk.press()
        elif key == "h":
            desk.toggle_hold()
        elif key in begun:
            self.typed = begun[key]
        elif key in acts:
            desk.do(acts[key])
        elif key in changes:
            desk.do(facts.act_of_key(key))
        elif key == "?":
            self.help = [*FRONT_HELP, *((key, words) for key, (words, _) in changes.items())]

    def _type(self, key: str | int) -> None:
        if key in ENTER and not self.desk.busy:
            self.desk.do(self.typed)
        if key in (ESCAPE, *ENTER):
            self.typed = None
        elif key in ("\x7f", "\b", curses.KEY_BACKSPACE):
            self.typed = self.typed[:-1]
        elif key == CLEAR:
            self.typed = ""
        elif isinstance(key, str) and key.isprintable() and len(self.typed) < TYPED_LIMIT:
            self.typed += key


def can_draw() -> bool:
    """Whether the terminal lets its cursor be placed; some are mere printers."""
    with contextlib.suppress(curses.error):
        curses.setupterm()
        return curses.tigetstr("cup") is not None
    return False


def run_front(start: Callable[[int], Gateway], lines: int, virtual: bool, title: str,
              wanted_cells: str | None) -> None:
    """Until the person quits; the terminal is as before then, whatever the end was."""
    desk = Desk(start, lines, virtual)
    try:
        curses.wrapper(Front(desk, title, wanted_cells).run)
    finally:
        if desk.gateway:
            desk.gateway.close()
