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
PANEL_WIDTH = 128
BTN_0 = 256


class MachineError(Exception):
    pass


@dataclasses.dataclass(frozen=True)
class Kind:
    """What is started: processor, panel height, and where its kernel and root are."""
    processor: str          # "amd64" or "armhf"
    lines: int              # 64 or 32
    kernel: pathlib.Path
    root: pathlib.Path

    @property
    def name(self) -> str:
        return f"{self.processor}-{self.lines}"

    @property
    def has_uart(self) -> bool:
        return self.processor == "amd64"

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
    """QEMU's own control socket. Events that arrive meanwhile are kept for `wait_event`."""

    def __init__(self, path: pathlib.Path) -> None:
        self._link = connect(path)
        self._link.settimeout(ANSWER_LIMIT)
        self._lines = self._link.makefile("rw")
        self._events: list[dict] = []
        json.loads(self._lines.readline())
        self.ask("qmp_capabilities")

    def _next(self) -> dict:
        line = self._lines.readline()
        if not line:
            raise MachineError("QEMU is gone")
        return json.loads(line)

    def ask(self, command: str, **arguments):
        self._lines.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self._lines.flush()
        while True:
            answer = self._next()
            if "event" in answer:
                self._events.append(answer)
            elif "error" in answer:
                raise MachineError(f"{command}: {answer['error']['desc']}")
            else:
                return answer["return"]

    def wait_event(self, name: str, limit: float) -> dict:
        self._link.settimeout(limit)
        try:
            while True:
                for event in self._events:
                    if event["event"] == name:
                        self._events.remove(event)
                        return event
                self._events.append(self._next())
        except TimeoutError:
            raise MachineError(f"no {name} within {limit:.0f} s") from None
        finally:
            self._link.settimeout(ANSWER_LIMIT)

    def seen(self, name: str) -> bool:
        """Whether the event has come since the last look; does not wait."""
        self.ask("query-status")    # its answer comes after what has happened before
        events = [event for event in self._events if event["event"] == name]
        for event in events:
            self._events.remove(event)
        return bool(events)

    def close(self) -> None:
        self._link.close()


class Agent:
    """Speaks to the agent inside the machine; see agent.cpp for the verbs."""

    def __init__(self, path: pathlib.Path) -> None:
        self._link = connect(path)
        self._answers = self._link.makefile("rb")

    def ask(self, verb: str, request: str | bytes = "",
            limit: float = ANSWER_LIMIT) -> tuple[int, bytes]:
        data = request.encode() if isinstance(request, str) else request
        self._link.settimeout(limit)
        self._link.sendall(f"{verb} {len(data)}\n".encode() + data)
        try:
            status, length = self._answers.readline().split()
            return int(status), self._answers.read(int(length))
        except (OSError, ValueError):
            raise MachineError(f"the agent does not answer '{verb} {request}'") from None

    def do(self, verb: str, request: str | bytes = "", limit: float = ANSWER_LIMIT) -> bytes:
        status, data = self.ask(verb, request, limit)
        if status != 0:
            raise MachineError(f"{verb} {request}: {data.decode(errors='replace').strip()}")
        return data

    def close(self) -> None:
        self._link.close()


