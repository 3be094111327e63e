"""One virtual gateway: a QEMU process of ours, its agent, its panel and its button.

Everything talks over sockets and files in the machine's own folder; the machine has no network
but a hub of its own. A machine is ended by its process handle and by nothing else.
"""

import contextlib
import dataclasses
import json
import os
import pathlib
import socket
import subprocess
import time

BOOT_LIMIT = 180.0      # seconds; a loaded builder is many times slower than an idle one
ANSWER_LIMIT = 60.0
ONE_RESET = 3           # seconds between two events of it at most; no machine boots so fast
PLACE = pathlib.Path(__file__).resolve().parents[1] / "build" / "system"


class MachineError(Exception):
    pass


class MachineReset(MachineError):
    """The machine has begun anew instead of answering."""


@dataclasses.dataclass(frozen=True)
class Kind:
    """What is started; its kernel and root are in `place`."""
    processor: str          # "amd64" or "armhf"
    lines: int              # 64 or 32

    @property
    def name(self) -> str:
        return f"{self.processor}-{self.lines}"

    @property
    def place(self) -> pathlib.Path:
        return PLACE / self.processor

    def command(self) -> list[str]:
        words = f"quiet panic=-1 fbcon=map:9 net.ifnames=0 panel_lines={self.lines}"
        if self.processor == "amd64":
            return ["qemu-system-x86_64", "-M", "pc,i8042=off", "-cpu", "qemu64",
                    "-append", f"console=ttyS0 reboot=t no_timer_check {words}"]
        return ["qemu-system-arm", "-M", "virt,highmem=off", "-cpu", "cortex-a15",
                "-append", f"console=ttyAMA0 initcall_blacklist=gpio_keys_init {words}"]


def connect(path: pathlib.Path, limit: float = 10.0) -> socket.socket:
    """Connects to a socket that a starting process is about to make. The folder is named by a
    descriptor: the name of a socket may not be long."""
    end = time.monotonic() + limit
    folder = os.open(path.parent, os.O_RDONLY)
    try:
        while True:
            link = socket.socket(socket.AF_UNIX)
            try:
                link.connect(f"/proc/self/fd/{folder}/{path.name}")
                return link
            except OSError:
                link.close()
                if time.monotonic() > end:
                    raise MachineError(f"{path.name}: nobody listens") from None
                time.sleep(0.02)
    finally:
        os.close(folder)


