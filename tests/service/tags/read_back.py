#!/usr/bin/python3
"""What mutagen finds in files' tags, one line a frame or item, sorted; "none" where there are none,
"unreadable" for what it cannot open, and an empty line behind each file. Usage: read_back.py id3|mp4 FILE..."""
import hashlib
import sys

from mutagen import MutagenError
from mutagen.id3 import ID3
from mutagen.mp4 import MP4


def digest(data):
    return "%d:%s" % (len(data), hashlib.sha1(data).hexdigest()[:12])


def id3_lines(path):
    tag = ID3(path, translate=False, load_v1=False)
    yield "version=2.%d" % tag.version[1]
    for frame in tag.values():
        name = frame.FrameID
        if name == "APIC":
            yield "APIC %s type=%d desc=%s %s" % (frame.mime, frame.type, frame.desc, digest(frame.data))
        elif name == "COMM":
            yield "COMM %s desc=%s enc=%d %s" % (frame.lang, frame.desc, frame.encoding, "/".join(frame.text))
        elif name == "TXXX":
            yield "TXXX %s=%s" % (frame.desc, "/".join(frame.text))
        elif hasattr(frame, "text") and hasattr(frame, "encoding"):
            yield "%s enc=%d %s" % (name, frame.encoding, "/".join(map(str, frame.text)))
        elif hasattr(frame, "url"):
            yield "%s %s" % (name, frame.url)
        else:
            yield "%s %s" % (name, digest(frame._writeData()))


def mp4_lines(path):
    tags = MP4(path).tags or {}
    for key, values in tags.items():
        if key == "covr":
            for cover in values:
                yield "covr %d %s" % (cover.imageformat, digest(bytes(cover)))
        else:
            values = values if isinstance(values, list) else [values]
            yield "%s=%s" % (key, "|".join(v.decode("utf-8", "replace") if isinstance(v, bytes) else str(v) for v in values))


for path in sys.argv[2:]:
    try:
        print("\n".join(sorted({"id3": id3_lines, "mp4": mp4_lines}[sys.argv[1]](path))) or "none", end="\n\n")
    except MutagenError:
        print("unreadable\n")
