"""What the person at the desk changes of the virtual gateway, one key a fact, and rows that say how
things stand. Keys and words are those of the simulated gateway (sim/terminal_facts.cpp)."""

import dataclasses
import time

from gateway import (ADDRESSES, CHANNELS_XML, ORDINARY_CONFIG, SN_XML, SYS_XML, VERSION_FILE, Card,
                     Gateway, channels_xml, sn_xml, sys_xml)
from modem import Facts as ModemFacts

CARDS = [Card(7600, 4096, 700), Card(128, 96, 520), Card(30436, 30000, 1245),
         Card(123456, 121000, 3150)]
REGISTRATIONS = {1: "registered at home", 5: "roaming", 2: "searching", 3: "denied"}
# Name -> mode as SIMCOM says it, as AirM2M says it.
NETWORKS = {"4G": (8, 17), "3G": (4, 5), "2G": (1, 3), "no network": (0, 0)}
MAKERS = ["SIMCOM", "AirM2M", "unknown maker"]
MOODS = ["answers", "silent", "ERROR", "port missing"]
MODELS = ["GW-100-L", "GW-100"]     # the one asked question by question, the one asked at once
STRONGEST = 31
LOG_LINE_LIMIT = 68     # bytes
HOUR = 3600

# Name -> path, other contents, when the daemon looks again.
CONFIG_FILES = {
    "sys.xml": (SYS_XML, sys_xml(gateway="10.20.30.254", cascade="1"), "the gateway page"),
    "sn.xml": (SN_XML, sn_xml(number="SN20249999", model="GW-200"), "the identity page"),
    "version": (VERSION_FILE, "V2.0.0-rc1\n", "the version page"),
    "channels": (CHANNELS_XML, channels_xml({3: (115200, 8, "Even", 1), 7: (1200, 7, "Odd", 2)}),
                 "the way from the TF card page to the channels"),
}
CHANNELS_SHOWN = {"": "1, 2, 5", "new": "3, 7"}


def following(table, current):
    table = list(table)
    return table[(table.index(current) + 1) % len(table)]


def prefix(netmask: str) -> int | None:
    """The length of a netmask; None when it is none."""
    bits = "".join(f"{byte:08b}" for byte in address_bytes(netmask) or ())
    return None if not bits or "01" in bits else bits.count("1")


def address_bytes(text: str) -> list[int] | None:
    parts = text.split(".")
    good = len(parts) == 4 and all(part.isascii() and part.isdigit() and int(part) < 256
                                   for part in parts)
    return [int(part) for part in parts] if good else None


@dataclasses.dataclass
class Port:
    name: str
    label: str
    address: str            # with its prefix length; the last one
    addressed: bool = True
    plugged: bool = True


