#!/usr/bin/env python3
"""What debian/ says a second time is what the tree says."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Of scripts/packages: what every build of Debian has, what people work with, and what has another name there.
NOT_DECLARED = {"clang-format", "dbus", "g++", "git"}
NAMES = {"libjpeg62-turbo-dev": "libjpeg-dev", "pkg-config": "pkgconf | pkg-config"}
# What the packages are made with.
FOR_PACKAGES = {"debhelper-compat", "dh-python"}


def sections():
    found, current = {}, None
    for line in (ROOT / "scripts/packages").read_text().splitlines():
        if line.startswith("["):
            current = found.setdefault(line.strip("[]"), [])
        elif line and not line.startswith("#"):
            current.append(NAMES.get(line, line))
    return found


def build_depends():
    """Names as they are declared, and whether they are for the tests alone."""
    text = re.search(r"^Build-Depends:\n((?: .*\n)+)", (ROOT / "debian/control").read_text(), re.M)[1]
    for line in text.splitlines():
        name = line.strip().rstrip(",")
        yield re.sub(r" \(.*?\)| <.*?>|:any", "", name), "<!nocheck>" in name


class Debian(unittest.TestCase):
    def test_what_is_needed_to_build_is_declared(self):
        always = {name for name, tests in build_depends() if not tests} - FOR_PACKAGES
        for_tests = {name for name, tests in build_depends() if tests}
        needed = set(sections()["build"]) - NOT_DECLARED
        self.assertEqual(needed - always - for_tests, set(), "scripts/packages has more")
        self.assertEqual(always - needed, set(), "debian/control has more")
        self.assertEqual(for_tests - needed - set(sections()["test"]), set(), "no test needs them")

    def test_the_version_is_the_projects(self):
        version = re.search(r"project\(mivo VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
        packaged = re.match(r"mivo \((\S+)\)", (ROOT / "debian/changelog").read_text())[1]
        self.assertEqual(packaged, version)

    def test_every_install_rule_names_its_part(self):
        parts = re.search(r"^COMPONENTS = (.*)$", (ROOT / "debian/rules").read_text(), re.M)[1].split()
        rules = 0
        for path in [ROOT / "CMakeLists.txt", *ROOT.glob("*/CMakeLists.txt"), *ROOT.glob("service/*/CMakeLists.txt")]:
            for rule in re.findall(r"\binstall\((.*?)\)\n", path.read_text(), re.S):
                rules += 1
                named = re.findall(r"\bCOMPONENT (\S+)", rule)
                self.assertTrue(named, f"{path}: {rule}")
                self.assertLessEqual({one for one in named if "$" not in one}, set(parts), f"{path}: {rule}")
        self.assertGreater(rules, 10)


if __name__ == "__main__":
    unittest.main()
