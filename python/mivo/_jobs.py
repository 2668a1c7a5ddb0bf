"""Jobs of the service, as its signals tell of them."""

from __future__ import annotations

import asyncio
import pathlib
from collections.abc import AsyncIterator, Awaitable, Callable, Generator
from enum import Enum
from typing import Any

from dbus_fast import Message, MessageFlag, Variant

from mivo._connection import Connection
from mivo._wire import (
    BUS,
    BUS_PATH,
    JOB_INTERFACE,
    PATH,
    PROPERTIES,
    Answer,
    Request,
    text,
    value_of,
)
from mivo.errors import BadAnswer, Cancelled, ConnectionLost, Failed, MediaError, error_of


class JobState(Enum):
    """What a job is at."""

    #: Also while it waits for its turn.
    RUNNING = "running"
    DONE = "done"
    FAILED = "failed"
    CANCELLED = "cancelled"


class Job:
    """Something that the service does and that takes its time.

    ``await job`` waits for the end, ``async for progress in job`` tells what is done of it, and at the end of
    ``async with job`` it has ended: what still runs there is cancelled. A task that is cancelled while it waits for a job
    cancels the job; ``asyncio.shield`` keeps it from that.
    """

    def __init__(self, jobs: Jobs, owner: str, path: str, source: str, destination: str) -> None:
        self._jobs = jobs
        self._owner = owner
        self._path = path
        self._changed = asyncio.Event()
        self._state = JobState.RUNNING
        self._progress = 0.0
        self._error: MediaError | None = None
        self._source = pathlib.Path(source)
        self._destination = pathlib.Path(destination)

    def __repr__(self) -> str:
        return f"<Job {str(self._destination)!r} {self._state.value} {self._progress:.0%}>"

    @property
    def source(self) -> pathlib.Path:
        return self._source

    @property
    def destination(self) -> pathlib.Path:
        return self._destination

    @property
    def state(self) -> JobState:
        return self._state

    @property
    def progress(self) -> float:
        """How much is done, from 0 to 1; never less than before."""
        return self._progress

    @property
    def error(self) -> MediaError | None:
        """Why it has failed or was cancelled."""
        return self._error

    @property
    def ended(self) -> bool:
        return self._state is not JobState.RUNNING

    async def result(self) -> pathlib.Path:
        """Waits for the end: the path of what was made, or the error that ended the job."""
        while not self.ended:
            await self._change()
        if self._error is not None:
            raise self._error
        return self._destination

    async def cancel(self) -> None:
        """Ends the job, and waits until it has ended. One that has ended stays as it is."""
        if not self.ended:
            await self._jobs.cancel(self)

    def __await__(self) -> Generator[Any, None, pathlib.Path]:
        return self.result().__await__()

    async def __aiter__(self) -> AsyncIterator[float]:
        """The progress now, and each time that more is done, until the end."""
        told = -1.0
        while True:
            if self._progress > told:
                told = self._progress
                yield told
            elif self.ended:
                return
            else:
                await self._change()

    async def __aenter__(self) -> Job:
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.cancel()

    async def _change(self) -> None:
        try:
            await self._changed.wait()
        except asyncio.CancelledError:
            self._jobs.tell(self._request("Cancel"))
            raise

    def _request(self, member: str) -> Request:
        return Request(member, destination=self._owner, path=self._path, interface=JOB_INTERFACE)

    def _update(self, values: dict[str, Variant]) -> None:
        """Takes over what the service has told; nothing changes an end."""
        if self.ended:
            return
        state = self._state
        if "Progress" in values:
            self._progress = max(self._progress, min(1.0, value_of(values, "Progress", "d")))
        if "State" in values:
            state = _state_of(value_of(values, "State", "s"))
        if state is not JobState.RUNNING and state is not JobState.DONE:
            name, message = value_of(values, "Error", "(ss)")
            self._error = error_of(name, message) if name else Failed(f"the job {state.value}")
        self._state = state
        self._wake()

    def _fail(self, error: MediaError) -> None:
        if not self.ended:
            self._state = JobState.FAILED
            self._error = error
            self._wake()

    def _wake(self) -> None:
        changed, self._changed = self._changed, asyncio.Event()
        changed.set()


def _state_of(name: str) -> JobState:
    try:
        return JobState(name)
    except ValueError:
        raise BadAnswer(f"a job is in the state {name!r}") from None


def _rules_of(owner: str) -> tuple[str, str]:
    """What tells of the jobs of a process, and of its end."""
    return (
        f"type='signal',sender='{owner}',interface='{PROPERTIES}',path_namespace='{PATH}/jobs'",
        f"type='signal',sender='{BUS}',member='NameOwnerChanged',arg0='{owner}'",
    )


def _of_the_bus(member: str, argument: str) -> Request:
    return Request(member, "s", [text(argument)], (), BUS, BUS_PATH, BUS)


