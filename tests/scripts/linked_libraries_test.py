#!/usr/bin/env python3
"""What the built programs are linked with. What stands beside the bus, and what runs as the user's own tool, has no
library that reads media; what reads media has no bus."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop() if len(sys.argv) > 1 else "build/bin")

# Of the system, in every program; the sanitizers' in their builds.
SYSTEM = "libc libm libgcc_s libstdc++ libpthread libdl ld-linux-x86-64 ld-linux-aarch64".split()
SANITIZERS = "libasan libtsan libubsan liblsan".split()
# What a program may ask for by itself, beside those.
MAY = {
    "mivo-mediad": ["libsystemd", "libplist-2.0"],
    # It writes JPEG pictures and compressed PNG, shows pictures on terminals, and carries tags from song to song.
    "mivo": ["libsystemd", "libplist-2.0", "libjpeg", "libz", "libchafa", "libglib-2.0", "libtag", "libmd"],
    # It writes compressed PNG, and names thumbnails.
    "mivo-thumbnailer": ["libz", "libmd", "libplist-2.0"],
}
# And what nothing that it asks for may bring along.
READS_MEDIA = re.compile(
    r"lib(av|sw|postproc|heif|de265|x26|aom|dav1d|webp|gif|png|tiff|jpeg|turbojpeg|lcms|exif|isal|Lerc|jbig"
    r"|mp3lame|vorbis|ogg|opus|FLAC|id3|tag)")
EXCEPT = {"mivo": ["libjpeg", "libtag"]}
BUS = re.compile(r"lib(systemd|dbus|gio)")


def stem(library):
    """libjpeg of libjpeg.so.62"""
    return library.split(".so")[0]


def asked_for(program):
    """What the program itself names."""
    dynamic = subprocess.run(["readelf", "-d", program], check=True, capture_output=True, text=True).stdout
    return {stem(name) for name in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)}


def loaded(program):
    """What is loaded with it in the end."""
    lines = subprocess.run(["ldd", program], check=True, capture_output=True, text=True).stdout.splitlines()
    return {stem(os.path.basename(line.split()[0])) for line in lines if line.split()}


class Linked(unittest.TestCase):
    def test_programs_ask_for_what_their_row_names(self):
        for name, may in MAY.items():
            asked = asked_for(PROGRAMS / name)
            self.assertIn("libc", asked, name)
            self.assertEqual(asked - {*may, *SYSTEM, *SANITIZERS}, set(), name)

    def test_nothing_that_reads_media_comes_along(self):
        for name in MAY:
            found = {library for library in loaded(PROGRAMS / name) if READS_MEDIA.match(library)}
            self.assertEqual(found - set(EXCEPT.get(name, [])), set(), name)

    def test_what_reads_media_has_no_bus(self):
        libraries = loaded(PROGRAMS / "mivo-worker")
        self.assertTrue(any(READS_MEDIA.match(library) for library in libraries))
        self.assertFalse([library for library in libraries if BUS.match(library)])


if __name__ == "__main__":
    unittest.main()
