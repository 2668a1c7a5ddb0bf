"""Connections to the bus, so that each call can be stopped alone.

The service stops a call when its client leaves the bus. Calls share a connection, since the service divides its work
among clients and not among calls. When one is cancelled that connection takes no new call; what else waits on it has a
moment to be answered and is then asked again, each on a connection of its own, so that nothing is asked for three times.
"""

from __future__ import annotations

import asyncio
from collections.abc import AsyncIterator, Awaitable, Callable
from contextlib import asynccontextmanager

from dbus_fast import Message

from mivo._connection import Connection, Moved
from mivo._wire import Request

# Most calls take less; a cancelled one is at work for so long at most.
GRACE_SECONDS = 0.1
# As many as changes go on at once.
SPARE_CONNECTIONS = 8


class Lanes:
    """Calls of one client, at most `limit` on their way at once; others wait here for their turn."""

    def __init__(self, connect: Callable[[], Awaitable[Connection]], limit: int) -> None:
        self._connect = connect
        self._room = asyncio.Semaphore(limit)
        self._opening = asyncio.Lock()
        self._shared: Connection | None = None
        self._spare: list[Connection] = []
        self._open: set[Connection] = set()

    async def call(self, request: Request) -> Message:
        """The answer to a call that does the same when it is made twice."""
        async with self._room:
            connection = await self._current()
            try:
                return await connection.ask(request)
            except Moved:
                pass
            finally:
                self._after_call(connection)
            async with self.alone() as own:
                return await own.ask(request)

    @asynccontextmanager
    async def alone(self) -> AsyncIterator[Connection]:
        """A connection that nobody else uses; closed when something on it was left unanswered."""
        connection = self._take_spare() or await self._new()
        try:
            yield connection
        finally:
            unusable = connection.abandoned or connection.busy or connection.lost
            if unusable or len(self._spare) >= SPARE_CONNECTIONS:
                self._drop(connection)
            else:
                self._spare.append(connection)

    async def close(self) -> None:
        """Leaves the bus; calls that wait fail."""
        connections = tuple(self._open)
        for connection in connections:
            self._drop(connection)
        for connection in connections:
            await connection.wait_closed()

    async def _new(self) -> Connection:
        connection = await self._connect()
        self._open.add(connection)
        return connection

    async def _current(self) -> Connection:
        if self._shared is not None and not self._shared.lost:
            return self._shared
        async with self._opening:
            if self._shared is None or self._shared.lost:
                if self._shared is not None:
                    self._drop(self._shared)
                self._shared = await self._new()
            return self._shared

    def _take_spare(self) -> Connection | None:
        while self._spare:
            connection = self._spare.pop()
            if not connection.lost:
                return connection
            self._drop(connection)
        return None

    def _after_call(self, connection: Connection) -> None:
        if connection is self._shared and connection.abandoned:
            self._shared = None
            asyncio.get_running_loop().call_later(GRACE_SECONDS, self._drop, connection, Moved())
        if connection is not self._shared and not connection.busy:
            self._drop(connection)

    def _drop(self, connection: Connection, reason: Exception | None = None) -> None:
        self._open.discard(connection)
        connection.close(reason)
