"""What the person at the desk changes of a gateway, one key a fact, and rows that say how things
stand. Each change returns what became of it, in the words of a remark."""

import ipaddress
import pathlib
import re
import time

from gateway import LOG_LINE, ORDINARY
from picture import lacking

PORTS = {"eth1": "Port 1 eth1", "eth0": "Port 2 eth0", "ppp0": "Data ppp0"}
CARDS = [ORDINARY["card"], [128, 96], [30436, 30000], [123456, 121000]]
MAKERS = ["SIMCOM", "AirM2M", "other"]
SIMS = {"ready": "SIM in", "pin": "SIM asks for its PIN", "absent": "no SIM"}
REGISTRATIONS = {1: "registered at home", 5: "roaming", 2: "searching", 3: "denied"}
# The mode as SIMCOM says it, as AirM2M says it.
NETWORKS = {(8, 17): "4G", (4, 5): "3G", (1, 3): "2G", (0, 0): "no network"}
MOODS = {"answers": "modem answers", "silent": "modem silent: a query takes seconds",
         "error": "modem answers ERROR", "missing": "modem port missing"}
MODELS = {"GW-100-L": 2, "GW-100": 1}       # which dialogue the modem is asked in
STRONGEST = 31
HOUR = 3600

FILES = {pathlib.PurePath(path).name: path for path in ORDINARY["files"]}
# What a rewritten file has instead, and when the daemon looks again.
REWRITES = {
    "sys.xml": ({"192.168.1.1": "10.20.30.254", 'cascade="0"': 'cascade="1"'}, "the gateway page"),
    "sn.xml": ({"SN20240001": "SN20249999", "GW-100-L": "GW-200"}, "the identity page"),
    "main-version.conf": ({"V1.2.3": "V2.0.0-rc1"}, "the version page"),
    "Channel-template.xml": ({'No="1"': 'No="3"', 'No="2"': 'No="7"', 'No="5"': 'No="12"'},
                             "the way from the TF card page to the channels"),
}


def ordinary_text(name: str, changes: dict[str, str] | None = None) -> str:
    text = "\n".join(ORDINARY["files"][FILES[name]]) + "\n"
    for old, new in (changes or {}).items():
        text = text.replace(old, new)
    return text


def following(table, current):
    table = list(table)
    return table[(table.index(current) + 1) % len(table) if current in table else 0]


def clock_text(clock: float) -> str:
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(clock))


def panel_bytes(line: str) -> bytes:
    """A log line in the panel's encoding. Raises ValueError when it cannot be sent."""
    try:
        data = line.encode("gb2312")
    except UnicodeEncodeError as error:
        raise ValueError(f"GB2312 has no '{line[error.start]}'") from None
    if len(data) > LOG_LINE:
        raise ValueError(f"{len(data)} bytes, a line takes {LOG_LINE}")
    return data


