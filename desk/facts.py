"""How a gateway stands, in rows, and what the keys change of it: each gives an act (acts.py)."""

import re

from acts import CARDS, FILES, MAKERS, PORTS, SIMS, clock_text, file_text
from gateway import ORDINARY, Gateway

REGISTRATIONS = {1: "registered at home", 5: "roaming", 2: "searching", 3: "denied"}
# The mode as SIMCOM says it, as AirM2M says it.
NETWORKS = {modes: (name, "networkMode {} systemMode {}".format(*modes)) for modes, name in (
    ((8, 17), "4G"), ((4, 5), "3G"), ((1, 3), "2G"), ((0, 0), "no network"))}
# How the modem behaves, and what makes it so.
MOODS = {"answers": "present true mood answers", "silent": "mood silent", "error": "mood error",
         "missing": "present false"}
STRONGEST = 31
HOUR = 3600
Row = tuple[str, str, bool]     # label, value, and whether it is as it should be


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

    def address(self, name: str) -> str:
        return self.ports.get(name, {}).get("address") or "none"

    def proposed_address(self) -> str:
        head, last = self._last["eth1"].split("/")[0].rsplit(".", 1)
        return f"eth1 {head}.{int(last) % 254 + 1}/{self._last['eth1'].split('/')[1]}"

    def standing(self) -> list[str]:
        """The acts that would change nothing."""
        return [*(f"cable {name} {'in' if port['cable'] else 'out'}"
                  for name, port in self.ports.items()),
                *(f"address {name} {self.address(name)}" for name in PORTS),
                "card in {} {}".format(*self.card) if self.card else "card out",
                *(f"modem {fact} {value}" for fact, value in self.modem.items()),
                f"modem {NETWORKS.get(self.network, ['', ''])[1]}", f"modem {MOODS[self.mood]}",
                *(f"file {name} {state}" for name, state in self.files.items())]

    def act_of_key(self, key: str) -> str:
        """The act behind the one that stands, or the first."""
        acts, standing = self.keys()[key][1], self.standing()
        now = next((place for place, act in enumerate(acts) if act in standing), -1)
        return acts[(now + 1) % len(acts)]

    def keys(self) -> dict[str, tuple[str, list[str]]]:
        """Key -> what it does in the words of the help, and the acts that it goes through; in the
        order in which they are shown."""
        signal = self.modem["signal"]
        cables = {name: [f"cable {name} out", f"cable {name} in"] for name in PORTS}
        addresses = {name: [f"address {name} none", f"address {name} {self._last[name]}"]
                     for name in PORTS}
        cards = ["card in {} {}".format(*card) for card in CARDS]
        return {
            "1": ("cable of port 1, eth1, out or in", cables["eth1"]),
            "2": ("cable of port 2, eth0, out or in", cables["eth0"]),
            "x": ("address of eth1 away or back", addresses["eth1"]),
            "X": ("address of eth0 away or back", addresses["eth0"]),
            "3": ("data link ppp0 down or up", addresses["ppp0"]),
            "t": ("pull or insert the TF card", ["card out", cards[0]]),
            "T": ("TF card of another size", cards),
            "i": ("SIM out or in", ["modem sim absent", "modem sim ready"]),
            "p": ("SIM asks for its PIN or not", ["modem sim pin", "modem sim ready"]),
            "g": ("home, roaming, searching, denied",
                  [f"modem registration {code}" for code in REGISTRATIONS]),
            "+": ("signal stronger, up to 31", [f"modem signal {min(signal + 1, STRONGEST)}"]),
            "-": ("signal weaker, down to 0", [f"modem signal {max(signal - 1, 0)}"]),
            "n": ("network 4G, 3G, 2G, none", [f"modem {act}" for _, act in NETWORKS.values()]),
            "m": ("modem of SIMCOM, AirM2M, other", [f"modem maker {maker}" for maker in MAKERS]),
            "o": ("modem well, silent, ERROR, gone", [f"modem {act}" for act in MOODS.values()]),
            "k": ("model for modem dialogue 1 or 2", ["file sn.xml new", "file sn.xml original"]),
            "c": ("clock one hour on", [f"clock {clock_text(self.clock + HOUR)}"]),
            "C": ("clock one hour back", [f"clock {clock_text(self.clock - HOUR)}"]),
        }

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
        if name not in self.ports:
            return PORTS[name], "no link", False
        plugged = self.ports[name]["cable"]
        return (PORTS[name], address.replace("none", "no address")
                + ("" if plugged else ", no cable"), address != "none" and plugged)

    def _modem_row(self) -> Row:
        if self.mood == "missing":
            return "Modem", "port missing", False
        maker = self.modem["maker"].replace("other", "other maker")
        kind = 1 if self.files["sn.xml"] == "new" else 2    # of dialogue, by the model
        network = NETWORKS.get(self.network, ["another network"])[0]
        return ("Modem", f"{maker}, kind {kind}, "
                f"{network if self.mood == 'answers' else self.mood}", self.mood == "answers")

    def _sim_row(self) -> Row:
        if self.modem["sim"] != "ready":
            return "SIM", SIMS[self.modem["sim"]], False
        code = self.modem["registration"]
        return ("SIM", f"{REGISTRATIONS.get(code, code)}, csq {self.modem['signal']}",
                code in (1, 5))
