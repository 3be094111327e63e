"""The panel live in the terminal, with keys for its button and for the gateway's facts."""

import contextlib
import curses
import dataclasses
import threading
import time
from collections.abc import Callable

from facts import FACT_KEYS, FILES, Facts, clock_text
from gateway import BUTTON, Gateway, GatewayError, pages
from picture import WIDTH
from view import FRONT_HELP, Shown, View
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


@dataclasses.dataclass
class Prompt:
    """A question that takes the next keys: a line of text, or one of some keys."""
    question: str
    done: Callable[[str], None]
    typed: str | None = None


class Desk:
    """A gateway, the finger on its button, and what has been said. While the gateway starts, a
    thread waits for it and nobody else speaks to it."""

    def __init__(self, start: Callable[[int], Gateway], lines: int, virtual: bool) -> None:
        self.remarks: list[tuple[str, str]] = []    # as they are shown, and who says it
        self._said: list[tuple[str, str, int]] = []
        self.gateway: Gateway | None = None
        self.facts: Facts | None = None
        self.lines = lines
        self._virtual = virtual
        self.pid = self.reboots = self._known_reboots = 0
        self._begin(lambda: self._boot(start), "the gateway starts")

    # --- Starting, rebooting ---

    def _begin(self, work: Callable[[], None], doing: str) -> None:
        self.pressed_at: float | None = None
        self.holding = False
        self._target: dict | None = None
        self.backlight: int | None = 0
        self.rows = ["." * WIDTH] * self.lines
        self._doing = doing
        self._failure: Exception | None = None
        self._began = time.monotonic()
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
            self._known_reboots = self.reboots
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
        if not self.pid:
            return "paneld does not run - r starts it again"
        return ("a real gateway would restart now - r starts paneld again"
                if self.reboots > self._known_reboots else "")

    def poll(self) -> None:
        """Moves the finger when it is time to, looks at the gateway and follows its reboot."""
        if self._starter:
            if self._starter.is_alive():
                return
            if self._failure:
                raise self._failure
            self._starter = None
            self.remark(f"paneld started, {self.lines}-line panel")
        if self.pressed_at is not None and time.monotonic() - self.pressed_at > (
                LONG_PRESS if self.holding else SHORT_PRESS):
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
        self.pid, self.reboots = self.gateway.daemon(), self.gateway.reboots()

    def _hear(self) -> bool:
        """Takes what the daemon has said; whether it has asked for a reboot."""
        said = self.gateway.said_both()
        for speaker, text in zip(("daemon", "errors"), said):
            for line in text.splitlines():
                if line.strip(" ^"):    # the XML library marks a place by a caret below it
                    self.remark(line, speaker)
        return REBOOTING in said[0]

    def remark(self, text: str, speaker: str = "desk") -> None:
        """The same words again and again are counted."""
        count = 1
        if self._said and self._said[-1][:2] == (text, speaker):
            count += self._said.pop()[2]
            self.remarks.pop()
        self._said.append((text, speaker, count))
        clock = clock_text(self.facts.clock).split()[1] + " " if self.facts else ""
        name = "" if speaker == "desk" else "paneld: "
        times = f" ({count} times)" if count > 1 else ""
        self.remarks.append((f"{clock}{name}{text}{times}", speaker))
        del self._said[:-REMARKS], self.remarks[:-REMARKS]

    # --- Keys ---

    def press_shortly(self) -> None:
        self.let_go()
        self._press()

    def toggle_hold(self) -> None:
        holding = self.holding
        self.let_go()
        if not holding:
            self._press()
            self.holding = True

    def _press(self) -> None:
        self.gateway.key(BUTTON, 1)
        self.pressed_at = time.monotonic()

    def let_go(self) -> None:
        if self.pressed_at is not None:
            self.gateway.key(BUTTON, 0)
        self.pressed_at = None
        self.holding = False

    def button(self) -> str:
        if not self.holding:
            return " (●) button " if self.pressed_at is not None else " (○) button "
        held = time.monotonic() - self.pressed_at
        return f" (●) held {held:.1f} s {'- long' if held >= 10 else 'of 10'} "

    def go_to(self, name: str) -> None:
        """Presses until the page is there whose name begins so."""
        self._target = next((page for page in pages(self.lines) if page["name"].startswith(name)),
                            None)
        if not self._target:
            names = ", ".join(page["name"] for page in pages(self.lines))
            self.remark(f"no page '{name}': {names}")
        elif self._target["reach"] == "hold":
            self._target = None
            self.toggle_hold()
        self._presses = 2 * len(pages(self.lines))
        self._stands = self._left = None

    def _step_on(self) -> None:
        if not self._target or self.pressed_at is not None:
            return
        page = page_shown(self.rows) or {}
        stands = (page.get("page"), page.get("subPage"), bool(self.backlight))
        if stands != self._stands:      # perhaps half drawn
            self._stands = stands
        elif stands == (self._target["page"], self._target["subPage"], True):
            self._target = None
        elif stands != self._left and self._presses:
            self._left, self._left_at = stands, time.monotonic()
            self._presses -= 1
            self._press()
        elif not self._presses or time.monotonic() - self._left_at > STEP_LIMIT:
            self.remark(f"{self._target['title']}: not reached by pressing")
            self._target = None

    def restart(self) -> None:
        self.let_go()
        self._begin(self.gateway.restart, "paneld starts again")

    def switch_panel(self) -> None:
        self.let_go()
        self.lines = 96 - self.lines
        self._begin(lambda: self.gateway.panel(self.lines), "the gateway starts")

    def daemon_text(self) -> str:
        reboots = {0: "", 1: ", 1 reboot"}.get(self.reboots, f", {self.reboots} reboots")
        return (f"pid {self.pid}" if self.pid else "not running") + reboots


