"""What the daemon must do on a real kernel, one scenario a function.

Each gets a gateway of its own with the daemon running, the backlight lit and the clock page
shown, and presses, changes and looks. A scenario that returns has passed.
"""

import dataclasses
import struct
import time
from collections.abc import Callable

from gateway import (ADDRESSES, CHANNELS_XML, EXT4, GOLDEN_MOMENT, MEBIBYTE, ORDINARY_CARD, PAGES,
                     SN_XML, SYS_XML, VERSION_FILE, channels_xml, make_card, sn_xml, sys_xml)
from modem import Facts, Modem
from watch import Failure, WatchedGateway, golden

VFAT = ["mkfs.vfat"]
IDLE_SECONDS = 60
REFRESH = 12.0          # seconds; the slow pages are redrawn every ten
ASK_LIMIT = 25.0        # seconds until the modem has been asked twice at most
LIT, OFF = 127, 0

# Pages that have no golden of their own: what stands on them.
CHANNEL_TEXTS = {"channel-2": "115200 8 E 1", "channel-5": "2400 7 O 2"}
LOG_TEXTS = ("link up", "ppp0 10.64.3.7")

# Where the pages of the 64-line panel have their values.
ADDRESS_Y = 42
SIM_STATE = (30, 40)
SIM_NETWORK = (60, 40)
SIM_SIGNAL = (102, 45)
LOG_LINES = ((15, 26), (15, 42))
GATEWAY_TEXT = (33, 45)
TF_TOTAL, TF_FREE = (76, 32), (76, 46)
VALUE_Y = 45
CHANNEL_Y = {64: 40, 32: 16}


def go(gateway: WatchedGateway, page: str) -> None:
    """From the clock page to another one."""
    gateway.press(PAGES[gateway.kind.lines].index(page) + 1)


def go_round(gateway: WatchedGateway) -> None:
    """Once through all pages and back to the same one, so that it is drawn on a cleared panel."""
    gateway.press(len(PAGES[gateway.kind.lines]))


def clock_and_border_after_boot(gateway: WatchedGateway) -> None:
    gateway.wait_until(lambda picture: picture.bordered(), "a border")
    gateway.wait_clock()
    gateway.expect(gateway.brightness() == LIT, "the backlight is lit")
    gateway.expect(gateway.said() == "", f"nothing is said, but {gateway.said()!r}")
    before = gateway.picture()
    gateway.wait_until(lambda picture: picture != before, "the clock goes on", 3)


def walk_through_every_page(gateway: WatchedGateway) -> None:
    gateway.link_up()
    gateway.insert_card_that_shows(ORDINARY_CARD)
    for line in LOG_TEXTS:
        gateway.post(line)
    for page in PAGES[gateway.kind.lines]:
        gateway.press()
        if page in CHANNEL_TEXTS:
            gateway.wait_centred(CHANNEL_Y[gateway.kind.lines], CHANNEL_TEXTS[page])
        elif page == "sim-status":
            gateway.wait_page("sim-scanning")
            gateway.wait_page(page, ASK_LIMIT)
        elif page == "clock":
            gateway.wait_clock()
        else:
            gateway.wait_page(page)


def idle_panel_goes_dark(gateway: WatchedGateway) -> None:
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")
    pressed = time.monotonic()
    time.sleep(IDLE_SECONDS - 3)
    gateway.expect(gateway.brightness() == LIT, "still lit before the minute is over")
    while gateway.brightness() == LIT and time.monotonic() < pressed + IDLE_SECONDS + 5:
        time.sleep(0.1)
    gateway.expect(gateway.brightness() == OFF, "dark after the minute")
    if gateway.kind.lines == 64:
        gateway.wait_until(lambda picture: picture.blank(), "a blank panel")
        gateway.press_long()    # consumed: it lights the panel and does not reboot
        gateway.wait_clock()
    else:
        gateway.wait_page("ethernet1-address")
        gateway.press()
        time.sleep(1)
        gateway.wait_page("ethernet1-address")
    gateway.expect(gateway.brightness() == LIT, "lit by the key")
    gateway.press()
    gateway.wait_page("ethernet1-address" if gateway.kind.lines == 64 else "ethernet1-netmask")