class Jobs:
    """The jobs of one client, on a connection of their own: they are cancelled when it leaves the bus."""

    def __init__(self, connect: Callable[[], Awaitable[Connection]]) -> None:
        self._connect = connect
        self._opening = asyncio.Lock()
        self._connection: Connection | None = None
        self._watched: set[str] = set()
        self._running: dict[tuple[str, str], Job] = {}

    async def start(self, request: Request, source: str, destination: str) -> Job:
        """Makes a job. Cancelled before the service has answered, it is cancelled there."""
        connection = await self._opened()
        asked = asyncio.ensure_future(connection.ask(request))
        try:
            message = await asyncio.shield(asked)
        except asyncio.CancelledError:
            asked.add_done_callback(self._release_unwanted)
            raise
        with Answer(message, "o") as answer:
            path = str(answer.body[0])
        owner = message.sender or ""
        if not path.startswith(PATH + "/jobs/"):
            raise BadAnswer(f"a job is the object {path}")
        job = Job(self, owner, path, source, destination)
        self._running[owner, path] = job
        try:
            self._watch(owner)
            await self._refresh(job)
        except BaseException:
            self._forget(job)
            raise
        return job

    async def cancel(self, job: Job) -> None:
        """Ends a job that runs."""
        try:
            await self._ask(job._request("Cancel"))
            await self._refresh(job)
        except MediaError:
            # It is not there any more: it ended meanwhile, or the service did.
            self._forget(job)
        job._fail(BadAnswer("the service says that it has ended the job, and goes on"))

    async def _ask(self, request: Request) -> None:
        """A call without an answer of its own."""
        with Answer(await (await self._opened()).ask(request), ""):
            pass

    def tell(self, request: Request) -> None:
        """A call whose answer is not waited for."""
        if self._connection is not None and not self._connection.lost:
            self._connection.send(request, MessageFlag.NO_REPLY_EXPECTED)

    async def close(self) -> None:
        """Cancels what runs."""
        if self._connection is not None:
            self._connection.close()
            await self._connection.wait_closed()

    async def _opened(self) -> Connection:
        async with self._opening:
            if self._connection is None or self._connection.lost:
                self._connection = await self._connect()
                self._connection.on_signal = self._hear
                self._connection.on_lost = self._lost
                self._watched.clear()
            return self._connection

    def _watch(self, owner: str) -> None:
        """Hears of the jobs of a process and of its end. What is asked for after this misses nothing: the bus takes
        messages in their order, and whoever is cancelled meanwhile has asked for both."""
        if owner in self._watched:
            return
        self._watched.add(owner)
        for rule in _rules_of(owner):
            self.tell(_of_the_bus("AddMatch", rule))

    async def _refresh(self, job: Job) -> None:
        request = Request("GetAll", "s", [text(JOB_INTERFACE)], (), job._owner, job._path, PROPERTIES)
        with Answer(await (await self._opened()).ask(request), "a{sv}") as answer:
            self._tell_job(job, answer.body[0])

    def _tell_job(self, job: Job, values: dict[str, Variant]) -> None:
        try:
            job._update(values)
        except BadAnswer as error:
            self.tell(job._request("Cancel"))
            job._fail(error)
        if job.ended:
            self._forget(job)

    def _forget(self, job: Job) -> None:
        """All that it had to tell is known; a running one is cancelled by that."""
        if self._running.pop((job._owner, job._path), None) is not None:
            self.tell(job._request("Release"))
            job._fail(Cancelled("the job was given up"))

    def _release_unwanted(self, asked: asyncio.Future[Message]) -> None:
        if asked.cancelled() or asked.exception() is not None:
            return
        message = asked.result()
        if message.signature == "o" and message.sender:
            path = str(message.body[0])
            self.tell(Request("Release", destination=message.sender, path=path, interface=JOB_INTERFACE))

    def _hear(self, message: Message) -> None:
        if message.member == "NameOwnerChanged" and message.sender == BUS and message.signature == "sss":
            self._left(message.body[0])
            return
        job = self._running.get((message.sender or "", message.path or ""))
        if job is None or message.member != "PropertiesChanged" or message.signature != "sa{sv}as":
            return
        if message.body[0] == JOB_INTERFACE:
            self._tell_job(job, message.body[1])

    def _left(self, owner: str) -> None:
        if owner in self._watched:
            self._watched.remove(owner)
            for rule in _rules_of(owner):
                self.tell(_of_the_bus("RemoveMatch", rule))
        for key in [key for key in self._running if key[0] == owner]:
            self._running.pop(key)._fail(ConnectionLost("the service left while the job ran"))

    def _lost(self, reason: Exception) -> None:
        running, self._running = self._running, {}
        for job in running.values():
            job._fail(reason if isinstance(reason, MediaError) else ConnectionLost(str(reason)))