class Facts:
    """How things stand on one gateway, from its start on. Each change returns what became of it."""

    def __init__(self, gateway: Gateway) -> None:
        """Brings a gateway that has just booted to the ordinary facts."""
        self._gateway = gateway
        self.ports = [Port("eth1", "Port 1 eth1", ADDRESSES["eth1"]),
                      Port("eth0", "Port 2 eth0", ADDRESSES["eth0"]),
                      Port("ppp0", "Data ppp0", ADDRESSES["ppp0"])]
        self._files = dict.fromkeys(CONFIG_FILES, "")
        self._model = MODELS[0]
        self._card = CARDS[0]
        self._card_in = True
        self._sim = "SIM in"
        self._registration = 1
        self._signal = 20
        self._network = "4G"
        self._maker = MAKERS[0]
        self._mood = MOODS[0]
        self._hours = 0
        self._tell_modem()
        gateway.link_up()
        for port in self.ports[:2]:
            gateway.set_cable(port.name, True)
        now = int(time.time())
        gateway.sh(f"date -s @{now + time.localtime(now).tm_gmtoff}")
        if gateway.slot_taken:      # by a gateway that has rebooted
            gateway.pull_card()
        gateway.insert_card_that_shows(self._card)

    # --- Network ---

    def toggle_cable(self, port: Port) -> str:
        port.plugged = not port.plugged
        self._gateway.set_cable(port.name, port.plugged)
        if port.plugged:
            return f"{port.name} plugged in"
        return f"{port.name} unplugged" + ("; it keeps its address" if port.addressed else "")

    def toggle_address(self, port: Port) -> str:
        port.addressed = not port.addressed
        self._gateway.address(port.name, port.address if port.addressed else None)
        if port.addressed:
            return f"{port.name} has {port.address.split('/')[0]} again"
        return f"{port.name} has lost its address"

    def toggle_link(self) -> str:
        port = self.ports[2]
        port.addressed = not port.addressed
        if not port.addressed:
            self._gateway.link_down()
            return "data link down, ppp0 gone"
        self._gateway.link_up()
        self._gateway.address(port.name, port.address)
        return f"data link up, ppp0 has {port.address.split('/')[0]}"

    def set_address(self, request: str) -> str:
        name, address, netmask = (request.split() + ["", "", ""])[:3]
        netmask = netmask or "255.255.255.0"
        port = next((port for port in self.ports if port.name == name), None)
        if port is None:
            return f"no interface '{name}': eth0, eth1 or ppp0"
        if address_bytes(address) is None:
            return f"'{address}' is no IPv4 address"
        if prefix(netmask) is None:
            return f"'{netmask}' is no netmask"
        if port is self.ports[2] and not port.addressed:
            self._gateway.link_up()
        port.address = f"{address}/{prefix(netmask)}"
        port.addressed = True
        self._gateway.address(name, port.address)
        return f"{name} has {address}, netmask {netmask}"

    def proposed_address(self) -> str:
        head, last = self.ports[0].address.split("/")[0].rsplit(".", 1)
        return f"eth1 {head}.{int(last) % 254 + 1}"

    # --- TF card ---

    def toggle_card(self) -> str:
        self._card_in = not self._card_in
        if self._card_in:
            self._gateway.unmount_card()
            self._gateway.insert_card_that_shows(self._card)
            return "TF card inserted and mounted"
        self._gateway.pull_card()
        return "TF card pulled; its mount is left behind"

    def next_card(self) -> str:
        self._card = following(CARDS, self._card)
        if self._card_in:
            self._gateway.unmount_card()
            self._gateway.pull_card()
            self._gateway.insert_card_that_shows(self._card)
        return f"TF card of {self._card.total} MB"

    # --- Modem ---

    def _tell_modem(self) -> None:
        mode, system = NETWORKS[self._network]
        sim = {"SIM in": "+CPIN: READY\r\n\r\nOK", "no SIM": "+CME ERROR: 10",
               "SIM asks for its PIN": "+CPIN: SIM PIN\r\n\r\nOK"}[self._sim]
        self._gateway.modem.facts = ModemFacts(
            maker=self._maker, sim=sim, registration=f"+CREG: 0,{self._registration}",
            signal=f"+CSQ: {self._signal},99", network_mode=f"+CNSMOD: 0,{mode}",
            system_info=f"^SYSINFO: 2,3,0,{system},1", silent=self._mood == "silent",
            refusing=self._mood == "ERROR")

    def toggle_sim(self) -> str:
        self._sim = "no SIM" if self._sim != "no SIM" else "SIM in"
        self._tell_modem()
        return "SIM taken out" if self._sim == "no SIM" else "SIM put in"

    def toggle_pin(self) -> str:
        asks = "SIM asks for its PIN"
        self._sim = asks if self._sim != asks else "SIM in"
        self._tell_modem()
        return self._sim

    def next_registration(self) -> str:
        self._registration = following(REGISTRATIONS, self._registration)
        self._tell_modem()
        return f"modem {REGISTRATIONS[self._registration]}"

    def change_signal(self, step: int) -> str:
        self._signal = max(0, min(STRONGEST, self._signal + step))
        self._tell_modem()
        return f"signal {self._signal} of {STRONGEST}"

    def next_network(self) -> str:
        self._network = following(NETWORKS, self._network)
        self._tell_modem()
        return f"network: {self._network}"

    def next_maker(self) -> str:
        self._maker = following(MAKERS, self._maker)
        self._tell_modem()
        return f"modem of {self._maker}"

    def next_mood(self) -> str:
        before, self._mood = self._mood, following(MOODS, self._mood)
        if self._mood == "port missing":
            self._gateway.remove_modem_port()
        elif before == "port missing":
            self._gateway.add_modem_port()
        self._tell_modem()
        return {"answers": "modem answers", "silent": "modem silent: a query takes seconds",
                "ERROR": "modem answers ERROR", "port missing": "modem port missing"}[self._mood]

    def next_model(self) -> str:
        self._model = following(MODELS, self._model)
        self._files["sn.xml"] = ""
        self._gateway.write(SN_XML, sn_xml(model=self._model))
        return f"model {self._model}: seen on the identity page"

    # --- Clock, files, log ---

    def jump(self, hours: int) -> str:
        self._hours += hours
        self._gateway.set_clock(f"+ {hours * HOUR}")
        return "clock set to " + clock_text(self._gateway.clock())

    def set_file(self, name: str, state: str) -> str:
        """`state`: "" for the original contents, "new", "broken" or "gone"."""
        path, other, seen_on = CONFIG_FILES[name]
        original = ORDINARY_CONFIG[path]
        self._files[name] = state
        if state == "gone":
            self._gateway.sh(f"rm -f {path}")
            return f"{name} deleted"
        if state == "broken":
            half = 0 if name == "version" else len(original) // 2
            self._gateway.write(path, original[:half])
            return f"{name} broken"
        if name == "sn.xml":
            self._model = MODELS[1] if state else MODELS[0]
        self._gateway.write(path, other if state else original)
        return f"{name} {'rewritten' if state else 'restored'}: seen on {seen_on}"

    def send_line(self, text: str) -> str:
        try:
            size = len(text.encode("gb2312"))
        except UnicodeEncodeError as error:
            return f"not sent: GB2312 has no '{text[error.start]}'"
        if size > LOG_LINE_LIMIT:
            return f"not sent: {size} bytes, a line takes {LOG_LINE_LIMIT}"
        self._gateway.post(text)
        return f"sent to the log: {text}"

    # --- How things stand ---

    def rows(self, clock: int) -> list[tuple[str, str, bool]]:
        """Label, value, and whether it is as it should be."""
        jumped = f" ({self._hours:+d} h)" if self._hours else ""
        files = ", ".join(f"{name} {state}" for name, state in self._files.items() if state)
        channels = CHANNELS_SHOWN.get(self._files["channels"])
        return [("Clock", clock_text(clock) + jumped, not jumped),
                *(self._port_row(port) for port in self.ports),
                self._modem_row(), self._sim_row(), self._card_row(),
                ("Channels", channels or "no readable template", channels is not None),
                ("Files", files or "all as they were", not files)]

    def _port_row(self, port: Port) -> tuple[str, str, bool]:
        if port is self.ports[2] and not port.addressed:
            return port.label, "no link", False
        value = port.address if port.addressed else "no address"
        return (port.label, value + ("" if port.plugged else ", no cable"),
                port.addressed and port.plugged)

    def _modem_row(self) -> tuple[str, str, bool]:
        if self._mood == "port missing":
            return "Modem", self._mood, False
        kind = f"{self._maker}, kind {2 if self._model == MODELS[0] else 1}"
        if self._mood != "answers":
            return "Modem", f"{kind}, {self._mood}", False
        return "Modem", f"{kind}, {self._network}", True

    def _sim_row(self) -> tuple[str, str, bool]:
        if self._sim != "SIM in":
            return "SIM", self._sim, False
        return ("SIM", f"{REGISTRATIONS[self._registration]}, csq {self._signal}",
                self._registration in (1, 5))

    def _card_row(self) -> tuple[str, str, bool]:
        if not self._card_in:
            return "TF card", "out", False
        return "TF card", f"{self._card.total} MB, {self._card.free} free", True


def clock_text(clock: int) -> str:
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(clock))


# Key -> what it does, in the words of the help; in the order in which they are shown.
FACT_KEYS = {
    "1": ("cable of port 1, eth1, out or in", lambda facts: facts.toggle_cable(facts.ports[0])),
    "2": ("cable of port 2, eth0, out or in", lambda facts: facts.toggle_cable(facts.ports[1])),
    "x": ("address of eth1 away or back", lambda facts: facts.toggle_address(facts.ports[0])),
    "X": ("address of eth0 away or back", lambda facts: facts.toggle_address(facts.ports[1])),
    "3": ("data link ppp0 down or up", Facts.toggle_link),
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