class Monitor:
    """QEMU's own control socket. `resets` counts those of the machine, as seen so far."""

    def __init__(self, path: pathlib.Path) -> None:
        self._link = connect(path)
        self._link.settimeout(ANSWER_LIMIT)
        self._lines = self._link.makefile("rw")
        self.resets = 0
        self._last_reset = 0
        self._lines.readline()
        self.ask("qmp_capabilities")

    def ask(self, command: str, **arguments):
        self._lines.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self._lines.flush()
        while line := self._lines.readline():
            answer = json.loads(line)
            if "error" in answer:
                raise MachineError(f"{command}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]
            if answer["event"] == "RESET" and answer["data"]["reason"] == "guest-reset":
                self._count(answer["timestamp"]["seconds"])
        raise MachineError("QEMU is gone")

    def _count(self, second: int) -> None:
        """A processor that faults its way into a reset does so several times."""
        self.resets += second > self._last_reset + ONE_RESET
        self._last_reset = second

    def count_resets(self) -> int:
        self.ask("query-status")    # its answer comes after what has happened before
        return self.resets

    def close(self) -> None:
        self._link.close()


class Agent:
    """Speaks to the agent inside the machine; see agent.cpp for the verbs."""

    def __init__(self, path: pathlib.Path, monitor: Monitor) -> None:
        self._link = connect(path)
        self._link.settimeout(1)
        self._monitor = monitor
        self._resets = monitor.resets
        self._waiting = b""

    def _take(self, complete, limit: float) -> bytes:
        """What has come, as soon as it is complete. An agent whose machine resets never answers."""
        end = time.monotonic() + limit
        while not complete(self._waiting):
            try:
                if not (chunk := self._link.recv(1 << 16)):
                    raise MachineError("the agent is gone")
                self._waiting += chunk
            except TimeoutError:
                if self._monitor.count_resets() != self._resets:
                    raise MachineReset("the machine has reset") from None
                if time.monotonic() > end:
                    raise MachineError("the agent does not answer") from None
        return self._waiting

    def ask(self, verb: str, request: str | bytes = "",
            limit: float = ANSWER_LIMIT) -> tuple[int, bytes]:
        data = request.encode() if isinstance(request, str) else request
        self._link.sendall(f"{verb} {len(data)}\n".encode() + data)
        head, _, rest = self._take(lambda text: b"\n" in text, limit).partition(b"\n")
        status, length = map(int, head.split())
        whole = len(head) + 1 + length
        rest = self._take(lambda text: len(text) >= whole, limit)[len(head) + 1:whole]
        self._waiting = self._waiting[whole:]
        return status, rest

    def do(self, verb: str, request: str | bytes = "", limit: float = ANSWER_LIMIT) -> bytes:
        status, data = self.ask(verb, request, limit)
        if status != 0:
            raise MachineError(f"{verb} {request!r}: {data.decode(errors='replace').strip()}")
        return data

    def close(self) -> None:
        self._link.close()


class Machine:
    """A running virtual gateway, from the kernel's start or as it was saved."""

    def __init__(self, kind: Kind, folder: pathlib.Path, saved: pathlib.Path | None = None) -> None:
        self.kind = kind
        self.folder = folder
        self._errors = open(folder / "qemu.txt", "w+b")
        # Whatever becomes of this process, the machine does not outlive it.
        self._process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *self._command(saved)],
                                         cwd=folder, stdin=subprocess.DEVNULL,
                                         stdout=self._errors, stderr=self._errors)
        try:
            self.monitor = Monitor(folder / "qmp.sock")
            self.modem_port = connect(folder / "modem.sock")
            if saved:
                self._go_on()
            self.meet_agent()
        except Exception:
            self.close()
            raise

    def _command(self, saved: pathlib.Path | None) -> list[str]:
        port = "socket,server=on,wait=off"
        command = self.kind.command() + [
            "-accel", "tcg", "-m", "256", "-nodefaults", "-display", "none",
            "-kernel", str(self.kind.place / "kernel"),
            "-initrd", str(self.kind.place / "root.cpio"),
            "-rtc", "base=2024-03-04T09:00:00",
            "-chardev", "file,id=console,path=console.txt", "-serial", "chardev:console",
            "-qmp", "unix:qmp.sock,server=on,wait=off",
            "-device", "virtio-serial-pci,max_ports=4",
            "-chardev", f"{port},id=modem,path=modem.sock",
            "-device", "virtconsole,nr=0,chardev=modem",
            "-chardev", "file,id=output,path=output.txt",
            "-device", "virtconsole,nr=1,chardev=output",
            "-chardev", "file,id=errors,path=errors.txt",
            "-device", "virtconsole,nr=2,chardev=errors",
            "-chardev", f"{port},id=agent,path=agent.sock",
            "-device", "virtserialport,nr=3,chardev=agent,name=agent",
            "-device", "sdhci-pci,addr=1e",
            "-drive", "if=none,id=card",
            "-device", "sd-card,drive=card,id=slot",
        ]
        for number in (0, 1):
            command += ["-netdev", f"hubport,id=net{number},hubid={number}",
                        "-device", f"virtio-net-pci,netdev=net{number},romfile="]
        return command + (["-incoming", f"exec:cat {saved}"] if saved else [])

    def _go_on(self) -> None:
        """A saved machine is loaded standing still, as it was saved."""
        end = time.monotonic() + BOOT_LIMIT
        while self.monitor.ask("query-status")["status"] == "inmigrate":
            if time.monotonic() > end:
                raise MachineError("the saved machine does not load")
            time.sleep(0.02)
        self.monitor.ask("cont")

    def meet_agent(self) -> None:
        """Waits until the agent inside answers; after a reset it is another one."""
        with contextlib.suppress(AttributeError):
            self.agent.close()
        self.agent = Agent(self.folder / "agent.sock", self.monitor)
        self.agent.do("sh", "true", BOOT_LIMIT)

    def save(self, path: pathlib.Path) -> None:
        """Writes the machine's state; the machine stands still afterwards. It is stopped first:
        memory that an emulated processor writes meanwhile could be missed."""
        self.monitor.ask("stop")
        self.monitor.ask("migrate", uri=f"exec:cat > {path}")
        while (status := self.monitor.ask("query-migrate")["status"]) != "completed":
            if status == "failed":
                raise MachineError("the machine could not be saved")
            time.sleep(0.02)

    def sh(self, script: str) -> str:
        return self.agent.do("sh", script).decode(errors="replace")

    def close(self) -> None:
        for part in ("monitor", "agent", "modem_port"):
            with contextlib.suppress(AttributeError, OSError):
                getattr(self, part).close()
        self._process.kill()
        self._process.wait()
        self._errors.close()
