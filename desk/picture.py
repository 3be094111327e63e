"""Pictures of the panel: what is written on them, and what they become outside.

A picture is the list of the panel's rows from the top, '#' lit and '.' dark, as a gateway gives it.
"""

import functools
import pathlib
import struct
import zlib

FONTS = pathlib.Path(__file__).resolve().parents[1] / "gui" / "fonts"
BODY_SHEETS = ("mono6x12_ascii.art", "mono6x12_gb.art")

WIDTH = 128
GLYPH_WIDTH, GLYPH_HEIGHT = 6, 12

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


def png(rows: list[str], scale: int) -> bytes:
    """A PNG of one bit a pixel, each of the panel's pixels `scale` by `scale`."""
    def chunk(kind: bytes, data: bytes) -> bytes:
        return (struct.pack(">I", len(data)) + kind + data
                + struct.pack(">I", zlib.crc32(kind + data)))

    width = len(rows[0]) * scale
    lines = bytearray()
    for row in rows:
        bits = "".join("01"[pixel == "#"] * scale for pixel in row).ljust(-(-width // 8) * 8, "0")
        line = int(bits, 2).to_bytes(len(bits) // 8, "big")
        lines += (b"\0" + line) * scale     # a line begins with its filter: none
    header = struct.pack(">IIBBBBB", width, len(rows) * scale, 1, 0, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header)
            + chunk(b"IDAT", zlib.compress(bytes(lines), 9)) + chunk(b"IEND", b""))


def blank(rows: list[str]) -> bool:
    return all("#" not in row for row in rows)


def bordered(rows: list[str]) -> bool:
    full = "#" * WIDTH
    return rows[0] == rows[-1] == full and all(row[0] == row[-1] == "#" for row in rows)


def text_at(rows: list[str], x: int, y: int) -> str:
    """The body text whose first character cell begins there; it ends at the first cell that is no
    glyph, at the edge, or at two blanks."""
    glyphs = body_glyphs()
    text = ""
    while x + GLYPH_WIDTH <= WIDTH:
        cell = "".join(row[x:x + GLYPH_WIDTH] for row in rows[y:y + GLYPH_HEIGHT])
        if cell not in glyphs:
            break
        text += glyphs[cell]
        x += GLYPH_WIDTH
    return text.split("  ")[0].rstrip()


def centred(rows: list[str], y: int, text: str) -> bool:
    """Whether the body text stands there around the middle of the panel, nothing beside it."""
    left = WIDTH // 2 - len(text) * GLYPH_WIDTH // 2
    right = left + len(text) * GLYPH_WIDTH
    beside = (row[1:left] + row[right:-1] for row in rows[y:y + GLYPH_HEIGHT])
    return text_at(rows, left, y).startswith(text) and all("#" not in row for row in beside)


def difference(rows: list[str], expected: list[str]) -> str:
    """Both laid over each other: '+' lit here only, '-' lit in the expected one only."""
    marks = {("#", "#"): "#", (".", "."): ".", ("#", "."): "+", (".", "#"): "-"}
    return "\n".join("".join(marks[pair] for pair in zip(*both)) for both in zip(rows, expected))


@functools.cache
def body_font() -> dict[int, str]:
    """Code in GB2312 -> rows of the body font's glyph, joined."""
    glyphs = {}
    for name in BODY_SHEETS:
        for sheet in (FONTS / name).read_text(encoding="utf-8").split("@ ")[1:]:
            head, *rows = sheet.splitlines()
            glyphs[int(head.split()[0], 16)] = "".join(rows[:GLYPH_HEIGHT])
    return glyphs


@functools.cache
def body_glyphs() -> dict[str, str]:
    """Joined rows -> the ASCII character that they show."""
    return {cell: chr(code) for code, cell in body_font().items() if code < 0x80}


def lacking(data: bytes) -> list[str]:
    """The characters of a GB2312 text that the body font lacks, each once."""
    letters = dict.fromkeys(data.decode("gb2312", errors="replace"))
    return [letter for letter in letters if letter not in "\r\n" and int.from_bytes(
        letter.encode("gb2312", errors="replace"), "big") not in body_font()]
