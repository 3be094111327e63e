"""Pictures of the panel: what is written on them, and what they become outside.

A picture is the list of the panel's rows from the top, '#' lit and '.' dark, as a gateway gives it.
"""

import functools
import pathlib
import re
import struct
import zlib

FONTS = pathlib.Path(__file__).resolve().parents[1] / "gui" / "fonts"
BODY, BODY_PAIRS = "mono6x12_ascii.art", "mono6x12_gb.art"
TITLE, TIME = "mono10x19_ascii.art", "prop19_ascii.art"

WIDTH = 128
SCALE = 4               # of a PNG

# Name -> glyphs by pattern, columns and rows of pixels in a cell. Bit n of a pattern is pixel n,
# row by row; braille numbers its dots down the columns and adds the bottom pair last.
BRAILLE_DOTS = (0, 3, 1, 4, 2, 5, 6, 7)
CELLS = {
    "half": (" ▀▄█", 1, 2),
    "quadrants": (" ▘▝▀▖▌▞▛▗▚▐▜▄▙▟█", 2, 2),
    "braille": ("".join(chr(0x2800 + sum((pattern >> pixel & 1) << dot
                                         for pixel, dot in enumerate(BRAILLE_DOTS)))
                        for pattern in range(256)), 2, 4),
}


def cells(rows: list[str], kind: str) -> list[str]:
    """In characters of a terminal."""
    glyphs, wide, high = CELLS[kind]
    return ["".join(glyphs[sum((rows[y + pixel // wide][x + pixel % wide] == "#") << pixel
                               for pixel in range(wide * high))]
                    for x in range(0, len(rows[0]), wide))
            for y in range(0, len(rows), high)]


def png(rows: list[str]) -> bytes:
    """A PNG of one bit a pixel, the panel's pixels magnified."""
    def chunk(kind: bytes, data: bytes) -> bytes:
        return (struct.pack(">I", len(data)) + kind + data
                + struct.pack(">I", zlib.crc32(kind + data)))

    width = len(rows[0]) * SCALE
    lines = bytearray()
    for row in rows:
        bits = "".join("01"[pixel == "#"] * SCALE for pixel in row).ljust(-(-width // 8) * 8, "0")
        line = int(bits, 2).to_bytes(len(bits) // 8, "big")
        lines += (b"\0" + line) * SCALE     # a line begins with its filter: none
    header = struct.pack(">IIBBBBB", width, len(rows) * SCALE, 1, 0, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(bytes(lines), 9)) + chunk(b"IEND", b""))


def blank(rows: list[str]) -> bool:
    return all("#" not in row for row in rows)


def bordered(rows: list[str]) -> bool:
    full = "#" * WIDTH
    return rows[0] == rows[-1] == full and all(row[0] == row[-1] == "#" for row in rows)


def difference(rows: list[str], expected: list[str]) -> str:
    """Both laid over each other: '+' lit here only, '-' lit in the expected one only."""
    marks = {("#", "#"): "#", (".", "."): ".", ("#", "."): "+", (".", "#"): "-"}
    return "\n".join("".join(marks[pair] for pair in zip(*both)) for both in zip(rows, expected))


def has_text(rows: list[str], text: str) -> bool:
    """Whether an ASCII text stands anywhere, in body letters, as a title or as the time, plain
    or reversed."""
    for sheet in (BODY, TITLE, TIME):
        look = ["".join(parts) for parts in zip(*(font(sheet)[ord(letter)] for letter in text))]
        look = look[next(y for y, row in enumerate(look) if "#" in row):]   # ink is soon found
        gap = f"[#.]{{{WIDTH - len(look[0])}}}"
        for shown in (look, [row.translate({35: ".", 46: "#"}) for row in look]):
            if re.search(gap.join(map(re.escape, shown)), "".join(rows)):
                return True
    return False


@functools.cache
def font(sheet: str) -> dict[int, list[str]]:
    """Code in GB2312 -> rows of the glyph."""
    glyphs = {}
    for entry in (FONTS / sheet).read_text(encoding="utf-8").split("@ ")[1:]:
        head, *rows = entry.splitlines()
        glyphs[int(head.split()[0], 16)] = [row for row in rows if set(row) <= {"#", "."}]
    return glyphs


def lacking(data: bytes) -> list[str]:
    """The characters of a GB2312 text that the body font lacks, each once."""
    codes = font(BODY) | font(BODY_PAIRS)
    return [letter for letter in dict.fromkeys(data.decode("gb2312"))
            if int.from_bytes(letter.encode("gb2312"), "big") not in codes]
