"""Pictures of the panel: from video memory, from text, and what is written on them."""

import functools
import pathlib

TOP = pathlib.Path(__file__).resolve().parents[1]
BODY_FONT = TOP / "gui" / "fonts" / "mono6x12_ascii.art"

WIDTH = 128
GLYPH_WIDTH, GLYPH_HEIGHT = 6, 12


class Picture:
    """Rows of '#' (lit) and '.' (dark)."""

    def __init__(self, rows: list[str]) -> None:
        self.rows = rows

    @classmethod
    def from_memory(cls, memory: bytes) -> "Picture":
        """A row is 16 bytes; bit 0 of a byte is its leftmost pixel."""
        stride = WIDTH // 8
        return cls(["".join("#" if byte >> bit & 1 else "."
                            for byte in memory[start:start + stride] for bit in range(8))
                    for start in range(0, len(memory), stride)])

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Picture) and self.rows == other.rows

    def blank(self) -> bool:
        return all("#" not in row for row in self.rows)

    def bordered(self) -> bool:
        full = "#" * WIDTH
        return (self.rows[0] == full and self.rows[-1] == full
                and all(row[0] == row[-1] == "#" for row in self.rows))

    def text_at(self, x: int, y: int) -> str:
        """The body text whose first character cell begins there; it ends at the first cell that
        is no glyph, at the edge, or at two blanks."""
        glyphs = body_glyphs()
        text = ""
        while x + GLYPH_WIDTH <= WIDTH:
            cell = "".join(row[x:x + GLYPH_WIDTH] for row in self.rows[y:y + GLYPH_HEIGHT])
            if cell not in glyphs:
                break
            text += glyphs[cell]
            x += GLYPH_WIDTH
        return text.split("  ")[0].rstrip()

    def centred(self, y: int, text: str) -> bool:
        """Whether the body text stands there around the middle of the panel, nothing beside it."""
        left = WIDTH // 2 - len(text) * GLYPH_WIDTH // 2
        right = left + len(text) * GLYPH_WIDTH
        beside = (row[1:left] + row[right:-1] for row in self.rows[y:y + GLYPH_HEIGHT])
        return self.text_at(left, y).startswith(text) and all("#" not in row for row in beside)

    def difference(self, expected: "Picture") -> str:
        """Both laid over each other: '+' lit here only, '-' lit in the expected one only."""
        marks = {("#", "#"): "#", (".", "."): ".", ("#", "."): "+", (".", "#"): "-"}
        return "\n".join("".join(marks[pair] for pair in zip(*rows))
                         for rows in zip(self.rows, expected.rows))

    def __str__(self) -> str:
        return "\n".join(self.rows)


@functools.cache
def body_glyphs() -> dict[str, str]:
    """The glyphs of the body font, rows joined -> character."""
    glyphs = {}
    for sheet in BODY_FONT.read_text().split("@ ")[1:]:
        head, *rows = sheet.splitlines()
        cell = "".join(rows[:GLYPH_HEIGHT])
        glyphs[cell] = chr(int(head.split()[0], 16))
    return glyphs
