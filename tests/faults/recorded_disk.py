#!/usr/bin/python3
"""recorded_disk.py IMAGE MOUNTPOINT LOG: a folder with two files. `disk` is the image, for a loop device; writes and flushes
of it go to the log in the order in which they come, and so does what is written to `marks`. Runs until the folder is
unmounted."""
import errno
import os
import stat
import sys

import fusepy as fuse

import disk_log


class RecordedDisk(fuse.Operations):
    def __init__(self, image, log):
        self.image = os.open(image, os.O_RDWR)
        self.log = log
        self.size = os.fstat(self.image).st_size

    def getattr(self, path, fh=None):
        if path == "/":
            return {"st_mode": stat.S_IFDIR | 0o700, "st_nlink": 2}
        if path not in ("/disk", "/marks"):
            raise fuse.FuseOSError(errno.ENOENT)
        return {"st_mode": stat.S_IFREG | 0o600, "st_nlink": 1, "st_size": self.size if path == "/disk" else 0}

    def readdir(self, path, fh):
        return [".", "..", "disk", "marks"]

    def read(self, path, size, offset, fh):
        return os.pread(self.image, size, offset)

    def write(self, path, data, offset, fh):
        if path == "/marks":
            disk_log.append(self.log, disk_log.MARK, 0, data)
        else:
            os.pwrite(self.image, data, offset)
            disk_log.append(self.log, disk_log.WRITE, offset, data)
        return len(data)

    def fsync(self, path, datasync, fh):
        if path == "/disk":
            disk_log.append(self.log, disk_log.FLUSH)
        return 0

    def truncate(self, path, length, fh=None):
        raise fuse.FuseOSError(errno.EPERM)


def main():
    image, mountpoint, log = sys.argv[1:]
    with open(log, "wb", buffering=1 << 20) as file:
        # One thread: the order of the log is the order of what happened. What a flush promises is what was done before
        # it came, and that is logged before it.
        fuse.FUSE(RecordedDisk(image, file), mountpoint, foreground=True, nothreads=True, big_writes=True, raw_fi=False)


if __name__ == "__main__":
    main()
