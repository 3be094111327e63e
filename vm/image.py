"""The virtual gateway's kernel and root file system, packed from unpacked Debian packages.

Everything here reads and writes ordinary files and needs no privileges: the root file system is
written as an archive in the form that the kernel unpacks into memory at boot.
"""

import lzma
import os
import pathlib
import re
import stat
import subprocess

HERE = pathlib.Path(__file__).resolve().parent

# What the gateway needs beyond the kernel itself. The modules that these depend on are found in
# the modules; those that a driver asks for by name at run time are listed here too.
MODULES = [
    "virtio_pci", "virtio_console", "virtio_net",
    "sdhci-pci", "mmc_block", "crc32c_generic", "ext4", "vfat", "nls_cp437", "nls_ascii",
    "evdev", "uinput", "dummy", "backlight", "syscopyarea", "sysfillrect", "sysimgblt", "fb_sys_fops",
]

# Modification time of every file. The daemon reads a file when its time differs from the last one
# read, which is 0 at its start: files of 1970 would never be read.
MODIFIED = 1_700_000_000

FOLDERS = """bin sbin dev proc sys etc/init.d usr/sbin usr/bin lib tmp var media/mmcblk0p1
             zelkora/Config/system zelkora/Config/version""".split()


def extract_kernel(compressed: pathlib.Path) -> bytes:
    """The kernel proper out of a boot image: QEMU starts it without the unpacker's delay."""
    image = compressed.read_bytes()
    start = image.find(b"\xfd7zXZ\x00")
    if start < 0:
        raise SystemExit(f"{compressed}: no xz-compressed kernel inside")
    return lzma.LZMADecompressor(lzma.FORMAT_XZ).decompress(image[start:])


def module_name(path: pathlib.Path) -> str:
    return path.name.removesuffix(".ko").replace("-", "_")


def module_needs(path: pathlib.Path) -> list[str]:
    found = re.search(rb"\0depends=([^\0]*)\0", b"\0" + path.read_bytes())
    return [name.replace("-", "_") for name in found[1].decode().split(",") if name] if found else []


def modules_in_order(tree: pathlib.Path, wanted: list[str]) -> list[pathlib.Path]:
    """The wanted modules and all that they depend on, each after what it needs. A driver that
    is built into this kernel has no file and is left out."""
    files = {module_name(path): path for path in tree.rglob("*.ko")}
    order: list[pathlib.Path] = []

    def add(name: str) -> None:
        path = files.get(name.replace("-", "_"))
        if path is None or path in order:
            return
        for need in module_needs(path):
            add(need)
        order.append(path)

    for name in wanted:
        add(name)
    return order


def libraries_of(program: pathlib.Path, folders: list[pathlib.Path]) -> dict[str, pathlib.Path]:
    """The shared libraries of a program and of its libraries, by name, found in `folders`."""
    found: dict[str, pathlib.Path] = {}
    waiting = [program]
    while waiting:
        listing = subprocess.run(["readelf", "-d", waiting.pop()], check=True, text=True,
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


def loader_of(program: pathlib.Path) -> str:
    listing = subprocess.run(["readelf", "-l", program], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
    return re.search(r"interpreter: (.*)\]", listing)[1]


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

    def file(self, name: str, data: bytes, executable: bool = False) -> None:
        self.folder(os.path.dirname(name))
        self._entry(name, stat.S_IFREG | (0o755 if executable else 0o644), data)

    def link(self, name: str, target: str) -> None:
        self.folder(os.path.dirname(name))
        self._entry(name, stat.S_IFLNK | 0o777, target.encode())

    def console(self, name: str) -> None:
        self._entry(name, stat.S_IFCHR | 0o600, device=(5, 1))

    def finish(self) -> bytes:
        self._entry("TRAILER!!!", 0)
        return bytes(self._bytes)


def add_program(archive: Archive, name: str, path: pathlib.Path, folders: list[pathlib.Path]):
    archive.file(name, path.read_bytes(), executable=True)
    for library, place in sorted(libraries_of(path, folders).items()):
        archive.file(f"lib/{library}", place.read_bytes(), executable=True)
    loader = loader_of(path).lstrip("/")
    if loader != f"lib/{os.path.basename(loader)}":
        archive.link(loader, f"/lib/{os.path.basename(loader)}")


def root_file_system(daemon: pathlib.Path, agent: pathlib.Path, busybox: pathlib.Path,
                     modules: list[pathlib.Path], libraries: list[pathlib.Path],
                     config: dict[str, str]) -> bytes:
    """`config` holds the gateway's configuration files: path below the root -> content."""
    archive = Archive()
    for name in FOLDERS:
        archive.folder(name)
    archive.console("dev/console")
    archive.file("bin/busybox", busybox.read_bytes(), executable=True)
    archive.link("bin/sh", "busybox")
    archive.link("sbin/init", "../bin/busybox")
    archive.link("init", "sbin/init")
    for path in sorted((HERE / "guest").rglob("*")):
        if path.is_file():
            archive.file(str(path.relative_to(HERE / "guest")), path.read_bytes(),
                         executable=os.access(path, os.X_OK))
    for path in modules:
        archive.file(f"lib/modules/{path.name}", path.read_bytes())
    archive.file("etc/modules", "".join(f"/lib/modules/{p.name}\n" for p in modules).encode())
    archive.file("usr/sbin/agent", agent.read_bytes(), executable=True)
    add_program(archive, "usr/sbin/paneld", daemon, libraries)
    for name, content in config.items():
        archive.file(name.lstrip("/"), content.encode())
    return archive.finish()


def make(place: pathlib.Path, libraries: list[pathlib.Path], config: dict[str, str]) -> None:
    """Writes `kernel` and `root.cpio` into the folder that scripts/system-image has filled; what is
    there already keeps its time."""
    unpacked = place / "unpacked"
    if not (place / "daemon" / "paneld").exists():
        raise SystemExit(f"{place} is not filled; run scripts/system-image {place.name} first")
    compressed = next((unpacked / "boot").glob("vmlinuz-*"))
    if place.name == "amd64":
        kernel = extract_kernel(compressed)
    else:
        kernel = compressed.read_bytes()    # this processor's machine unpacks it by itself
    modules = modules_in_order(unpacked / "lib" / "modules", MODULES)
    root = root_file_system(place / "daemon" / "paneld", place / "agent",
                            unpacked / "bin" / "busybox", modules + [place / "panel" / "panel.ko"],
                            libraries, config)
    for path, content in ((place / "kernel", kernel), (place / "root.cpio", root)):
        if not path.exists() or path.read_bytes() != content:
            path.write_bytes(content)
