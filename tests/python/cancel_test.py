#!/usr/bin/env python3
"""What is cancelled here is stopped in the service: its workers hang over files named so, and are gone then."""
import asyncio
import contextlib
import os
import signal
import subprocess
import sys
import unittest

import support

import mivo
import mivo._lanes


@unittest.skipUnless((support.PROGRAMS.parent / "tests/faulty_worker").exists(), "the faulty worker is not built")
@unittest.skipIf(support.instrumented(), "workers with sanitizers are not closed")
@unittest.skipUnless(os.getuid() == 0, "what workers have open is seen by root alone")
class Cancelling(support.AsyncCase):
    @classmethod
    def setUpClass(cls):
        cls.address = cls.enterClassContext(support.private_bus())
        cls.process = cls.enterClassContext(support.service(cls.address, cls.enterClassContext(support.faulty_programs())))

    async def asyncSetUp(self):
        await super().asyncSetUp()
        self.folder = support.pathlib.Path(self.enterContext(support.tempfile.TemporaryDirectory()))
        self.media = await self.enterAsyncContext(mivo.aio.Media(address=self.address))
        self.good = support.write_tone(self.folder / "good.wav", 0.1)
        await self.media.describe(self.good)

    def hanging(self, number=0):
        """A file over which a worker spins."""
        path = self.folder / f"hang-at-job-{number}.wav"
        if not path.exists():
            os.link(self.good, path)
        return path

    def spinning(self):
        """Workers that are at a hanging file, which they have open."""
        return [child for child in support.children(self.process.pid)
                if any("/hang-at-" in name for name in names_of_open_files(child))]

    async def eventually(self, holds, message):
        await asyncio.to_thread(support.eventually, holds, message)

    async def at_work(self, count=1):
        await self.eventually(lambda: len(self.spinning()) >= count, "no worker is at the file")

    async def nothing_at_work(self):
        """What was at work was stopped for want of a client, and not by its own deadline, of which the log tells."""
        await self.eventually(lambda: not self.spinning(), "a worker goes on")
        self.assertNotIn("was lost", self.process.log())

    async def cancelled(self, task):
        task.cancel()
        with self.assertRaises(asyncio.CancelledError):
            await task

    async def test_a_description(self):
        task = asyncio.create_task(self.media.describe(self.hanging()))
        await self.at_work()
        await self.cancelled(task)
        await self.nothing_at_work()
        self.assertEqual((await self.media.describe(self.good)).channels, 1)

    async def test_a_description_by_a_handle_and_a_thumbnail(self):
        handle = os.open(self.hanging(), os.O_RDONLY)
        calls = (lambda: self.media.describe_file(handle, "hang-at-job.wav"),
                 lambda: self.media.thumbnail(self.hanging(), 64),
                 lambda: self.media.describe(self.hanging(), pictures=True))
        for call in calls:
            task = asyncio.create_task(call())
            await self.at_work()
            await self.cancelled(task)
            await self.nothing_at_work()
        os.close(handle)

    async def test_a_description_that_takes_too_long(self):
        with self.assertRaises(TimeoutError):
            async with asyncio.timeout(1):
                await self.media.describe(self.hanging())
        await self.nothing_at_work()

    async def test_one_of_many_leaves_the_others(self):
        others = [asyncio.create_task(self.media.describe(self.good)) for _ in range(200)]
        task = asyncio.create_task(self.media.describe(self.hanging()))
        more = [asyncio.create_task(self.media.describe(self.good)) for _ in range(200)]
        await self.at_work()
        await self.cancelled(task)
        for facts in await asyncio.gather(*others, *more):
            self.assertEqual(facts.channels, 1)
        await self.nothing_at_work()

    async def test_one_that_hangs_beside_another_one(self):
        """The other one is asked for again, and stopped as well in its turn."""
        first = asyncio.create_task(self.media.describe(self.hanging(0)))
        second = asyncio.create_task(self.media.describe(self.hanging(1)))
        await self.at_work(2)
        await self.cancelled(first)
        await asyncio.sleep(2 * mivo._lanes.GRACE_SECONDS)
        self.assertFalse(second.done())
        await self.at_work(1)
        await self.cancelled(second)
        await self.nothing_at_work()

    async def test_many(self):
        paths = [self.good, *(self.hanging(number) for number in range(40))]
        many = self.media.describe_many(paths)
        task = asyncio.create_task(collected(many))
        await self.at_work()
        await self.cancelled(task)
        await self.nothing_at_work()

    async def test_many_that_are_left(self):
        paths = [*[self.good] * 16, *(self.hanging(number) for number in range(40))]
        async with contextlib.aclosing(self.media.describe_many(paths)) as many:
            async for one in many:
                self.assertEqual(one.path, self.good)
                await self.at_work()
                break
        await self.nothing_at_work()

    async def test_a_change_of_tags(self):
        before = self.good.read_bytes()
        path = self.folder / "hang-at-plan.wav"
        path.write_bytes(before)
        task = asyncio.create_task(self.media.set_tags(path, title="T"))
        await self.at_work()
        await self.cancelled(task)
        await self.nothing_at_work()
        self.assertEqual(path.read_bytes(), before)
        self.assertEqual(sorted(os.listdir(self.folder)), ["good.wav", "hang-at-plan.wav"])

    async def test_the_whole_client(self):
        task = asyncio.create_task(self.media.describe(self.hanging()))
        await self.at_work()
        await self.media.close()
        with self.assertRaises(mivo.ConnectionLost):
            await task
        await self.nothing_at_work()

    async def test_an_interrupted_program(self):
        for call in ("describe(path)", "thumbnail(path, 8)", "describe_many([path] * 40).__next__()"):
            program = f"import sys; sys.path.insert(0, {str(support.ROOT / 'python')!r}); import mivo\n" \
                      f"path = {str(self.hanging())!r}\nwith mivo.Media(address={self.address!r}) as media: media.{call}"
            process = subprocess.Popen([sys.executable, "-c", program], stderr=subprocess.PIPE, text=True)
            await self.at_work()
            process.send_signal(signal.SIGINT)
            said = await asyncio.to_thread(process.communicate, timeout=20)
            self.assertTrue(said[1].endswith("\nKeyboardInterrupt\n"), said[1])
            self.assertEqual(said[1].count("Traceback"), 1, said[1])
            await self.nothing_at_work()

    async def test_a_call_of_a_thread_that_takes_too_long(self):
        def describe():
            with mivo.Media(address=self.address, timeout=1) as media, self.assertRaises(TimeoutError):
                media.describe(self.hanging())
            with mivo.Media(address=self.address) as media:
                for one in media.describe_many([*[self.good] * 16, self.hanging(), self.hanging(1)]):
                    return one.facts.channels
        self.assertEqual(await asyncio.to_thread(describe), 1)
        await self.nothing_at_work()


