"""Where the pieces of the virtual gateway are, and which gateways there are."""

import pathlib

from machine import Kind

TOP = pathlib.Path(__file__).resolve().parents[1]
PLACE = TOP / "build" / "system"
RESULTS = PLACE / "run"
SYSROOT = TOP / ".sysroot" / "armhf"
PANEL_LINES = (64, 32)

# Folders with the shared libraries of each processor.
LIBRARIES = {
    "amd64": [pathlib.Path(folder) for folder in
              ("/lib/x86_64-linux-gnu", "/usr/lib/x86_64-linux-gnu", "/lib64")],
    "armhf": [pathlib.Path("/usr/arm-linux-gnueabihf/lib"),
              SYSROOT / "usr/lib/arm-linux-gnueabihf", SYSROOT / "lib/arm-linux-gnueabihf"],
}


def kinds(processors: list[str]) -> list[Kind]:
    return [Kind(processor, lines, PLACE / processor / "kernel", PLACE / processor / "root.cpio")
            for processor in processors for lines in PANEL_LINES]
