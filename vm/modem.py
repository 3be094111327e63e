"""The cellular modem behind /dev/mux3, played on the outer end of the virtual port.

The daemon flushes its input after each command, so an answer that comes at once is lost, as it
would be on the device: the modem takes its time, like a real one.
"""

import dataclasses
import socket
import threading
import time

ANSWER_DELAY = 0.030    # seconds; the daemon waits 0.1 s for the quickest of its questions
COMMAND_GAP = 0.005     # between the answers to commands that came together


@dataclasses.dataclass
class Facts:
    maker: str = "SIMCOM"
    sim: str = "+CPIN: READY\r\n\r\nOK"
    registration: str = "+CREG: 0,1"
    signal: str = "+CSQ: 20,99"
    network_mode: str = "+CNSMOD: 0,8"
    system_info: str = "^SYSINFO: 2,3,0,17,1"
    delay: float = ANSWER_DELAY
    silent: bool = False
    refusing: bool = False  # every command with ERROR
    split_gap: float = 0.0  # seconds between the two halves of each answer; 0: whole answers

    def answer(self, command: str) -> str:
        if self.refusing:
            return "\r\nERROR\r\n"
        known = {
            "at+cpin?": self.sim,
            "at+creg?": f"{self.registration}\r\n\r\nOK",
            "at+csq": f"{self.signal}\r\n\r\nOK",
            "at+cgmi": f"{self.maker}\r\n\r\nOK",
            "at+cnsmod?": f"{self.network_mode}\r\n\r\nOK",
            "at^sysinfo": f"{self.system_info}\r\n\r\nOK",
        }
        return f"\r\n{known.get(command.lower(), 'ERROR')}\r\n"


class Modem(threading.Thread):
    """Answers until its port closes. `facts` may be exchanged at any time; `commands` is what
    it has been asked, in order."""

    def __init__(self, port: socket.socket) -> None:
        super().__init__(daemon=True)
        self._port = port
        self.facts = Facts()
        self.commands: list[str] = []
        self.start()

    def run(self) -> None:
        waiting = b""
        try:
            while chunk := self._port.recv(512):
                waiting += chunk
                *lines, waiting = waiting.split(b"\r\n")
                if lines:
                    self._converse([line.decode("latin-1") for line in lines if line])
        except OSError:
            pass  # the machine is gone

    def _converse(self, commands: list[str]) -> None:
        facts = self.facts
        self.commands += commands
        if facts.silent:
            return
        time.sleep(facts.delay)
        for command in commands:
            self._say(facts.answer(command), facts.split_gap)
            time.sleep(COMMAND_GAP)

    def _say(self, text: str, split_gap: float) -> None:
        data = text.encode("latin-1")
        if split_gap == 0:
            self._port.sendall(data)
            return
        # In the middle of what the daemon looks for: between the O and the K of "OK", or after
        # the first letters of the answer's own word.
        middle = data.find(b"OK") + 1 or 5
        for part in (data[:4], data[4:middle], data[middle:]):
            self._port.sendall(part)
            time.sleep(split_gap)