class Machine:
    """A running virtual gateway. Use as a context: leaving it ends the process."""

    running: set[subprocess.Popen] = set()

    def __init__(self, kind: Kind, folder: pathlib.Path, saved: pathlib.Path | None = None,
                 keep_on_reset: bool = False) -> None:
        folder.mkdir(parents=True, exist_ok=True)
        for stale in folder.glob("*.sock"):
            stale.unlink()
        self.kind = kind
        self.folder = folder
        self.keep_on_reset = keep_on_reset
        self.console = folder / "console.txt"
        self.output = folder / "paneld.txt"
        started = time.monotonic()
        self._errors = open(folder / "qemu.txt", "w+b")
        self.process = subprocess.Popen(self._command(saved), cwd=folder,
                                        stdin=subprocess.DEVNULL, stdout=self._errors,
                                        stderr=self._errors)
        Machine.running.add(self.process)
        try:
            self.monitor = Monitor(folder / "qmp.sock")
            self.modem_port = connect(folder / "modem.sock")
            self.uart_port = connect(folder / "uart.sock") if kind.has_uart else None
            self.agent = Agent(folder / "agent.sock")
            if saved:
                self._go_on()
            self.wait_boot()
        except Exception:
            self.close()
            raise
        self.start_seconds = time.monotonic() - started

    def _command(self, saved: pathlib.Path | None) -> list[str]:
        port = "socket,server=on,wait=off"
        command = self.kind.command() + [
            "-accel", "tcg", "-m", "256", "-nodefaults", "-display", "none",
            "-kernel", str(self.kind.kernel), "-initrd", str(self.kind.root),
            "-rtc", "base=2024-03-04T09:00:00",
            "-chardev", "file,id=console,path=console.txt", "-serial", "chardev:console",
            "-qmp", "unix:qmp.sock,server=on,wait=off",
            "-device", "virtio-serial-pci,max_ports=4",
            "-chardev", f"{port},id=modem,path=modem.sock",
            "-device", "virtconsole,nr=0,chardev=modem",
            "-chardev", "file,id=output,path=paneld.txt",
            "-device", "virtconsole,nr=1,chardev=output",
            "-chardev", f"{port},id=agent,path=agent.sock",
            "-device", "virtserialport,nr=3,chardev=agent,name=agent",
            "-device", "sdhci-pci",
            "-drive", "if=none,id=card",
            "-device", "sd-card,drive=card,id=slot",
        ]
        for number in (0, 1):
            command += ["-netdev", f"hubport,id=net{number},hubid={number}",
                        "-device", f"virtio-net-pci,netdev=net{number},romfile="]
        if not self.keep_on_reset:
            command += ["-no-reboot"]
        if self.kind.has_uart:
            command += ["-chardev", f"{port},id=uart,path=uart.sock",
                        "-device", "isa-serial,index=1,chardev=uart"]
        if saved:
            command += ["-incoming", f"exec:cat {saved}"]
        return command

    def _go_on(self) -> None:
        """A saved machine is loaded standing still, as it was saved."""
        end = time.monotonic() + BOOT_LIMIT
        while self.monitor.ask("query-status")["status"] == "inmigrate":
            if time.monotonic() > end:
                raise MachineError("the saved machine does not load")
            time.sleep(0.02)
        self.monitor.ask("cont")

    def wait_boot(self) -> None:
        """Waits until the agent inside answers."""
        self.agent.do("sh", "true", BOOT_LIMIT)

    def wait_boot_again(self) -> None:
        """The same after a reset, whatever the old agent left unanswered."""
        self.agent.close()
        self.agent = Agent(self.folder / "agent.sock")
        self.wait_boot()

    def save(self, path: pathlib.Path) -> None:
        """Writes the machine's state; the machine stands still afterwards. It is stopped first:
        memory that an emulated processor writes meanwhile could be missed."""
        self.monitor.ask("stop")
        self.monitor.ask("migrate", uri=f"exec:cat > {path}")
        while (status := self.monitor.ask("query-migrate")["status"]) != "completed":
            if status == "failed":
                raise MachineError("the machine could not be saved")
            time.sleep(0.02)

    def sh(self, script: str, limit: float = ANSWER_LIMIT) -> str:
        return self.agent.do("sh", script, limit).decode(errors="replace")

    def close(self) -> None:
        for part in ("monitor", "agent", "modem_port", "uart_port"):
            with contextlib.suppress(AttributeError, OSError):
                getattr(self, part).close()
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        Machine.running.discard(self.process)
        self._errors.close()

    @classmethod
    def kill_all(cls) -> None:
        """For a harness that must end at once."""
        for process in list(cls.running):
            process.kill()
            process.wait()

    def __enter__(self) -> "Machine":
        return self

    def __exit__(self, *_) -> None:
        self.close()
