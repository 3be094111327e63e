"""The virtual gateway as a person has it: a button, a panel, a modem, files, interfaces and a card,
with the same ordinary facts as the simulated gateway."""

import dataclasses
import pathlib
import shlex
import shutil
import subprocess
import time

from machine import ANSWER_LIMIT, BTN_0, Kind, Machine, MachineError
from modem import Modem
from panel_picture import Picture

# Monday 2024-03-04 09:05:03 UTC, the moment of the goldens.
GOLDEN_MOMENT = 1709543103

CONFIG = "/zelkora/Config"
SYS_XML = f"{CONFIG}/sys.xml"
SN_XML = f"{CONFIG}/system/sn.xml"
VERSION_FILE = f"{CONFIG}/version/main-version.conf"
CHANNELS_XML = f"{CONFIG}/Channel-template.xml"

MODEM_PORT = "/dev/mux3"

ADDRESSES = {"eth0": "192.168.1.10/24", "eth1": "10.10.0.2/24", "ppp0": "10.64.3.7/32"}

# The pages in the order of short presses, named as their goldens.
PAGES = {
    64: ["ethernet1-address", "ethernet1-netmask", "ethernet2-address", "ethernet2-netmask",
         "gateway", "sim-status", "sim-address", "sim-netmask", "sim-log", "identity", "version",
         "tf-card", "channel", "channel-2", "channel-5", "clock"],
    32: ["ethernet1-address", "ethernet1-netmask", "ethernet2-address", "ethernet2-netmask",
         "gateway", "identity", "version", "tf-card", "channel", "channel-2", "channel-5",
         "clock"],
}

BACKLIGHTS = {64: "/sys/devices/platform/SSD1306fb/backlight/ssd1306bl0/brightness",
              32: "/sys/devices/platform/ST7565fb/backlight/st7565bl0/brightness"}

POLL = 0.05
PRESS_PAUSE = 0.2
CARD_LIMIT = 20.0       # seconds until the kernel has noticed a card; half a second as a rule
MEBIBYTE = 1 << 20
CARD_BLOCK = 4096
SECTOR = 512
FIRST_SECTOR = 2048     # where the card's only partition begins

EXT4 = ["mkfs.ext4", "-q", "-F", "-b", str(CARD_BLOCK)]


@dataclasses.dataclass(frozen=True)
class Card:
    """A card by the figures that it shows, in MB."""
    total: int
    free: int
    overhead: int       # blocks that the file system takes for itself


ORDINARY_CARD = Card(7600, 5000, 700)


def sys_xml(gateway: str = "192.168.1.1", cascade: str = "0") -> str:
    return f'<sysConfig>\n  <lan1 gateway="{gateway}" cascade="{cascade}"/>\n</sysConfig>\n'


def sn_xml(number: str = "SN20240001", model: str = "GW-100-L") -> str:
    return f'<snConfig>\n  <sn sn="{number}"/>\n  <model model="{model}"/>\n</snConfig>\n'


def channels_xml(channels: dict[int, tuple]) -> str:
    """Channel number -> baud, data bits, parity, stop bits."""
    rows = "".join(f'  <Channel No="{number}">\n    <CommMode Mode="0" Baud="{baud}" '
                   f'DataSize="{size}" Parity="{parity}" Stop="{stop}"/>\n  </Channel>\n'
                   for number, (baud, size, parity, stop) in channels.items())
    return f"<ChannelConfig>\n{rows}</ChannelConfig>\n"


CHANNELS = {1: (9600, 8, "None", 1), 2: (115200, 8, "Even", 1), 5: (2400, 7, "Odd", 2)}

ORDINARY_CONFIG = {SYS_XML: sys_xml(), SN_XML: sn_xml(), VERSION_FILE: "V1.2.3\n",
                   CHANNELS_XML: channels_xml(CHANNELS)}


