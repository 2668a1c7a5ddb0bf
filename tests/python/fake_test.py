#!/usr/bin/env python3
"""Answers that the real service never gives: each is a clear error, and nothing stays open."""
import asyncio
import gc
import os
import pathlib
import tempfile
import unittest
import unittest.mock

import support

import mivo
from dbus_fast import Message, MessageType, Variant
from dbus_fast.aio import MessageBus
from mivo._connection import Connection
from mivo._lanes import Lanes
from mivo._wire import JOB_INTERFACE, NAME, PROPERTIES, Request, text

JOB = "/Mivo/Media1/jobs/1"
FACTS = {"mivo:kind": Variant("s", "audio")}
SIZE = {"mivo:width": Variant("u", 1), "mivo:height": Variant("u", 1), "mivo:mimeType": Variant("s", "image/png")}


class FakeService:
    """Has the name and answers each member with what a test says: a signature, a body, and handles."""

    def __init__(self, bus):
        self.bus = bus
        self.answers = {}
        self.asked = []
        bus.add_message_handler(self.handle)

    def handle(self, message):
        if message.message_type is not MessageType.METHOD_CALL or message.destination == self.bus.unique_name and \
                message.interface not in (JOB_INTERFACE, PROPERTIES):
            return None
        self.asked.append(message)
        for handle in message.unix_fds:
            os.close(handle)
        answer = self.answers.get(message.member)
        if answer is None:
            return True  # is never answered
        signature, body, *handles = answer
        return Message.new_method_return(message, signature, body, handles)

    def tell(self, values, path=JOB, interface=JOB_INTERFACE):
        self.bus.send(Message.new_signal(path, PROPERTIES, "PropertiesChanged", "sa{sv}as", [interface, values, []]))


class WithFake(support.AsyncCase):
    @classmethod
    def setUpClass(cls):
        cls.address = cls.enterClassContext(support.private_bus())

    async def asyncSetUp(self):
        await super().asyncSetUp()
        bus = await MessageBus(bus_address=self.address, negotiate_unix_fd=True).connect()
        self.addAsyncCleanup(self.leave, bus)
        await bus.request_name(NAME)
        self.fake = FakeService(bus)
        self.media = await self.enterAsyncContext(mivo.aio.Media(address=self.address))

    async def leave(self, bus):
        bus.disconnect()
        await bus.wait_for_disconnect()
        # The name is free when the next test asks for it.
        watcher = await MessageBus(bus_address=self.address).connect()
        while (await watcher.call(Message("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner",
                                          signature="s", body=[NAME]))).body[0]:
            await asyncio.sleep(0.01)
        watcher.disconnect()
        await watcher.wait_for_disconnect()

    async def refused(self, words, call):
        with self.assertRaisesRegex(mivo.BadAnswer, words):
            await call


