#!/usr/bin/env python3
"""A thousand phone photos as one batch through the service.

Usage: bench/pictures/photos.py BUILD_FOLDER PICTURES [COUNT]

Makes 25 photos of 12 megapixels with EXIF out of those in the corpus's folder PICTURES (other cut-outs, mirrored,
brighter and darker, sharpened to what a phone's camera writes, a date of their own), gives each COUNT / 25 names, and
describes all of them, thumbnails included, with one client that waits for each answer. libvips and gdk-pixbuf only make
the thumbnails.
"""
import os
import subprocess
import sys
import time

SOURCES = ["42_IndexError.jpg", "Landscape_6.jpg", "london.jpg", "tokyo.jpg", "no_exif.jpg"]
DISTINCT = 25


def make_photo(folder, pictures, number):
    path = os.path.join(folder, f"photo-{number:02}.jpg")
    if os.path.exists(path):
        return path
    source = os.path.join(pictures, SOURCES[number % len(SOURCES)])
    turn = number // len(SOURCES)
    change = [[], ["-flop"], ["-flip"], ["-gravity", "center", "-crop", "70%x70%+0+0", "+repage"], ["-modulate", "80"]][turn]
    subprocess.run(["convert", "-quiet", source, "-strip", *change, "-resize", "4032x3024^", "-gravity", "center", "-extent", "4032x3024",
                    "-unsharp", "0x1.5", "-attenuate", "0.25", "+noise", "Gaussian", "-sampling-factor", "2x2", "-quality", "92",
                    path], check=True)
    subprocess.run(["exiftool", "-q", "-overwrite_original", "-Make=Maker", "-Model=Phone", "-Orientation#=6",
                    f"-ModifyDate=2026:05:{number + 1:02} 12:00:00", "-ISO=100", "-FNumber=1.8", "-ExposureTime=1/120", path], check=True)
    return path


def make_batch(folder, pictures, count):
    os.makedirs(folder, exist_ok=True)
    photos = [make_photo(folder, pictures, number) for number in range(DISTINCT)]
    names = os.path.join(folder, "batch")
    os.makedirs(names, exist_ok=True)
    paths = []
    for i in range(count):
        path = os.path.join(names, f"{i:04}.jpg")
        if not os.path.exists(path):
            os.link(photos[i % DISTINCT], path)
        paths.append(path)
    return photos, paths


def main():
    build, pictures = sys.argv[1:3]
    count = int(sys.argv[3]) if len(sys.argv) > 3 else 1000
    photos, paths = make_batch(os.path.join(build, "bench-photos"), pictures, count)
    megabytes = sum(os.path.getsize(path) for path in photos) / len(photos) / 1e6
    print(time.strftime("%Y-%m-%d"), f"{count} photos of 12 megapixels, {megabytes:.1f} MB each", flush=True)
    subprocess.run([os.path.join(build, "bin", "bench_pictures_through_bus"), "--batch", *paths], stderr=subprocess.DEVNULL, check=True)
    for peer in ("mivo", "vips", "gdk"):
        out = subprocess.run([os.path.join(build, "bin", "bench_thumbnails"), peer, "100", *photos], capture_output=True, text=True, check=True).stdout
        times = [float(line.split()[1]) for line in out.splitlines()]
        print(f"{peer}: {sum(times) / len(times):.1f} CPU ms a thumbnail in-process", flush=True)


if __name__ == "__main__":
    main()
