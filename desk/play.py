"""Plays what a person at the desk does, one act a line, and lets the time go by between."""

import ipaddress
import os
import pathlib
import re
import sys
import time
from collections.abc import Callable
from operator import methodcaller as call

import picture
from facts import FILES, MAKERS, MOODS, PORTS, SIMS, clock_text, panel_bytes
from gateway import LONG_PRESS, ORDINARY, Gateway, GatewayError

PICTURE_SCALE = 4
ZONES = pathlib.Path("/usr/share/zoneinfo")
MODEM_WORDS = {"present": ["true", "false"], "maker": MAKERS, "sim": list(SIMS),
               "mood": [mood for mood in MOODS if mood != "missing"]}

Act = Callable[[Gateway], object]


class PlayError(Exception):
    """Wrong lines of a play."""


def modem(fact: str, value: str) -> Act:
    if fact not in ORDINARY["modem"]:
        raise ValueError(f"no fact '{fact}' but {', '.join(ORDINARY['modem'])}")
    words = MODEM_WORDS.get(fact)
    if words is None:
        return call("modem", {fact: type(ORDINARY["modem"][fact])(value)})
    if value not in words:
        raise ValueError(f"no {fact} '{value}' but {', '.join(words)}")
    return call("modem", {fact: value == "true" if fact == "present" else value})


def address(name: str, text: str) -> Act:
    return call("address", name, None if text == "none" else str(ipaddress.IPv4Interface(text)))


def path_of(name: str) -> str:
    path = FILES.get(name, name)
    if not path.startswith("/"):
        raise ValueError(f"no file '{name}'")
    return path


def write(name: str, text: str) -> Act:
    return call("write", path_of(name), text.replace("\\n", "\n") + "\n")


def clock(text: str) -> Act:
    return call("clock", time.mktime(time.strptime(text, "%Y-%m-%d %H:%M:%S")))


def zone(name: str) -> Act:
    """From here on also the zone in which the play says the clock."""
    try:
        rules = (ZONES / name).read_bytes()
    except OSError:
        raise ValueError(f"no zone '{name}' in {ZONES}") from None
    os.environ["TZ"] = name
    time.tzset()
    return call("write", "/etc/localtime", rules)


def show(gateway: Gateway) -> None:
    print(*gateway.picture(), sep="\n", flush=True)


def save(path: str) -> Act:
    return lambda gateway: pathlib.Path(path).write_bytes(
        picture.png(gateway.picture(), PICTURE_SCALE))


PORT = "|".join(PORTS)
FILE = "|".join([*FILES, "/PATH"])
# Word -> what follows in words, as a pattern, and the act of its groups.
ACTS: dict[str, tuple[str, str, Callable[..., Act]]] = {
    "press": ("[TIMES]", r"(\d*)", lambda times: call("press", int(times or 1))),
    "hold": ("[SECONDS]", r"([\d.]*)",
             lambda held: call("press", 1, float(held or LONG_PRESS))),
    "wait": ("SECONDS", r"([\d.]+)", lambda seconds: call("pass_", float(seconds))),
    "panel": ("64|32", "(64|32)", lambda lines: call("panel", int(lines))),
    "cable": (f"{PORT} in|out", f"({PORT}) (in|out)",
              lambda name, state: call("cable", name, state == "in")),
    "card": ("in TOTAL FREE, or out", r"in (\d+) (\d+)|out",
             lambda *size: call("card", list(map(int, size)) if all(size) else None)),
    "mount": ("on|off", "(on|off)", lambda state: call("mount", state == "on")),
    "modem": ("FACT VALUE", r"(\S+) (\S+)", modem),
    "address": (f"{PORT} ADDRESS/PREFIX|none", rf"({PORT}) (none|\S+/\d+)", address),
    "write": (f"{FILE} TEXT (\\n: next line)", r"(\S+) (.*)", write),
    "remove": (FILE, r"(\S+)", lambda name: call("remove", path_of(name))),
    "log": ("TEXT", r"(.*)", lambda text: call("post", panel_bytes(text))),
    "zone": ("NAME, such as Europe/Berlin", r"(\S+)", zone),
    "clock": ("YYYY-MM-DD HH:MM:SS", r"(.+)", clock),
    "restart": ("", "", lambda: call("restart")),
    "show": ("", "", lambda: show),
    "save": ("FILE.png", r"(.+\.png)", save),
}


def parse(lines: list[str]) -> list[tuple[int, Act]]:
    """The acts with the numbers of their lines. Raises PlayError that names every wrong line."""
    acts, wrong = [], []
    for number, line in enumerate(lines, 1):
        line = re.split(r"^#|\s#\s", line.strip() + " ")[0].strip()
        try:
            acts += [(number, act_of(*line.split(None, 1)))] if line else []
        except ValueError as error:
            wrong.append(f"line {number}: {error}")
    if wrong:
        raise PlayError("\n".join(wrong))
    return acts


def act_of(word: str, rest: str = "") -> Act:
    if word not in ACTS:
        raise ValueError(f"no act '{word}'; expected one of {', '.join(ACTS)}")
    form, pattern, act = ACTS[word]
    found = re.fullmatch(pattern, rest)
    try:
        if not found:
            raise ValueError(f"'{rest}'")
        return act(*found.groups())
    except ValueError as error:
        raise ValueError(f"{word}: {error}; expected: {word} {form}".rstrip()) from None


def play(gateway: Gateway, acts: list[tuple[int, Act]]) -> int:
    """Plays the acts; what the daemon says goes to standard error. The status of the program."""
    for number, act in acts:
        try:
            act(gateway)
            said = "".join(gateway.said_both())
        except (GatewayError, OSError) as error:
            print(f"run: line {number}: {error}", file=sys.stderr)
            return 1
        for line in said.splitlines():
            print(f"{clock_text(gateway.now()[0])} paneld: {line}", file=sys.stderr)
    return 0
