"""The SIM status page and the dialogues with the modem."""

import math

import pytest
from conftest import ASK_LIMIT, REFRESH, STEP
from gateway import ordinary_file

SN_XML = "/zelkora/Config/system/sn.xml"

pytestmark = pytest.mark.panels(64)     # the 32-line panel has no such page


@pytest.mark.everywhere
def test_the_modem_is_asked_changes_and_goes(gateway):
    gateway.go("sim-scanning")
    gateway.wait_page("sim-scanning")
    assert gateway.asked() == []               # the first draw asks nothing
    gateway.wait_page("sim-status", ASK_LIMIT)
    assert gateway.asked()[:5] == ["at+cpin?", "at+creg?", "at+csq", "AT+CGMI", "at+cnsmod?"]
    gateway.modem({"signal": 9, "registration": 5, "networkMode": 4})
    gateway.wait_text("OK", "3G", "09", limit=ASK_LIMIT)
    gateway.modem({"present": False})
    gateway.wait_page("sim-status-no-modem", ASK_LIMIT)


@pytest.mark.parametrize("facts, texts", [
    ({"maker": "AirM2M", "signal": 31, "systemMode": 3}, ("OK", "2G", "31")),
    ({"maker": "AirM2M", "systemMode": 5}, ("OK", "3G", "20")),
    ({"sim": "absent", "registration": 2}, ("NG", "-1")),
    ({"mood": "error"}, ("NG", "-1")),
    ({"delay": 0.15}, ("OK", "-1")),           # more than the 0.1 s of a value, less than 0.5 s
    ({"pieces": 19}, ("NG", "-1")),            # between the O and the K of "OK"
], ids=str)
def test_what_the_modem_says_one_by_one(gateway, facts, texts):
    gateway.modem(facts)
    gateway.go("sim-scanning")
    gateway.wait_text(*texts, limit=ASK_LIMIT)


def test_all_at_once_joins_what_comes_in_pieces(gateway):
    gateway.write(SN_XML, ordinary_file(SN_XML).replace("GW-100-L", "GW-100"))
    gateway.go("identity")                     # the page that reads the file
    gateway.modem({"pieces": 8})
    gateway.go("sim-scanning", "identity")
    gateway.wait_text("OK", "2G", "20", limit=ASK_LIMIT)
    assert gateway.asked()[:3] == ["at+cpin?", "at+creg?", "at+csq"]
    gateway.modem({"registration": 2})
    gateway.wait(lambda: not gateway.shows("2G"), ASK_LIMIT)


def test_a_key_waits_until_a_silent_modem_is_given_up(gateway):
    gateway.modem({"mood": "silent"})
    gateway.go("sim-scanning")
    gateway.wait(lambda: gateway.asked() == ["at+cpin?"], REFRESH)
    gateway.press()
    if gateway.simulated:                      # where no time is lost by looking
        gateway.pass_(2)
        gateway.wait_page("sim-scanning", STEP)
    gateway.wait_page("sim-address")
    gateway.go("sim-scanning", "sim-address")
    gateway.wait_text("NG", "-1", limit=ASK_LIMIT)


def within_the_border(rows):
    return [row[1:-1] for row in rows[1:-1]]


@pytest.mark.simulated("the moment of a question is known there only")
def test_the_block_is_drawn_before_and_after_the_modem_answers(gateway):
    gateway.go("sim-scanning")
    gateway.pass_(math.floor(gateway.now()[1]) + 19.5 - gateway.now()[1])
    gateway.wait_page("sim-status", STEP)
    gateway.fill(0)
    gateway.modem({"signal": 5})
    gateway.asked()
    gateway.pass_(0.55)
    assert gateway.asked()
    for golden, limit in ("sim-status", STEP), ("sim-status-1-bar", 2):  # not by the next redraw
        expected = within_the_border(gateway.golden(golden))
        gateway.wait(lambda: within_the_border(gateway.picture()) == expected, limit)
