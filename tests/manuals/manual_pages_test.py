#!/usr/bin/env python3
"""The manual pages as programs read them: without a warning, whole, and saying what the programs' own help says."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop())
OUT = pathlib.Path(sys.argv.pop())
PAGES = sorted(OUT.glob("*/man1/*.1"))


def run(*words):
    environment = {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "MANWIDTH": "500", "HOME": "/nonexistent"}
    return subprocess.run(words, env=environment, capture_output=True, text=True, timeout=60)


def words_of(text):
    """Without what typesetting adds, so that texts can be compared."""
    return re.sub(r"\s+", " ", text)


def rendered(page):
    return words_of(re.sub(".\b", "", run("man", "-P", "cat", "-l", page).stdout))


def commands():
    listed = run("mivo", "--help").stdout.split("Commands:\n")[1].split("\n\n")[0]
    return [line.split()[0] for line in listed.splitlines()]


def option_rows(help_text):
    """The options' names, values and texts."""
    rows = help_text.split("\nOptions:\n")[1].split("\n\n")[0].splitlines()
    for row in rows:
        name, text = re.match(r"  ((?:-\w, )?--\S+(?: [A-Z]\S*)?) +(.*)", row).groups()
        yield name, text


class ManualPages(unittest.TestCase):
    def test_every_command_has_a_page_and_no_page_is_left_over(self):
        pages = {page.stem for page in PAGES if page.parent.parent.name == "mivo"}
        self.assertEqual(pages, {"mivo"} | {f"mivo-{name}" for name in commands()})

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_groff_has_no_warning(self):
        for page in PAGES:
            answer = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page)
            self.assertEqual((answer.returncode, answer.stderr), (0, ""), page.name)

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_mandoc_has_no_warning(self):
        for page in PAGES:
            answer = run("mandoc", "-T", "lint", "-W", "warning", page)
            self.assertEqual((answer.returncode, answer.stdout), (0, ""), page.name)

    @unittest.skipUnless(shutil.which("lexgrog"), "lexgrog is not installed")
    def test_the_index_of_manuals_finds_a_name_and_a_line(self):
        for page in PAGES:
            self.assertRegex(run("lexgrog", page).stdout, rf'"{page.stem} - \w')

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_pages_say_what_the_help_says(self):
        for name in commands():
            text = rendered(OUT / f"mivo/man1/mivo-{name}.1").lower()
            for option, meaning in option_rows(run("mivo", "help", name).stdout):
                self.assertIn(words_of(f"{option} {meaning}.").lower(), text, name)

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_pages_of_other_programs_say_what_their_help_says(self):
        for page in PAGES:
            if page.parent.parent.name != "mivo":
                text = rendered(page).lower()
                for option, meaning in option_rows(run(page.stem, "--help").stdout):
                    self.assertIn(words_of(f"{option} {meaning}.").lower(), text, page.stem)

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_the_tools_page_names_every_command_and_status(self):
        text = rendered(OUT / "mivo/man1/mivo.1")
        for name in commands():
            self.assertIn(f"mivo-{name}(1)", text)
        statuses = run("mivo", "--help").stdout.split("Exit status:\n")[1].splitlines()
        for row in statuses:
            status, meaning = row.split(None, 1)
            self.assertIn(f"{status} {meaning[0].upper()}{meaning[1:]}.", text)


    def test_the_services_page_names_all_services(self):
        header = pathlib.Path(__file__).resolve().parents[2] / "service/include/ServiceNames.h"
        names = {re.sub(r"\.(?=\d)", "._", name) for name in re.findall(r'= "(Mivo\S+\d)"', header.read_text())}
        names.remove("MivoCrashReporter_1._3._0._12062")  # another program's
        page = (OUT / "mediad/man1/mivo-mediad.1").read_text()
        self.assertEqual(set(re.findall(r"^\.B (Mivo\S+)$", page, flags=re.M)), names)


class Metainfo(unittest.TestCase):
    @unittest.skipUnless(shutil.which("appstreamcli"), "appstreamcli is not installed")
    def test_is_valid(self):
        found = list(OUT.parent.glob("*.metainfo.xml"))
        self.assertEqual(len(found), 1)
        answer = run("appstreamcli", "validate", "--pedantic", "--no-net", found[0])
        self.assertEqual(answer.returncode, 0, answer.stdout)
        self.assertNotRegex(answer.stdout, r"(?m)^[EW]:")


if __name__ == "__main__":
    unittest.main()
