#!/usr/bin/env python3
"""Descriptions and thumbnails by the built service."""
import asyncio
import concurrent.futures
import gc
import os
import pathlib
import shutil
import threading
import unittest

import support

import mivo


def id3_tag(covers):
    """An ID3v2.3 tag with those pictures."""
    def frame(number, cover):
        body = b"\0image/jpeg\0\0number %d\0" % number + cover
        return b"APIC" + len(body).to_bytes(4, "big") + b"\0\0" + body
    frames = b"".join(frame(number, cover) for number, cover in enumerate(covers))
    return b"ID3\3\0\0" + bytes((len(frames) >> shift) & 0x7f for shift in (21, 14, 7, 0)) + frames


class Describing(support.WithService):
    def setUp(self):
        super().setUp()
        self.media = self.enterContext(mivo.Media(address=self.address))
        self.tone = support.write_tone(self.folder / "tone.wav")

    def test_says_what_a_file_is(self):
        facts = self.media.describe(self.tone)
        self.assertEqual((facts.kind, facts.mime_type, facts.path), ("audio", "audio/x-wav", self.tone))
        self.assertEqual((facts.seconds, facts.sample_rate, facts.channels), (1.0, 44100, 1))
        self.assertEqual((facts.size, facts.extra), (self.tone.stat().st_size, {}))
        self.assertEqual(facts.modified, self.tone.stat().st_mtime_ns // 1000)

    def test_takes_paths_of_every_kind(self):
        korean = shutil.copy(self.tone, self.folder / "한글 노래.wav")
        latin = bytes(self.folder) + b"/caf\xe9.wav"
        shutil.copy(self.tone, latin)
        for path in (korean, str(korean), os.fsencode(korean), latin, os.fsdecode(latin), os.path.relpath(self.tone)):
            self.assertEqual(self.media.describe(path).channels, 1, path)
        self.assertIsNone(self.media.describe(latin).url, "it went by a handle")

    def test_raises_what_is_wrong_with_a_file(self):
        text = self.folder / "text.txt"
        text.write_text("no media")
        latin = bytes(self.folder) + b"/caf\xe9"
        for path, error in ((self.folder / "none.mp3", mivo.NotFound), (latin, mivo.NotFound),
                            (self.folder, mivo.NotRegular), (text, mivo.NotMedia)):
            with self.assertRaises(error) as raised:
                self.media.describe(path)
            self.assertEqual(raised.exception.name, f"Mivo.Media1.Error.{error.__name__}")
        with self.assertRaises(ValueError):
            self.media.describe("/a\0b")

    def test_reads_files_that_are_open(self):
        with open(self.tone, "rb") as file:
            file.seek(17)
            self.assertEqual(self.media.describe_file(file).channels, 1)
            self.assertEqual(self.media.describe_file(file.fileno(), "tone.wav").channels, 1)
            self.assertEqual(file.tell(), 17)
        with open(self.folder / "written.wav", "wb") as file, self.assertRaises(mivo.AccessDenied):
            self.media.describe_file(file)

    def test_gives_pictures_on_request(self):
        self.media.set_tags(self.tone, front_cover=support.RED_PNG.read_bytes())
        facts = self.media.describe(self.tone, pictures=True)
        self.assertEqual([(one.type, one.mime_type, one.data) for one in facts.pictures],
                         [(3, "image/png", support.RED_PNG.read_bytes())])
        self.assertIsNone(self.media.describe(self.tone).pictures)
        self.assertEqual(self.media.describe(support.RED_PNG, pictures=True).pictures, ())

    def test_gives_as_many_pictures_as_an_answer_has_handles(self):
        song = self.media.encode(self.tone, self.folder / "song.mp3").result()
        covers = [b"\xff\xd8\xff\xe0 picture %d" % number for number in range(20)]
        song.write_bytes(id3_tag(covers) + song.read_bytes())
        pictures = self.media.describe(song, pictures=True).pictures
        self.assertEqual([one.data for one in pictures], covers[:16])

    def test_leaves_no_handle_open(self):
        self.media.set_tags(self.tone, front_cover=support.RED_PNG.read_bytes())
        self.media.describe(self.tone, pictures=True)
        before = support.open_files()
        for _ in range(20):
            self.media.describe(self.tone, pictures=True)
            self.media.thumbnail(self.tone, 8)
            with open(self.tone, "rb") as file:
                self.media.describe_file(file)
        self.assertEqual(support.open_files(), before)

    def test_goes_on_side_by_side_and_in_threads(self):
        async def many():
            async with mivo.aio.Media(address=self.address) as media:
                return await asyncio.gather(*(media.describe(self.tone) for _ in range(1000)))
        self.assertEqual({facts.channels for facts in asyncio.run(many())}, {1})
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            found = list(pool.map(self.media.describe, [self.tone] * 200))
        self.assertEqual(len(found), 200)

    def test_says_the_version_of_the_interface(self):
        self.assertEqual(self.media.version(), 1)

    def test_ends_with_the_object(self):
        self.media.close()
        self.media.close()
        self.assertFalse([thread for thread in threading.enumerate() if thread.name == "mivo"])
        with self.assertRaisesRegex(RuntimeError, "closed"):
            self.media.describe(self.tone)

    def test_ends_with_what_nobody_has_any_more(self):
        media = mivo.Media(address=self.address)
        job = media.encode(self.tone, self.folder / "made.mp3")
        del media
        self.assertEqual(job.result(), self.folder / "made.mp3", "a job keeps what it needs")
        many = mivo.Media(address=self.address).describe_many([self.tone] * 1000)
        self.assertEqual(next(many).facts.channels, 1)
        del job, many
        gc.collect()
        self.media.close()
        support.eventually(lambda: "mivo" not in [thread.name for thread in threading.enumerate()], "a thread goes on")

    def test_of_other_threads_ends_with_the_object(self):
        def describe():
            try:
                while True:
                    self.media.describe(self.tone)
            except (RuntimeError, mivo.ConnectionLost) as error:
                return error
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            calls = [pool.submit(describe) for _ in range(4)]
            self.media.describe(self.tone)
            self.media.close()
            for call in calls:
                self.assertIsNotNone(call.result(60))

    def test_goes_on_in_the_next_loop(self):
        media = mivo.aio.Media(address=self.address)
        for _ in range(2):
            self.assertEqual(asyncio.run(media.describe(self.tone)).channels, 1)


class DescribingMany(support.WithService):
    def setUp(self):
        super().setUp()
        self.media = self.enterContext(mivo.Media(address=self.address))
        support.write_tone(self.folder / "tone.wav", 0.1)
        self.paths = []
        for number in range(700):
            path = self.folder / f"노래-{number}.wav"
            os.link(self.folder / "tone.wav", path)
            self.paths.append(path)

    def test_keeps_the_order_of_any_number_of_files(self):
        paths = self.paths * 3
        found = list(self.media.describe_many(iter(paths)))
        self.assertEqual([one.path for one in found], paths)
        self.assertEqual([one.facts.path for one in found], paths)
        self.assertEqual(list(self.media.describe_many([])), [])

    def test_hands_them_on_as_they_are_known(self):
        found = list(self.media.describe_many(self.paths, ordered=False))
        self.assertEqual({one.path for one in found}, set(self.paths))
        self.assertTrue(all(one.facts.path == one.path for one in found))

    def test_has_an_error_for_a_file_and_goes_on(self):
        odd = bytes(self.folder) + b"/caf\xe9.wav"
        shutil.copy(self.folder / "tone.wav", odd)
        paths = [self.paths[0], self.folder / "none.wav", odd, odd + b"none", self.folder, self.paths[1]]
        found = list(self.media.describe_many(paths))
        self.assertEqual([type(one.error) for one in found],
                         [type(None), mivo.NotFound, type(None), mivo.NotFound, mivo.NotRegular, type(None)])
        self.assertEqual([one.facts is None for one in found], [False, True, False, True, True, False])

    def test_takes_no_more_paths_than_it_needs(self):
        taken = []

        def endless():
            while True:
                taken.append(self.paths[0])
                yield self.paths[0]

        for count, one in enumerate(self.media.describe_many(endless())):
            if count == 100:
                break
        self.assertLess(len(taken), 2000)

    def test_takes_paths_as_they_come(self):
        async def coming():
            for path in self.paths:
                await asyncio.sleep(0)
                yield path

        async def describe():
            async with mivo.aio.Media(address=self.address) as media:
                return [one.path async for one in media.describe_many(coming())]
        self.assertEqual(asyncio.run(describe()), self.paths)


class Thumbnails(support.WithService):
    def setUp(self):
        super().setUp()
        self.media = self.enterContext(mivo.Media(address=self.address))

    def test_have_the_format_that_is_asked_for(self):
        png = self.media.thumbnail(support.RED_PNG, 64)
        self.assertEqual((png.width, png.height, png.mime_type), (8, 8, "image/png"))
        self.assertTrue(png.data.startswith(b"\x89PNG"))
        jpeg = self.media.thumbnail(support.RED_PNG, 4, format="jpeg")
        self.assertEqual((jpeg.width, jpeg.height, jpeg.mime_type), (4, 4, "image/jpeg"))
        self.assertTrue(jpeg.data.startswith(b"\xff\xd8"))
        with open(support.RED_PNG, "rb") as file:
            bare = self.media.thumbnail_file(file, 4, format="rgba", upright=False)
        self.assertEqual((len(bare.data), bare.mime_type), (64, "image/x-rgba"))
        self.assertGreater(bare.data[0], 200)

    def test_of_many_files_have_their_errors(self):
        tone = support.write_tone(self.folder / "tone.wav", 0.1)
        paths = [support.RED_PNG, tone, pathlib.Path("/none"), support.RED_JPEG] * 20
        for ordered in (True, False):
            found = list(self.media.thumbnails(paths, 8, ordered=ordered))
            self.assertEqual(sorted(map(str, paths)), sorted(str(one.path) for one in found))
            if ordered:
                self.assertEqual([one.path for one in found], paths)
            for one in found:
                expected = {tone: mivo.NoPicture, pathlib.Path("/none"): mivo.NotFound}.get(one.path, type(None))
                self.assertIs(type(one.error), expected)
                self.assertEqual(one.thumbnail is None, one.error is not None)

    def test_refuse_what_the_service_does_not_take(self):
        for wrong in ({"size": 0}, {"size": 4000}, {"size": 8, "format": "gif"}, {"size": -1}, {"size": 1 << 32}):
            with self.assertRaises(ValueError, msg=wrong):
                self.media.thumbnail(support.RED_PNG, **wrong)
        with self.assertRaises(mivo.InvalidArguments):
            list(self.media.thumbnails([support.RED_PNG], 0))


class WithoutService(unittest.TestCase):
    def test_a_bus_without_it_says_so(self):
        with support.private_bus() as address, mivo.Media(address=address) as media:
            with self.assertRaises(mivo.ServiceUnavailable):
                media.describe("/music/song.mp3")
            with self.assertRaises(mivo.ServiceUnavailable):
                list(media.describe_many(["/music/song.mp3"]))

    def test_no_bus_says_so(self):
        for address in ("unix:path=/nowhere/bus", "nonsense", "unix:"):
            with mivo.Media(address=address) as media, self.assertRaises(mivo.ServiceUnavailable, msg=address):
                media.describe("/music/song.mp3")

    def test_a_service_that_dies_ends_its_calls_and_the_next_one_is_asked(self):
        with support.private_bus() as address, mivo.Media(address=address) as media:
            with support.service(address):
                self.assertEqual(media.version(), 1)
            with self.assertRaises(mivo.ServiceUnavailable):
                media.version()
            with support.service(address):
                self.assertEqual(media.version(), 1)

    def test_a_bus_that_leaves_ends_its_calls(self):
        with support.private_bus() as address, support.service(address):
            media = self.enterContext(mivo.Media(address=address))
            self.assertEqual(media.version(), 1)
        with self.assertRaises(mivo.BusError):
            media.version()
        with self.assertRaises(mivo.ServiceUnavailable):
            media.version()


if __name__ == "__main__":
    unittest.main()
