#!/usr/bin/env python3
"""The module itself: its keys and errors are the service's, its types hold, both its faces have the same calls."""
import inspect
import re
import subprocess
import unittest

import support

import mivo
from dbus_fast import Variant
from mivo._fact import key_table
from mivo._paths import is_text
from mivo._tags import tags_on_the_wire

PYTHON = support.ROOT / "python"


def errors_of_the_page():
    page = (support.ROOT / "docs/media1.md").read_text()
    table = page[page.index("\n## Errors"):]
    return set(re.findall(r"^\| `(\w+)` \|", table, re.M))


class Keys(unittest.TestCase):
    def test_are_written_from_the_table_of_the_service(self):
        subprocess.run([PYTHON / "write-facts", "--check"], check=True)
        self.assertGreater(len(key_table(mivo.Facts)), 40)

    def test_that_can_be_written_are_those_of_the_page(self):
        page = (support.ROOT / "docs/media1.md").read_text()
        table = page[page.index("\n### SetTags"):page.index("\n### Encode")]
        listed = {key for row in re.findall(r"^\| (`.*?) \|", table, re.M) for key in re.findall(r"`(\w+:\w+)`", row)}
        names = {name: key for key, (name, _) in key_table(mivo.Facts).items()}
        taken = set(inspect.signature(mivo.Media.set_tags).parameters) - {"self", "path"}
        self.assertEqual({names.get(name, "mivo:frontCover") for name in taken}, listed)


class Facts(unittest.TestCase):
    def test_have_what_is_known(self):
        facts = mivo.Facts.from_wire({"xesam:title": Variant("s", "T"), "xesam:artist": Variant("as", ["A", "B"]),
                                      "mpris:length": Variant("x", 1_500_000)})
        self.assertEqual((facts.title, facts.artist, facts.seconds), ("T", ("A", "B"), 1.5))
        self.assertEqual((facts.album, facts.genre, facts.pictures, facts.extra), (None, (), None, {}))
        self.assertEqual(repr(facts), "Facts(length=1500000, title='T', artist=('A', 'B'))")
        self.assertEqual(facts, mivo.Facts(title="T", artist=("A", "B"), length=1_500_000))

    def test_of_keys_to_come_are_kept(self):
        facts = mivo.Facts.from_wire({"mivo:mood": Variant("a{sv}", {"name": Variant("s", "calm")})})
        self.assertEqual(facts.extra, {"mivo:mood": {"name": "calm"}})

    def test_of_another_type_are_refused(self):
        with self.assertRaisesRegex(mivo.BadAnswer, "mivo:size is of the type 's' instead of 't'"):
            mivo.Facts.from_wire({"mivo:size": Variant("s", "large")})

    def test_tell_path_and_time(self):
        facts = mivo.Facts(url="file:///music/%ED%95%9C%20100%25.mp3", modified=1_000_000)
        self.assertEqual(str(facts.path), "/music/한 100%.mp3")
        self.assertEqual(facts.modified_at.isoformat(), "1970-01-01T00:00:01+00:00")


class Errors(unittest.TestCase):
    def test_have_classes_of_their_names(self):
        self.assertEqual({error.__name__ for error in mivo.ServiceError.__subclasses__()}, errors_of_the_page())

    def test_of_names_to_come_are_errors_of_the_service(self):
        error = mivo.errors.error_of("Mivo.Media1.Error.Tired", "It is tired.")
        self.assertIs(type(error), mivo.ServiceError)
        self.assertEqual((error.name, str(error)), ("Mivo.Media1.Error.Tired", "It is tired."))

    def test_of_the_bus_are_told_apart(self):
        for name, expected in {"Error.InvalidArgs": ValueError, "Error.ServiceUnknown": mivo.ServiceUnavailable,
                               "Error.Spawn.ChildExited": mivo.ServiceUnavailable, "Error.NoReply": mivo.ConnectionLost,
                               "Error.LimitsExceeded": mivo.LimitsExceeded, "Error.UnknownMethod": mivo.BusError}.items():
            self.assertIsInstance(mivo.errors.error_of(f"org.freedesktop.DBus.{name}", ""), expected, name)


class Tags(unittest.TestCase):
    def test_are_checked_before_they_are_sent(self):
        for wrong in ({"title": 3}, {"artist": [3]}, {"track_number": "3"}, {"track_number": True}):
            with self.assertRaises(TypeError, msg=wrong):
                tags_on_the_wire(wrong)
        with self.assertRaises(ValueError):
            tags_on_the_wire({"title": "a\0b"})

    def test_one_text_is_a_list_of_one(self):
        self.assertEqual(tags_on_the_wire({"artist": "AC/DC"})[b"xesam:artist"].value, [b"AC/DC"])


class Paths(unittest.TestCase):
    def test_that_the_bus_cannot_carry_are_known(self):
        self.assertTrue(is_text("/한글/é"))
        self.assertFalse(is_text(b"/music/\xff".decode(errors="surrogateescape")))


class Faces(unittest.TestCase):
    """What one of them has, the other one has too."""

    # Ways that need one face alone.
    OF_LOOPS = {"describe_batches"}

    def test_have_the_same_calls(self):
        for one, other in ((mivo.Media, mivo.aio.Media), (mivo.Job, mivo.aio.Job)):
            names = {name for name in vars(other) if not name.startswith("_")} - self.OF_LOOPS
            self.assertEqual({name for name in vars(one) if not name.startswith("_")}, names)
            for name in names:
                if not isinstance(vars(one)[name], property):
                    self.assert_same_parameters(vars(one)[name], vars(other)[name])

    def assert_same_parameters(self, one, other):
        def of(call):
            return [(item.name, item.kind, item.default) for item in inspect.signature(call).parameters.values()
                    if item.name != "timeout"]
        self.assertEqual(of(one), of(other), one.__name__)

    def test_are_explained(self):
        for kind in (mivo.Media, mivo.aio.Media, mivo.Job, mivo.aio.Job):
            for name, call in vars(kind).items():
                if inspect.isfunction(call) and not name.startswith("_"):
                    self.assertTrue(call.__doc__, f"{kind.__module__}.{kind.__name__}.{name}")


if __name__ == "__main__":
    unittest.main()