class Front:
    """Turns keys into what the desk does."""

    def __init__(self, desk: Desk, title: str, wanted_cells: str | None) -> None:
        self.desk = desk
        self._title = title
        self._cells = wanted_cells
        self._prompt: Prompt | None = None
        self._help = False

    def run(self, screen) -> None:
        view = View(screen)
        screen.timeout(int(FRAME * 1000))
        while True:
            self.desk.poll()
            view.draw(self._shown(), self._cells)
            with contextlib.suppress(curses.error):     # no key in time
                key = screen.get_wch()
                if key == REDRAW:
                    screen.clearok(True)
                elif key != curses.KEY_RESIZE and not self._take(key):
                    return

    def _shown(self) -> Shown:
        desk = self.desk
        facts = [("", "", True)] * FACT_ROWS
        if desk.facts and not desk.busy:
            facts = [*desk.facts.rows(), ("Daemon", desk.daemon_text(), bool(desk.pid))]
        prompt = self._prompt
        entries = [*FRONT_HELP, *((key, words) for key, (words, _) in FACT_KEYS.items())]
        return Shown(desk.rows, f" paneld, {desk.lines} lines{self._title} ", desk.button(),
                     desk.pressed_at is not None, desk.backlight, facts, desk.remarks,
                     desk.notice, prompt.question if prompt else "",
                     prompt.typed if prompt else None, entries if self._help else None)

    def _take(self, key) -> bool:
        """False when the key asks for the end."""
        if self._help:
            self._help = False
        elif self._prompt:
            self._answer(key)
        elif key == "q":
            return False
        elif key == "?":
            self._help = True
        elif not self.desk.busy:
            self._command({curses.KEY_UP: "+", curses.KEY_DOWN: "-", curses.KEY_ENTER: " ",
                           "\n": " ", "\r": " "}.get(key, key))
        return True

    def _command(self, key) -> None:
        desk, facts = self.desk, self.desk.facts
        plain = {" ": desk.press_shortly, "h": desk.toggle_hold, "s": desk.switch_panel,
                 "r": desk.restart, "f": self._ask_file}
        asked = {"a": ("Interface, address, netmask:", facts.set_address, facts.proposed_address()),
                 "l": ("Log line:", facts.send_line, ""),
                 "j": ("Page, by the beginning of its name:", desk.go_to, "")}
        if key in FACT_KEYS:
            self._change(lambda: FACT_KEYS[key][1](facts))
        elif key in plain:
            plain[key]()
        elif key in asked:
            question, done, proposal = asked[key]
            self._prompt = Prompt(question, lambda text: self._change(lambda: done(text)), proposal)

    def _change(self, act: Callable[[], str | None]) -> None:
        try:
            remark = act()
        except GatewayError as error:
            remark = str(error)
        if remark:
            self.desk.remark(remark)
        self.desk.look_aside()

    def _ask_file(self) -> None:
        names = list(FILES)
        numbered = "  ".join(f"{number} {name}" for number, name in enumerate(names, 1))

        def chosen(key) -> None:
            if key in ("1", "2", "3", "4"):
                self._ask_state(names[int(key) - 1])
        self._prompt = Prompt(f"{numbered}  Esc back", chosen)

    def _ask_state(self, name: str) -> None:
        states = {"r": "new", "b": "broken", "d": "gone", "o": ""}

        def chosen(key) -> None:
            if key in states:
                self._change(lambda: self.desk.facts.set_file(name, states[key]))
        self._prompt = Prompt(f"{name}: r rewrite  b break  d delete  o original  Esc back", chosen)

    def _answer(self, key) -> None:
        prompt = self._prompt
        if prompt.typed is None or key in ("\n", "\r", curses.KEY_ENTER):
            self._prompt = None
            if not self.desk.busy:
                prompt.done(prompt.typed if prompt.typed is not None else key)
        elif key == ESCAPE:
            self._prompt = None
        elif key in ("\x7f", "\b", curses.KEY_BACKSPACE):
            prompt.typed = prompt.typed[:-1]
        elif key == CLEAR:
            prompt.typed = ""
        elif isinstance(key, str) and key.isprintable() and len(prompt.typed) < TYPED_LIMIT:
            prompt.typed += key


def can_draw() -> bool:
    """Whether the terminal lets its cursor be placed; some are mere printers."""
    try:
        curses.setupterm()
    except curses.error:
        return False
    return curses.tigetstr("cup") is not None


def run_front(start: Callable[[int], Gateway], lines: int, virtual: bool, title: str,
              wanted_cells: str | None) -> None:
    """Until the person quits; the terminal is as before then, whatever the end was."""
    desk = Desk(start, lines, virtual)
    try:
        curses.wrapper(Front(desk, title, wanted_cells).run)
    finally:
        if desk.gateway:
            desk.gateway.close()
