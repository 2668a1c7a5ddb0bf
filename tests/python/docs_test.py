#!/usr/bin/env python3
"""docs/python.md and the README's program: what they show runs as it stands, and what they list is what there is."""
import inspect
import os
import re
import subprocess
import sys
import unittest

import support

import mivo
from mivo._fact import key_table

sys.path.insert(0, str(support.ROOT / "tests/docs"))
from pages import by_name, codes, rows, source  # noqa: E402

PAGE = source("docs/python.md")
REFERENCE = PAGE[PAGE.index("\n## Reference"):]


def programs(page):
    return re.findall(r"```python\n(.*?)```", page, flags=re.S)


class Programs(support.WithService):
    def setUp(self):
        super().setUp()
        with mivo.Media(address=self.address) as media:
            for name in ("song.flac", "other.mp3", "deep/bare.mp3"):
                path = self.folder / "music" / name
                path.parent.mkdir(parents=True, exist_ok=True)
                support.write_tone(path, 0.5)
            media.set_tags(self.folder / "music/song.flac", title="T", front_cover=support.RED_PNG.read_bytes())
        (self.folder / "music/cover.jpg").write_bytes(support.RED_JPEG.read_bytes())
        (self.folder / "music/notes.txt").write_text("no media")

    def run_program(self, text, *words):
        program = self.folder / "program.py"
        program.write_text(text.replace('"/music', f'"{self.folder}/music'))
        environment = {**os.environ, "DBUS_SESSION_BUS_ADDRESS": self.address, "PYTHONPATH": str(support.ROOT / "python"),
                       "PYTHONDONTWRITEBYTECODE": "1"}
        answer = subprocess.run([sys.executable, program, *words], cwd=self.folder, env=environment, capture_output=True,
                                text=True, timeout=60)
        self.assertEqual((answer.returncode, answer.stderr), (0, ""), text)
        return answer.stdout

    def test_of_the_readme_finds_the_songs_without_a_cover(self):
        [text] = programs(source("README.md"))
        self.assertLessEqual(len(text.splitlines()), 15)
        found = self.run_program(text, str(self.folder / "music"))
        music = self.folder / "music"
        self.assertEqual(sorted(found.splitlines()), [str(music / "deep/bare.mp3"), str(music / "other.mp3")])

    def test_of_the_page_run(self):
        texts = programs(PAGE)
        self.assertGreater(len(texts), 5)
        said = [self.run_program(text) for text in texts]
        self.assertTrue(all(said), said)

    @unittest.skipUnless(support.importlib.util.find_spec("mypy"), "python3-mypy is not installed")
    def test_hold_in_mypys_strict_eyes(self):
        names = []
        for number, text in enumerate([*programs(source("README.md")), *programs(PAGE)]):
            names.append(self.folder / f"program{number}.py")
            names[-1].write_text(text)
        answer = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", *names],
                                env={**os.environ, "MYPYPATH": str(support.ROOT / "python")}, capture_output=True, text=True)
        self.assertEqual(answer.returncode, 0, answer.stdout)


class Reference(unittest.TestCase):
    def test_has_every_call_with_its_parameters(self):
        listed = [codes(row[0])[0] for row in rows(REFERENCE) if "(" in row[0]]
        calls = [call for name, call in vars(mivo.Media).items() if inspect.isfunction(call) and name[0] != "_"]
        self.assertEqual(set(listed), {self.shown(call) for call in calls})

    @staticmethod
    def shown(call):
        words = []
        for item in list(inspect.signature(call).parameters.values())[1:]:
            if item.kind is item.KEYWORD_ONLY and "*" not in words:
                words.append("*")
            words.append(item.name)
        return f"{call.__name__}({', '.join(words)})"

    def test_has_every_fact(self):
        listed = {name: codes(cells[0])[0] for name, cells in by_name(REFERENCE).items() if "mivo:" in cells[0] or ":" in cells[0]}
        expected = {name: key for key, (name, _) in key_table(mivo.Facts).items()}
        self.assertEqual(listed, expected | {"pictures": "mivo:pictures"})

    def test_has_every_error_with_what_it_is(self):
        listed = {name: set(codes(cells[0])) for name, cells in by_name(REFERENCE).items() if name in vars(mivo.errors)}
        errors = {name: kind for name, kind in vars(mivo.errors).items() if inspect.isclass(kind) and kind is not mivo.MediaError}
        self.assertEqual(listed, {name: {base.__name__ for base in kind.__bases__} for name, kind in errors.items()})

    def test_has_every_member_of_a_job(self):
        text = REFERENCE[REFERENCE.index("A `Job` has"):REFERENCE.index("| fact |")]
        members = {name for name in vars(mivo.Job) if name[0] != "_"}
        self.assertEqual({name.rstrip("()") for name in codes(text)} - {"Job", "JobState", *mivo.JobState.__members__}, members)


class Names(unittest.TestCase):
    def test_that_programs_use_are_those_of_the_module(self):
        for name in mivo.__all__:
            self.assertTrue(hasattr(mivo, name), name)
        errors = {name for name, kind in vars(mivo.errors).items() if inspect.isclass(kind)}
        self.assertLessEqual(errors, set(mivo.__all__))

    def test_are_of_the_version_of_the_project(self):
        version = re.search(r"project\(mivo VERSION (\S+)", source("CMakeLists.txt"))[1]
        self.assertIn(f'\nversion = "{version}"\n', source("python/pyproject.toml"))


if __name__ == "__main__":
    unittest.main()