class Gateway(Machine):
    def __init__(self, kind: Kind, folder: pathlib.Path, saved: pathlib.Path | None = None,
                 keep_on_reset: bool = False) -> None:
        super().__init__(kind, folder, saved, keep_on_reset)
        self.modem = Modem(self.modem_port)
        self._stamp = GOLDEN_MOMENT
        self.slot_taken = False     # also while the kernel has not seen the card yet

    # --- The panel ---

    def picture(self) -> Picture:
        return Picture.from_memory(self.agent.do("read", "/dev/fb0"))

    def brightness(self) -> int:
        return int(self.agent.do("read", BACKLIGHTS[self.kind.lines]))

    # --- The button ---

    def button(self, value: int, code: int = BTN_0) -> None:
        self.agent.do("key", f"{code} {value}")

    def press(self, times: int = 1) -> None:
        """Short presses. The daemon takes an event every 50 ms and the kernel keeps 64 of them:
        faster presses would be lost."""
        for _ in range(times):
            self.button(1)
            self.button(0)
            time.sleep(PRESS_PAUSE)

    def press_long(self) -> None:
        """Eleven seconds by the wall clock, which the daemon measures with; one by the panel's."""
        self.button(1)
        time.sleep(1)
        self.set_clock("+ 11")
        self.button(0)

    # --- The gateway's facts ---

    def clock(self) -> int:
        return int(self.sh("date +%s"))

    def set_clock(self, offset: str) -> None:
        self.sh(f"date -s @$(( $(date +%s) {offset} ))")

    def write(self, path: str, content: str) -> None:
        """A file with a modification time of its own, whatever the clock says."""
        self._stamp += 1
        self.sh(f"printf %s {shlex.quote(content)} >{path}.new && touch -d @{self._stamp} "
                f"{path}.new && mv {path}.new {path}")

    def remove(self, path: str) -> None:
        self.sh(f"rm {path}")

    def address(self, interface: str, address: str | None) -> None:
        """Gives the interface this address alone, or none."""
        self.sh(f"ip addr flush dev {interface}; ip link set {interface} up")
        if address:
            self.sh(f"ip addr add {address} dev {interface}")

    def set_cable(self, interface: str, plugged: bool) -> None:
        self.monitor.ask("set_link", name=interface.replace("eth", "net"), up=plugged)

    def link_up(self) -> None:
        self.agent.do("link", "ppp0")
        self.address("ppp0", ADDRESSES["ppp0"])

    def link_down(self) -> None:
        self.sh("ip link del ppp0")

    def remove_modem_port(self) -> None:
        self.remove(MODEM_PORT)

    def add_modem_port(self) -> None:
        self.sh(f"ln -s hvc0 {MODEM_PORT}")

    def post(self, text: str, kind: int = 1) -> None:
        """A line of the log; the panel's text is GB2312."""
        self.agent.do("post", b"%d " % kind + text.encode("gb2312"))

    def said(self) -> str:
        """What the daemon has written since this machine was started or restored."""
        return self.output.read_text(errors="replace").replace("\r\n", "\n")

    def wait_ready(self) -> None:
        """Waits until the daemon has drawn its first page and listens to the button."""
        self.sh("until ls -l /proc/$(pidof paneld)/fd 2>&1 | grep -q input/event0; "
                "do usleep 50000; done")

    def daemon(self) -> int:
        """The daemon's process number; 0 while it does not run."""
        return int(self.sh("pidof paneld || echo 0"))

    # --- The card ---

    def insert_card(self, image: pathlib.Path) -> None:
        """Only for a machine that was booted: QEMU 7.2 does not restore its card reader. On an
        overloaded host the reader has missed an insertion; a second one is tried."""
        self.monitor.ask("blockdev-add", **{"node-name": "image", "driver": "file",
                                            "filename": str(image)})
        self.monitor.ask("blockdev-add", **{"node-name": "medium", "driver": "raw",
                                            "file": "image"})
        self.monitor.ask("blockdev-insert-medium", id="slot", **{"node-name": "medium"})
        self.slot_taken = True
        if not self._card_becomes(present=True):
            self.monitor.ask("blockdev-remove-medium", id="slot")
            time.sleep(1)
            self.monitor.ask("blockdev-insert-medium", id="slot", **{"node-name": "medium"})
            if not self._card_becomes(present=True):
                raise MachineError(f"the card is not seen: {self.sh('dmesg | tail -n 15')}")

    def card_in(self) -> bool:
        return self.agent.ask("sh", "[ -b /dev/mmcblk0p1 ]")[0] == 0

    def unmount_card(self) -> None:
        self.sh("umount /media/mmcblk0p1 2>&1; true")

    def mount_card(self) -> None:
        self.sh("mount /dev/mmcblk0p1 /media/mmcblk0p1")

    def insert_card_that_shows(self, card: Card) -> None:
        """Inserts and mounts it. The kernel's block counts are brought into the middle of the 1024
        blocks that show the same figure."""
        total, free = (megabytes * MEBIBYTE // CARD_BLOCK + 512
                       for megabytes in (card.total, card.free))
        size = 1 << (card.total * MEBIBYTE).bit_length()
        image = self.folder / "card.img"
        image.unlink(missing_ok=True)
        make_card(image, size, EXT4 + ["-m", "0", "-N", "8192", "-O", "^has_journal,^resize_inode"],
                  blocks=total + card.overhead)
        self.insert_card(image)
        self.mount_card()
        self.sh(f"cd /media/mmcblk0p1; fallocate -l $(( ($(stat -f -c %a .) - {free}) * "
                f"{CARD_BLOCK} )) films")

    def pull_card(self) -> None:
        self.monitor.ask("blockdev-remove-medium", id="slot")
        self.monitor.ask("blockdev-del", **{"node-name": "medium"})
        self.monitor.ask("blockdev-del", **{"node-name": "image"})
        self.slot_taken = False
        if not self._card_becomes(present=False):
            raise MachineError(f"the card is still seen: {self.sh('dmesg | tail -n 15')}")

    def _card_becomes(self, present: bool) -> bool:
        end = time.monotonic() + CARD_LIMIT
        while self.card_in() != present:
            if time.monotonic() > end:
                return False
            time.sleep(POLL)
        return True

    # --- The end ---

    def wait_reset(self, limit: float = 60.0) -> float:
        """Waits until the machine resets; the seconds it took."""
        started = time.monotonic()
        event = self.monitor.wait_event("RESET" if self.keep_on_reset else "SHUTDOWN", limit)
        if event["data"]["reason"] != "guest-reset":
            raise MachineError(f"the machine did not reset but {event['data']}")
        return time.monotonic() - started

    def expect_ended(self) -> None:
        """After a reset without a new start: the machine's process has ended well."""
        status = self.process.wait(ANSWER_LIMIT)
        if status != 0:
            raise MachineError(f"QEMU ended with status {status}")


