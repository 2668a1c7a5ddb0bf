#!/usr/bin/env python3
"""The client of docs/dbus.md at work: client_example_test.py PROGRAMS."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import wave

from pages import source

PROGRAMS = pathlib.Path(sys.argv.pop()).resolve()
# Debian's bindings are Debian's Python's.
PYTHONS = [python for python in (sys.executable, "/usr/bin/python3")
           if subprocess.run([python, "-c", "import gi"], capture_output=True).returncode == 0]


@unittest.skipUnless(PYTHONS, "python3-gi is not installed")
@unittest.skipUnless(shutil.which("dbus-run-session"), "dbus-run-session is not installed")
class ClientExample(unittest.TestCase):
    def test_encodes_with_progress(self):
        self.assertEqual(self.run_client(seconds=20)[-1:], ["100 %"])

    def test_hears_why_a_job_failed(self):
        self.assertEqual(self.run_client(seconds=0), ["failed with code 1"])

    def run_client(self, seconds):
        """The lines of the client for a sound of that length; of none there is no file."""
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        program = re.search(r"```python\n(.*?)```", source("docs/dbus.md"), flags=re.S)[1]
        (folder / "client.py").write_text(program)
        if seconds:
            with wave.open(str(folder / "in.wav"), "wb") as sound:
                sound.setparams((2, 2, 44100, 0, "NONE", ""))
                sound.writeframes(bytes(4 * 44100 * seconds))
        # The first command starts the service.
        script = f"mivo describe {folder}/in.wav >/dev/null 2>&1; {PYTHONS[0]} client.py {folder}/in.wav {folder}/out.mp3; " \
                 "mivo quit"
        environment = {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "HOME": str(folder), "XDG_RUNTIME_DIR": str(folder)}
        answer = subprocess.run(["dbus-run-session", "--", "sh", "-c", script], cwd=folder, env=environment,
                                capture_output=True, text=True, timeout=120)
        self.assertEqual((folder / "out.mp3").exists(), bool(seconds), answer.stderr)
        return answer.stdout.splitlines()


if __name__ == "__main__":
    unittest.main()