def addresses_change(gateway: WatchedGateway) -> None:
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")
    gateway.address("eth1", "172.16.254.100/20")
    gateway.wait_centred(ADDRESS_Y, "172.16.254.100", REFRESH)
    gateway.press()
    gateway.wait_centred(ADDRESS_Y, "255.255.240.0")
    gateway.press()
    gateway.wait_page("ethernet2-address")
    gateway.address("eth0", None)
    go_round(gateway)
    gateway.wait_centred(ADDRESS_Y, "N/A")
    gateway.sh("ip addr add 10.9.8.7/8 dev eth0 label eth0:1")
    go_round(gateway)
    gateway.wait_centred(ADDRESS_Y, "N/A")     # an alias is another interface
    gateway.address("eth0", ADDRESSES["eth0"])
    gateway.wait_page("ethernet2-address", REFRESH)


def addresses_outlive_the_cable(gateway: WatchedGateway) -> None:
    """The kernel keeps an interface's IPv4 address without a carrier, and when it is down."""
    gateway.set_cable("eth1", plugged=False)
    gateway.sh("ip link set eth0 down")
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")
    gateway.press(2)
    gateway.wait_page("ethernet2-address")


def mobile_link_comes_and_goes(gateway: WatchedGateway) -> None:
    go(gateway, "sim-address")
    gateway.wait_page("sim-address-none")
    gateway.link_up()
    gateway.wait_page("sim-address", REFRESH)
    gateway.sh("ip link del ppp0")
    go_round(gateway)
    gateway.wait_page("sim-address-none")


def cascaded_port_shows_the_other_interface(gateway: WatchedGateway) -> None:
    gateway.write(SYS_XML, sys_xml(cascade="1"))
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")          # no page has asked for the file yet
    gateway.press(4)
    gateway.wait_page("gateway")
    gateway.press(len(PAGES[64]) - 4)
    gateway.wait_page("ethernet1-address-cascaded")


def figure(blocks: int, block_size: int) -> str:
    return f"{int((blocks >> 10) * block_size / 1024 + 0.5):05d}MB"


def card_figures(gateway: WatchedGateway) -> tuple[str, str]:
    """Total and free as the panel should show them, from what the kernel says of the card."""
    blocks, available, size = gateway.sh("stat -f -c '%b %a %S' /media/mmcblk0p1").split()
    return figure(int(blocks), int(size)), figure(int(available), int(size))


def wait_card(gateway: WatchedGateway, total: str, free: str, limit: float = REFRESH) -> None:
    gateway.wait_text(*TF_TOTAL, total, limit)
    gateway.wait_text(*TF_FREE, free, limit)


def card_comes_fills_and_goes(gateway: WatchedGateway) -> None:
    go(gateway, "tf-card")
    wait_card(gateway, "00000MB", "00000MB")
    gateway.expect("can not find tf card\n" in gateway.said(), "the missing card is told of")
    card = gateway.folder / "card.img"
    make_card(card, 64 * MEBIBYTE, EXT4)
    gateway.insert_card(card)
    gateway.mount_card()
    total, free = card_figures(gateway)
    gateway.expect(total != "00000MB" != free, "the card has room")
    wait_card(gateway, total, free)
    gateway.sh("dd if=/dev/zero of=/media/mmcblk0p1/full bs=64k; true")
    wait_card(gateway, total, "00000MB")
    gateway.pull_card()
    wait_card(gateway, "00000MB", "00000MB")


def card_with_another_file_system(gateway: WatchedGateway) -> None:
    card = gateway.folder / "card.img"
    make_card(card, 64 * MEBIBYTE, VFAT)
    gateway.insert_card(card)
    gateway.mount_card()
    total, free = card_figures(gateway)
    go(gateway, "tf-card")
    wait_card(gateway, total, free)
    gateway.sh("umount /media/mmcblk0p1; rmdir /media/mmcblk0p1")
    wait_card(gateway, "00000MB", "00000MB")
    gateway.expect("can not get tf card info\n" in gateway.said(), "the missing mount is told of")


def wait_sim(gateway: WatchedGateway, state: str, network: str, signal: str) -> None:
    gateway.wait_text(*SIM_SIGNAL, signal, ASK_LIMIT)
    gateway.wait_text(*SIM_STATE, state)
    gateway.wait_text(*SIM_NETWORK, network)


def modem_of_the_first_maker(gateway: WatchedGateway) -> None:
    go(gateway, "sim-status")
    gateway.wait_page("sim-scanning")
    gateway.expect(gateway.modem.commands == [], "the first draw asks nothing")
    gateway.wait_page("sim-status", ASK_LIMIT)
    asked = ["at+cpin?", "at+creg?", "at+csq", "AT+CGMI", "at+cnsmod?"]
    if gateway.modem.commands[:5] != asked:
        raise Failure(f"the modem was asked {gateway.modem.commands}")
    gateway.modem.facts = Facts(signal="+CSQ: 9,99", registration="+CREG: 0,5",
                                network_mode="+CNSMOD: 0,4")
    wait_sim(gateway, "OK", "3G", "09")


