"""The cellular modem behind /dev/mux3, played on the outer end of the virtual port.

The daemon flushes its input after each command, so an answer that comes at once is lost, as it
would be on the device: the modem takes its time, like a real one.
"""

import socket
import threading
import time

COMMAND_GAP = 0.005     # seconds between the answers to commands that came together
PIECE_GAP = 0.020
SIM_ANSWERS = {"ready": "+CPIN: READY\r\n\r\nOK", "pin": "+CPIN: SIM PIN\r\n\r\nOK",
               "absent": "+CME ERROR: 10"}


def answer(facts: dict, command: str) -> str:
    known = {
        "at+cpin?": SIM_ANSWERS[facts["sim"]],
        "at+creg?": f"+CREG: 0,{facts['registration']}\r\n\r\nOK",
        "at+csq": f"+CSQ: {facts['signal']},99\r\n\r\nOK",
        "at+cgmi": f"{facts['maker']}\r\n\r\nOK",
    }
    if facts["maker"] == "SIMCOM":
        known["at+cnsmod?"] = f"+CNSMOD: 0,{facts['networkMode']}\r\n\r\nOK"
    if facts["maker"] == "AirM2M":
        known["at^sysinfo"] = f"^SYSINFO: 2,3,0,{facts['systemMode']},1\r\n\r\nOK"
    if facts["mood"] == "error":
        known = {}
    return f"\r\n{known.get(command.lower(), 'ERROR')}\r\n"


class Modem(threading.Thread):
    """Answers until its port closes. `facts` are those of docs/gateway.md and may be exchanged at
    any time; `commands` is what it has been asked, in order."""

    def __init__(self, port: socket.socket, facts: dict) -> None:
        super().__init__(daemon=True)
        self._port = port
        self.facts = facts
        self.commands: list[str] = []
        self.start()

    def run(self) -> None:
        waiting = b""
        try:
            while chunk := self._port.recv(512):
                waiting += chunk
                *lines, waiting = waiting.split(b"\r\n")
                self._converse([line.decode("latin-1") for line in lines if line])
        except OSError:
            pass  # the machine is gone

    def _converse(self, commands: list[str]) -> None:
        facts = self.facts
        self.commands += commands
        if not commands or facts["mood"] == "silent":
            return
        time.sleep(facts["delay"])
        for command in commands:
            data = answer(facts, command).encode("latin-1")
            size = facts["pieces"] or len(data)
            for start in range(0, len(data), size):
                time.sleep(PIECE_GAP if start else 0)
                self._port.sendall(data[start:start + size])
            time.sleep(COMMAND_GAP)
