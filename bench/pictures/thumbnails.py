#!/usr/bin/env python3
"""Thumbnails of typical pictures against the peers, all in one run: CPU milliseconds a picture and peak memory.

Usage: bench/pictures/thumbnails.py BUILD_FOLDER [PHOTO]

The pictures are made once from PHOTO (a large JPEG; without one they are made up) into BUILD_FOLDER/bench-pictures. Libraries
(this one, libvips, gdk-pixbuf, libjpeg alone) are measured in one process, each picture many times, best time; programs
(vipsthumbnail, ImageMagick, GraphicsMagick, ffmpeg) with their start, best of three. Ratios are peer / ours.
"""
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import time

SIDES = (100, 200)
# Where there is no photo: clouds and grain, always the same.
MADE_UP = ["-seed", "7", "-size", "4000x3000", "plasma:tan-steelblue", "-attenuate", "0.3", "+noise", "Gaussian", "-quality", "95"]

# Name, then the arguments of ImageMagick that make it out of the photo.
PICTURES = [
    ("12mp.jpg", ["-resize", "4000x3000!", "-quality", "90", "-sampling-factor", "2x2"]),
    ("48mp.jpg", ["-resize", "8000x6000!", "-quality", "90", "-sampling-factor", "2x2"]),
    ("12mp-progressive.jpg", ["-resize", "4000x3000!", "-quality", "90", "-sampling-factor", "2x2", "-interlace", "Plane"]),
    ("600-cover.jpg", ["-resize", "600x600!", "-quality", "90"]),
    ("12mp.png", ["-resize", "4000x3000!"]),
    ("1400-cover.png", ["-resize", "1400x1400!"]),
    ("800x600.gif", ["-resize", "800x600!"]),
    ("800x600.bmp", ["-resize", "800x600!", "-type", "TrueColor"]),
    ("2000x1500.webp", ["-resize", "2000x1500!"]),
    ("12mp.heic", ["-resize", "4000x3000!"]),
]

PROGRAMS = {
    "vipsthumbnail": lambda path, side, out: ["vipsthumbnail", path, "-s", f"{side}x{side}", "--no-rotate", "-o", out],
    "ImageMagick": lambda path, side, out: ["convert", "-define", f"jpeg:size={2 * side}x{2 * side}", path, "-thumbnail",
                                            f"{side}x{side}", out],
    "GraphicsMagick": lambda path, side, out: ["gm", "convert", "-size", f"{2 * side}x{2 * side}", path, "-thumbnail",
                                               f"{side}x{side}", out],
    "ffmpeg": lambda path, side, out: ["ffmpeg", "-v", "error", "-y", "-threads", "1", "-i", path, "-frames:v", "1", "-vf",
                                       f"scale={side}:{side}:force_original_aspect_ratio=decrease:flags=lanczos", out],
}


def make_pictures(folder, photo):
    os.makedirs(folder, exist_ok=True)
    if not photo:
        photo = os.path.join(folder, "made-up.jpg")
        if not os.path.exists(photo):
            subprocess.run(["convert", *MADE_UP, photo], check=True)
    paths = []
    for name, arguments in PICTURES:
        path = os.path.join(folder, name)
        if not os.path.exists(path):
            target = f"BMP3:{path}" if name.endswith(".bmp") else path
            if name.endswith(".heic") and shutil.which("heif-enc"):
                subprocess.run(["heif-enc", "-q", "60", os.path.join(folder, "12mp.jpg"), "-o", path],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
            elif not name.endswith(".heic"):
                subprocess.run(["convert", photo, "-strip", *arguments, target], check=True)
        if os.path.exists(path):
            paths.append(path)
    return paths


def in_process(bench, peer, side, path):
    """Best CPU milliseconds and peak megabytes, or None."""
    out = subprocess.run([bench, peer, str(side), path], capture_output=True, text=True, check=False).stdout.split()
    if len(out) != 4 or out[1] == "-":
        return None
    return float(out[1]), int(out[3])


def as_program(command):
    best = None
    for _ in range(3):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        try:
            status = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode
        except FileNotFoundError:
            return None
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if status != 0:
            return None
        used = (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000
        best = used if best is None else min(best, used)
    return best, None


def cell(measured, ours):
    if measured is None:
        return "-"
    return f"{measured[0]:.1f} ({measured[0] / ours[0]:.2f}x)"


def main():
    with tempfile.TemporaryDirectory() as folder:
        measure(os.path.join(folder, "thumbnail.tif"))


def measure(out):
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    photo = sys.argv[2] if len(sys.argv) > 2 else None
    bench = os.path.join(build, "bin", "bench_thumbnails")
    paths = make_pictures(os.path.join(build, "bench-pictures"), photo)
    libraries = ["vips", "gdk", "jpeg8"]
    print(time.strftime("%Y-%m-%d"), "CPU ms, ratio to ours in brackets; peak memory of our process")
    for side in SIDES:
        print(f"\n| {side}x{side} | ours | peak MB | " + " | ".join(libraries + list(PROGRAMS)) + " |")
        print("|---" * (3 + len(libraries) + len(PROGRAMS)) + "|")
        for path in paths:
            ours = in_process(bench, "mivo", side, path)
            if ours is None:
                print(f"| {os.path.basename(path)} | failed |")
                continue
            row = [cell(in_process(bench, peer, side, path), ours) for peer in libraries]
            row += [cell(as_program(command(path, side, out)), ours) for command in PROGRAMS.values()]
            print(f"| {os.path.basename(path)} | {ours[0]:.1f} | {ours[1]} | " + " | ".join(row) + " |", flush=True)


if __name__ == "__main__":
    main()