def modem_of_the_second_maker(gateway: WatchedGateway) -> None:
    gateway.modem.facts = Facts(maker="AirM2M", signal="+CSQ: 31,0",
                                system_info="^SYSINFO: 2,3,0,3,1")
    go(gateway, "sim-status")
    wait_sim(gateway, "OK", "2G", "31")
    gateway.modem.facts = Facts(maker="AirM2M", system_info="^SYSINFO: 2,3,0,5,1")
    wait_sim(gateway, "OK", "3G", "20")


def modem_without_a_network(gateway: WatchedGateway) -> None:
    gateway.modem.facts = Facts(sim="+CME ERROR: 10\r\nERROR", registration="+CREG: 0,2")
    go(gateway, "sim-status")
    wait_sim(gateway, "NG", "", "-1")


def modem_asked_all_at_once(gateway: WatchedGateway) -> None:
    gateway.write(SN_XML, sn_xml(model="GW-100"))
    go(gateway, "identity")                    # the page that reads the file
    gateway.press(len(PAGES[64]) - 4)
    wait_sim(gateway, "OK", "2G", "20")
    gateway.expect(gateway.modem.commands[:3] == ["at+cpin?", "at+creg?", "at+csq"],
                   "three questions in one")
    gateway.modem.facts = Facts(registration="+CREG: 0,2")
    gateway.wait_text(*SIM_NETWORK, "", ASK_LIMIT)


def silent_modem_does_not_lose_keys(gateway: WatchedGateway) -> None:
    gateway.modem.facts = Facts(silent=True)
    go(gateway, "sim-status")
    end = time.monotonic() + REFRESH
    while not gateway.modem.commands and time.monotonic() < end:
        time.sleep(0.02)
    gateway.expect(gateway.modem.commands[:1] == ["at+cpin?"], "the modem is asked")
    gateway.press()                            # while the daemon waits for the modem
    gateway.wait_until(lambda picture: picture.text_at(15, 26) == "IP Address:",
                       "the key is handled after the query")
    gateway.press(len(PAGES[64]) - 1)
    wait_sim(gateway, "NG", "", "-1")


def late_modem_loses_the_quick_questions(gateway: WatchedGateway) -> None:
    gateway.modem.facts = Facts(delay=0.15)    # more than the 0.1 s of a value, less than 0.5 s
    go(gateway, "sim-status")
    wait_sim(gateway, "OK", "", "-1")


def split_answers_are_not_recognised(gateway: WatchedGateway) -> None:
    gateway.modem.facts = Facts(split_gap=0.02)
    go(gateway, "sim-status")
    wait_sim(gateway, "NG", "", "-1")


def serial_chip_hands_on_eight_bytes_at_a_time(gateway: WatchedGateway) -> None:
    """The combined dialogue joins what comes in pieces."""
    gateway.sh("ln -sfn ttyS1 /dev/mux3")
    modem = Modem(gateway.uart_port)
    gateway.write(SN_XML, sn_xml(model="GW-100"))
    go(gateway, "identity")
    gateway.press(len(PAGES[64]) - 4)
    wait_sim(gateway, "OK", "2G", "20")
    gateway.expect(modem.commands[:3] == ["at+cpin?", "at+creg?", "at+csq"], "asked by this port")


def missing_modem_port_clears_the_status(gateway: WatchedGateway) -> None:
    go(gateway, "sim-status")
    gateway.wait_page("sim-status", ASK_LIMIT)
    gateway.remove_modem_port()
    gateway.wait_page("sim-status-no-modem", ASK_LIMIT)


def lines_from_another_process(gateway: WatchedGateway) -> None:
    go(gateway, "sim-log")
    gateway.wait_page("sim-log-empty")
    gateway.post("link up")
    gateway.wait_text(*LOG_LINES[0], "link up")
    gateway.post("dial 10086", kind=7)
    gateway.wait_text(*LOG_LINES[1], "dial 10086")
    for number in range(10):
        gateway.post(f"line {number}")
    gateway.wait_text(*LOG_LINES[1], "line 9", 12)
    gateway.wait_text(*LOG_LINES[0], "line 8")
    gateway.post("x" * 68)                     # with its ending zero one byte too many
    gateway.post("never taken")
    time.sleep(3)
    gateway.wait_text(*LOG_LINES[1], "line 9")


