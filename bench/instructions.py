#!/usr/bin/env python3
"""Instructions that drawing takes, counted by callgrind: the primitives of bench/scenes, and every
page of the unmodified daemon on a simulated gateway.

    bench/instructions.py FIGURES            prints the tables of docs/performance-figures.md
    bench/instructions.py FIGURES --check    compares with those that stand there, and fails when
                                             something takes over 5 % more

A pixel of a page counts as written when it ends the same on a dark and on a lit panel; of several
redraws the cheapest counts, which is one that begins no query.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "desk"))

from gateway import BUILD, ORDINARY, PANELS, SIMULATED, Gateway, pages   # noqa: E402

REDRAWS = 12.5      # seconds in which every page is redrawn, the clock's within a second
MOST_GROWTH = 1.05
Costs = dict[str, tuple[int, int]]      # pixels and instructions by name


def counting(folder: str, function: str) -> list[str]:
    """Begins a command: every call of the function leaves a file with its cost. One function for
    each run: callgrind mixes up those whose names begin alike."""
    return ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/cost",
            f"--dump-before={function}", f"--dump-after={function}"]


def take_costs(folder: str) -> list[int]:
    """The instructions of all calls since the last look, in their order."""
    costs = []
    for file in sorted(pathlib.Path(folder).glob("cost.*"), key=lambda file: int(file.suffix[1:])):
        profile = file.read_text()
        if "Trigger: --dump-after" in profile:
            costs.append(int(re.search(r"^totals: (\d+)", profile, re.MULTILINE)[1]))
        file.unlink()
    return costs


def costs_of_scenes() -> Costs:
    with tempfile.TemporaryDirectory() as folder:
        drawn = subprocess.run([*counting(folder, "measuredScene"), BUILD / "bench/scenes"],
                               check=True, capture_output=True, text=True).stdout
        named = re.findall(r"^(\w+) (\d+)$", drawn, re.MULTILINE)
        return {name: (int(pixels), cost)
                for (name, pixels), cost in zip(named, take_costs(folder))}


def redraw_on(gateway: Gateway, fill: int) -> str:
    gateway.fill(fill)
    gateway.clock(ORDINARY["clock"])
    gateway.pass_(REDRAWS)
    return "".join(gateway.picture())


def costs_of_pages(lines: int, draw: str) -> Costs:
    """Of those that this function draws."""
    costs = {}
    with tempfile.TemporaryDirectory() as folder:
        daemon = pathlib.Path(folder, "paneld")
        daemon.write_text("#!/bin/sh\nexec '{}'\n".format(
            "' '".join([*counting(folder, draw), str(BUILD / "paneld")])))
        daemon.chmod(0o755)
        with Gateway([*SIMULATED, "--panel", str(lines), "--paneld", str(daemon)]) as gateway:
            gateway.modem({"present": False})
            for line in ORDINARY["log"]:
                gateway.post(line)
            for page in pages(lines):
                if page["reach"] == "press":
                    gateway.press()
                # Becomes another with its first redraw, and waits for a command.
                if take_costs(folder) and page["name"] not in ("sim-scanning", "reboot"):
                    dark, lit = redraw_on(gateway, 0), redraw_on(gateway, 255)
                    costs[f"{lines}/{page['name']}"] = (sum(map(str.__eq__, dark, lit)),
                                                        min(take_costs(folder)))
                elif page["name"] == "sim-scanning":
                    gateway.pass_(REDRAWS)
    return costs


def costs_of_all_pages() -> Costs:
    symbols = subprocess.run(["nm", "-C", BUILD / "paneld"], check=True, capture_output=True,
                             text=True).stdout
    costs = {}
    for lines in PANELS:
        for draw in re.findall(r"\bdraw\w+Page\(.*\)", symbols):
            costs |= costs_of_pages(lines, draw)
    order = [f"{lines}/{page['name']}" for lines in PANELS for page in pages(lines)]
    return {name: costs[name] for name in order if name in costs}


def show(title: str, what: str, costs: Costs) -> None:
    print(f"\n## Instructions of {title} (callgrind)\n\n"
          f"| {what} | pixels written | instructions | per pixel |\n|---|---:|---:|---:|")
    for name, (pixels, cost) in costs.items():
        print(f"| {name} | {pixels} | {cost} | {cost / pixels:.1f} |")


def main() -> None:
    scenes, drawn = costs_of_scenes(), costs_of_all_pages()
    if "--check" not in sys.argv:
        show("the primitives", "scene", scenes)
        show("a page redraw", "page", drawn)
        return
    figures = pathlib.Path(sys.argv[1]).read_text()
    recorded = re.findall(r"^\| (\S+) \| \d+ \| (\d+) \|", figures, re.MULTILINE)
    grown = {name: f"{cost} instructions instead of {before}" for name, before in recorded
             if (cost := (scenes | drawn)[name][1]) > int(before) * MOST_GROWTH}
    print(f"{len(recorded)} figures compared, grown: {grown or 'none'}")
    sys.exit(not recorded or bool(grown))


if __name__ == "__main__":
    main()
