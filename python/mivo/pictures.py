"""Pictures: those in files, and those of files."""

from __future__ import annotations

import os
import stat
from dataclasses import dataclass, field

from mivo.errors import BadAnswer


@dataclass(frozen=True)
class Picture:
    """A picture in a file, byte for byte."""

    #: ID3's picture type: 3 is the front cover.
    type: int
    mime_type: str
    description: str
    data: bytes = field(repr=False)


@dataclass(frozen=True)
class Thumbnail:
    """A picture of a file: a PNG, a JPEG, or for "image/x-rgba" rows of four bytes a pixel, from the top."""

    #: In pixels.
    width: int
    height: int
    mime_type: str
    data: bytes = field(repr=False)


# More than all pictures of an answer together have, and than any thumbnail.
_MOST_BYTES = 64 << 20


def content_of(handle: int) -> bytes:
    """All of a file in memory that came with an answer."""
    facts = os.fstat(handle)
    if not stat.S_ISREG(facts.st_mode):
        raise BadAnswer("a handle of the answer is no file")
    if facts.st_size > _MOST_BYTES:
        raise BadAnswer(f"a file of the answer has {facts.st_size} bytes")
    content = os.pread(handle, facts.st_size, 0)
    if len(content) != facts.st_size:
        raise BadAnswer("a file of the answer is shorter than it says")
    return content
