"""One connection to the bus."""

from __future__ import annotations

import asyncio
import os
from collections.abc import Callable
from typing import Any

from dbus_fast import Message, MessageFlag, MessageType
from dbus_fast.aio.message_bus import MessageBus
from dbus_fast.errors import AuthError, InvalidAddressError

from mivo._wire import QueueingSocket, Request, close_all, duplicates
from mivo.errors import ConnectionLost, ServiceUnavailable

_REPLIES = (MessageType.METHOD_RETURN, MessageType.ERROR)


class Moved(Exception):
    """The connection was closed for another call's sake: ask again on another one."""


def _session_bus() -> str:
    """Where the bus of a session is: what it says itself, else where systemd has it."""
    stated = os.environ.get("DBUS_SESSION_BUS_ADDRESS")
    runtime = os.environ.get("XDG_RUNTIME_DIR", f"/run/user/{os.getuid()}")
    return stated or f"unix:path={runtime}/bus"


class _Bus(MessageBus):
    """A bus with a QueueingSocket. The names are those of every dbus-fast that Debian has had."""

    def __init__(self, address: str, handles: bool) -> None:
        super().__init__(address, negotiate_unix_fd=handles)
        bus: Any = self
        if bus._sock is not None:
            bus._sock = bus._writer.sock = QueueingSocket(bus._sock)

    def _create_socket_for_transport(self, *transport: Any) -> Any:
        """From version 5 on it is made while the bus connects."""
        base: Any = super()
        made, *rest = base._create_socket_for_transport(*transport)
        return QueueingSocket(made), *rest


class Connection:
    """A client of its own for the service: what it asks for is stopped when it is closed. Of one event loop."""

    def __init__(self, bus: Any) -> None:
        self._bus = bus
        self._waiting: dict[int, asyncio.Future[Message]] = {}
        self._unsent: set[asyncio.Future[None]] = set()
        self.on_signal: Callable[[Message], None] | None = None
        self.on_lost: Callable[[Exception], None] | None = None
        self.lost = False
        #: Calls that nobody waits for any more, and which the service may still be at.
        self.abandoned = 0
        bus.add_message_handler(self._take)
        self._end = asyncio.ensure_future(self._watch())

    @classmethod
    async def open(cls, address: str | None, handles: bool) -> Connection:
        """Connects to the bus of that address, or the session's; answers have handles where they are wanted."""
        try:
            bus = _Bus(address or _session_bus(), handles)
        except (OSError, InvalidAddressError) as error:
            raise ServiceUnavailable(f"no connection to the session bus: {error}") from error
        try:
            await bus.connect()
        except BaseException as error:
            bus.disconnect()
            if isinstance(error, (OSError, EOFError, AuthError, InvalidAddressError)):
                raise ServiceUnavailable(f"no connection to the session bus: {error}") from error
            raise
        return cls(bus)

    @property
    def busy(self) -> bool:
        """Whether calls wait for their answers."""
        return bool(self._waiting)

    def send(self, request: Request, flags: MessageFlag = MessageFlag.NONE) -> int:
        """Sends it with handles of its own; returns its serial number."""
        if self.lost:
            raise ConnectionLost("the connection to the bus is closed")
        serial: int = self._bus.next_serial()
        handles = duplicates(request.handles)
        message = Message(
            destination=request.destination,
            path=request.path,
            interface=request.interface,
            member=request.member,
            signature=request.signature,
            body=request.body,
            unix_fds=handles,
            flags=flags,
            serial=serial,
            validate=False,
        )
        try:
            sent: asyncio.Future[None] = self._bus.send(message)
        except BaseException:
            close_all(handles)
            raise
        self._unsent.add(sent)
        sent.add_done_callback(lambda done: self._was_sent(done, handles))
        return serial

    def _was_sent(self, sent: asyncio.Future[None], handles: list[int]) -> None:
        self._unsent.discard(sent)
        close_all(handles)
        if not sent.cancelled():
            sent.exception()  # is told by the end of the connection

    async def ask(self, request: Request) -> Message:
        """The answer, whatever it is. Cancelled, the call is counted as abandoned."""
        serial = self.send(request)
        answer: asyncio.Future[Message] = asyncio.get_running_loop().create_future()
        self._waiting[serial] = answer
        try:
            return await answer
        except asyncio.CancelledError:
            if answer.done() and not answer.cancelled() and answer.exception() is None:
                close_all(answer.result().unix_fds)
            else:
                self.abandoned += 1
            raise
        finally:
            self._waiting.pop(serial, None)

    def close(self, reason: Exception | None = None) -> None:
        """Leaves the bus. Calls that wait fail with the reason."""
        if not self.lost:
            self._lose(reason or ConnectionLost("the connection to the bus was closed"))
            self._bus.disconnect()

    async def wait_closed(self) -> None:
        await asyncio.wait([self._end])

    def _take(self, message: Message) -> bool:
        if message.message_type in _REPLIES:
            answer = self._waiting.pop(message.reply_serial, None)
            if answer is None or answer.done():
                close_all(message.unix_fds)
            else:
                answer.set_result(message)
            return True
        # Nobody has asked for their handles.
        close_all(message.unix_fds)
        message.unix_fds = []
        if message.message_type is MessageType.SIGNAL and self.on_signal is not None:
            self.on_signal(message)
        return False

    async def _watch(self) -> None:
        lost = ConnectionLost("the bus has left")
        try:
            await self._bus.wait_for_disconnect()
        except Exception as error:  # whatever broke the connection
            lost.__cause__ = error
        finally:
            # Also where the loop ends without a word to us.
            self.close(lost)

    def _lose(self, reason: Exception) -> None:
        if self.lost:
            return
        self.lost = True
        waiting, self._waiting = self._waiting, {}
        for answer in waiting.values():
            if not answer.done():
                answer.set_exception(reason)
        for sent in tuple(self._unsent):
            sent.cancel()
        if self.on_lost is not None:
            self.on_lost(reason)
