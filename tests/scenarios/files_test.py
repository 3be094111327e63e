"""Configuration files, lines of the log and the clock, which others change at any time."""

import struct

import pytest
from conftest import REFRESH
from gateway import ORDINARY, ordinary_file

SYS_XML, SN_XML, VERSION, CHANNELS = ORDINARY["files"]
STOP = 19
TWO_CHANNELS = """<ChannelConfig>
  <Channel No="2"><CommMode Mode="0" Baud="9600" DataSize="8" Parity="" Stop="1"/></Channel>
  <Channel No="7"><CommMode Mode="0" Baud="1200" DataSize="7" Parity="Even" Stop="2"/></Channel>
</ChannelConfig>"""


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
    gateway.write(CHANNELS, TWO_CHANNELS)
    gateway.go("channel", "version")
    gateway.wait_page("channel-no-parity")
    gateway.press()
    gateway.wait_text("1200 7 E 2")
    gateway.press()
    gateway.wait_page("clock")


def test_files_are_broken(gateway):
    gateway.go("gateway")
    for bad, said in (("<sysConfig><lan1 gateway='1.2.3.4'",
                       f"{SYS_XML} Document not parsed successfully.\n"),
                      ("<other/>", "document of the wrong type, root node != sysConfig")):
        gateway.write(SYS_XML, bad)
        gateway.go("gateway", "gateway")
        gateway.wait_page("gateway")
        gateway.wait_said(said)                # with or without a line feed: at once
    assert gateway.errors                      # the parser's own words
    gateway.write(SYS_XML, ordinary_file(SYS_XML).replace("192.168.1.1", "10.0.0.254"))
    gateway.wait_text("10.0.0.254", limit=REFRESH)
    gateway.write(CHANNELS, "<ChannelConfig><Channel")
    gateway.go("channel", "gateway")           # none is left: over the page to the clock
    gateway.wait_page("clock")


def test_files_are_deleted(gateway):
    shown = "clock"
    for path in ORDINARY["files"]:
        gateway.remove(path)
    for name in ("gateway", "identity", "version", "channel"):
        gateway.go(name, shown)
        gateway.wait_page(name)                # the values last read stay
        shown = name
    for path in ORDINARY["files"]:
        gateway.wait_said(f"get {path} status error\n")


@pytest.mark.panels(64)
def test_lines_come_two_a_second_and_the_newest_are_shown(gateway):
    gateway.go("sim-log")
    gateway.wait_page("sim-log-empty")
    gateway.post(ORDINARY["log"][0])
    gateway.wait_page("sim-log-one")
    gateway.post(ORDINARY["log"][1], 7)
    gateway.wait_page("sim-log")
    for number in range(10):
        gateway.post(f"line {number}")
    gateway.pass_(3)
    assert not gateway.shows("line 9")
    gateway.wait_text("line 8", "line 9")
    gateway.post("x" * 69)                     # one byte too many
    gateway.post("never taken")
    gateway.pass_(3)
    assert gateway.shows("line 8", "line 9")


@pytest.mark.panels(64)
def test_lines_wait_while_the_daemon_is_down(gateway):
    gateway.signal(STOP)
    for line in ORDINARY["log"]:
        gateway.post(line)
    assert gateway.waiting() == len(ORDINARY["log"])
    gateway.restart()
    gateway.go("sim-log")
    gateway.wait_page("sim-log")


@pytest.mark.panels(64)
def test_another_zone_is_followed(gateway):
    zone = struct.pack(">4sx15x6lLBB4s", b"TZif", 0, 0, 0, 0, 1, 4, 55800, 0, 0, b"ABC\0")
    gateway.wait_page("clock")
    gateway.write("/etc/localtime", zone)
    gateway.wait_page("clock-other-zone")
