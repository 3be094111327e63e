"""Configuration files, lines of the log and the clock, which others change at any time."""

import struct

import pytest
from conftest import REFRESH, has_text
from gateway import ORDINARY, ordinary_file

SYS_XML, SN_XML, VERSION, CHANNELS = ORDINARY["files"]
STOP = 19


def channels(*rows):
    """Number, baud, data bits, parity, stop bits."""
    return "<ChannelConfig>{}</ChannelConfig>".format("".join(
        '<Channel No="{}"><CommMode Mode="0" Baud="{}" DataSize="{}" Parity="{}" Stop="{}"/>'
        "</Channel>".format(*row) for row in rows))


def test_files_are_rewritten(gateway):
    gateway.go("gateway")
    gateway.write(SYS_XML, ordinary_file(SYS_XML).replace("192.168.1.1", "255.255.255.2550"))
    gateway.wait_page("gateway-widest", REFRESH)
    gateway.write(SN_XML, ordinary_file(SN_XML).replace("SN20240001", "SN20249999"))
    gateway.write(VERSION, "V2.0.0\n")
    gateway.go("identity", "gateway")
    gateway.wait_text("SN20249999")
    gateway.press()
    gateway.wait_text("V2.0.0")
    gateway.write(CHANNELS, channels((2, 9600, 8, "", 1), (16, 115200, 7, "Even", 2)))
    gateway.press(2)
    gateway.wait_page("channel-no-parity")
    gateway.press()
    gateway.wait_page("channel-16")
    gateway.press()
    gateway.wait_clock()


def test_files_are_broken(gateway):
    gateway.go("gateway")
    for bad, said in (("<sysConfig><lan1 gateway='1.2.3.4'",
                       f"{SYS_XML} Document not parsed successfully.\n"),
                      ("<other/>", "document of the wrong type, root node != sysConfig")):
        gateway.write(SYS_XML, bad)
        gateway.go_round()
        gateway.wait_page("gateway")
        gateway.wait_said(said)
    assert gateway.errors or not gateway.simulated     # the parser's own words
    gateway.write(SYS_XML, ordinary_file(SYS_XML).replace("192.168.1.1", "10.0.0.254"))
    gateway.go_round()
    gateway.wait_text("10.0.0.254")
    gateway.write(CHANNELS, "<ChannelConfig><Channel")
    gateway.go("tf-card", "gateway")
    gateway.wait_page("tf-card")
    gateway.press()                            # no channel is left: over the page to the clock
    gateway.wait_clock()


def test_a_message_without_a_line_feed_is_seen_at_once(gateway):
    gateway.write(SYS_XML, "<other/>")
    gateway.restart()
    gateway.wait_said("document of the wrong type, root node != sysConfig")


def test_files_are_deleted(gateway):
    for path in ORDINARY["files"]:
        gateway.remove(path)
    shown = "clock"
    for name in ("gateway", "identity", "version", "channel"):
        gateway.go(name, shown)
        gateway.wait_page(name)                # the values last read stay
        shown = name
    for path in ORDINARY["files"]:
        gateway.wait_said(f"get {path} status error\n")


@pytest.mark.panels(64)
def test_lines_come_two_a_second_and_two_are_shown(gateway):
    gateway.go("sim-log")
    gateway.wait_page("sim-log-empty")
    gateway.post(ORDINARY["log"][0])
    gateway.wait_page("sim-log-one")
    gateway.post(ORDINARY["log"][1], 7)
    gateway.wait_page("sim-log")
    for number in range(10):
        gateway.post(f"line {number}")
    gateway.pass_(2)
    assert not gateway.sees(lambda: has_text(gateway.picture(), "line 9"), 1)
    gateway.wait_text("line 8", "line 9")
    gateway.post("x" * 68)                     # with its ending zero one byte too many
    gateway.post("never taken")
    gateway.pass_(3)
    gateway.wait_text("line 8", "line 9")


@pytest.mark.panels(64)
def test_lines_wait_while_the_daemon_is_down(gateway):
    gateway.signal(STOP)
    for line in ORDINARY["log"]:
        gateway.post(line)
    gateway.restart()
    gateway.go("sim-log")
    gateway.wait_page("sim-log")


@pytest.mark.panels(64)
def test_another_zone_is_followed(gateway):
    zone = struct.pack(">4sx15x6lLBB4s", b"TZif", 0, 0, 0, 0, 1, 4, 55800, 0, 0, b"ABC\0")
    gateway.wait_clock()
    gateway.write("/etc/localtime", zone)
    gateway.wait_clock("clock-other-zone")
