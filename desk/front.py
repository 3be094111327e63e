"""The panel live in the terminal, with keys for its button and for the gateway's facts."""

import contextlib
import curses
import dataclasses
import threading
import time
from collections.abc import Callable

from acts import FILES, act_of, clock_text, note_of
from facts import FACT_KEYS, Facts, Row
from gateway import BUTTON, Gateway, GatewayError, pages
from picture import WIDTH
from view import FRONT_HELP, View
from walk import page_shown

FRAME = 0.05                # seconds between two looks at the panel
LOOK_ASIDE = 1.0            # between two looks at facts and process
START_GRACE = 0.5           # before a start is worth a notice
SHORT_PRESS = 0.08
LONG_PRESS = 10.2           # the daemon looks at the button every 50 ms
STEP_LIMIT = 6.0            # until a press has changed the page; a modem query takes 4.5 s
RESET_LIMIT = 60.0
REBOOTING = "system is rebooting"   # said by the daemon
REMARKS = 200
FACT_ROWS = 10
TYPED_LIMIT = 200
CLEAR, REDRAW, ESCAPE = "\x15", "\x0c", "\x1b"
SAME_KEYS = {curses.KEY_UP: "+", curses.KEY_DOWN: "-", "\n": " ", "\r": " ", curses.KEY_ENTER: " "}
STATES = {"r": "new", "b": "broken", "d": "gone", "o": "original"}


class Desk:
    """A gateway, the finger on its button, and what has been said. While the gateway starts, a
    thread waits for it and nobody else speaks to it."""

    def __init__(self, start: Callable[[int], Gateway], lines: int, virtual: bool) -> None:
        self.remarks: list[tuple[str, str]] = []    # as they are shown, and how
        self._said: list[tuple[str, str, int]] = []
        self.gateway: Gateway | None = None
        self.facts: Facts | None = None
        self.lines = lines
        self._virtual = virtual
        self._begin(lambda: self._boot(start), "the gateway starts")

    # --- Starting, rebooting ---

    def _begin(self, work: Callable[[], None], doing: str) -> None:
        self.pressed_at: float | None = None
        self._holding = False
        self._target: dict | None = None
        self.backlight: int | None = 0
        self.rows = ["." * WIDTH] * self.lines
        self._doing, self._began = doing, time.monotonic()
        self._failure: Exception | None = None
        self._starter: threading.Thread | None = threading.Thread(
            target=self._guarded, args=[work], daemon=True)
        self._starter.start()
        self._starter.join(START_GRACE)

    def _guarded(self, work: Callable[[], None]) -> None:
        try:
            work()
            if self._virtual or not self.facts:
                self.facts = Facts(self.gateway)
            self.look_aside()
            self._known_reboots = self._reboots
        except Exception as failure:  # raised again by the thread that draws
            self._failure = failure

    def _boot(self, start: Callable[[int], Gateway]) -> None:
        self.gateway = start(self.lines)

    def _boot_again(self) -> None:
        seconds = self.gateway.reset(RESET_LIMIT)
        self.remark(f"the machine has reset {seconds:.1f} s later")
        self._doing, self._began = "the gateway starts again", time.monotonic()

    @property
    def busy(self) -> bool:
        """Whether nobody inside answers."""
        return self._starter is not None

    @property
    def notice(self) -> str:
        if self.busy:
            return f"{self._doing} - {time.monotonic() - self._began:.0f} s"
        if not self._pid:
            return "paneld does not run - r starts it again"
        return ("a real gateway would restart now - r starts paneld again"
                if self._reboots > self._known_reboots else "")

    def poll(self) -> None:
        """Moves the finger when it is time to, looks at the gateway and follows its reboot."""
        if self._starter:
            if self._starter.is_alive():
                return
            if self._failure:
                raise self._failure
            self._starter = None
            self.remark(f"paneld started, {self.lines}-line panel")
        if self.pressed_at and time.monotonic() - self.pressed_at > (
                LONG_PRESS if self._holding else SHORT_PRESS):
            self.let_go()
        rebooting = self._hear()
        self.rows, self.backlight = self.gateway.picture(), self.gateway.brightness()
        self._step_on()
        if rebooting and self._virtual:     # there is soon nobody inside to answer
            self._begin(self._boot_again, "the gateway reboots")
        elif rebooting or time.monotonic() - self._looked_aside > LOOK_ASIDE:
            self.look_aside()

    def look_aside(self) -> None:
        self._looked_aside = time.monotonic()
        self.facts.look()
        self._pid, self._reboots = self.gateway.daemon(), self.gateway.reboots()

    def fact_rows(self) -> list[Row]:
        reboots = {0: "", 1: ", 1 reboot"}.get(self._reboots, f", {self._reboots} reboots")
        return [*self.facts.rows(), ("Daemon", (f"pid {self._pid}" if self._pid else "not running")
                                     + reboots, bool(self._pid))]

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
        if self._said and self._said[-1][:2] == (text, look):
            count += self._said.pop()[2]
            self.remarks.pop()
        self._said.append((text, look, count))
        clock = clock_text(self.facts.clock).split()[1] + " " if self.facts else ""
        self.remarks.append((clock + text + (f" ({count} times)" if count > 1 else ""), look))
        del self._said[:-REMARKS], self.remarks[:-REMARKS]

    # --- What is done ---

    def do(self, line: str) -> None:
        """An act; what comes of it is remarked."""
        try:
            act_of(line)(self.gateway)
            self.facts.heed(line)
            note = note_of(line)
            self.remark(line + (f" ({note})" if note else ""))
        except (ValueError, GatewayError) as error:
            self.remark(f"not done: {error}")
        self.look_aside()

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

    def button(self) -> str:
        if not self._holding:
            return " (●) button " if self.pressed_at else " (○) button "
        held = time.monotonic() - self.pressed_at
        return f" (●) held {held:.1f} s {'- long' if held >= 10 else 'of 10'} "

    def restart(self) -> None:
        self.let_go()
        self._begin(self.gateway.restart, "paneld starts again")

    def switch_panel(self) -> None:
        self.let_go()
        self.lines = 32 if self.lines == 64 else 64
        self._begin(lambda: self.gateway.panel(self.lines), "the gateway starts")

    def go_to(self, name: str) -> None:
        """Presses until the page is there whose name begins so."""
        listed = pages(self.lines)
        self._target = next((page for page in listed if page["name"].startswith(name)), None)
        self._presses = 2 * len(listed)
        self._stands = self._left = None
        if not self._target:
            self.remark(f"no page '{name}': {', '.join(page['name'] for page in listed)}")
        elif self._target["reach"] == "hold":
            self._target = None
            self.press(holding=True)

    def _step_on(self) -> None:
        if not self._target or self.pressed_at:
            return
        page = page_shown(self.rows)
        stands = (page and (page["page"], page["subPage"]), bool(self.backlight))
        if stands != self._stands:      # perhaps half drawn
            self._stands = stands
        elif stands == ((self._target["page"], self._target["subPage"]), True):
            self._target = None
        elif stands != self._left and self._presses:
            self._left, self._left_at = stands, time.monotonic()
            self._presses -= 1
            self.press()
        elif not self._presses or time.monotonic() - self._left_at > STEP_LIMIT:
            self.remark(f"{self._target['title']}: not reached by pressing")
            self._target = None


