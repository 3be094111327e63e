"""Sessions at a gateway where panelctl is typed: the files of tests/golden/tools, played anew.

    $ LINE                      typed into a shell in the gateway's folder; "> " goes on with it
    gateway> REQUEST [WORD]     asked of the gateway (docs/gateway.md), and of the answer this part

Below stands what came of it: output, errors behind "! ", a status that is not 0, an answer. The
gateway is one of real time; what differs from run to run is left out.
"""

import json
import os
import pathlib
import re
import subprocess
import sys

import pytest

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "desk"))

from gateway import BUILD, SIMULATED, Gateway  # noqa: E402

SESSIONS = TOP / "tests/golden/tools"
DIFFERENCES = BUILD / "golden-diff/tools"
STEP = re.compile(r"^(?:\$ .*(?:\n> .*)*|gateway> .*)$", re.MULTILINE)
PATIENCE = 60           # seconds
# Times, process numbers, and the daemons of other tests beside that of this gateway.
CHANCE = {r"process \d+": "process N", r" +\d+\.\d{3} s": "  N s", r"for \d{2,4} ms": "for N ms",
          r"after [12]?\d?\d ms": "after N ms", r"(! .*process N.*\n)\1+": r"\1"}


class Terminal:
    def __init__(self, gateway: Gateway) -> None:
        self._gateway = gateway
        variables = gateway.environment()
        self._folder = pathlib.Path(variables["PANELD_GATEWAY"])
        self._environment = os.environ | {"PATH": f".:{os.environ['PATH']}", "LC_ALL": "C.UTF-8"}
        variables["ASAN_OPTIONS"] = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        script = self._folder / "panelctl"
        script.write_text("export " + " ".join(map("=".join, variables.items()))
                          + f'\nexec {BUILD}/panelctl "$@"\n')
        script.chmod(0o755)

    def type(self, line: str) -> str:
        done = subprocess.run(["bash", "-c", line], cwd=self._folder, env=self._environment,
                              capture_output=True, text=True, timeout=PATIENCE)
        status = f"(status {done.returncode})\n" if done.returncode else ""
        return done.stdout + re.sub("(?m)^(?=.)", "! ", done.stderr) + status

    def ask(self, request: str) -> str:
        (verb, *arguments), end = json.JSONDecoder().raw_decode(request)
        answer = self._gateway.ask(verb, *arguments)
        for word in request[end:].split():
            answer = answer[word]
        return "" if answer is None else json.dumps(answer) + "\n"

    def play(self, step: str) -> str:
        prompt, _, line = step.partition(" ")
        text = self.type(line.replace("\n> ", "\n")) if prompt == "$" else self.ask(line)
        for chance, instead in CHANCE.items():
            text = re.sub(chance, instead, text)
        return f"{step}\n{text}"


@pytest.mark.parametrize("name", sorted(file.stem for file in SESSIONS.glob("*.txt")))
def test_session(name):
    golden, actual = SESSIONS / f"{name}.txt", DIFFERENCES / f"{name}.actual.txt"
    with Gateway([*SIMULATED, "--live"]) as gateway:
        played = "".join(map(Terminal(gateway).play, STEP.findall(golden.read_text())))
    if os.environ.get("PANELD_UPDATE_GOLDENS") == "1":
        golden.write_text(played)
    actual.unlink(missing_ok=True)
    if played != golden.read_text():
        DIFFERENCES.mkdir(parents=True, exist_ok=True)
        actual.write_text(played)
    assert played == golden.read_text()