def lines_sent_while_the_daemon_is_down(gateway: WatchedGateway) -> None:
    gateway.sh("kill -STOP $(pidof paneld)")
    gateway.post("first")
    gateway.post("second")
    gateway.sh("kill -9 $(pidof paneld)")
    gateway.wait_ready()
    go(gateway, "sim-log")
    gateway.wait_text(*LOG_LINES[0], "first")
    gateway.wait_text(*LOG_LINES[1], "second")


def configuration_is_rewritten(gateway: WatchedGateway) -> None:
    go(gateway, "gateway")
    gateway.wait_page("gateway")
    gateway.write(SYS_XML, sys_xml(gateway="192.168.1.7"))
    gateway.wait_text(*GATEWAY_TEXT, "192.168.1.7", REFRESH)
    gateway.write(SN_XML, sn_xml(number="SN20249999"))
    gateway.write(VERSION_FILE, "V2.0.0\n")
    gateway.press(5)
    gateway.wait_centred(VALUE_Y, "SN20249999")
    gateway.press()
    gateway.wait_centred(VALUE_Y, "V2.0.0")
    gateway.write(CHANNELS_XML, channels_xml({7: (115200, 7, "Even", 2)}))
    gateway.press(2)
    gateway.wait_centred(CHANNEL_Y[64], "115200 7 E 2")


def configuration_is_broken(gateway: WatchedGateway) -> None:
    go(gateway, "gateway")
    gateway.write(SYS_XML, "<sysConfig><lan1 gateway='1.2.3.4'")
    go_round(gateway)
    gateway.wait_page("gateway")
    broken = f"{SYS_XML} Document not parsed successfully.\n"
    gateway.wait_until(lambda _: broken in gateway.said(), f"{broken!r} is said")
    gateway.write(SYS_XML, "<other/>")
    go_round(gateway)
    wrong = "document of the wrong type, root node != sysConfig"
    gateway.wait_until(lambda _: wrong in gateway.said(), f"{wrong!r} is said")
    gateway.write(SYS_XML, sys_xml(gateway="10.0.0.254"))
    go_round(gateway)
    gateway.wait_text(*GATEWAY_TEXT, "10.0.0.254")
    gateway.write(CHANNELS_XML, "<ChannelConfig><Channel")
    gateway.press(7)
    gateway.wait_page("tf-card-none")
    gateway.press()                            # no channel is left: over the page to the clock
    gateway.wait_clock()


def configuration_is_deleted(gateway: WatchedGateway) -> None:
    for path in (SYS_XML, SN_XML, VERSION_FILE, CHANNELS_XML):
        gateway.remove(path)
    for page in ("gateway", "identity", "version", "channel"):
        pages = PAGES[64]
        gateway.press(pages.index(page) + 1)
        gateway.wait_page(page)        # the values last read stay
        gateway.press(len(pages) - pages.index(page) - 1)
    for path in (SYS_XML, SN_XML, VERSION_FILE, CHANNELS_XML):
        gateway.expect(f"get {path} status error\n" in gateway.said(), f"{path} is told of")


def zone_and_clock_are_set(gateway: WatchedGateway) -> None:
    def wait_shown(moment: int, clock: str, date: str) -> None:
        for _ in range(4):      # a busy host may need several goes
            gateway.agent.do("hold", f"{moment} 1500")
            picture = gateway.picture()
            if picture.text_at(60, 4) == clock and picture.text_at(56, 16) == date:
                return
        raise Failure(f"not {date} {clock}:\n{picture}")

    wait_shown(GOLDEN_MOMENT, "09:05:03", "2024-03-04")
    wait_shown(1735689599, "23:59:59", "2024-12-31")
    zone = struct.pack(">4sx15x6lLBB4s", b"TZif", 0, 0, 0, 0, 1, 4, 8 * 3600, 0, 0, b"CST\0")
    octal = "".join(f"\\{byte:03o}" for byte in zone)
    gateway.sh(f"printf '{octal}' >/etc/localtime")
    wait_shown(GOLDEN_MOMENT, "17:05:03", "2024-03-04")


def killed_daemon_comes_back(gateway: WatchedGateway) -> None:
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")
    before = gateway.daemon()
    gateway.sh("kill -9 $(pidof paneld)")
    gateway.wait_ready()
    gateway.expect(gateway.daemon() != before, "another daemon")
    gateway.wait_until(lambda picture: picture.bordered(), "a border")
    gateway.wait_clock()
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")


def burst_of_presses_leaves_the_daemon_in_step(gateway: WatchedGateway) -> None:
    """The kernel keeps 64 events; when there are more it drops all but the newest."""
    for _ in range(20):
        gateway.button(1)
        gateway.button(0)
    time.sleep(5)
    pages = PAGES[64][:5]
    shown = [page for page in pages if golden(64, page) == gateway.picture()]
    gateway.expect(len(shown) == 1 and shown[0] != pages[-1], "a page of the first few")
    gateway.press()
    gateway.wait_page(pages[pages.index(shown[0]) + 1])