@dataclasses.dataclass
class Prompt:
    """A question that takes the next keys: so many, or a line of text."""
    question: str
    done: Callable[[str], None]
    typed: str = ""
    keys: int = 0

    def line(self) -> str:
        return f"{self.question} {self.typed}_"


class Front:
    """Turns keys into what the desk does."""

    def __init__(self, desk: Desk, title: str, wanted_cells: str | None) -> None:
        self.desk, self.title, self.cells = desk, title, wanted_cells
        self.prompt: Prompt | None = None
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

    def facts(self) -> list[Row]:
        return [("", "", True)] * FACT_ROWS if self.desk.busy else self.desk.fact_rows()

    def _take(self, key: str | int) -> bool:
        """False when the key asks for the end."""
        if self.help:
            self.help = []
        elif self.prompt:
            self._answer(self.prompt, key)
        elif key == "q":
            return False
        elif key == "?":
            self.help = [*FRONT_HELP, *((key, words) for key, (words, _) in FACT_KEYS.items())]
        elif not self.desk.busy:
            self._command(SAME_KEYS.get(key, key))
        return True

    def _command(self, key: str | int) -> None:
        desk = self.desk
        plain = {" ": desk.press, "h": desk.toggle_hold, "s": desk.switch_panel, "r": desk.restart}
        prompts = {
            "a": lambda: Prompt("Interface, address/prefix:", lambda text: desk.do(
                f"address {text}"), desk.facts.proposed_address()),
            "l": lambda: Prompt("Log line:", lambda text: desk.do(f"log {text}")),
            "j": lambda: Prompt("Page, by the beginning of its name:", desk.go_to),
            "f": lambda: Prompt("  ".join(f"{number} {name}" for number, name in enumerate(
                FILES, 1)) + "; r new  b broken  d gone  o original:", self._change_file, keys=2)}
        if key in FACT_KEYS:
            desk.do(FACT_KEYS[key][1](desk.facts))
        elif key in plain:
            plain[key]()
        elif key in prompts:
            self.prompt = prompts[key]()

    def _change_file(self, keys: str) -> None:
        numbered = {str(number): name for number, name in enumerate(FILES, 1)}
        if keys[0] in numbered and keys[1] in STATES:
            self.desk.do(f"file {numbered[keys[0]]} {STATES[keys[1]]}")

    def _answer(self, prompt: Prompt, key: str | int) -> None:
        ended = key in ("\n", "\r", curses.KEY_ENTER)
        if key in ("\x7f", "\b", curses.KEY_BACKSPACE):
            prompt.typed = prompt.typed[:-1]
        elif key == CLEAR:
            prompt.typed = ""
        elif isinstance(key, str) and key.isprintable() and len(prompt.typed) < TYPED_LIMIT:
            prompt.typed += key
        if key == ESCAPE or ended or len(prompt.typed) == (prompt.keys or None):
            self.prompt = None
        if not self.prompt and key != ESCAPE and not self.desk.busy and (
                len(prompt.typed) >= prompt.keys):
            prompt.done(prompt.typed)


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