class Facts:
    """How things stand on one gateway, from its start on."""

    def __init__(self, gateway) -> None:
        self._gateway = gateway
        self._addresses = dict(ORDINARY["addresses"])       # the last ones
        self._card = CARDS[0]
        self._model = next(iter(MODELS))
        self._files = dict.fromkeys(FILES, "")
        self._channels = ordinary_text("Channel-template.xml")
        self._hours = 0
        self.look()

    def look(self) -> None:
        """Asks the gateway how it stands."""
        facts = self._gateway.facts()
        self._ports, self._card_in, self._modem = (
            facts["interfaces"], facts["card"], facts["modem"])
        for name, port in self._ports.items():
            self._addresses[name] = port["address"] or self._addresses[name]
        self.clock = self._gateway.now()[0]

    # --- Network ---

    def _address(self, name: str) -> str | None:
        return self._ports.get(name, {}).get("address")

    def toggle_cable(self, name: str) -> str:
        plugged = not self._ports[name]["cable"]
        self._gateway.cable(name, plugged)
        if plugged:
            return f"{name} plugged in"
        return f"{name} unplugged" + ("; it keeps its address" if self._address(name) else "")

    def toggle_address(self, name: str) -> str:
        address = self._addresses[name]
        self._gateway.address(name, None if self._address(name) else address)
        if not self._address(name):
            return f"{name} has {address.split('/')[0]} again"
        lost = "has lost its address" if name != "ppp0" else "is gone"
        return f"{name} {lost}; ends of the longer text stay until a press"

    def set_address(self, request: str) -> str:
        name, *rest = request.split() or [""]
        if name not in PORTS:
            return f"no interface '{name}': eth0, eth1 or ppp0"
        if len(rest) == 1 and "/" not in rest[0]:
            rest.append("24")
        try:
            address = ipaddress.IPv4Interface("/".join(rest))
        except ValueError:
            return f"'{' '.join(rest)}' is no IPv4 address with a netmask"
        self._gateway.address(name, str(address))
        return f"{name} has {address.ip}, netmask {address.netmask}"

    def proposed_address(self) -> str:
        head, last = self._addresses["eth1"].split("/")[0].rsplit(".", 1)
        return f"eth1 {head}.{int(last) % 254 + 1}"

    # --- TF card ---

    def toggle_card(self) -> str:
        self._gateway.card(None if self._card_in else self._card)
        return ("TF card pulled; its mount is left behind" if self._card_in
                else "TF card inserted and mounted")

    def next_card(self) -> str:
        self._card = following(CARDS, self._card)
        if self._card_in:
            self._gateway.card(self._card)
        return f"TF card of {self._card[0]} MB"

    # --- Modem ---

    def toggle_sim(self) -> str:
        out = self._modem["sim"] != "absent"
        self._gateway.modem({"sim": "absent" if out else "ready"})
        return "SIM taken out" if out else "SIM put in"

    def toggle_pin(self) -> str:
        sim = "ready" if self._modem["sim"] == "pin" else "pin"
        self._gateway.modem({"sim": sim})
        return SIMS[sim]

    def next_registration(self) -> str:
        code = following(REGISTRATIONS, self._modem["registration"])
        self._gateway.modem({"registration": code})
        return f"modem {REGISTRATIONS[code]}"

    def change_signal(self, step: int) -> str:
        signal = max(0, min(STRONGEST, self._modem["signal"] + step))
        self._gateway.modem({"signal": signal})
        return f"signal {signal} of {STRONGEST}"

    def _network(self) -> tuple[int, int]:
        return self._modem["networkMode"], self._modem["systemMode"]

    def next_network(self) -> str:
        modes = following(NETWORKS, self._network())
        self._gateway.modem(dict(zip(("networkMode", "systemMode"), modes)))
        return f"network: {NETWORKS[modes]}"

    def next_maker(self) -> str:
        maker = following(MAKERS, self._modem["maker"])
        self._gateway.modem({"maker": maker})
        return f"modem of {maker} maker" if maker == "other" else f"modem of {maker}"

    def _mood(self) -> str:
        return self._modem["mood"] if self._modem["present"] else "missing"

    def next_mood(self) -> str:
        mood = following(MOODS, self._mood())
        self._gateway.modem({"present": False} if mood == "missing"
                            else {"present": True, "mood": mood})
        return MOODS[mood]

    def next_model(self) -> str:
        self._model = following(MODELS, self._model)
        self._files["sn.xml"] = ""
        self._gateway.write(FILES["sn.xml"], ordinary_text("sn.xml", {"GW-100-L": self._model}))
        return (f"model {self._model}: modem dialogue {MODELS[self._model]} once the identity page "
                "has been drawn")

    # --- Clock, files, log ---

    def jump(self, hours: int) -> str:
        self._hours += hours
        clock = self._gateway.now()[0] + hours * HOUR
        self._gateway.clock(clock)
        return "clock set to " + clock_text(clock)

    def set_file(self, name: str, state: str) -> str:
        """`state`: "" for the original contents, "new", "broken" or "gone"."""
        changes, seen_on = REWRITES[name]
        text = ordinary_text(name, changes if state == "new" else None)
        if state == "broken":
            text = "" if name.endswith(".conf") else text[:len(text) // 2]
        if state == "gone" and self._files[name] != "gone":
            self._gateway.remove(FILES[name])
        elif state != "gone":
            self._gateway.write(FILES[name], text)
        self._files[name] = state
        if name == "sn.xml" and state in ("", "new"):
            self._model = list(MODELS)[state == "new"]
        if name == "Channel-template.xml":
            self._channels = text if state in ("", "new") else ""
        return {"gone": f"{name} deleted", "broken": f"{name} broken"}.get(
            state, f"{name} {'rewritten' if state else 'restored'}: seen on {seen_on}")

    def send_line(self, line: str) -> str:
        try:
            data = panel_bytes(line)
        except ValueError as error:
            return f"not sent: {error}"
        if not self._gateway.post(data):
            return "not sent: the queue is full"
        missing = ", ".join(f"'{letter}'" for letter in lacking(data))
        return "sent to the log" + (f", the font lacks {missing}: " if missing else ": ") + line

    # --- How things stand ---

    def rows(self) -> list[tuple[str, str, bool]]:
        """Label, value, and whether it is as it should be."""
        jumped = f" ({self._hours:+d} h)" if self._hours else ""
        files = ", ".join(f"{name} {state}" for name, state in self._files.items() if state)
        channels = ", ".join(re.findall(r'No="(\d+)"', self._channels))
        return [("Clock", clock_text(self.clock) + jumped, not jumped),
                *(self._port_row(name) for name in PORTS),
                self._modem_row(), self._sim_row(), self._card_row(),
                ("Channels", channels or "no readable template", channels != ""),
                ("Files", files or "all as they were", not files)]

    def _port_row(self, name: str) -> tuple[str, str, bool]:
        address = self._address(name)
        if not address and name == "ppp0":
            return PORTS[name], "no link", False
        plugged = self._ports[name]["cable"]
        return (PORTS[name], (address or "no address") + ("" if plugged else ", no cable"),
                bool(address and plugged))

    def _modem_row(self) -> tuple[str, str, bool]:
        mood = self._mood()
        if mood == "missing":
            return "Modem", "port missing", False
        maker = self._modem["maker"].replace("other", "other maker")
        state = {"answers": NETWORKS.get(self._network(), "another network")}.get(mood, mood)
        return "Modem", f"{maker}, kind {MODELS[self._model]}, {state}", mood == "answers"

    def _sim_row(self) -> tuple[str, str, bool]:
        sim, code = self._modem["sim"], self._modem["registration"]
        if sim != "ready":
            return "SIM", SIMS[sim], False
        return ("SIM", f"{REGISTRATIONS.get(code, code)}, csq {self._modem['signal']}",
                code in (1, 5))

    def _card_row(self) -> tuple[str, str, bool]:
        if not self._card_in:
            return "TF card", "out", False
        return "TF card", "{} MB, {} free".format(*self._card_in), True


# Key -> what it does in the words of the help, and how; in the order in which they are shown.
FACT_KEYS = {
    "1": ("cable of port 1, eth1, out or in", lambda facts: facts.toggle_cable("eth1")),
    "2": ("cable of port 2, eth0, out or in", lambda facts: facts.toggle_cable("eth0")),
    "x": ("address of eth1 away or back", lambda facts: facts.toggle_address("eth1")),
    "X": ("address of eth0 away or back", lambda facts: facts.toggle_address("eth0")),
    "3": ("data link ppp0 down or up", lambda facts: facts.toggle_address("ppp0")),
    "t": ("pull or insert the TF card", Facts.toggle_card),
    "T": ("TF card of another size", Facts.next_card),
    "i": ("SIM out or in", Facts.toggle_sim),
    "p": ("SIM asks for its PIN or not", Facts.toggle_pin),
    "g": ("home, roaming, searching, denied", Facts.next_registration),
    "+": ("signal stronger, up to 31", lambda facts: facts.change_signal(1)),
    "-": ("signal weaker, down to 0", lambda facts: facts.change_signal(-1)),
    "n": ("network 4G, 3G, 2G, none", Facts.next_network),
    "m": ("modem of SIMCOM, AirM2M, other", Facts.next_maker),
    "o": ("modem well, silent, ERROR, gone", Facts.next_mood),
    "k": ("model for modem dialogue 1 or 2", Facts.next_model),
    "c": ("clock one hour on", lambda facts: facts.jump(1)),
    "C": ("clock one hour back", lambda facts: facts.jump(-1)),
}
