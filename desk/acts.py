"""What can be done to a gateway, in the words that people write: `cable eth1 out`. The lines of a
play are acts, the keys of the desk give acts, and its remarks tell them."""

import ipaddress
import os
import pathlib
import re
import sys
import time
from collections.abc import Callable
from operator import methodcaller as call

import picture
from gateway import LONG_PRESS, ORDINARY, PANELS, Gateway, GatewayError, as_text, ordinary_file
from walk import go_to

PORTS = {"eth1": "Port 1 eth1", "eth0": "Port 2 eth0", "ppp0": "Data ppp0"}
CARDS = [ORDINARY["card"], [128, 96], [30436, 30000], [123456, 121000]]
MAKERS = ["SIMCOM", "AirM2M", "other"]
SIMS = {"ready": "SIM in", "pin": "SIM asks for its PIN", "absent": "no SIM"}
MODEM_WORDS = {"present": ["true", "false"], "maker": MAKERS, "sim": list(SIMS),
               "mood": ["answers", "silent", "error"]}
PATHS = list(ORDINARY["files"])
# Short name -> path, what a new one has instead, and when it is read.
FILES = {
    "sys.xml": (PATHS[0], {"192.168.1.1": "10.20.30.254", 'cascade="0"': 'cascade="1"'},
                "on the gateway page"),
    "sn.xml": (PATHS[1], {"SN20240001": "SN20249999", "GW-100-L": "GW-200"},
               "on the identity page"),
    "version": (PATHS[2], {"V1.2.3": "V2.0.0-rc1"}, "on the version page"),
    "channels": (PATHS[3], {'No="1"': 'No="3"', 'No="2"': 'No="7"', 'No="5"': 'No="12"'},
                 "on the way from the TF card page to the channels"),
}
ZONES = pathlib.Path("/usr/share/zoneinfo")
LOG_LINE = 68           # bytes; a longer message would stay in the queue
CLOCK = "%Y-%m-%d %H:%M:%S"

Act = Callable[[Gateway], object]


def clock_text(clock: float) -> str:
    return time.strftime(CLOCK, time.localtime(clock))


