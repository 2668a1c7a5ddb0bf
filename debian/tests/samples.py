#!/usr/bin/env python3
"""samples.py FOLDER: a picture of 64 by 48 pixels, two seconds of a tone."""
import math
import pathlib
import struct
import sys
import zlib

RATE = 44100


def chunk(name, content):
    return struct.pack(">I", len(content)) + name + content + struct.pack(">I", zlib.crc32(name + content))


def picture(width, height):
    rows = b"".join(b"\0" + bytes((x * 4, y * 5, 128)[i] for x in range(width) for i in range(3)) for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def tone(seconds):
    sound = b"".join(struct.pack("<h", int(9000 * math.sin(i * 440 * 2 * math.pi / RATE))) for i in range(seconds * RATE))
    form = struct.pack("<HHIIHH", 1, 1, RATE, 2 * RATE, 2, 16)
    body = b"WAVEfmt " + struct.pack("<I", len(form)) + form + b"data" + struct.pack("<I", len(sound)) + sound
    return b"RIFF" + struct.pack("<I", len(body)) + body


folder = pathlib.Path(sys.argv[1])
(folder / "picture.png").write_bytes(picture(64, 48))
(folder / "tone.wav").write_bytes(tone(2))
