#!/usr/bin/env python3
"""What whole processes cost in real time: paneld, the floor and any others, side by side.

    bench/processes.py FOLDER ROUNDS SECONDS [NAME=PID[,PID...]]...

Prints the tables of docs/performance-figures.md. For the plot, FOLDER gets cpu.dat, the CPU of each
process, and key.dat, the time of each key.
"""

import mmap
import os
import pathlib
import re
import sys
import time
from statistics import mean, median_low

TOP = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "desk"))

from gateway import BUILD, BUTTON, SIMULATED, Gateway, pages   # noqa: E402
from walk import page_shown   # noqa: E402

PROGRAMS = {"paneld": BUILD / "paneld", "floor": BUILD / "bench/floor"}
STARTS = 20
PRESSES = 200
PATIENCE = 0.8          # seconds; shorter than the second after which the clock redraws itself
ROUND = 1 + sum(page["reach"] == "press" for page in pages(64))    # presses
LATENCY = "\n## Latency, microseconds\n\n| what | count | least | median | worst |\n" + (
    "|---|---:|---:|---:|---:|")
PROCESSES = """
## Whole processes, mean of {} rounds of {} s side by side

| process | CPU ms per minute | wake-ups per second | private kB | of it written | resident kB |
|---|---:|---:|---:|---:|---:|"""


def live(name: str) -> Gateway:
    gateway = Gateway([*SIMULATED, "--live", "--paneld", str(PROGRAMS[name])])
    gateway.modem({"present": False})
    return gateway


def video_memory(gateway: Gateway) -> mmap.mmap:
    with open(gateway.environment()["PANELD_GATEWAY"] + "/dev/fb0", "r+b") as file:
        return mmap.mmap(file.fileno(), 1024)


def watch(memory: mmap.mmap, before: bytes, began: float, quiet: float) -> list[int]:
    """The microseconds to all changes, until there has been none for `quiet` seconds."""
    changes: list[float] = []
    while (now := time.monotonic()) < began + PATIENCE and (
            not changes or now - changes[-1] < quiet):
        if (picture := memory[:]) != before:
            before = picture
            changes.append(time.monotonic())
    return [round((change - began) * 1e6) for change in changes]


def starts(name: str, change: int) -> list[int]:
    """From the start of the program to this change of the picture."""
    taken = []
    with live(name) as gateway:
        memory = video_memory(gateway)
        environment = os.environ | gateway.environment()
        gateway.signal(9)
        for _ in range(STARTS):
            gateway.fill(0)
            began = time.monotonic()
            child = os.posix_spawn(PROGRAMS[name], [name], environment)
            taken.append(watch(memory, bytes(1024), began, 0.03)[change])
            os.kill(child, 9)
            os.waitpid(child, 0)
    return taken


def stolen_ticks() -> int:
    """Of 10 ms, that the host has kept for others."""
    return int(pathlib.Path("/proc/stat").read_text().split()[8])


def keys() -> list[tuple[int, bool]]:
    """From the release of the button to the last byte of the new page, and whether the host took
    no time away meanwhile."""
    taken = []
    with live("paneld") as gateway:
        memory = video_memory(gateway)
        for press in range(PRESSES):
            gateway.key(BUTTON, 1)
            time.sleep(0.15 + press * 0.05 / PRESSES)   # every phase of the poll is met
            before, stolen, began = memory[:], stolen_ticks(), time.monotonic()
            gateway.key(BUTTON, 0)
            taken.append((watch(memory, before, began, 0.01)[-1], stolen_ticks() == stolen))
    return taken


def numbers(text: str, word: str) -> int:
    return sum(map(int, re.findall(rf"^{word}:\s+(\d+)", text, re.MULTILINE)))


def use_of(processes: list[int]) -> list[float]:
    """CPU in ms, wake-ups, private kB, of them written, resident kB; of all threads together."""
    threads = [task for process in processes
               for task in pathlib.Path(f"/proc/{process}/task").iterdir()]
    memory = "".join(pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
                     for process in processes)
    return [sum(int((task / "schedstat").read_text().split()[0]) for task in threads) / 1e6,
            sum(numbers((task / "status").read_text(), "voluntary_ctxt_switches")
                for task in threads),
            numbers(memory, "Private_(?:Clean|Dirty)"), numbers(memory, "Private_Dirty"),
            numbers(memory, "Rss")]


def runs(rounds: int, seconds: float, others: dict[str, list[int]]) -> dict[str, list[list[float]]]:
    """By process and round: what it used in a minute and in a second, and the memory it has."""
    with live("paneld") as gateway, live("floor") as floor:
        processes = {"paneld": [gateway.daemon()], "floor": [floor.daemon()], **others}
        used = {name: [] for name in processes}
        for _ in range(rounds):
            gateway.press(ROUND)    # the panel then stays lit for a minute
            shown = gateway.picture()
            before = {name: use_of(ids) for name, ids in processes.items()}
            began = time.monotonic()
            time.sleep(seconds - 2)     # whole seconds are counted: the last may be dark
            if gateway.brightness() != 127 or gateway.picture() == shown \
                    or page_shown(gateway.picture())["name"] != "clock":
                sys.exit("the clock was not lit and ticking all the time")
            time.sleep(2)
            span = time.monotonic() - began
            for name, ids in processes.items():
                cpu, woken, *memory = use_of(ids)
                used[name].append([(cpu - before[name][0]) / span * 60,
                                   (woken - before[name][1]) / span, *memory])
    return used


def main() -> None:
    folder, rounds, seconds, *others = sys.argv[1:]
    ids = {name: list(map(int, listed.split(",")))
           for name, listed in (other.split("=") for other in others)}
    print(PROCESSES.format(rounds, seconds))
    cpu = []
    for name, used in runs(int(rounds), float(seconds), ids).items():
        per_minute, per_second = (mean(column) for column in list(zip(*used))[:2])
        print(f"| {name} | {per_minute:.1f} | {per_second:.1f} | "
              + "{} | {} | {} |".format(*used[-1][2:]))
        cpu.append(f"{name} {per_minute}")
    pressed = keys()
    print(LATENCY)
    for what, taken in (
            ("start to the first byte, floor", starts("floor", 0)),
            ("start to the first complete frame, paneld", starts("paneld", -1)),
            ("key release to the complete page, paneld", [key for key, _ in pressed]),
            ("the same, the host taking no time away", [key for key, calm in pressed if calm])):
        print(f"| {what} | {len(taken)} | {min(taken)} | {median_low(taken)} | {max(taken)} |")
    for name, rows in (("cpu", cpu), ("key", [key / 1000 for key, _ in pressed])):
        pathlib.Path(folder, f"{name}.dat").write_text("\n".join(map(str, rows)) + "\n")


if __name__ == "__main__":
    main()
