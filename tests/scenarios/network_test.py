"""Addresses of the interfaces and the figures of the TF card."""

import pytest
from conftest import REFRESH
from gateway import ORDINARY, ordinary_file

SYS_XML = "/zelkora/Config/sys.xml"
EXT4_BLOCK = 4096       # bytes, on the cards of the virtual gateway


def test_addresses_change_and_outlive_the_cable(gateway):
    gateway.cable("eth1", False)
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")
    gateway.address("eth1", "172.16.254.100/20")
    gateway.wait_text("172.16.254.100", limit=REFRESH)
    gateway.press()
    gateway.wait_text("255.255.240.0")
    gateway.address("eth0", None)
    gateway.press()
    gateway.wait_text("N/A")
    gateway.address("eth0", ORDINARY["addresses"]["eth0"])
    gateway.wait_page("ethernet2-address", REFRESH)


@pytest.mark.panels(64)
@pytest.mark.kernel("the list of the simulated gateway has neither states nor aliases")
def test_an_interface_that_is_down_and_an_alias(gateway):
    gateway.sh("ip link set eth1 down")
    gateway.address("eth0", None)
    gateway.sh("ip addr add 10.9.8.7/8 dev eth0 label eth0:1")
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")
    gateway.go("ethernet2-address", "ethernet1-address")
    gateway.wait_text("N/A")               # an alias is another interface


@pytest.mark.panels(64)
def test_the_mobile_link_comes_and_goes(gateway):
    gateway.address("ppp0", None)
    gateway.go("sim-address")
    gateway.wait_page("sim-address-none")
    gateway.address("ppp0", ORDINARY["addresses"]["ppp0"])
    gateway.wait_page("sim-address", REFRESH)


@pytest.mark.panels(64)
def test_a_cascaded_port_shows_the_other_interface(gateway):
    gateway.write(SYS_XML, ordinary_file(SYS_XML).replace('cascade="0"', 'cascade="1"'))
    gateway.go("ethernet1-address")
    gateway.wait_page("ethernet1-address")     # no page has asked for the file yet
    gateway.go("gateway", "ethernet1-address")
    gateway.go("ethernet1-address", "gateway")
    gateway.wait_page("ethernet1-address-cascaded")


def test_a_card_goes_and_another_comes(gateway):
    gateway.go("tf-card")
    gateway.wait_page("tf-card")
    gateway.card(None)
    gateway.wait_page("tf-card-none", REFRESH)
    gateway.wait_said("can not find tf card\n")
    gateway.card([128, 96])
    gateway.wait_text("00128MB", "00096MB", limit=REFRESH)
    gateway.mount(False)
    gateway.wait_page("tf-card-none", REFRESH)
    gateway.wait_said("can not get tf card info\n")


@pytest.mark.panels(64)
@pytest.mark.kernel("the card of the simulated gateway is two figures")
def test_a_card_with_another_file_system_fills(gateway):
    gateway.card([128, 96])
    gateway.mount(False)
    gateway.sh("mkdosfs /dev/mmcblk0p1")
    gateway.mount(True)
    gateway.sh("grep -q ' /media/mmcblk0p1 vfat ' /proc/mounts")
    gateway.sh("dd if=/dev/zero of=/media/mmcblk0p1/films bs=1M count=8")
    blocks, free, size = map(int, gateway.sh("stat -f -c '%b %a %S' /media/mmcblk0p1").split())
    assert size != EXT4_BLOCK
    gateway.go("tf-card")
    gateway.wait_text(*(f"{int((count >> 10) * size / 1024 + 0.5):05d}MB"
                        for count in (blocks, free)), limit=REFRESH)
