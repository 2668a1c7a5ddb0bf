#!/usr/bin/env python3
"""The installed tree in a folder of its own: the tool starts the service, the service its workers, and these find the
media module."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD = pathlib.Path(sys.argv.pop() if len(sys.argv) > 1 else "build")
SECONDS = 120


class Installed(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.root = self.folder / "usr"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.root], check=True, stdout=subprocess.DEVNULL)

    def on_a_bus(self, *words):
        """What the words print, on a bus that ends with them, and with it the service."""
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder)}
        return subprocess.run(["dbus-run-session", "--", *words], env=environment, capture_output=True, text=True,
                              timeout=SECONDS)

    def tool(self, *words):
        return self.on_a_bus(str(self.root / "bin/mivo"), *words)

    def test_programs_lie_where_they_are_looked_for(self):
        for name in ("bin/mivo", "bin/mivo-mediad", "libexec/mivo/mivo-worker", "lib/mivo/mivo-ffmpeg.so"):
            self.assertTrue((self.root / name).is_file(), name)

    def test_manuals_and_completions_lie_where_they_are_looked_for(self):
        share = self.root / "share"
        for program in ("mivo", "mivo-mediad", "mivo-thumbnailer"):
            for name in (f"man/man1/{program}.1", f"bash-completion/completions/{program}",
                         f"fish/vendor_completions.d/{program}.fish"):
                self.assertTrue((share / name).is_file(), name)
            self.assertTrue(list(share.glob(f"zsh/*/_{program}")), program)
        self.assertTrue((share / "man/man1/mivo-tag.1").is_file())
        self.assertTrue((share / "metainfo/org.example.mivo.metainfo.xml").is_file())

    @unittest.skipUnless(shutil.which("ffmpeg"), "the program ffmpeg is not installed")
    def test_a_movie_is_described_with_its_picture(self):
        clip = self.folder / "clip.mkv"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=duration=2:size=320x240:rate=10",
                        "-c:v", "mpeg4", clip], check=True)
        described = self.tool("describe", "--json", str(clip))
        self.assertEqual(described.returncode, 0, described.stderr)
        record = json.loads(described.stdout)
        self.assertEqual((record["PlayLength"], record["Width"], record["Height"]), (2, 320, 240), record)
        self.assertTrue(any(isinstance(value, dict) and value.get("bytes", 0) > 0 for value in record.values()), record)

    def test_without_the_worker_nothing_is_read(self):
        (self.root / "libexec/mivo/mivo-worker").unlink()
        song = self.folder / "song.m4a"
        song.write_bytes(b"\0\0\0\x18ftypM4A \0\0\0\0M4A mp42isom")
        for words in (["dump", str(song)], ["describe", str(song)]):
            answer = self.tool(*words)
            self.assertNotEqual(answer.returncode, 0)
            self.assertIn("worker", answer.stderr)


if __name__ == "__main__":
    unittest.main()
