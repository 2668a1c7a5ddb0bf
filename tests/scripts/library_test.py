#!/usr/bin/env python3
"""The installed client library, as a program of somebody else sees it: the examples are built against it and run, its
headers need nothing but the standard library, and its symbols are those that are promised."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv.pop() if len(sys.argv) > 1 else "build").resolve()
COMPILER = os.environ.get("CXX", "c++")
SECONDS = 300
SANITIZED = "-fsanitize=" in (BUILD / "CMakeCache.txt").read_text()


def run(*words, **options):
    return subprocess.run(words, capture_output=True, text=True, timeout=SECONDS, **options)


class Library(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.root = cls.folder / "somewhere/usr"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.root], check=True, stdout=subprocess.DEVNULL)
        cls.library = next(cls.root.glob("lib*/**/libmivo.so"))
        cls.environment = {
            "PATH": os.environ["PATH"], "HOME": str(cls.folder), "XDG_RUNTIME_DIR": str(cls.folder),
            "LD_LIBRARY_PATH": str(cls.library.parent), "CMAKE_PREFIX_PATH": str(cls.root),
            "PKG_CONFIG_PATH": str(cls.library.parent / "pkgconfig")}
        cls.tone = cls.folder / "tone.wav"
        cls.tone.write_bytes(b"RIFF\xff\xff\xff\x7fWAVEfmt \x10\0\0\0\x01\0\x01\0\x44\xac\0\0\x88\x58\x01\0\x02\0\x10\0"
                             + b"data" + (88200).to_bytes(4, "little") + bytes(88200))

    def checked(self, *words, **options):
        answer = run(*words, env=self.environment, **options)
        self.assertEqual(answer.returncode, 0, answer.stdout + answer.stderr)
        return answer.stdout

    def on_a_bus(self, *words):
        return self.checked("dbus-run-session", "--", *map(str, words))

    @unittest.skipIf(SANITIZED, "a sanitizer's library wants a program that was built with it")
    def test_examples_are_built_against_it_and_run(self):
        make = self.folder / "pkg-config"
        shutil.copytree(ROOT / "examples/pkg-config", make)
        self.checked("make", "-C", str(make), f"CXX={COMPILER}", "CXXFLAGS=-Wall -Wextra -Wpedantic -Werror")
        song = self.folder / "tone.mp3"
        self.assertIn("done", self.on_a_bus(make / "mivo-to-mp3", self.tone, song, "A Tone"))
        encoded = self.folder / "encoded"
        encoded.mkdir()
        other = self.folder / "other.wav"
        shutil.copy(self.tone, other)
        self.assertIn("100%\ndone\n", self.on_a_bus(make / "mivo-encode", encoded, self.tone, other))
        self.assertEqual(sorted(path.name for path in encoded.iterdir()), ["other.mp3", "tone.mp3"])
        made = self.folder / "cmake"
        self.checked("cmake", "-S", str(ROOT / "examples/cmake"), "-B", str(made), f"-DCMAKE_CXX_COMPILER={COMPILER}",
                     "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
        self.checked("cmake", "--build", str(made))
        listed = self.on_a_bus(made / "mivo-list", song)
        self.assertIn("  Title: A Tone\n", listed)
        self.assertIn("  Bitrate: 128\n", listed)
        songs = self.on_a_bus(made / "mivo-songs", *[song] * 200)
        self.assertEqual(songs, "\tA Tone\t0:01\n" * 200)

    def test_its_headers_stand_alone(self):
        headers = sorted((self.root / "include/mivo").glob("*.h"))
        self.assertIn("Client.h", [header.name for header in headers])
        for header in headers:
            for standard in ("c++17", "c++20"):
                source = f'#include <mivo/{header.name}>\n'
                read = self.checked(COMPILER, f"-std={standard}", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-M", "-I",
                                    str(self.root / "include"), "-x", "c++", "-", input=source)
                self.assertFalse(re.search(r"systemd|dbus|glib", read), header)
                self.assertNotIn(str(ROOT) + "/", read, header)
                self.checked(COMPILER, f"-std={standard}", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror",
                             "-fsyntax-only", "-I", str(self.root / "include"), "-x", "c++", "-", input=source)

    @unittest.skipIf(SANITIZED, "sanitizers have symbols of their own")
    def test_its_symbols_are_those_that_are_promised(self):
        """debian/libmivo1.symbols says since when each is there; what it names is not taken away."""
        promises = (ROOT / "debian/libmivo1.symbols").read_text()
        promised = set(re.findall(r'^ (?:\(c\+\+\))?"?(\S.*?)@(MIVO_[^\s"]+)"? ', promises, re.M))
        listed = self.checked("nm", "-DC", "--defined-only", "--with-symbol-versions", str(self.library))
        found = set(re.findall(r"^\w+ \w (.*)@@(MIVO_\S+)$", listed, re.M))
        found -= {(version, version) for _, version in found}
        promised -= {(version, version) for _, version in promised}
        self.assertGreater(len(found), 50)
        self.assertEqual(found - promised, set(), "new: debian/libmivo1.symbols has no line for them")
        self.assertEqual(promised - found, set(), "gone: programs that use them break")
        nameless = [line for line in listed.splitlines() if "@@MIVO_" not in line and not re.search(r" A MIVO_", line)]
        self.assertEqual(nameless, [], "symbols without a version")

    def test_the_soname_is_that_of_the_package(self):
        dynamic = self.checked("readelf", "-d", str(self.library))
        self.assertRegex(dynamic, r"SONAME.*\[libmivo\.so\.1\]")


if __name__ == "__main__":
    unittest.main()
