#!/usr/bin/env python3
"""What a redraw of each page costs: the unmodified daemon under callgrind on a simulated gateway.

Prints a line of tab-separated figures per page: panel and name, pixels written, instructions. A
pixel counts as written when it ends the same on a dark and on a lit panel; of several redraws the
cheapest counts, which is one that begins no query.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "desk"))

from gateway import ORDINARY, SIMULATED, Gateway, pages   # noqa: E402

DAEMON = TOP / "build/release/paneld"
REDRAWS = 12.5      # seconds in which every page is redrawn, the clock's within a second


def draw_functions() -> list[str]:
    symbols = subprocess.run(["nm", "-C", DAEMON], check=True, capture_output=True, text=True)
    return re.findall(r"\bdraw\w+Page\(.*\)", symbols.stdout)


def wrapper(folder: str, draw: str) -> pathlib.Path:
    """The daemon as callgrind runs it: every call of the function leaves a file with its cost. One
    function for each run: callgrind mixes up those whose names begin alike."""
    script = pathlib.Path(folder, "paneld")
    script.write_text("#!/bin/sh\nexec valgrind --tool=callgrind --callgrind-out-file="
                      f"{folder}/draw '--dump-before={draw}' '--dump-after={draw}' {DAEMON}\n")
    script.chmod(0o755)
    return script


def take_costs(folder: str) -> list[int]:
    """The instructions of all calls since the last look."""
    costs = []
    for file in pathlib.Path(folder).glob("draw*"):
        profile = file.read_text()
        if "Trigger: --dump-after" in profile:
            costs.append(int(re.search(r"^totals: (\d+)", profile, re.MULTILINE)[1]))
        file.unlink()
    return costs


def redraw_on(gateway: Gateway, fill: int) -> str:
    gateway.fill(fill)
    gateway.clock(ORDINARY["clock"])
    gateway.pass_(REDRAWS)
    return "".join(gateway.picture())


def costs_of(lines: int, draw: str) -> dict[str, tuple[int, int]]:
    """Pixels and instructions of the pages that this function draws."""
    costs = {}
    with tempfile.TemporaryDirectory() as folder:
        command = [*SIMULATED, "--panel", str(lines), "--paneld", str(wrapper(folder, draw))]
        with Gateway(command) as gateway:
            gateway.modem({"present": False})
            for line in ORDINARY["log"]:
                gateway.post(line)
            for page in pages(lines):
                if page["reach"] == "press":
                    gateway.press()
                # Becomes another with its first redraw, and waits for a command.
                if take_costs(folder) and page["name"] not in ("sim-scanning", "reboot"):
                    dark, lit = redraw_on(gateway, 0), redraw_on(gateway, 255)
                    costs[page["name"]] = (sum(map(str.__eq__, dark, lit)),
                                           min(take_costs(folder)))
                elif page["name"] == "sim-scanning":
                    gateway.pass_(REDRAWS)
    return costs


def main() -> None:
    for lines in (64, 32):
        costs = {}
        for draw in draw_functions():
            costs |= costs_of(lines, draw)
        for page in pages(lines):
            if page["name"] in costs:
                print(f"{lines}/{page['name']}", *costs[page["name"]], sep="\t", flush=True)


if __name__ == "__main__":
    main()