def make_card(path: pathlib.Path, size: int, formatter: list[str], blocks: int = 0) -> None:
    """A card image with one partition, of `size` bytes, a power of two as with all cards; the file
    takes little room. `formatter` is the command that makes the file system, which is as large as
    the partition or, if given, so many blocks."""
    sectors = size // SECTOR - FIRST_SECTOR
    entry = bytes([0, 0, 0, 0, 0x83, 0, 0, 0])
    entry += FIRST_SECTOR.to_bytes(4, "little") + sectors.to_bytes(4, "little")
    with open(path, "wb") as image:
        image.truncate(size)
        image.seek(446)
        image.write(entry)
        image.seek(510)
        image.write(b"\x55\xaa")
    tool = shutil.which(formatter[0], path="/sbin:/usr/sbin:/bin:/usr/bin")
    if not tool:
        raise MachineError(f"{formatter[0]} is missing")
    kibibytes = blocks * CARD_BLOCK // 1024 or sectors * SECTOR // 1024
    if formatter[0] == "mkfs.vfat":
        place = ["--offset", str(FIRST_SECTOR), str(path), str(kibibytes)]
    else:
        place = ["-E", f"offset={FIRST_SECTOR * SECTOR}", str(path), f"{kibibytes}k"]
    subprocess.run([tool, *formatter[1:], *place], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
