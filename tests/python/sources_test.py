#!/usr/bin/env python3
"""The sources of the module: types, format, what is installed of them."""
import importlib.util
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
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


class Installed(unittest.TestCase):
    def test_is_the_module_with_its_version(self):
        root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        subprocess.run(["cmake", "--install", support.PROGRAMS.parent, "--component", "python3-mivo", "--prefix", root],
                       check=True, stdout=subprocess.DEVNULL)
        [module] = root.glob("lib/python3*/*-packages/mivo")
        self.assertEqual({path.name for path in module.iterdir()},
                         {path.name for path in (PYTHON / "mivo").iterdir() if path.name != "__pycache__"})
        program = "import importlib.metadata, mivo; print(mivo.__file__, importlib.metadata.version('mivo'))"
        said = subprocess.run([sys.executable, "-c", program], env={"PYTHONPATH": str(module.parent)}, cwd=root, check=True,
                              capture_output=True, text=True).stdout
        version = re.search(r"project\(mivo VERSION (\S+)", (support.ROOT / "CMakeLists.txt").read_text())[1]
        self.assertEqual(said.split(), [str(module / "__init__.py"), version])


if __name__ == "__main__":
    unittest.main()