class Answers(WithFake):
    async def test_of_another_type(self):
        for member, call in (("Describe", self.media.describe("/a")), ("Thumbnail", self.media.thumbnail("/a", 1)),
                             ("SetTags", self.media.set_tags("/a", title="t")), ("Encode", self.media.encode("/a", "/b")),
                             ("DescribeMany", anext(self.media.describe_many(["/a"])))):
            self.fake.answers[member] = ("s", ["no"])
            await self.refused("of the type 's' instead of", call)

    async def test_with_facts_of_another_type(self):
        for values in ({"xesam:title": Variant("i", 3)}, {"xesam:artist": Variant("s", "A")},
                       {"mivo:width": Variant("i", -1)}, {"mivo:hasPicture": Variant("u", 1)}):
            self.fake.answers["Describe"] = ("a{sv}", [values])
            await self.refused("of the type", self.media.describe("/a"))

    async def test_with_pictures_that_are_none(self):
        picture = {"type": Variant("u", 3), "mimeType": Variant("s", "image/png"), "description": Variant("s", "")}
        for data in ({}, {"data": Variant("s", "x")}, {"data": Variant("h", 7)}):
            self.fake.answers["Describe"] = ("a{sv}", [{"mivo:pictures": Variant("aa{sv}", [picture | data])}])
            await self.refused("data|handle", self.media.describe("/a", pictures=True))
        self.fake.answers["Describe"] = ("a{sv}", [{"mivo:pictures": Variant("s", "x")}])
        await self.refused("mivo:pictures is of the type 's'", self.media.describe("/a", pictures=True))

    async def test_with_handles_that_are_no_files(self):
        ends = os.pipe()
        self.addCleanup(lambda: [os.close(end) for end in ends])
        self.fake.answers["Thumbnail"] = ("ha{sv}", [0, SIZE], ends[0])
        await self.refused("is no file", self.media.thumbnail("/a", 1))
        self.fake.answers["Thumbnail"] = ("ha{sv}", [3, SIZE])
        await self.refused("names the handle 3", self.media.thumbnail("/a", 1))
        self.fake.answers["Thumbnail"] = ("ha{sv}", [0, {}])
        await self.refused("no mivo:width", self.media.thumbnail("/a", 1))

    async def test_of_too_many_or_too_few_files(self):
        for count in (0, 1, 3):
            self.fake.answers["DescribeMany"] = ("aa{sv}", [[FACTS] * count])
            await self.refused(f"{count} answers for 2 files", anext(self.media.describe_many(["/a", "/b"])))
        self.fake.answers["DescribeMany"] = ("aa{sv}", [[{"mivo:error": Variant("i", 1)}]])
        await self.refused("mivo:error", anext(self.media.describe_many(["/a"])))

    async def test_with_handles_that_nobody_asked_for(self):
        """Handles come with calls that are cancelled, with signals and with calls of others."""
        handle = os.memfd_create("x")
        self.addCleanup(os.close, handle)
        self.fake.answers["Describe"] = ("a{sv}", [FACTS], *[handle] * 16)
        await self.media.describe("/a", pictures=True)
        before = support.open_files()
        for _ in range(10):
            self.assertEqual((await self.media.describe("/a", pictures=True)).kind, "audio")
        self.assertEqual(support.open_files(), before)

    async def test_with_errors(self):
        bus = self.fake.bus
        bus.remove_message_handler(self.fake.handle)
        names = iter(["Mivo.Media1.Error.NotMedia", "Mivo.Media1.Error.New", "org.example.Odd"])

        def fail(message):
            if message.member == "Describe":
                # One without a text, too.
                return Message(message_type=MessageType.ERROR, reply_serial=message.serial, destination=message.sender,
                               error_name=next(names), signature="", body=[])
        bus.add_message_handler(fail)
        for error in (mivo.NotMedia, mivo.ServiceError, mivo.BusError):
            with self.assertRaises(mivo.MediaError) as raised:
                await self.media.describe("/a")
            self.assertIs(type(raised.exception), error)

    async def test_that_never_come_are_one_error(self):
        """The batches that are on their way fail as one."""
        async def describe():
            async for one in self.media.describe_many(["/a"] * 1000):
                self.fail(one)
        with self.assertNoLogs(level="ERROR"):
            task = asyncio.create_task(describe())
            while len([one for one in self.fake.asked if one.member == "DescribeMany"]) < 3:
                await asyncio.sleep(0.01)
            await self.media.close()
            with self.assertRaises(mivo.ConnectionLost):
                await task
            del task
            gc.collect()
            await asyncio.sleep(0)

    async def test_that_are_too_large(self):
        handle = os.memfd_create("large")
        self.addCleanup(os.close, handle)
        os.truncate(handle, 1 << 40)
        self.fake.answers["Thumbnail"] = ("ha{sv}", [0, SIZE], handle)
        await self.refused("has 1099511627776 bytes", self.media.thumbnail("/a", 1))

    async def test_that_find_no_room_among_others_are_asked_for_alone(self):
        error = {"mivo:error": Variant("s", "Mivo.Media1.Error.TooLarge"), "mivo:errorMessage": Variant("s", "Large.")}
        self.fake.answers["DescribeMany"] = ("aa{sv}", [[error]])
        self.fake.answers["Describe"] = ("a{sv}", [FACTS])
        self.assertEqual([one.facts.kind async for one in self.media.describe_many(["/a"])], ["audio"])


