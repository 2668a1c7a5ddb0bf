"""What answers of the service say."""

from __future__ import annotations

from dbus_fast import Message, Variant

from mivo._wire import Answer, value_of
from mivo.errors import MediaError, error_of
from mivo.facts import Facts
from mivo.pictures import Picture, Thumbnail, content_of

PICTURES = "mivo:pictures"


def facts_of(message: Message) -> Facts:
    with Answer(message, "a{sv}") as answer:
        values: dict[str, Variant] = answer.body[0]
        if PICTURES not in values:
            return Facts.from_wire(values)
        pictures = value_of(values, PICTURES, "aa{sv}")
        del values[PICTURES]
        return Facts.from_wire(values, tuple(_picture_of(answer, one) for one in pictures))


def _picture_of(answer: Answer, values: dict[str, Variant]) -> Picture:
    return Picture(
        type=value_of(values, "type", "u"),
        mime_type=value_of(values, "mimeType", "s"),
        description=value_of(values, "description", "s"),
        data=content_of(answer.handle(value_of(values, "data", "h"))),
    )


def thumbnail_of(message: Message) -> Thumbnail:
    with Answer(message, "ha{sv}") as answer:
        values = answer.body[1]
        return Thumbnail(
            width=value_of(values, "mivo:width", "u"),
            height=value_of(values, "mivo:height", "u"),
            mime_type=value_of(values, "mivo:mimeType", "s"),
            data=content_of(answer.handle(answer.body[0])),
        )


def error_of_facts(values: dict[str, Variant]) -> MediaError | None:
    """The error that stands in the place of the facts of one file of many."""
    if "mivo:error" not in values:
        return None
    name = value_of(values, "mivo:error", "s")
    return error_of(name, value_of(values, "mivo:errorMessage", "s"))