def other_buttons_are_ignored(gateway: WatchedGateway) -> None:
    gateway.button(1, code=257)
    gateway.button(0, code=257)
    time.sleep(1)
    gateway.wait_clock()
    gateway.press()
    gateway.wait_page("ethernet1-address")


def long_press_resets_the_machine(gateway: WatchedGateway) -> None:
    go(gateway, "ethernet1-address")
    gateway.wait_page("ethernet1-address")
    gateway.press_long()
    gateway.wait_page("reboot")
    gateway.wait_reset()
    gateway.expect_ended()
    if "system is rebooting\n" not in gateway.said():
        raise Failure(f"the daemon says {gateway.said()!r}")


def ten_real_seconds_reset_the_machine(gateway: WatchedGateway) -> None:
    gateway.button(1)
    time.sleep(9)
    gateway.button(0)
    gateway.wait_page("ethernet1-address")          # nine are a short press
    gateway.button(1)
    time.sleep(10.5)
    gateway.button(0)
    gateway.wait_reset()
    gateway.expect_ended()


def reboot_comes_back_to_the_clock(gateway: WatchedGateway) -> None:
    gateway.press_long()
    gateway.wait_reset()
    gateway.wait_boot()
    gateway.wait_ready()
    gateway.wait_until(lambda picture: picture.bordered(), "a border")
    gateway.wait_clock()
    gateway.expect(gateway.brightness() == LIT, "the backlight is lit")


@dataclasses.dataclass(frozen=True)
class Scenario:
    run: Callable[[WatchedGateway], None]
    machines: tuple[str, ...]       # kinds it runs on
    boot: bool = False              # starts from the kernel's start, not from a saved machine
    keep_on_reset: bool = False     # the machine starts again after a reset

    @property
    def name(self) -> str:
        return self.run.__name__.replace("_", " ")


TALL, SMALL, ARM, SMALL_ARM = "amd64-64", "amd64-32", "armhf-64", "armhf-32"

# Seen on the machine that is saved afterwards.
FIRST = Scenario(clock_and_border_after_boot, (TALL, SMALL, ARM, SMALL_ARM), boot=True)

# The long ones first: they wait while the others work.
SCENARIOS = [
    Scenario(walk_through_every_page, (TALL, SMALL, ARM, SMALL_ARM), boot=True),
    Scenario(card_comes_fills_and_goes, (TALL,), boot=True),
    Scenario(card_with_another_file_system, (TALL,), boot=True),
    Scenario(reboot_comes_back_to_the_clock, (TALL,), boot=True, keep_on_reset=True),
    Scenario(idle_panel_goes_dark, (TALL, SMALL)),
    Scenario(silent_modem_does_not_lose_keys, (TALL,)),
    Scenario(modem_of_the_first_maker, (TALL, ARM)),
    Scenario(modem_of_the_second_maker, (TALL,)),
    Scenario(modem_without_a_network, (TALL,)),
    Scenario(modem_asked_all_at_once, (TALL,)),
    Scenario(late_modem_loses_the_quick_questions, (TALL,)),
    Scenario(split_answers_are_not_recognised, (TALL,)),
    Scenario(serial_chip_hands_on_eight_bytes_at_a_time, (TALL,)),
    Scenario(missing_modem_port_clears_the_status, (TALL,)),
    Scenario(ten_real_seconds_reset_the_machine, (TALL,)),
    Scenario(addresses_change, (TALL,)),
    Scenario(addresses_outlive_the_cable, (TALL,)),
    Scenario(mobile_link_comes_and_goes, (TALL,)),
    Scenario(cascaded_port_shows_the_other_interface, (TALL,)),
    Scenario(lines_from_another_process, (TALL,)),
    Scenario(lines_sent_while_the_daemon_is_down, (TALL,)),
    Scenario(configuration_is_rewritten, (TALL,)),
    Scenario(configuration_is_broken, (TALL,)),
    Scenario(configuration_is_deleted, (TALL,)),
    Scenario(zone_and_clock_are_set, (SMALL,)),
    Scenario(killed_daemon_comes_back, (TALL,)),
    Scenario(other_buttons_are_ignored, (TALL,)),
    Scenario(burst_of_presses_leaves_the_daemon_in_step, (TALL,)),
    Scenario(long_press_resets_the_machine, (TALL, SMALL, ARM)),
]
