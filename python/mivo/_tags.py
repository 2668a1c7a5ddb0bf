"""What tags are set to, as the bus takes it."""

from __future__ import annotations

import contextlib
import enum
import os
from collections.abc import Iterator, Mapping
from typing import Any

from dbus_fast import Variant

from mivo._fact import key_table
from mivo._paths import File, handle_of
from mivo._wire import text, text_variant
from mivo.facts import Facts

FRONT_COVER = "mivo:frontCover"


class Unchanged(enum.Enum):
    """The type of :data:`UNCHANGED`."""

    UNCHANGED = enum.auto()

    def __repr__(self) -> str:
        return self.name


#: A tag that stays as it is.
UNCHANGED = Unchanged.UNCHANGED

_KEYS = {name: (key, signature) for key, (name, signature) in key_table(Facts).items()}
_REMOVED = Variant("g", "")


def tags_on_the_wire(changes: Mapping[str, Any]) -> dict[Any, Variant]:
    """By their keys the fields that change; None removes one."""
    return {
        text(_KEYS[name][0]): _value(name, _KEYS[name][1], value)
        for name, value in changes.items()
        if value is not UNCHANGED
    }


def _value(name: str, signature: str, value: Any) -> Variant:
    if value is None:
        return _REMOVED
    if signature == "as":
        return Variant("as", [text(one) for one in _texts(name, value)], False)
    if signature == "s":
        return text_variant(_checked(name, value, str))
    return Variant(signature, _checked(name, value, int))


def _texts(name: str, value: Any) -> list[str]:
    """One text stands for a list of one."""
    values = [value] if isinstance(value, str) else list(value)
    return [_checked(name, one, str) for one in values]


def _checked(name: str, value: Any, kind: type) -> Any:
    if not isinstance(value, kind) or isinstance(value, bool):
        raise TypeError(f"{name} is a {type(value).__name__} instead of a {kind.__name__}")
    return value


@contextlib.contextmanager
def cover_on_the_wire(cover: bytes | File | Unchanged | None) -> Iterator[tuple[dict[Any, Variant], tuple[int, ...]]]:
    """What stands for the front cover, and its handle, which is open in the block."""
    if isinstance(cover, Unchanged):
        yield {}, ()
    elif cover is None:
        yield {text(FRONT_COVER): _REMOVED}, ()
    elif isinstance(cover, (bytes, bytearray, memoryview)):
        handle = _file_of(cover)
        try:
            yield {text(FRONT_COVER): Variant("h", 0)}, (handle,)
        finally:
            os.close(handle)
    else:
        yield {text(FRONT_COVER): Variant("h", 0)}, (handle_of(cover),)


def _file_of(content: bytes) -> int:
    """A file in memory that has a picture: as bytes in a message it would be copied once more for each who passes it on."""
    handle = os.memfd_create("front cover", os.MFD_CLOEXEC)
    try:
        view = memoryview(content)
        while view:
            view = view[os.write(handle, view) :]
    except BaseException:
        os.close(handle)
        raise
    return handle
