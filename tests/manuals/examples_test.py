#!/usr/bin/env python3
"""The examples of the manual pages, typed into a shell as they stand, in a folder that has the files of their names."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop()).resolve()
OUT = pathlib.Path(sys.argv.pop())
NEEDED = ("ffmpeg", "exiftool", "busctl", "dbus-run-session")
SECONDS = 240

# On a terminal that shows pictures it does; here is none. And one of the songs has no artist.
FAILING = {"mivo thumbnail --show photo.jpg": 1,
           "mivo rename --dry-run '{artist}/{track:02} {title}' *.mp3": 1}


def examples(page):
    """Lines that are typed, with those that are continued as one."""
    for block in re.findall(r"^\.EX\n(.*?)^\.EE", page.read_text(), flags=re.M | re.S):
        text = block.replace("\\-", "-").replace("\\(dq", '"').replace("\\(aq", "'").replace("\\e", "\\")
        yield from filter(None, text.replace("\\\n", " ").splitlines())


def ffmpeg(folder, *words):
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *words], cwd=folder, check=True)


def make_files(folder):
    for name in ("photo.jpg", "cover.png"):
        ffmpeg(folder, "-f", "lavfi", "-i", "testsrc2=size=320x240", "-frames:v", "1", name)
    tone = ("-f", "lavfi", "-i", "sine=duration=2")
    for name in ("song.wav", "song.flac", "song.m4a"):
        ffmpeg(folder, *tone, "-ac", "2", "-metadata", "title=Blue", name)
    ffmpeg(folder, *tone, "-i", "cover.png", "-map", "0", "-map", "1", "-ac", "2", "-id3v2_version", "3", "song.mp3")
    subprocess.run(["exiftool", "-q", "-overwrite_original", "-Model=Camera", folder / "photo.jpg"], check=True)
    ffmpeg(folder, "-f", "lavfi", "-i", "testsrc2=size=320x240:duration=2", "-c:v", "mpeg4", "movie.mkv")
    write_podcast(folder)
    for name in ("Music", "Pictures", "FOLDER"):
        (folder / name).mkdir()
    (folder / "Phone").mkdir()
    shutil.copy(folder / "song.flac", folder / "Music")
    shutil.copy(folder / "photo.jpg", folder / "Pictures")
    shutil.copy(folder / "song.mp3", folder / "FOLDER")


def write_podcast(folder):
    """An ID3v2.3 tag that names an episode and its channel, in front of a song."""
    def frame(name, text):
        body = b"\0" + text
        return name + len(body).to_bytes(4, "big") + b"\0\0" + body
    frames = frame(b"TGID", b"https://example.org/1") + frame(b"WFED", b"https://example.org/feed")
    size = bytes((len(frames) >> shift) & 0x7f for shift in (21, 14, 7, 0))
    song = (folder / "song.mp3").read_bytes()
    (folder / "episode.mp3").write_bytes(b"ID3\3\0\0" + size + frames + song)


class Examples(unittest.TestCase):
    @unittest.skipUnless(all(map(shutil.which, NEEDED)), f"one of {', '.join(NEEDED)} is not installed")
    def test_they_work(self):
        made = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        make_files(made)
        for page in sorted(OUT.glob("*/man1/*.1")):
            lines = list(examples(page))
            self.assertTrue(lines, page.name)
            with tempfile.TemporaryDirectory() as folder:
                shutil.copytree(made, folder, dirs_exist_ok=True)
                for line in lines:
                    answer = self.type(folder, line.replace(" /music/", f" {folder}/"))
                    self.assertEqual(answer.returncode, FAILING.get(line, 0), f"{page.name}: {line}\n{answer.stderr}")

    @staticmethod
    def type(folder, line):
        environment = {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "HOME": folder, "XDG_RUNTIME_DIR": folder,
                       "LC_ALL": "C.UTF-8"}
        # Commands about the service find one that runs; an output that an earlier line has made is in nobody's way.
        made = re.match(r"mivo (encode|convert|export)(?! --to) .*?(\S+)$", line)
        removal = f"rm -f {made[2]}; " if made else ""
        script = f"mivo describe photo.jpg >/dev/null; {removal}{line}"
        return subprocess.run(["dbus-run-session", "--", "bash", "-c", script], cwd=folder, env=environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=SECONDS)


if __name__ == "__main__":
    unittest.main()
