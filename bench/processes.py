#!/usr/bin/env python3
"""What whole processes cost in real time: paneld, the floor and any others, side by side.

    bench/processes.py ROUNDS SECONDS [NAME=PID[,PID...]]...

Prints a line of tab-separated figures per measurement:
    run    NAME ROUND cpu_ms_per_minute wakeups_per_second private_kb written_kb resident_kb
    start  NAME microseconds           to the first byte (floor), to the last byte of the first
                                       complete frame (paneld)
    key    paneld microseconds stolen  from the release of the button to the last byte of the new
                                       page; stolen: ticks of 10 ms that the host kept meanwhile
"""

import mmap
import os
import pathlib
import re
import sys
import time

TOP = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "desk"))

from gateway import BUTTON, SIMULATED, Gateway   # noqa: E402

PROGRAMS = {"paneld": TOP / "build/release/paneld", "floor": TOP / "build/release/bench/floor"}
STARTS = 20
PRESSES = 200
ICON_COLUMNS = 32       # the left side of the clock's icon, which no other page shows


def live(name: str) -> Gateway:
    gateway = Gateway([*SIMULATED, "--live", "--paneld", str(PROGRAMS[name])])
    gateway.modem({"present": False})
    return gateway


def video_memory(gateway: Gateway) -> mmap.mmap:
    with open(gateway.environment()["PANELD_GATEWAY"] + "/dev/fb0", "r+b") as file:
        return mmap.mmap(file.fileno(), 1024)


def watch(memory: mmap.mmap, before: bytes, quiet: float, patience: float) -> list[float]:
    """The moments of all changes until there has been none for `quiet` seconds."""
    changes: list[float] = []
    end = time.monotonic() + patience
    while (now := time.monotonic()) < end and (not changes or now - changes[-1] < quiet):
        if (picture := memory[:]) != before:
            before = picture
            changes.append(time.monotonic())
    return changes


def measure_starts(name: str) -> None:
    with live(name) as gateway:
        memory = video_memory(gateway)
        environment = os.environ | gateway.environment()
        gateway.signal(9)
        for _ in range(STARTS):
            gateway.fill(0)
            began = time.monotonic()
            child = os.posix_spawn(PROGRAMS[name], [name], environment)
            # Shorter than the second after which the clock redraws itself.
            changes = watch(memory, bytes(1024), 0.03, 0.8)
            os.kill(child, 9)
            os.waitpid(child, 0)
            end = changes[0 if name == "floor" else -1]
            print("start", name, round((end - began) * 1e6), sep="\t", flush=True)


def stolen_ticks() -> int:
    return int(pathlib.Path("/proc/stat").read_text().split()[8])


def measure_keys() -> None:
    with live("paneld") as gateway:
        memory = video_memory(gateway)
        for press in range(PRESSES):
            gateway.key(BUTTON, 1)
            time.sleep(0.15 + press * 0.05 / PRESSES)   # every phase of the poll is met
            before, stolen, began = memory[:], stolen_ticks(), time.monotonic()
            gateway.key(BUTTON, 0)
            changes = watch(memory, before, 0.01, 0.3)
            print("key", "paneld", round((changes[-1] - began) * 1e6) if changes else -1,
                  stolen_ticks() - stolen, sep="\t", flush=True)


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


def icon(picture: list[str]) -> list[str]:
    return [row[:ICON_COLUMNS] for row in picture]


def measure_runs(rounds: int, seconds: float, others: dict[str, list[int]]) -> None:
    with live("paneld") as gateway, live("floor") as floor:
        processes = {"paneld": [gateway.daemon()], "floor": [floor.daemon()], **others}
        clock = icon(gateway.picture())
        for number in range(1, rounds + 1):
            # Once round the cycle; the panel then stays lit for a minute.
            gateway.press()
            while icon(gateway.picture()) != clock:
                gateway.press()
            shown = gateway.picture()
            before = {name: use_of(ids) for name, ids in processes.items()}
            began = time.monotonic()
            time.sleep(seconds - 2)     # whole seconds are counted: the last may be dark
            if gateway.brightness() != 127 or icon(gateway.picture()) != clock \
                    or gateway.picture() == shown:
                sys.exit("the clock was not lit and ticking all the time")
            time.sleep(2)
            span = time.monotonic() - began
            for name, ids in processes.items():
                cpu, woken, *memory = use_of(ids)
                print("run", name, number, f"{(cpu - before[name][0]) / span * 60:.3f}",
                      f"{(woken - before[name][1]) / span:.2f}", *memory, sep="\t", flush=True)


def main() -> None:
    rounds, seconds, *others = sys.argv[1:]
    measure_starts("floor")
    measure_starts("paneld")
    measure_keys()
    measure_runs(int(rounds), float(seconds),
                 {name: list(map(int, ids.split(","))) for name, ids in
                  (other.split("=") for other in others)})


if __name__ == "__main__":
    main()
