#!/usr/bin/env python3
"""Tags and jobs by the built service."""
import asyncio
import io
import os
import unittest

import support

import mivo
from dbus_fast import Message, MessageType
from dbus_fast.aio import MessageBus


class Tags(support.WithService):
    def setUp(self):
        super().setUp()
        self.media = self.enterContext(mivo.Media(address=self.address))
        self.song = support.write_tone(self.folder / "tone.wav", 0.1)

    def test_are_set_and_read_back(self):
        facts = self.media.set_tags(
            self.song, title="제목", album="Album", artist=["AC/DC", "B"], album_artist="A", composer=["C"], genre=["Rock"],
            comment="Ja", content_created="1999-12-31", track_number=3, track_total=12, disc_number=1, disc_total=2)
        self.assertEqual((facts.title, facts.album, facts.artist, facts.album_artist, facts.composer, facts.genre),
                         ("제목", "Album", ("AC/DC", "B"), ("A",), ("C",), ("Rock",)))
        self.assertEqual((facts.comment, facts.content_created), (("Ja",), "1999-12-31"))
        self.assertEqual((facts.track_number, facts.track_total, facts.disc_number, facts.disc_total), (3, 12, 1, 2))
        self.assertEqual(self.media.describe(self.song), facts)

    def test_that_are_not_named_stay_and_none_removes(self):
        self.media.set_tags(self.song, title="T", artist=["A"], track_number=1)
        facts = self.media.set_tags(self.song, album="B")
        self.assertEqual((facts.title, facts.artist, facts.album), ("T", ("A",), "B"))
        facts = self.media.set_tags(self.song, title=None, artist=None, track_number=None)
        self.assertEqual((facts.title, facts.artist, facts.track_number, facts.album), (None, (), None, "B"))

    def test_have_a_cover(self):
        for cover in (support.RED_PNG.read_bytes(), open(support.RED_PNG, "rb")):
            with cover if isinstance(cover, io.IOBase) else open(support.RED_PNG, "rb"):
                facts = self.media.set_tags(self.song, front_cover=cover)
            self.assertTrue(facts.has_picture)
            pictures = self.media.describe(self.song, pictures=True).pictures
            self.assertEqual([one.data for one in pictures], [support.RED_PNG.read_bytes()])
            self.assertFalse(self.media.set_tags(self.song, front_cover=None).has_picture)
        with self.assertRaises(ValueError):
            self.media.set_tags(self.song, front_cover=b"no picture")

    def test_that_cannot_be_written_leave_the_file(self):
        picture = self.folder / "picture.png"
        picture.write_bytes(support.RED_PNG.read_bytes())
        with self.assertRaises(mivo.Unsupported):
            self.media.set_tags(picture, title="T")
        before = self.song.read_bytes()
        with self.assertRaises(mivo.InvalidArguments):
            self.media.set_tags(self.song, title="T", content_created="yesterday")
        with self.assertRaises(ValueError):
            self.media.set_tags(bytes(self.folder) + b"/caf\xe9.wav", title="T")
        self.assertEqual(self.song.read_bytes(), before)

    def test_of_many_files_at_once_take_few_connections(self):
        paths = [support.write_tone(self.folder / f"{number}.wav", 0.1) for number in range(60)]

        async def change():
            async with mivo.aio.Media(address=self.address) as media:
                before = support.open_files()
                changes = asyncio.gather(*(media.set_tags(path, title="T") for path in paths))
                most = 0
                while not changes.done():
                    most = max(most, len(os.listdir("/proc/self/fd")) - before)
                    await asyncio.sleep(0)
                return most, {facts.title for facts in await changes}
        most, titles = asyncio.run(change())
        self.assertEqual(titles, {"T"})
        self.assertTrue(0 < most < 20, most)

    def test_leave_no_handle_open(self):
        self.media.set_tags(self.song, front_cover=support.RED_PNG.read_bytes())
        before = support.open_files()
        for _ in range(5):
            self.media.set_tags(self.song, front_cover=support.RED_PNG.read_bytes())
        self.assertEqual(support.open_files(), before)


class Jobs(support.WithService):
    def setUp(self):
        super().setUp()
        self.media = self.enterContext(mivo.Media(address=self.address))
        self.tone = support.write_tone(self.folder / "tone.wav", 5)
        self.made = self.folder / "made.mp3"

    def test_tell_their_progress_and_their_result(self):
        job = self.media.encode(self.tone, self.made, bitrate=64000, quality="fast", mode="mono")
        self.assertEqual((job.source, job.destination), (self.tone, self.made))
        told = list(job)
        self.assertEqual((told, told[-1]), (sorted(set(told)), 1.0))
        self.assertEqual((job.state, job.ended, job.error, job.progress), (mivo.JobState.DONE, True, None, 1.0))
        self.assertEqual(job.result(), self.made)
        made = self.media.describe(self.made)
        self.assertEqual((made.bitrate, made.channels), (64000, 1))
        self.assertEqual(list(job), [1.0], "an ended job still tells")

    def test_take_every_option(self):
        job = self.media.encode(self.tone, self.made, format="aac", bitrate=96000, vbr=False, quality="best", mode="joint",
                                tags=False, replace=True, cores=1)
        job.result()
        self.assertEqual(self.media.describe(self.made).audio_codec, "aac")

    def test_that_cannot_begin_say_so(self):
        self.made.write_bytes(b"mine")
        with self.assertRaises(mivo.Exists):
            self.media.encode(self.tone, self.made)
        with self.assertRaises(mivo.NotFound):
            self.media.encode(self.folder / "none.wav", self.folder / "out.mp3")
        with self.assertRaises(mivo.Unsupported):
            self.media.encode(self.tone, self.folder / "out.txt")
        with self.assertRaises(ValueError):
            self.media.encode(self.tone, self.folder / "out.mp3", bitrate=1)

    def test_of_one_client_run_side_by_side(self):
        async def encode():
            async with mivo.aio.Media(address=self.address) as media:
                jobs = [await media.encode(self.tone, self.folder / f"{number}.mp3") for number in range(6)]
                return await asyncio.gather(*jobs)
        self.assertEqual([path.name for path in asyncio.run(encode())], [f"{number}.mp3" for number in range(6)])

    def test_are_gone_when_they_have_ended(self):
        job = self.media.encode(support.write_tone(self.tone, 60), self.made)
        self.assertEqual(self.objects(), 1)
        job.cancel()
        support.eventually(lambda: not self.objects(), "a job is still there")
        self.media.encode(self.tone, self.made).result()
        support.eventually(lambda: not self.objects(), "a job is still there")

    def objects(self):
        """How many jobs the service has."""
        async def ask():
            bus = await MessageBus(bus_address=self.address).connect()
            answer = await bus.call(Message("Mivo.Media1", "/Mivo/Media1/jobs", "org.freedesktop.DBus.Introspectable",
                                            "Introspect"))
            bus.disconnect()
            await bus.wait_for_disconnect()
            # Without a job there is no folder of them.
            return answer.message_type is MessageType.METHOD_RETURN and answer.body[0].count("<node name=")
        return asyncio.run(ask())


if __name__ == "__main__":
    unittest.main()
