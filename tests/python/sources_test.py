#!/usr/bin/env python3
"""The sources of the module: types and format."""
import importlib.util
import shutil
import subprocess
import sys
import unittest

import support

PYTHON = support.ROOT / "python"


class Sources(unittest.TestCase):
    @unittest.skipUnless(importlib.util.find_spec("mypy"), "python3-mypy is not installed")
    def test_hold_in_mypys_strict_eyes(self):
        answer = subprocess.run([sys.executable, "-m", "mypy", "mivo"], cwd=PYTHON,
                                capture_output=True, text=True)
        self.assertEqual(answer.returncode, 0, answer.stdout + answer.stderr)

    @unittest.skipUnless(shutil.which("black", path="/usr/bin"), "black is not installed")
    def test_are_formatted(self):
        version = subprocess.run(["/usr/bin/black", "--version"], capture_output=True, text=True).stdout
        if " 23." not in version:
            self.skipTest("black's versions disagree, and 23 decides")
        answer = subprocess.run(["/usr/bin/black", "--check", "--quiet", "--diff", "."], cwd=PYTHON, capture_output=True,
                                text=True)
        self.assertEqual(answer.returncode, 0, answer.stdout)

    def test_say_that_they_are_typed(self):
        self.assertTrue((PYTHON / "mivo/py.typed").exists())


if __name__ == "__main__":
    unittest.main()
