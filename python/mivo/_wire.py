"""Calls and answers as they are on the bus."""

from __future__ import annotations

import array
import contextlib
import os
import socket
from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import Any

from dbus_fast import Message, MessageType, Variant

from mivo.errors import BadAnswer, error_of

NAME = "Mivo.Media1"
PATH = "/Mivo/Media1"
INTERFACE = "Mivo.Media1"
JOB_INTERFACE = "Mivo.Job1"
PROPERTIES = "org.freedesktop.DBus.Properties"
BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"


class Text(bytes):
    """Text in a message. dbus-fast 1.84 counts the characters of a ``str`` where the bus wants its bytes."""

    def encode(self) -> bytes:
        return bytes(self)  # exactly that: later versions take nothing derived from it


def text(value: str) -> Text:
    """Text as the bus takes it: UTF-8 without NUL, or ValueError."""
    if "\0" in value:
        raise ValueError("embedded null character")
    return Text(value.encode())


def text_variant(value: str) -> Variant:
    # Unverified, since dbus-fast takes only what is a str for text.
    return Variant("s", text(value), False)


@dataclass
class Request:
    """A call, which can be sent more than once. ``handles`` belong to the caller and are open until the answer."""

    member: str
    signature: str = ""
    body: list[Any] = field(default_factory=list)
    handles: tuple[int, ...] = ()
    destination: str = NAME
    path: str = PATH
    interface: str = INTERFACE


def close_all(handles: Iterable[int]) -> None:
    for handle in handles:
        with contextlib.suppress(OSError):
            os.close(handle)


def error_in(message: Message) -> Exception:
    """The exception that an answer of the type error is."""
    said = message.body[0] if message.signature.startswith("s") and message.body else ""
    return error_of(str(message.error_name), str(said))


class Answer:
    """An answer of the signature that was promised. Its handles are closed at the end of its context."""

    def __init__(self, message: Message, signature: str) -> None:
        self._handles = message.unix_fds
        self.body = message.body
        if message.message_type is MessageType.ERROR:
            close_all(self._handles)
            raise error_in(message)
        if message.signature != signature:
            close_all(self._handles)
            raise BadAnswer(f"the answer is of the type {message.signature!r} instead of {signature!r}")

    def __enter__(self) -> Answer:
        return self

    def __exit__(self, *_: object) -> None:
        close_all(self._handles)

    def handle(self, index: int) -> int:
        if index >= len(self._handles):
            raise BadAnswer(f"the answer has {len(self._handles)} handles and names the handle {index}")
        return self._handles[index]


def value_of(values: dict[str, Variant], key: str, signature: str) -> Any:
    """The value of a key that has to be there and of that type."""
    value = values.get(key)
    if value is None:
        raise BadAnswer(f"the answer has no {key}")
    if value.signature != signature:
        raise BadAnswer(f"{key} is of the type {value.signature!r} instead of {signature!r}")
    return value.value


def plain(value: Any) -> Any:
    """A value without the bus' wrapping."""
    if isinstance(value, Variant):
        return plain(value.value)
    if isinstance(value, dict):
        return {plain(key): plain(one) for key, one in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(one) for one in value]
    return value


class QueueingSocket:
    """A bus' socket as dbus-fast should have used it.

    Version 1.84 takes a full socket for the end of the connection, has room for one handle in an answer, leaves handles
    to child processes, and waits for ever where the bus hangs up before the first message.
    """

    _ROOM = socket.CMSG_SPACE(253 * array.array("i").itemsize)  # the most that the kernel sends at once

    def __init__(self, wrapped: socket.socket) -> None:
        self._wrapped = wrapped
        self._waiting: list[tuple[int, int, Any]] = []

    def __getattr__(self, name: str) -> Any:
        return getattr(self._wrapped, name)

    def recv(self, size: int) -> bytes:
        received = self._wrapped.recv(size)
        if not received:
            raise ConnectionResetError("the bus hung up")
        return received

    def recvmsg(self, size: int, _room: int) -> tuple[bytes, list[tuple[int, int, bytes]], int, Any]:
        return self._wrapped.recvmsg(size, self._ROOM, socket.MSG_CMSG_CLOEXEC)

    def sendmsg(self, buffers: list[memoryview], handles: list[tuple[int, int, Any]]) -> int:
        self._waiting = handles
        return self.send(buffers[0])

    def send(self, buffer: memoryview) -> int:
        """How much was sent; nothing where there is no room, and then the caller waits for it."""
        try:
            sent = self._wrapped.sendmsg([buffer], self._waiting)
        except (BlockingIOError, InterruptedError):
            return 0
        self._waiting = []
        return sent


def duplicates(handles: Iterable[int]) -> list[int]:
    """Handles of one's own for the same files."""
    own: list[int] = []
    try:
        for handle in handles:
            own.append(os.dup(handle))
    except OSError:
        close_all(own)
        raise
    return own
