"""A gateway to work with, simulated or virtual: a program of its own that answers requests.

The verbs stand in docs/gateway.md; each is a method here: `gateway.cable("eth1", False)`.
"""

import json
import os
import pathlib
import subprocess

TOP = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(os.environ.get("PANELD_BUILD", TOP / "build/release"))
SIMULATED = [str(BUILD / "sim/gateway")]
VIRTUAL = [str(TOP / "vm/gateway")]

PAGES = json.loads((TOP / "desk/pages.json").read_text())
ORDINARY = json.loads((TOP / "desk/ordinary.json").read_text())
PANELS = [int(lines) for lines in PAGES[0]["texts"]]     # the first page is on all of them

BUTTON = 256
SHORT_PRESS = 0.1       # seconds
LONG_PRESS = 10.5


def pages(lines: int) -> list[dict]:
    """The pages of a panel in the order of short presses, the reboot page last."""
    return [page for page in PAGES if str(lines) in page["texts"]]


def ordinary_file(path: str) -> str:
    return "\n".join(ORDINARY["files"][path]) + "\n"


def as_text(data: str | bytes) -> str:
    """Bytes as they travel; text goes as UTF-8."""
    return (data.encode() if isinstance(data, str) else data).decode("latin-1")


class GatewayError(Exception):
    """A request that the gateway refused, or a gateway that is gone."""


class Gateway:
    """Use as a context: leaving it ends the gateway and all that belongs to it."""

    def __init__(self, command: list[str]) -> None:
        # A session of its own: keys that interrupt are the front's matter.
        self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         text=True, encoding="utf-8", start_new_session=True)
        self.output = ""        # all that the daemon has said, as far as it was asked for
        self.errors = ""
        self.released = 0.0     # when the button was let go, in seconds as `now` gives them

    def ask(self, verb: str, *arguments):
        try:
            self._process.stdin.write(json.dumps([verb, *arguments]) + "\n")
            self._process.stdin.flush()
            line = self._process.stdout.readline()
        except OSError:
            line = ""
        if not line:
            raise GatewayError(f"{verb}: the gateway is gone")
        answer = json.loads(line)
        if "error" in answer:
            raise GatewayError(answer["error"])
        return answer["answer"]

    def __getattr__(self, verb: str):
        if verb.startswith("_"):
            raise AttributeError(verb)
        return lambda *arguments: self.ask(verb, *arguments)

    def write(self, path: str, data: str | bytes) -> None:
        self.ask("write", path, as_text(data))

    def post(self, line: str | bytes, kind: int = 1) -> bool:
        """A line of the log; the panel's text is GB2312. A zero ends it."""
        data = line.encode("gb2312") if isinstance(line, str) else line
        return self.ask("post", as_text(data + b"\0"), kind)

    def key(self, code: int, value: int) -> None:
        self.ask("key", code, value)
        if not value:
            self.released = self.now()[1]

    def said_both(self) -> list[str]:
        """What the daemon has written since the last look: standard output, standard error."""
        new = [text.encode("latin-1").decode(errors="replace") for text in self.ask("said")]
        self.output += new[0]
        self.errors += new[1]
        return new

    def said(self) -> str:
        return self.said_both()[0]

    def press(self, times: int = 1, held: float = SHORT_PRESS) -> None:
        for _ in range(times):
            self.key(BUTTON, 1)
            self.pass_(held)
            self.key(BUTTON, 0)
            self.pass_(SHORT_PRESS)

    def sh(self, script: str) -> str:
        """What it printed; a script that fails is an error."""
        status, text = self.ask("sh", script)
        if status:
            raise GatewayError(f"{script!r} ended with {status}: {text.strip()}")
        return text

    def pass_(self, seconds: float) -> None:
        self.ask("pass", seconds)

    def close(self) -> None:
        self._process.stdin.close()
        self._process.wait()
        self._process.stdout.close()

    def __enter__(self) -> "Gateway":
        return self

    def __exit__(self, *_) -> None:
        self.close()
