"""Reads the number that a frame of a numbered clip carries: the rule of test/support/NumberedClip.cpp."""
import json
import pathlib
import subprocess
from typing import NamedTuple

import numpy

BITS = 12
CELLS = BITS + 4
DARK = 96
BRIGHT = 160


class Numbered(NamedTuple):
    """A clip of which frame i carries the number first + i."""

    name: str
    path: str
    frames: int
    first: int
    rate: tuple
    size: tuple
    uneven: bool

    def number(self, index):
        return self.first + index % self.frames


def write_clips(program, folder, *arguments):
    """Has the program write_clips write numbered clips into a folder."""
    subprocess.run([program, str(folder), *arguments], check=True, capture_output=True)
    described = json.loads((pathlib.Path(folder) / "clips.json").read_text())
    return [
        Numbered(
            clip["name"],
            str(pathlib.Path(folder) / clip["file"]),
            clip["frames"],
            clip["first"],
            tuple(clip["rate"]),
            tuple(clip["size"]),
            clip["uneven"],
        )
        for clip in described
    ]


def read_number(picture):
    """The number in an array of (rows, columns, 3 or 4) or (rows, columns); -1 if none can be read."""
    height, width = picture.shape[:2]
    rows = picture[height * 3 // 8 : max(height * 5 // 8, height * 3 // 8 + 1)].astype(numpy.int64)
    if rows.ndim == 3:
        # The middle one of three is green, whichever comes first of red and blue.
        rows = (rows[..., 0] + 2 * rows[..., 1] + rows[..., 2]) // 4
    white = []
    for cell in range(CELLS):
        left = (2 * cell + 1) * width // (2 * CELLS) - width // (8 * CELLS)
        brightness = rows[:, left : max(left + 1, left + width // (4 * CELLS))].mean()
        if DARK < brightness < BRIGHT:
            return -1
        white.append(bool(brightness >= BRIGHT))
    bits = white[2 : 2 + BITS]
    odd = sum(bits) % 2 == 1
    if white[:2] != [True, False] or white[-2:] != [odd, not odd]:
        return -1
    return sum(bit << (BITS - 1 - place) for place, bit in enumerate(bits))
