"""How a gateway stands, in rows, and what the keys change of it: each gives an act (acts.py)."""

import re
import time

from acts import CARDS, FILES, MAKERS, MODELS, PORTS, SIMS, clock_text, file_text
from gateway import ORDINARY, Gateway

REGISTRATIONS = {1: "registered at home", 5: "roaming", 2: "searching", 3: "denied"}
# The mode as SIMCOM says it, as AirM2M says it.
NETWORKS = {(8, 17): "4G", (4, 5): "3G", (1, 3): "2G", (0, 0): "no network"}
# How the modem behaves, and what makes it so.
MOODS = {"answers": "present true mood answers", "silent": "mood silent", "error": "mood error",
         "missing": "present false"}
STRONGEST = 31
HOUR = 3600
Row = tuple[str, str, bool]     # label, value, and whether it is as it should be


def following(table, current):
    table = list(table)
    return table[(table.index(current) + 1) % len(table) if current in table else 0]


class Facts:
    def __init__(self, gateway: Gateway) -> None:
        self._gateway = gateway
        self._last = dict(ORDINARY["addresses"])
        self.files = dict.fromkeys(FILES, "original")
        self.model = next(iter(MODELS))
        clock, running = gateway.now()
        self._began = clock - running
        self.look()

    def look(self) -> None:
        """Asks the gateway how it stands."""
        facts = self._gateway.facts()
        self.ports, self.card, self.modem = facts["interfaces"], facts["card"], facts["modem"]
        for name, port in self.ports.items():
            self._last[name] = port["address"] or self._last[name]
        self.network = self.modem["networkMode"], self.modem["systemMode"]
        self.mood = self.modem["mood"] if self.modem["present"] else "missing"
        self.clock, running = self._gateway.now()
        self.jumped = round((self.clock - running - self._began) / HOUR)

    def heed(self, act: str) -> None:
        """Remembers of an act what the gateway cannot be asked for."""
        word, *rest = act.split()
        if word == "file":
            self.files[rest[0]] = rest[1]
        if word == "model" or act.startswith("file sn.xml"):
            self.model = rest[0] if word == "model" else list(MODELS)[rest[1] == "new"]

    # --- Acts ---

    def address(self, name: str) -> str | None:
        return self.ports.get(name, {}).get("address")

    def cable_act(self, name: str) -> str:
        return f"cable {name} {'out' if self.ports[name]['cable'] else 'in'}"

    def address_act(self, name: str) -> str:
        return f"address {name} {'none' if self.address(name) else self._last[name]}"

    def proposed_address(self) -> str:
        head, last = self._last["eth1"].split("/")[0].rsplit(".", 1)
        return f"eth1 {head}.{int(last) % 254 + 1}/{self._last['eth1'].split('/')[1]}"

    # --- Rows ---

    def rows(self) -> list[Row]:
        jumped = f" ({self.jumped:+d} h)" if self.jumped else ""
        files = ", ".join(f"{name} {state}" for name, state in self.files.items()
                          if state != "original")
        channels = ", ".join(re.findall(r'No="(\d+)"', file_text("channels", "new"))
                             if self.files["channels"] == "new" else ["1", "2", "5"])
        readable = self.files["channels"] in ("original", "new")
        return [("Clock", clock_text(self.clock) + jumped, not jumped),
                *(self._port_row(name) for name in PORTS), self._modem_row(), self._sim_row(),
                ("TF card", "{} MB, {} free".format(*self.card) if self.card else "out",
                 self.card is not None),
                ("Channels", channels if readable else "no readable template", readable),
                ("Files", files or "all as they were", not files)]

    def _port_row(self, name: str) -> Row:
        address = self.address(name)
        if not address and name == "ppp0":
            return PORTS[name], "no link", False
        plugged = self.ports[name]["cable"]
        return (PORTS[name], (address or "no address") + ("" if plugged else ", no cable"),
                bool(address and plugged))

    def _modem_row(self) -> Row:
        if self.mood == "missing":
            return "Modem", "port missing", False
        maker = self.modem["maker"].replace("other", "other maker")
        network = NETWORKS.get(self.network, "another network")
        return ("Modem", f"{maker}, kind {MODELS[self.model]}, "
                f"{network if self.mood == 'answers' else self.mood}", self.mood == "answers")

    def _sim_row(self) -> Row:
        if self.modem["sim"] != "ready":
            return "SIM", SIMS[self.modem["sim"]], False
        code = self.modem["registration"]
        return ("SIM", f"{REGISTRATIONS.get(code, code)}, csq {self.modem['signal']}",
                code in (1, 5))


# Key -> what it does, in the words of the help, and the act; in the order in which they are shown.
FACT_KEYS = {
    "1": ("cable of port 1, eth1, out or in", lambda facts: facts.cable_act("eth1")),
    "2": ("cable of port 2, eth0, out or in", lambda facts: facts.cable_act("eth0")),
    "x": ("address of eth1 away or back", lambda facts: facts.address_act("eth1")),
    "X": ("address of eth0 away or back", lambda facts: facts.address_act("eth0")),
    "3": ("data link ppp0 down or up", lambda facts: facts.address_act("ppp0")),
    "t": ("pull or insert the TF card",
          lambda facts: "card out" if facts.card else "card in {} {}".format(*CARDS[0])),
    "T": ("TF card of another size",
          lambda facts: "card in {} {}".format(*following(CARDS, facts.card))),
    "i": ("SIM out or in",
          lambda facts: f"modem sim {'ready' if facts.modem['sim'] == 'absent' else 'absent'}"),
    "p": ("SIM asks for its PIN or not",
          lambda facts: f"modem sim {'ready' if facts.modem['sim'] == 'pin' else 'pin'}"),
    "g": ("home, roaming, searching, denied", lambda facts: "modem registration "
          f"{following(REGISTRATIONS, facts.modem['registration'])}"),
    "+": ("signal stronger, up to 31",
          lambda facts: f"modem signal {min(facts.modem['signal'] + 1, STRONGEST)}"),
    "-": ("signal weaker, down to 0",
          lambda facts: f"modem signal {max(facts.modem['signal'] - 1, 0)}"),
    "n": ("network 4G, 3G, 2G, none", lambda facts: "modem networkMode {} systemMode {}".format(
        *following(NETWORKS, facts.network))),
    "m": ("modem of SIMCOM, AirM2M, other",
          lambda facts: f"modem maker {following(MAKERS, facts.modem['maker'])}"),
    "o": ("modem well, silent, ERROR, gone",
          lambda facts: f"modem {MOODS[following(MOODS, facts.mood)]}"),
    "k": ("model for modem dialogue 1 or 2",
          lambda facts: f"model {following(MODELS, facts.model)}"),
    "c": ("clock one hour on", lambda facts: f"clock {clock_text(facts.clock + HOUR)}"),
    "C": ("clock one hour back", lambda facts: f"clock {clock_text(facts.clock - HOUR)}"),
}
