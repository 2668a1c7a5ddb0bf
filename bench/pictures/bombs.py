#!/usr/bin/env python3
"""Pictures made to exhaust a reader: wall seconds and peak memory until the answer, which is no picture.

Usage: bench/pictures/bombs.py BUILD_FOLDER
"""
import os
import struct
import subprocess
import sys
import time
import zlib


def png(side):
    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))
    row = zlib.compressobj(9)
    data = b"".join(row.compress(bytes(3 * side + 1)) for _ in range(side)) + row.flush()
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0)) + chunk(b"IDAT", data) + chunk(b"IEND", b"")


def gif(side):
    return b"GIF89a" + struct.pack("<HHBBB", side, side, 0xF0, 0, 0) + bytes(6) + b"," + struct.pack("<HHHHB", 0, 0, side, side, 0) \
        + b"\x02\x02\x4c\x01\x00;"


def patched_jpeg(build, side):
    data = bytearray(open(os.path.join(build, "bench-pictures", "600-cover.jpg"), "rb").read())
    frame = data.index(b"\xff\xc0")
    data[frame + 5:frame + 9] = struct.pack(">HH", side, side)
    return bytes(data)


def many_scans(build, count):
    data = open(os.path.join(build, "bench-pictures", "12mp-progressive.jpg"), "rb").read()
    last = data.rindex(b"\xff\xda")
    return data[:-2] + (data[last:last + 10] + b"\x00\x3f") * count + b"\xff\xd9"


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    folder = os.path.join(build, "bench-bombs")
    os.makedirs(folder, exist_ok=True)
    bombs = {"png-30000.png": lambda: png(30000), "jpeg-65500.jpg": lambda: patched_jpeg(build, 65500), "gif-65535.gif": lambda: gif(65535),
             "5000-scans.jpg": lambda: many_scans(build, 5000)}
    print(time.strftime("%Y-%m-%d"), "file, answer, wall seconds, peak MB")
    for name, make in bombs.items():
        path = os.path.join(folder, name)
        if not os.path.exists(path):
            with open(path, "wb") as file:
                file.write(make())
        start = time.monotonic()
        process = subprocess.Popen([os.path.join(build, "bin", "bench_thumbnails"), "mivo", "100", path], stdout=subprocess.PIPE, text=True)
        answer = process.stdout.read().split()
        _, _, used = os.wait4(process.pid, 0)
        print(f"{name} {'none' if answer[1] == '-' else 'A PICTURE'} {time.monotonic() - start:.3f} {used.ru_maxrss // 1024}", flush=True)


if __name__ == "__main__":
    main()