class Jobs(WithFake):
    def answer_with(self, **values):
        self.fake.answers = {"Encode": ("o", [JOB]), "GetAll": ("a{sv}", [values]), "Cancel": ("", []), "Release": ("", [])}

    async def test_that_lie_fail(self):
        for values in ({"State": Variant("s", "asleep")}, {"State": Variant("u", 1)}, {"Progress": Variant("s", "half")},
                       {"State": Variant("s", "failed")}, {"State": Variant("s", "failed"), "Error": Variant("s", "x")}):
            self.answer_with(State=Variant("s", "running"))
            job = await self.media.encode("/a", "/b")
            self.fake.tell(values)
            with self.assertRaises(mivo.BadAnswer, msg=values):
                await job
            self.assertEqual(job.state, mivo.JobState.FAILED)

    async def test_are_below_the_objects_of_jobs(self):
        self.answer_with()
        self.fake.answers["Encode"] = ("o", ["/org/example"])
        await self.refused("/org/example", self.media.encode("/a", "/b"))

    async def test_hear_of_themselves_alone(self):
        self.answer_with(State=Variant("s", "running"))
        job = await self.media.encode("/a", "/b")
        self.fake.tell({"State": Variant("s", "done")}, path=JOB + "0")
        self.fake.tell({"State": Variant("s", "done")}, interface="org.example.Other")
        stranger = await MessageBus(bus_address=self.address).connect()
        await stranger.send(Message.new_signal(JOB, PROPERTIES, "PropertiesChanged", "sa{sv}as",
                                               [JOB_INTERFACE, {"State": Variant("s", "done")}, []]))
        self.fake.tell({"Progress": Variant("d", 0.5)})
        async for progress in job:
            if progress == 0.5:
                break
        self.assertFalse(job.ended)
        self.fake.tell({"Progress": Variant("d", 7.0)})
        self.fake.tell({"Progress": Variant("d", 0.2), "State": Variant("s", "done")})
        self.assertEqual(await job, pathlib.Path("/b"))
        self.assertEqual(job.progress, 1.0)
        stranger.disconnect()
        await stranger.wait_for_disconnect()

    async def test_that_do_not_end_when_they_are_cancelled_fail(self):
        self.answer_with(State=Variant("s", "running"))
        job = await self.media.encode("/a", "/b")
        await job.cancel()
        self.assertIsInstance(job.error, mivo.BadAnswer)

    async def test_that_are_unwanted_before_their_answer_are_released(self):
        self.answer_with(State=Variant("s", "running"))
        del self.fake.answers["Encode"]
        task = asyncio.create_task(self.media.encode("/a", "/b"))
        while not (asked := [one for one in self.fake.asked if one.member == "Encode"]):
            await asyncio.sleep(0.01)
        task.cancel()
        with self.assertRaises(asyncio.CancelledError):
            await task
        self.fake.bus.send(Message.new_method_return(asked[0], "o", [JOB]))
        while "Release" not in [one.member for one in self.fake.asked]:
            await asyncio.sleep(0.01)


    async def test_end_with_the_service_also_where_the_first_was_unwanted(self):
        """Cancelled as soon as its signals are asked for."""
        self.answer_with(State=Variant("s", "running"))
        send = Connection.send

        def send_and_cancel(connection, request, *flags):
            if request.member == "AddMatch":
                unwanted.cancel()
            return send(connection, request, *flags)
        with unittest.mock.patch.object(Connection, "send", send_and_cancel):
            unwanted = asyncio.create_task(self.media.encode("/a", "/b"))
            with self.assertRaises(asyncio.CancelledError):
                await unwanted
        job = await self.media.encode("/a", "/b")
        await self.leave(self.fake.bus)
        with self.assertRaises(mivo.ConnectionLost):
            await job


class Sending(WithFake):
    """What dbus-fast does on its own when the bus is slow."""

    async def test_more_than_a_socket_holds(self):
        connection = await Connection.open(self.address, handles=False)
        large = ["/" + "x" * 4000] * 900
        self.fake.answers["DescribeMany"] = ("aa{sv}", [[]])
        body = [[text(path) for path in large], {}]
        answers = await asyncio.gather(*(connection.ask(Request("DescribeMany", "asa{sv}", body)) for _ in range(8)))
        self.assertEqual(len(answers), 8)
        connection.close()
        await connection.wait_closed()

    async def test_handles_when_a_socket_is_full(self):
        connection = await Connection.open(self.address, handles=True)
        self.fake.answers.update({"DescribeMany": ("aa{sv}", [[]]), "DescribeFile": ("a{sv}", [FACTS])})
        before = support.open_files()
        with tempfile.TemporaryFile() as file:
            many = Request("DescribeMany", "asa{sv}", [[text("/" + "x" * 4000)] * 900, {}])
            one = Request("DescribeFile", "hsa{sv}", [0, text("a"), {}], (file.fileno(),))
            answers = await asyncio.gather(*(connection.ask(request) for request in [many, one] * 4))
        self.assertEqual([answer.message_type for answer in answers], [MessageType.METHOD_RETURN] * 8)
        self.assertEqual(support.open_files(), before)
        connection.close()
        await connection.wait_closed()

    async def test_many_calls_at_once(self):
        self.fake.answers["Describe"] = ("a{sv}", [FACTS])
        path = "/" + "/".join(["x" * 250] * 15)
        self.assertEqual(len(await asyncio.gather(*(self.media.describe(path) for _ in range(2000)))), 2000)

    async def test_over_few_connections(self):
        opened = []

        async def connect():
            opened.append(await Connection.open(self.address, handles=False))
            return opened[-1]
        self.fake.answers["Describe"] = ("a{sv}", [FACTS])
        lanes = Lanes(connect, 64)
        request = Request("Describe", "sa{sv}", [text("/a"), {}])
        await asyncio.gather(*(lanes.call(request) for _ in range(500)))
        self.assertEqual(len(opened), 1)
        await lanes.close()

    async def test_to_a_bus_that_hangs_up_at_once(self):
        async def hang_up(reader, writer):
            await reader.readline()
            writer.close()
        with tempfile.TemporaryDirectory() as folder:
            server = await asyncio.start_unix_server(hang_up, folder + "/bus")
            # Not at the end of a block, which would wait for whoever is still connected.
            self.addCleanup(server.close)
            async with mivo.aio.Media(address=f"unix:path={folder}/bus") as media:
                with self.assertRaises(mivo.ServiceUnavailable):
                    await media.describe("/a")


if __name__ == "__main__":
    unittest.main()
