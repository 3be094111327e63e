#!/usr/bin/env python3
"""The panel in a browser: the example of docs/remote.md under BusyBox's httpd on the loopback
address, on a simulated gateway in real time, opened in headless Chromium.

    packaging/test/remote.py FOLDER     leaves pictures of the page in the folder
"""

import base64
import contextlib
import http.client
import itertools
import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "desk"))

from gateway import SIMULATED, Gateway  # noqa: E402

EXAMPLE = TOP / "packaging/examples/remote"
PATIENCE = 30           # seconds for whatever the page has to show
PASSWORD = "operator:secret"
CHROMIUM = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--remote-debugging-pipe"]
SCALE, BEZEL = 4, 3     # of the tool's pictures
CLOCK_ICON_WIDTH = 34   # left of the digits

ALLOWED = {"Authorization": "Basic " + base64.b64encode(PASSWORD.encode()).decode()}
FROM_PAGE = {"X-Panel": "press"}

# The dots of the picture that the page shows, each by its own colour, as rows of '#' and '.'.
DOTS = f"""(() => {{
    const panel = document.querySelector("img");
    const canvas = document.createElement("canvas");
    [canvas.width, canvas.height] = [panel.naturalWidth, panel.naturalHeight];
    const context = canvas.getContext("2d");
    context.drawImage(panel, 0, 0);
    const rows = [];
    for (let y = {BEZEL * SCALE}; y < canvas.height - {BEZEL * SCALE}; y += {SCALE}) {{
        let row = "";
        for (let x = {BEZEL * SCALE}; x < canvas.width - {BEZEL * SCALE}; x += {SCALE})
            row += context.getImageData(x, y, 1, 1).data[0] > 128 ? "#" : ".";
        rows.push(row);
    }}
    return rows;
}})()"""


class Browser:
    """Chromium, asked by its debugging protocol over two pipes."""

    def __init__(self, folder: str) -> None:
        inner_in, self._out = os.pipe()
        self._in, inner_out = os.pipe()
        self._process = subprocess.Popen(
            ["sh", "-c", f'exec "$@" 3<&{inner_in} 4>&{inner_out}', "sh", *CHROMIUM,
             f"--user-data-dir={folder}"],
            pass_fds=(inner_in, inner_out), stderr=subprocess.DEVNULL,
            env={**os.environ, "TMPDIR": folder})
        os.close(inner_in)
        os.close(inner_out)
        self._answers = os.fdopen(self._in, "rb")
        self._numbers = itertools.count(1)
        self._session: dict = {}
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self._session = {"sessionId": self.ask("Target.attachToTarget", targetId=target,
                                               flatten=True)["sessionId"]}

    def _message(self) -> dict:
        text = b""
        while not text.endswith(b"\0"):
            byte = self._answers.read1(1)
            assert byte, "the browser has ended"
            text += byte
        return json.loads(text[:-1])

    def ask(self, method: str, **parameters) -> dict:
        number = next(self._numbers)
        request = {"id": number, "method": method, "params": parameters, **self._session}
        os.write(self._out, json.dumps(request).encode() + b"\0")
        answers = (message for message in iter(self._message, None) if message.get("id") == number)
        answer = next(answers)
        assert "error" not in answer, answer
        return answer["result"]

    def value(self, script: str):
        answer = self.ask("Runtime.evaluate", expression=script, returnByValue=True)
        return answer["result"].get("value")

    def dots(self) -> list[str]:
        return self.value(DOTS) or []

    def screenshot(self, file: pathlib.Path) -> None:
        file.write_bytes(base64.b64decode(self.ask("Page.captureScreenshot")["data"]))

    def close(self) -> None:
        self._process.kill()
        self._process.wait()


def wait(holds, what: str) -> None:
    end = time.monotonic() + PATIENCE
    while not holds():
        assert time.monotonic() < end, f"{what}: not within {PATIENCE} s"
        time.sleep(0.1)


@contextlib.contextmanager
def web_server(folder: pathlib.Path, environment: dict[str, str]):
    """Yields its port. Only the press needs the password."""
    shutil.copytree(EXAMPLE, folder / "panel")
    (folder / "conf").write_text(f"A:127.0.0.1\nD:*\n/cgi-bin/press:{PASSWORD}\n")
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    server = subprocess.Popen(
        ["env", *(f"{name}={value}" for name, value in environment.items()), "busybox", "httpd",
         "-f", "-p", f"127.0.0.1:{port}", "-h", folder / "panel", "-c", folder / "conf"])
    try:
        with socket.socket() as probe:
            wait(lambda: probe.connect_ex(("127.0.0.1", port)) == 0, "a web server")
        yield port
    finally:
        server.terminate()
        server.wait()


def press_status(port: int, method: str, headers: dict[str, str]) -> int:
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    connection.request(method, "/cgi-bin/press", headers=headers)
    return connection.getresponse().status


def check_guards(port: int) -> None:
    """Who has no password, or comes from another page, does not press."""
    for expected, method, headers in [(401, "POST", FROM_PAGE), (403, "POST", ALLOWED),
                                      (403, "GET", ALLOWED | FROM_PAGE)]:
        assert press_status(port, method, headers) == expected, (method, headers)


def check_page(browser: Browser, port: int, pictures: pathlib.Path) -> None:
    """The clock's page, then by a press the next one: no press before has come through."""
    golden = {name: (TOP / f"tests/golden/64/{name}.txt").read_text().split()
              for name in ("clock", "ethernet1-address")}
    icon = [row[:CLOCK_ICON_WIDTH] for row in golden["clock"]]
    browser.ask("Network.enable")
    browser.ask("Network.setExtraHTTPHeaders", headers=ALLOWED)
    browser.ask("Page.navigate", url=f"http://127.0.0.1:{port}/")
    wait(lambda: [row[:CLOCK_ICON_WIDTH] for row in browser.dots()] == icon, "the clock")
    shown = browser.dots()
    wait(lambda: browser.dots() != shown, "the clock goes on")
    browser.screenshot(pictures / "remote-clock.png")
    browser.value("document.querySelector('button').click()")
    wait(lambda: browser.dots() == golden["ethernet1-address"], "the page behind the clock")
    browser.screenshot(pictures / "remote-pressed.png")


def main() -> None:
    pictures = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder, Gateway([*SIMULATED, "--live"]) as gateway:
        environment = gateway.environment()
        environment["PATH"] = f"{TOP / 'build/release'}:{os.environ['PATH']}"
        with web_server(pathlib.Path(folder), environment) as port:
            check_guards(port)
            with contextlib.closing(Browser(f"{folder}/browser")) as browser:
                check_page(browser, port, pictures)
    print("the page shows the panel, and a press turns it")


main()
