"""The pictures of the documentation are those that the program draws today."""

import os
import pathlib
import subprocess
import sys
import zlib

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "desk"))       # for the tests beside this one
GALLERY = TOP / "docs/gallery"


def pixels(folder: pathlib.Path) -> dict[str, tuple[bytes, bytes]]:
    """File below the folder -> size and rows, which another zlib may have packed otherwise."""
    files = {str(file.relative_to(folder)): file.read_bytes() for file in folder.rglob("*.png")}
    return {name: (data[:33], zlib.decompress(data[41:-16])) for name, data in files.items()}


def test_gallery_is_up_to_date(tmp_path):
    if os.environ.get("PANELD_UPDATE_GOLDENS") == "1":
        subprocess.run([TOP / "desk/desk", "--gallery", GALLERY], check=True)
    subprocess.run([TOP / "desk/desk", "--gallery", tmp_path], check=True)
    drawn, kept = pixels(tmp_path), pixels(GALLERY)
    assert [name for name in drawn | kept if drawn.get(name) != kept.get(name)] == []
    document = GALLERY.with_suffix(".md").read_text()
    assert [name for name in kept if f'"gallery/{name}"' not in document] == []
