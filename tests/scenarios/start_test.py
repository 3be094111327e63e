"""The daemon's descriptors, as careless service managers start it and as it leaves them."""

import fcntl
import os
import pathlib

import pytest
from conftest import WatchedGateway
from gateway import BUILD, ORDINARY, SIMULATED

SYS_XML = next(iter(ORDINARY["files"]))
MESSAGE = b"can not find tf card\n"
PLENTY = 1 << 16        # bytes

pytestmark = pytest.mark.panels(64)


@pytest.fixture
def pipe(tmp_path):
    os.mkfifo(tmp_path / "pipe")
    return tmp_path / "pipe"


@pytest.fixture
def gateway(request, tmp_path, pipe, redirections):
    """Its daemon is executed by a shell, with these redirections."""
    if request.param[0] != "simulated":
        pytest.skip("simulated only: there the daemon is a process of this machine")
    launcher = tmp_path / "launcher"
    launcher.write_text(f"#!/bin/sh\nexec {BUILD}/paneld {redirections.format(pipe)}\n")
    launcher.chmod(0o755)
    with WatchedGateway([*SIMULATED, "--paneld", str(launcher)], 64, True) as watched:
        yield watched


def open_files(gateway) -> dict[int, tuple[str, int]]:
    """Path and flags, those of the descriptor included, of what the daemon has open."""
    process = pathlib.Path(f"/proc/{gateway.daemon()}")
    return {int(link.name): (os.readlink(link), int(
                (process / "fdinfo" / link.name).read_text().split()[3], 8))
            for link in (process / "fd").iterdir()}


@pytest.mark.parametrize("redirections", ["", "<&- >&- 2>&-", "3<>{0} >{0} 3<&-"],
                         ids=["usual", "closed", "without-reader"])
def test_devices_are_neither_standard_descriptors_nor_inherited(gateway):
    gateway.remove(SYS_XML)
    gateway.go("gateway")                      # where it has something to say
    gateway.wait_page("gateway")
    gateway.go("ethernet1-address", "gateway")
    gateway.wait_page("ethernet1-address")
    files = open_files(gateway)
    sandbox = gateway.environment()["PANELD_GATEWAY"]
    devices = {number: flags for number, (path, flags) in files.items()
               if path.startswith(sandbox)}
    assert len(devices) == 2 and min(devices) > 2 and {0, 1, 2} <= files.keys()
    assert all(flags & os.O_CLOEXEC for flags in devices.values())


@pytest.fixture
def ends(pipe):
    """Of a pipe as small as can be, to read and to write, made before the daemon starts."""
    reader = os.open(pipe, os.O_RDONLY | os.O_NONBLOCK)
    writer = os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)
    yield reader, writer
    os.close(writer)
    os.close(reader)


@pytest.mark.parametrize("redirections", ["3>{0} >&3"])
def test_a_reader_that_stops_misses_whole_messages_and_holds_nothing_up(ends, gateway):
    reader, writer = ends
    size = fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 1)
    filling = b"." * (size - len(MESSAGE) + 1)     # a byte of the message has no room
    os.write(writer, filling)
    gateway.card(None)
    gateway.go("tf-card")
    gateway.wait_page("tf-card-none")
    assert os.read(reader, PLENTY) == filling
    gateway.pass_(21)                          # two redraws
    assert os.read(reader, PLENTY) == 2 * MESSAGE
    files = open_files(gateway)
    assert not files[3][1] & os.O_NONBLOCK     # others hold this open file
    assert files[2][1] & os.O_NONBLOCK         # a pipe as well
