"""What is written about the daemon and panelctl, against the programs: docs/messages.md, from which
the manual is made, and the options in manual and completion."""

import re
import subprocess

from session_test import BUILD, TOP

ROOMS = ("app", "pages", "device", "modem", "gui")
COMPLETION = TOP / "packaging/panelctl.bash-completion"
COMMANDS = ("", "shot", "press", "say", "queue", "config", "modem")


def printed(argument: str) -> set[str]:
    """The first arguments of every printing call of the daemon that match."""
    return {found for room in ROOMS for file in (TOP / room).rglob("*.cpp")
            for found in re.findall(rf"\b(?:f?puts|printf)\(\s*{argument}", file.read_text())}


def test_what_the_daemon_prints_is_in_the_manual_and_nothing_else():
    listed = re.findall(r"^\| `([^`]+)` \|", (TOP / "docs/messages.md").read_text(), re.MULTILINE)
    literals = {text.removesuffix(r"\n") for text in printed(r'"((?:[^"\\]|\\.)*)"')}
    assert len(literals) > 15 and literals <= {*listed}
    # The backlight's two messages are fields of a table, and the parser's words pass through;
    # nothing else may hide like that.
    assert printed(r'([^"\s][^,)]*)') == {"panel.openFailure", "piece"}
    page = (BUILD / "manual/paneld.8").read_text()
    program = (BUILD / "paneld").read_bytes()
    for text in listed:
        assert re.search(re.escape(text.encode()) + b"[\n\0]", program), text
        escaped = text.replace("'", r"\(aq").replace("-", r"\-")
        assert f'.It Li "{escaped}"\n' in page


def test_every_option_is_in_the_completion_and_in_the_manual():
    everything = set()
    for command in COMMANDS:
        help_text, offered = (subprocess.run(
            ["bash", "-c", line], capture_output=True, text=True, check=True).stdout for line in (
                f"{BUILD}/panelctl {command} --help",
                f"source {COMPLETION}; COMP_WORDS=(panelctl {command} --); "
                "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _panelctl; echo ${COMPREPLY[@]}"))
        options = {*re.findall(r"\n +(?:-h,)?(--[a-z-]+)", help_text)}
        assert options and options == {word for word in offered.split() if word.startswith("--")}
        everything |= options
    manual = (TOP / "packaging/man/panelctl.1.in").read_text()
    plain = manual.replace(r" \-", " --").replace(r"\-", "-")
    assert {*re.findall("--[a-z]{2,}(?:-[a-z]+)*", plain)} == everything
