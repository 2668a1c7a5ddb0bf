"""What was written to a disk, in order, and what lies on it after a power cut at any moment of that.

A log is a sequence of entries: a write (place and bytes), a flush (everything before it is on the disk for good), a mark
(text of whoever made the writes happen). A disk without power keeps what was flushed; of each block that was written
since, it has any of the versions: the flushed one, the last one or one between. Blocks are whole: the disk says to have
sectors of that size.
"""
import os
import struct

BLOCK = 4096
WRITE, FLUSH, MARK = b"W", b"F", b"M"
HEADER = struct.Struct("<cQQ")


def append(log, kind, offset=0, data=b""):
    log.write(HEADER.pack(kind, offset, len(data)))
    log.write(data)


def entries(log):
    while header := log.read(HEADER.size):
        kind, offset, length = HEADER.unpack(header)
        yield kind, offset, log.read(length)


class DiskWithoutPower:
    """Takes the entries of a log; says what a power cut behind the last one leaves. `image` holds what the disk held at
    the start, and then what was flushed."""

    def __init__(self, image):
        self.image = os.open(image, os.O_RDWR)
        self.unflushed = {}  # by the block's number all versions since the last flush, the oldest first

    def write(self, offset, data):
        if offset % BLOCK or len(data) % BLOCK:
            raise ValueError("a write of a part of a sector")
        for start in range(0, len(data), BLOCK):
            self.unflushed.setdefault((offset + start) // BLOCK, []).append(data[start:start + BLOCK])

    def flush(self):
        for number, versions in self.unflushed.items():
            os.pwrite(self.image, versions[-1], number * BLOCK)
        self.unflushed.clear()

    def cut(self, image, keep):
        """Puts into `image`, a copy of the flushed content, what is there of the rest: `keep(n)` says how many of the n
        versions of a block reached the disk. How many blocks did in a version that is not their last."""
        lost = 0
        fd = os.open(image, os.O_WRONLY)
        for number, versions in self.unflushed.items():
            kept = keep(len(versions))
            lost += kept < len(versions)
            if kept:
                os.pwrite(fd, versions[kept - 1], number * BLOCK)
        os.close(fd)
        return lost
