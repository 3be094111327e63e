"""The virtual gateway's root file system: unpacked Debian packages, and the archive of paneld.

Everything here reads and writes ordinary files and needs no privileges: the root file system is
written as an archive in the form that the kernel unpacks into memory at boot.
"""

import os
import pathlib
import re
import stat
import subprocess

GUEST = pathlib.Path(__file__).resolve().parent / "guest"

# What the gateway needs beyond the kernel itself, without what these depend on; modules that a
# driver asks for by name at run time are listed too.
MODULES = [
    "virtio_pci", "virtio_console", "virtio_net",
    "sdhci-pci", "mmc_block", "crc32c_generic", "ext4", "vfat", "nls_cp437", "nls_ascii",
    "evdev", "uinput", "dummy",
    "backlight", "syscopyarea", "sysfillrect", "sysimgblt", "fb_sys_fops",
    "panel",
]

# Modification time of every file. The daemon reads a file when its time differs from the last one
# read, which is 0 at its start: files of 1970 would never be read.
MODIFIED = 1_700_000_000

FOLDERS = """bin sbin dev proc sys etc/init.d usr/sbin usr/bin lib tmp var media/mmcblk0p1
             zelkora/Config/system zelkora/Config/version""".split()


def modules_in_order(unpacked: pathlib.Path) -> list[pathlib.Path]:
    """The modules and all that they depend on, each after what it needs. A driver that is built
    into this kernel has no file and is left out."""
    version = next(unpacked.glob("lib/modules/*")).name
    listing = subprocess.run(["/sbin/modprobe", "-C", "/dev/null", "-d", unpacked, "-S", version,
                              "--all", "--show-depends", *MODULES],
                             check=True, text=True, stdout=subprocess.PIPE).stdout
    return [pathlib.Path(name) for name in dict.fromkeys(re.findall(r"insmod (\S+)", listing))]


def libraries_of(programs: list[pathlib.Path],
                 folders: list[pathlib.Path]) -> dict[str, pathlib.Path]:
    """The shared libraries of programs and of their libraries, by name, found in `folders`."""
    found: dict[str, pathlib.Path] = {}
    waiting = list(programs)
    while waiting:
        program = waiting.pop()
        listing = subprocess.run(["readelf", "-d", program], check=True, text=True,
                                 stdout=subprocess.PIPE).stdout
        for name in re.findall(r"NEEDED.*\[(.*)\]", listing):
            if name in found:
                continue
            places = [folder / name for folder in folders if (folder / name).exists()]
            if not places:
                raise SystemExit(f"{program} needs {name}, which is in none of {folders}")
            found[name] = places[0]
            waiting.append(places[0])
    return found


class Archive:
    """An archive in the newc form, made in memory."""

    def __init__(self) -> None:
        self._bytes = bytearray()
        self._count = 0
        self._folders: set[str] = set()

    def _entry(self, name: str, mode: int, data: bytes = b"", device: tuple[int, int] = (0, 0)):
        self._count += 1
        fields = [self._count, mode, 0, 0, 1, MODIFIED, len(data), 0, 0, *device, len(name) + 1, 0]
        self._bytes += b"070701" + b"".join(b"%08x" % field for field in fields)
        self._bytes += name.encode() + b"\0"
        self._pad()
        self._bytes += data
        self._pad()

    def _pad(self) -> None:
        self._bytes += b"\0" * (-len(self._bytes) % 4)

    def folder(self, name: str) -> None:
        if name in ("", ".") or name in self._folders:
            return
        self.folder(os.path.dirname(name))
        self._folders.add(name)
        self._entry(name, stat.S_IFDIR | 0o755)

    def file(self, name: str, path: pathlib.Path) -> None:
        self.folder(os.path.dirname(name))
        self._entry(name, path.stat().st_mode, path.read_bytes())

    def text(self, name: str, content: str) -> None:
        self.folder(os.path.dirname(name))
        self._entry(name, stat.S_IFREG | 0o644, content.encode())

    def link(self, name: str, target: str) -> None:
        self.folder(os.path.dirname(name))
        self._entry(name, stat.S_IFLNK | 0o777, target.encode())

    def console(self, name: str) -> None:
        self._entry(name, stat.S_IFCHR | 0o600, device=(5, 1))

    def finish(self) -> bytes:
        self._entry("TRAILER!!!", 0)
        return bytes(self._bytes)


def make(place: pathlib.Path, libraries: list[pathlib.Path],
         config: dict[str, str]) -> pathlib.Path:
    """Writes `root.cpio` into the folder that scripts/system-image has filled; one that is the same
    keeps its time. `config` holds the gateway's configuration files: path -> content."""
    unpacked, installed = place / "unpacked", place / "root"
    if not installed.exists():
        raise SystemExit(f"{place} is not filled; run scripts/system-image {place.name} first")
    archive = Archive()
    for name in FOLDERS:
        archive.folder(name)
    archive.console("dev/console")
    archive.file("bin/busybox", unpacked / "bin/busybox")
    archive.link("bin/sh", "busybox")
    archive.link("sbin/init", "../bin/busybox")
    archive.link("init", "sbin/init")
    archive.link("lib64", "lib")        # where programs of amd64 look for their loader
    for tree in (GUEST, installed):
        for path in sorted(path for path in tree.rglob("*") if path.is_file()):
            archive.file(str(path.relative_to(tree)), path)
    modules = modules_in_order(unpacked)
    for path in modules:
        archive.file(f"lib/modules/{path.name}", path)
    archive.text("etc/modules", "".join(f"/lib/modules/{p.name}\n" for p in modules))
    archive.file("usr/sbin/agent", place / "agent")
    programs = [installed / "usr/sbin/paneld", installed / "usr/bin/panelctl"]
    for name, path in sorted(libraries_of(programs, libraries).items()):
        archive.file(f"lib/{name}", path)
    for name, content in config.items():
        archive.text(name.lstrip("/"), content)
    content, root = archive.finish(), place / "root.cpio"
    if not root.exists() or root.read_bytes() != content:
        root.write_bytes(content)
    return root