class CancellingJobs(support.WithService, support.AsyncCase):
    async def asyncSetUp(self):
        await super().asyncSetUp()
        self.media = await self.enterAsyncContext(mivo.aio.Media(address=self.address))
        self.tone = support.write_tone(self.folder / "tone.wav", 100)
        self.made = self.folder / "made.mp3"

    def assert_nothing_made(self):
        self.assertEqual([path.name for path in self.folder.iterdir()], ["tone.wav"])

    async def start(self):
        return await self.media.encode(self.tone, self.made, quality="best")

    async def test_by_their_call(self):
        job = await self.start()
        await job.cancel()
        self.assertEqual((job.state, type(job.error)), (mivo.JobState.CANCELLED, mivo.Cancelled))
        with self.assertRaises(mivo.Cancelled):
            await job
        await job.cancel()
        self.assert_nothing_made()

    async def test_by_the_task_that_waits_for_them(self):
        for wait in (lambda job: job.result(), lambda job: collected(job)):
            job = await self.start()
            task = asyncio.create_task(wait(job))
            await asyncio.sleep(0.05)
            task.cancel()
            with self.assertRaises(asyncio.CancelledError):
                await task
            with self.assertRaises(mivo.Cancelled):
                await job.result()
            self.assert_nothing_made()

    async def test_not_by_a_task_that_is_shielded_from_it(self):
        job = await self.start()
        inner = asyncio.ensure_future(job.result())
        task = asyncio.create_task(shielded(inner))
        await asyncio.sleep(0)
        task.cancel()
        with self.assertRaises(asyncio.CancelledError):
            await task
        self.assertEqual(await inner, self.made)

    async def test_by_an_error_in_their_block(self):
        with self.assertRaises(ZeroDivisionError):
            async with await self.start() as job:
                1 / 0
        self.assertEqual(job.state, mivo.JobState.CANCELLED)
        self.assert_nothing_made()

    async def test_before_they_have_begun(self):
        for steps in range(12):
            task = asyncio.create_task(self.start())
            for _ in range(steps):
                await asyncio.sleep(0)
            task.cancel()
            with contextlib.suppress(asyncio.CancelledError):
                job = await task
                await job.cancel()
        await self.media.close()
        await asyncio.to_thread(support.eventually, lambda: len(list(self.folder.iterdir())) == 1, "a job goes on")
        self.assert_nothing_made()

    async def test_with_their_client(self):
        job = await self.start()
        await self.media.close()
        with self.assertRaises(mivo.ConnectionLost):
            await job
        await asyncio.to_thread(support.eventually, lambda: len(list(self.folder.iterdir())) == 1, "a job goes on")
        self.assert_nothing_made()


class JobsOfAServiceThatDies(support.AsyncCase):
    async def test_fail(self):
        address = self.enterContext(support.private_bus())
        folder = support.pathlib.Path(self.enterContext(support.tempfile.TemporaryDirectory()))
        process = self.enterContext(support.service(address))
        tone = support.write_tone(folder / "tone.wav", 100)
        async with mivo.aio.Media(address=address) as media:
            job = await media.encode(tone, folder / "made.mp3", quality="best")
            process.kill()
            with self.assertRaises(mivo.ConnectionLost):
                await job
            self.assertEqual(job.state, mivo.JobState.FAILED)


async def collected(items):
    return [one async for one in items]


async def shielded(future):
    return await asyncio.shield(future)


def names_of_open_files(process):
    names = []
    with contextlib.suppress(FileNotFoundError, ProcessLookupError):
        for entry in os.scandir(f"/proc/{process}/fd"):
            with contextlib.suppress(FileNotFoundError, ProcessLookupError):
                names.append(os.readlink(entry.path))
    return names


if __name__ == "__main__":
    unittest.main()
