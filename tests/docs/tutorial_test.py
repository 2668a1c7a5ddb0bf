#!/usr/bin/env python3
"""Types the commands of docs/tutorial.md, and compares what comes out with the page: tutorial_test.py PROGRAMS.
With --write in front the page gets what came out."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from pages import ROOT

WRITES = "--write" in sys.argv
PROGRAMS = pathlib.Path(sys.argv.pop()).resolve()
PAGE = ROOT / "docs/tutorial.md"
NEEDED = ("ffmpeg", "busctl", "dbus-run-session", "python3")
# Of each run, each machine and each release of an encoder.
VARIES = [
    (r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", "DATE"),
    (r"process \d+, up \d+:\d\d", "PROCESS"),
    (r"\d+(\.\d+)? (kB|MB) \(\d+ bytes\)", "SIZE"),
    (r"\d+(\.\d+)? kB", "SIZE"),
    (r"/\S*/try/", "/home/ann/try/"),
]


def blocks(text):
    return re.findall(r"```console\n(.*?)```\n", text, flags=re.S)


def parted(block):
    """Commands, each with what follows it on the page."""
    commands = re.split(r"^\$ ", block, flags=re.M)[1:]
    return [tuple(command.split("\n", 1)) for command in commands]


def run_all(commands):
    """What each prints, typed into one shell on a bus of its own."""
    mark = "=== next ==="
    script = "".join(f"{command}\nmivo_status=$?; echo '{mark}'; (exit $mivo_status)\n" for command in commands)
    with tempfile.TemporaryDirectory() as folder:
        environment = {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "HOME": folder, "XDG_RUNTIME_DIR": folder,
                       "LC_ALL": "C.UTF-8", "TZ": "UTC"}
        answer = subprocess.run(["dbus-run-session", "--", "bash", "-c", "exec 2>&1\n" + script], cwd=folder,
                                env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, timeout=240)
    return answer.stdout.split(mark + "\n")[:-1]


def steady(text):
    for pattern, name in VARIES:
        text = re.sub(pattern, name, text)
    return text


def written(text, outputs):
    outputs = iter(outputs)

    def filled(match):
        return "```console\n" + "".join(f"$ {command}\n{next(outputs)}" for command, _ in parted(match[1])) + "```\n"
    return re.sub(r"```console\n(.*?)```\n", filled, text, flags=re.S)


class Tutorial(unittest.TestCase):
    @unittest.skipUnless(all(map(shutil.which, NEEDED)), f"one of {', '.join(NEEDED)} is not installed")
    def test_every_command_prints_what_the_page_says(self):
        steps = [step for block in blocks(PAGE.read_text()) for step in parted(block)]
        self.assertGreater(len(steps), 15)
        outputs = run_all([command for command, _ in steps])
        self.assertEqual(len(outputs), len(steps), outputs[-1:])
        if WRITES:
            PAGE.write_text(written(PAGE.read_text(), [re.sub(*VARIES[-1], output) for output in outputs]))
            return
        for (command, expected), output in zip(steps, outputs):
            self.assertEqual(steady(output), steady(expected), command)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]])
