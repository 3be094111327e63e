"""How a gateway stands, in rows, and what the keys change of it: each gives an act (acts.py)."""

import re
from collections.abc import Callable

from acts import CARDS, FILES, MAKERS, PORTS, SIMS, clock_text, file_text
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
        self.lines = facts["panel"]
        self.jumped = round((self.clock - running - self._began) / HOUR)

    def heed(self, act: str) -> None:
        """Remembers of an act what the gateway cannot be asked for."""
        if act.startswith("file "):
            _, name, self.files[name] = act.split()

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

    def card_act(self, card: list[int], there: list[int] | None = None) -> str:
        return "card out" if there else "card in {} {}".format(*card)

    def sim_act(self, state: str) -> str:
        return f"modem sim {'ready' if self.modem['sim'] == state else state}"

    def signal_act(self, step: int) -> str:
        return f"modem signal {max(0, min(self.modem['signal'] + step, STRONGEST))}"

    def next_act(self, fact: str, values) -> str:
        return f"modem {fact} {following(values, self.modem[fact])}"

    def model_act(self) -> str:
        return f"file sn.xml {following(['original', 'new'], self.files['sn.xml'])}"

    # --- Rows ---

    def rows(self) -> list[Row]:
        jumped = f" ({self.jumped:+d} h)" if self.jumped else ""
        files = ", ".join(f"{name} {state}" for name, state in self.files.items()
                          if state != "original")
        readable = self.files["channels"] in ("original", "new")
        channels = re.findall(r'No="(\d+)"', file_text("channels", self.files["channels"]))
        return [("Clock", clock_text(self.clock) + jumped, not jumped),
                *(self._port_row(name) for name in PORTS), self._modem_row(), self._sim_row(),
                ("TF card", "{} MB, {} free".format(*self.card) if self.card else "out",
                 self.card is not None),
                ("Channels", ", ".join(channels) if readable else "no readable template", readable),
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
        kind = 1 if self.files["sn.xml"] == "new" else 2    # of dialogue, by the model
        network = NETWORKS.get(self.network, "another network")
        return ("Modem", f"{maker}, kind {kind}, "
                f"{network if self.mood == 'answers' else self.mood}", self.mood == "answers")

    def _sim_row(self) -> Row:
        if self.modem["sim"] != "ready":
            return "SIM", SIMS[self.modem["sim"]], False
        code = self.modem["registration"]
        return ("SIM", f"{REGISTRATIONS.get(code, code)}, csq {self.modem['signal']}",
                code in (1, 5))


# Key -> what it does, in the words of the help, and the act; in the order in which they are shown.
FACT_KEYS: dict[str, tuple[str, Callable[[Facts], str]]] = {
    "1": ("cable of port 1, eth1, out or in", lambda now: now.cable_act("eth1")),
    "2": ("cable of port 2, eth0, out or in", lambda now: now.cable_act("eth0")),
    "x": ("address of eth1 away or back", lambda now: now.address_act("eth1")),
    "X": ("address of eth0 away or back", lambda now: now.address_act("eth0")),
    "3": ("data link ppp0 down or up", lambda now: now.address_act("ppp0")),
    "t": ("pull or insert the TF card", lambda now: now.card_act(CARDS[0], now.card)),
    "T": ("TF card of another size", lambda now: now.card_act(following(CARDS, now.card))),
    "i": ("SIM out or in", lambda now: now.sim_act("absent")),
    "p": ("SIM asks for its PIN or not", lambda now: now.sim_act("pin")),
    "g": ("home, roaming, searching, denied", lambda now: now.next_act("registration",
                                                                       REGISTRATIONS)),
    "+": ("signal stronger, up to 31", lambda now: now.signal_act(1)),
    "-": ("signal weaker, down to 0", lambda now: now.signal_act(-1)),
    "n": ("network 4G, 3G, 2G, none", lambda now: "modem networkMode {} systemMode {}".format(
        *following(NETWORKS, now.network))),
    "m": ("modem of SIMCOM, AirM2M, other", lambda now: now.next_act("maker", MAKERS)),
    "o": ("modem well, silent, ERROR, gone",
          lambda now: f"modem {MOODS[following(MOODS, now.mood)]}"),
    "k": ("model for modem dialogue 1 or 2", lambda now: now.model_act()),
    "c": ("clock one hour on", lambda now: f"clock {clock_text(now.clock + HOUR)}"),
    "C": ("clock one hour back", lambda now: f"clock {clock_text(now.clock - HOUR)}"),
}
