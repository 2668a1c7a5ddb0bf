#!/usr/bin/env python3
"""scripts/setup and scripts/on-debian with stand-ins for Debian's tools, which write down how they are called."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"

PACKAGES = """# a comment
[build]
compiler
library-dev | library2-dev
[test]
player
compiler
"""


class WithTools(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "bin").mkdir()
        (self.folder / "scripts").mkdir()

    def tool(self, name, script):
        path = self.folder / "bin" / name
        path.write_text(f'#!/bin/sh\necho "{name} $*" >>"{self.folder}/calls"\n{script}\n')
        path.chmod(0o755)

    def calls(self, name):
        path = self.folder / "calls"
        lines = path.read_text().splitlines() if path.exists() else []
        return [line.removeprefix(name + " ") for line in lines if line.startswith(name + " ")]

    def run_script(self, name, *arguments, **variables):
        shutil.copy(SCRIPTS / name, self.folder / "scripts" / name)
        environment = {"PATH": f"{self.folder}/bin:{os.environ['PATH']}", "HOME": str(self.folder), **variables}
        return subprocess.run([self.folder / "scripts" / name, *arguments], env=environment, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=60)


class Setup(WithTools):
    def setUp(self):
        super().setUp()
        (self.folder / "scripts/packages").write_text(PACKAGES)
        self.tool("apt-get", "")
        self.tool("sudo", 'exec "$@"')
        self.release(installed=[], has=["compiler", "library-dev", "library2-dev", "player"])

    def release(self, installed, has):
        """A machine with those packages, of a release that has those."""
        self.tool("dpkg-query", f'for name; do :; done; case " {" ".join(installed)} " in *" $name "*) echo installed ;; esac')
        self.tool("apt-cache", f'case " {" ".join(has)} " in *" $2 "*) ;; *) exit 100 ;; esac')

    def installs(self):
        return [set(call.split("--no-install-recommends ")[1].split())
                for call in self.calls("apt-get") if call.startswith("install")]

    def test_does_nothing_where_all_is_there(self):
        for library in ("library-dev", "library2-dev"):
            self.release(installed=["compiler", library, "player"], has=[])
            self.assertEqual(self.run_script("setup").returncode, 0)
        self.assertEqual(self.calls("apt-get"), [])

    def test_installs_what_is_missing_once(self):
        self.release(installed=["player"], has=["compiler", "library-dev", "library2-dev", "player"])
        self.assertEqual(self.run_script("setup", "build", "test").returncode, 0)
        self.assertEqual(self.installs(), [{"compiler", "library-dev"}])

    def test_takes_the_first_name_that_the_release_has(self):
        self.release(installed=[], has=["compiler", "library2-dev"])
        self.assertEqual(self.run_script("setup", "build").returncode, 0)
        self.assertEqual(self.installs(), [{"compiler", "library2-dev"}])

    def test_says_what_the_release_lacks(self):
        self.release(installed=[], has=["compiler"])
        result = self.run_script("setup", "build")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("no package library-dev library2-dev", result.stderr)
        self.assertEqual(self.installs(), [])

    def test_says_that_a_section_is_unknown(self):
        result = self.run_script("setup", "tset")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("no section tset", result.stderr)
        self.assertEqual(self.calls("apt-get"), [])

    def test_the_list_has_the_sections_that_commands_ask_for(self):
        shutil.copy(SCRIPTS / "packages", self.folder / "scripts/packages")
        self.tool("dpkg-query", "echo installed")
        result = self.run_script("setup", "build", "test", "bench", "fuzz")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertGreater(len(self.calls("dpkg-query")), 40)


class OnDebianTools(WithTools):
    """scripts/on-debian up to the making of a system, which needs a mirror."""

    def setUp(self):
        super().setUp()
        shutil.copy(SCRIPTS / "setup", self.folder / "scripts/setup")
        (self.folder / "scripts/packages").write_text(PACKAGES)
        self.tool("apt-get", 'echo "Other http://mirror.test/other/"; echo "Debian http://mirror.test/debian/"')
        self.tool("apt-config", 'cat <<END\nAcquire::http::Proxy "http://proxy.test:8";\nAPT::Architecture "amd64";\nEND')
        self.tool("mmdebstrap", f'for option; do case "$option" in --aptopt=*) cp "${{option#*=}}" "{self.folder}/options" ;; '
                                'esac; done; exit 3')


class OnDebian(OnDebianTools):
    def refused(self, *arguments):
        result = self.run_script("on-debian", *arguments)
        self.assertEqual(result.returncode, 2, result.stderr)
        self.assertEqual(self.calls("mmdebstrap"), [])
        return result.stderr

    def test_misuse_is_told_before_anything_is_made(self):
        self.assertIn("usage:", self.refused())
        self.assertIn("usage:", self.refused("13"))
        self.assertIn("not a release of Debian: ../x", self.refused("../x", "true"))
        self.assertIn("not a release of Debian: 1", self.refused("1", "true"))
        self.assertIn("no such option: --fersh", self.refused("--fersh", "13", "true"))

    def test_help(self):
        result = self.run_script("on-debian", "--help")
        self.assertEqual(result.returncode, 0)
        for word in ("usage:", "--fresh", "MIVO_DEBIAN_MIRROR", "MIVO_DEBIAN_CACHE", "MIVO_CCACHE"):
            self.assertIn(word, result.stdout)


@unittest.skipUnless(os.geteuid() == 0, "makes namespaces as root")
class OnDebianMaking(OnDebianTools):
    def make(self, release, **variables):
        result = self.run_script("on-debian", release, "true", **variables)
        self.assertEqual(result.returncode, 3, result.stderr)
        return self.calls("mmdebstrap")[-1].split()

    def test_takes_the_mirror_and_the_options_that_apt_is_set_to_use(self):
        self.assertEqual(self.make("13")[-3], "trixie")
        self.assertEqual(self.make("unstable")[-3], "sid")
        self.assertEqual(self.make("bookworm")[-1], "http://mirror.test/debian/")
        self.assertEqual((self.folder / "options").read_text(), 'Acquire::http::Proxy "http://proxy.test:8";\n')

    def test_a_mirror_can_be_named(self):
        self.assertEqual(self.make("12", MIVO_DEBIAN_MIRROR="http://near.test/d")[-1], "http://near.test/d")

    def test_keeps_nothing_of_a_system_that_failed(self):
        self.make("13", MIVO_DEBIAN_CACHE=str(self.folder / "kept"))
        self.assertEqual(sorted(os.listdir(self.folder / "kept")), ["lock", "trixie.lock"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