def file_text(name: str, state: str) -> str:
    path, changes, _ = FILES[name]
    text = ordinary_file(path)
    if state == "broken":
        return text[:len(text) // 2] if text.startswith("<") else ""
    for old, new in changes.items() if state == "new" else ():
        text = text.replace(old, new)
    return text


def path_of(name: str) -> str:
    if name not in FILES and not name.startswith("/"):
        raise ValueError(f"no file '{name}'")
    return FILES[name][0] if name in FILES else name


def file_act(name: str, state: str) -> Act:
    if state == "gone":
        return call("remove", path_of(name))
    return call("write", path_of(name), file_text(name, state))


def modem_act(text: str) -> Act:
    facts = {}
    for fact, value in zip(text.split()[::2], text.split()[1::2]):
        if fact not in ORDINARY["modem"]:
            raise ValueError(f"no fact '{fact}' but {', '.join(ORDINARY['modem'])}")
        words = MODEM_WORDS.get(fact)
        if words and value not in words:
            raise ValueError(f"no {fact} '{value}' but {', '.join(words)}")
        kind = type(ORDINARY["modem"][fact])
        facts[fact] = value == "true" if kind is bool else kind(value)
    return call("modem", facts)


def address_act(name: str, text: str) -> Act:
    return call("address", name, None if text == "none" else str(ipaddress.IPv4Interface(text)))


def log_act(line: str) -> Act:
    try:
        data = line.encode("gb2312")
    except UnicodeEncodeError as error:
        raise ValueError(f"GB2312 has no '{line[error.start]}'") from None
    if len(data) > LOG_LINE:
        raise ValueError(f"{len(data)} bytes, a line takes {LOG_LINE}")

    def post(gateway: Gateway) -> None:
        if not gateway.ask("post", as_text(data.ljust(min(len(data) + 1, LOG_LINE), b"\0")), 1):
            raise GatewayError("the queue is full")
    return post


def zone_act(name: str) -> Act:
    """From here on also the zone in which the clock is told."""
    if not (ZONES / name).is_file():
        raise ValueError(f"no zone '{name}' in {ZONES}")
    os.environ["TZ"] = name
    time.tzset()
    return call("write", "/etc/localtime", (ZONES / name).read_bytes())


def show(gateway: Gateway) -> None:
    print(*gateway.picture(), sep="\n", flush=True)


def save_act(path: str) -> Act:
    return lambda gateway: pathlib.Path(path).write_bytes(picture.png(gateway.picture()))


PORT, FILE, LINES = "|".join(PORTS), "|".join(FILES), "|".join(map(str, PANELS))
# Word -> what follows it in words, as a pattern, and the act of the pattern's groups.
ACTS: dict[str, tuple[str, str, Callable[..., Act]]] = {
    "press": ("[TIMES]", r"(\d*)", lambda times: call("press", int(times or 1))),
    "hold": ("[SECONDS]", r"([\d.]*)", lambda held: call("press", 1, float(held or LONG_PRESS))),
    "page": ("NAME, or its beginning", r"(\S+)", lambda name: lambda gateway: go_to(gateway, name)),
    "wait": ("SECONDS", r"([\d.]+)", lambda seconds: call("pass_", float(seconds))),
    "panel": (LINES, f"({LINES})", lambda lines: call("panel", int(lines))),
    "cable": (f"{PORT} in|out", f"({PORT}) (in|out)",
              lambda name, state: call("cable", name, state == "in")),
    "card": ("in TOTAL FREE, or out", r"in (\d+) (\d+)|out",
             lambda *size: call("card", list(map(int, size)) if all(size) else None)),
    "modem": ("FACT VALUE ...", r"(\S+ \S+(?: \S+ \S+)*)", modem_act),
    "address": (f"{PORT} ADDRESS/PREFIX|none", rf"({PORT}) (none|\S+/\d+)", address_act),
    "write": (f"{FILE}|/PATH TEXT (\\n: next line)", r"(\S+) (.*)",
              lambda name, text: call("write", path_of(name), text.replace("\\n", "\n") + "\n")),
    "remove": (f"{FILE}|/PATH", r"(\S+)", lambda name: call("remove", path_of(name))),
    "file": (f"{FILE} new|broken|gone|original", f"({FILE}) (new|broken|gone|original)", file_act),
    "log": ("TEXT", r"(.*)", log_act),
    "zone": ("NAME, such as Europe/Berlin", r"(\S+)", zone_act),
    "clock": ("YYYY-MM-DD HH:MM:SS", r"(.+)", lambda text: call(
        "clock", time.mktime(time.strptime(text, CLOCK)))),
    "restart": ("", "", lambda: call("restart")),
    "show": ("", "", lambda: show),
    "save": ("FILE.png", r"(.+\.png)", save_act),
}
# What is not seen at once, by pattern.
NOTES = {
    "cable .* out": "the address stays",
    "address .* none": "ends of the longer text stay until a press",
    "card out": "its mount is left behind",
    "modem mood silent": "a query takes seconds",
    **{f"file {name} .*": f"read {when}" for name, (_, _, when) in FILES.items()},
}


def act_of(line: str) -> Act:
    """Raises ValueError with what was expected."""
    word, _, rest = line.partition(" ")
    if word not in ACTS:
        raise ValueError(f"no act '{word}'; expected one of {', '.join(ACTS)}")
    form, pattern, act = ACTS[word]
    found = re.fullmatch(pattern, rest.strip())
    try:
        if not found:
            raise ValueError(f"not '{rest}'")
        return act(*found.groups())
    except ValueError as error:
        raise ValueError(f"{word}: {error}; expected: {form or 'nothing more'}") from None


def note_of(line: str) -> str:
    if line.startswith("log "):
        lacking = picture.lacking(line[4:].encode("gb2312"))
        return "the font lacks " + ", ".join(map(repr, lacking)) if lacking else ""
    return next((note for pattern, note in NOTES.items() if re.fullmatch(pattern, line)), "")


# --- Plays ---

class PlayError(Exception):
    """Wrong lines of a play, one a line."""


def parse(lines: list[str]) -> list[tuple[int, Act]]:
    """The acts with the numbers of their lines. A # with a blank after it begins a comment."""
    acts, wrong = [], []
    for number, line in enumerate(lines, 1):
        line = re.split(r"^#|\s#\s", line.strip() + " ")[0].strip()
        try:
            acts += [(number, act_of(line))] if line else []
        except ValueError as error:
            wrong.append(f"line {number}: {error}")
    if wrong:
        raise PlayError("\n".join(wrong))
    return acts


def play(gateway: Gateway, acts: list[tuple[int, Act]]) -> None:
    """Plays the acts; what the daemon says goes to standard error."""
    for number, act in acts:
        try:
            act(gateway)
        except (GatewayError, OSError) as error:
            raise GatewayError(f"line {number}: {error}") from None
        for line in "".join(gateway.said_both()).splitlines():
            print(f"{clock_text(gateway.now()[0])} paneld: {line}", file=sys.stderr)
