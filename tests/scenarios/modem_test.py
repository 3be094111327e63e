"""The SIM status page and the dialogues with the modem."""

import math

import pytest
from conftest import ASK_LIMIT, REFRESH, STEP, has_text
from gateway import ordinary_file

SN_XML = "/zelkora/Config/system/sn.xml"
ONE_BY_ONE = ["at+cpin?", "at+creg?", "at+csq", "AT+CGMI", "at+cnsmod?"]
ALL_AT_ONCE = ["at+cpin?", "at+creg?", "at+csq"]

pytestmark = pytest.mark.panels(64)     # the 32-line panel has no such page


def enter(gateway, **facts):
    gateway.modem(facts)
    gateway.asked()
    gateway.go("sim-scanning")


def enter_asking_at_once(gateway, **facts):
    gateway.write(SN_XML, ordinary_file(SN_XML).replace("GW-100-L", "GW-100"))
    gateway.go("identity")                     # the page that reads the file
    gateway.modem(facts)
    gateway.go("sim-scanning", "identity")


def wait_sim(gateway, *texts):
    """State, network and signal; a network that is not there is a question mark."""
    gateway.wait_text(*texts, limit=ASK_LIMIT)


@pytest.mark.everywhere
def test_the_first_maker(gateway):
    enter(gateway)
    gateway.wait_page("sim-scanning")
    assert gateway.asked() == []               # the first draw asks nothing
    gateway.wait_page("sim-status", ASK_LIMIT)
    assert gateway.asked()[:5] == ONE_BY_ONE
    gateway.modem({"signal": 9, "registration": 5, "networkMode": 4})
    wait_sim(gateway, "OK", "3G", "09")


@pytest.mark.parametrize("facts, texts", [
    ({"maker": "AirM2M", "signal": 31, "systemMode": 3}, ("OK", "2G", "31")),
    ({"maker": "AirM2M", "systemMode": 5}, ("OK", "3G", "20")),
    ({"sim": "absent", "registration": 2}, ("NG", "-1")),
    ({"mood": "error"}, ("NG", "-1")),
    ({"delay": 0.15}, ("OK", "-1")),           # more than the 0.1 s of a value, less than 0.5 s
    ({"pieces": 19}, ("NG", "-1")),            # between the O and the K of "OK"
], ids=str)
def test_what_the_modem_says_one_by_one(gateway, facts, texts):
    enter(gateway, **facts)
    wait_sim(gateway, *texts)


def test_all_at_once_joins_what_comes_in_pieces(gateway):
    enter_asking_at_once(gateway, pieces=8)
    wait_sim(gateway, "OK", "2G", "20")
    assert gateway.asked()[:3] == ALL_AT_ONCE
    gateway.modem({"registration": 2})
    gateway.wait(lambda: not has_text(gateway.picture(), "2G"), "no network", ASK_LIMIT)


def test_a_key_waits_until_a_silent_modem_is_given_up(gateway):
    enter(gateway, mood="silent")
    asked = []
    gateway.wait(lambda: asked.extend(gateway.asked()) or asked, "a question", REFRESH)
    assert asked[0] == "at+cpin?"
    gateway.press()
    if gateway.simulated:
        gateway.pass_(1)
        gateway.wait_page("sim-scanning", STEP)
    gateway.wait_page("sim-address")
    gateway.go("sim-scanning", "sim-address")
    wait_sim(gateway, "NG", "-1")


def test_a_missing_port_clears_the_status(gateway):
    enter(gateway)
    gateway.wait_page("sim-status", ASK_LIMIT)
    gateway.modem({"present": False})
    gateway.wait_page("sim-status-no-modem", ASK_LIMIT)


@pytest.mark.simulated("the moment of a question is known there only")
def test_the_block_is_drawn_before_and_after_the_modem_answers(gateway):
    enter(gateway)
    entered = math.floor(gateway.now()[1])
    gateway.pass_(entered + 19.5 - gateway.now()[1])
    gateway.wait_page("sim-status", 0.1)
    gateway.fill(0)
    gateway.modem({"signal": 5})
    gateway.asked()
    gateway.pass_(0.55)
    assert gateway.asked()
    gateway.wait_page("sim-status-on-dark", 0.1)
    gateway.wait_page("sim-status-1-bar-on-dark")
