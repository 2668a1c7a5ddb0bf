"""How facts come out of an answer."""

from __future__ import annotations

from collections.abc import Mapping
from dataclasses import dataclass, field, fields
from typing import Any, TypeVar

from dbus_fast import Variant

from mivo._wire import plain
from mivo.errors import BadAnswer
from mivo.pictures import Picture

F = TypeVar("F", bound="FactsBase")


def fact(key: str, signature: str) -> Any:
    """The field of a key: None, or nothing in a tuple, where it is not known."""
    return field(default=() if signature == "as" else None, metadata={"key": key, "signature": signature})


@dataclass(frozen=True, repr=False)
class FactsBase:
    """What every set of facts has beside its keys."""

    #: The embedded pictures, the front cover first; None where they were not asked for.
    pictures: tuple[Picture, ...] | None = None
    #: Facts of keys that this version does not know, by their whole key.
    extra: Mapping[str, Any] = field(default_factory=dict, hash=False)

    def __repr__(self) -> str:
        known = (f"{one.name}={self.__dict__[one.name]!r}" for one in fields(self) if self.__dict__.get(one.name))
        return f"{type(self).__name__}({', '.join(known)})"

    @classmethod
    def from_wire(cls: type[F], values: Mapping[str, Variant], pictures: tuple[Picture, ...] | None = None) -> F:
        """The facts that an answer states; BadAnswer where one is of another type than its key's."""
        table = key_table(cls)
        found: dict[str, Any] = {"pictures": pictures}
        extra: dict[str, Any] = {}
        for key, value in values.items():
            row = table.get(key)
            if row is None:
                extra[key] = plain(value)
                continue
            name, signature = row
            if value.signature != signature:
                raise BadAnswer(f"{key} is of the type {value.signature!r} instead of {signature!r}")
            found[name] = tuple(value.value) if signature == "as" else value.value
        found["extra"] = extra
        # What is missing is the class' default; the constructor would take longer than all of the above.
        facts = object.__new__(cls)
        facts.__dict__.update(found)
        return facts


_TABLES: dict[type[FactsBase], dict[str, tuple[str, str]]] = {}


def key_table(cls: type[FactsBase]) -> dict[str, tuple[str, str]]:
    """By the key of a fact its field and its type on the bus."""
    table = _TABLES.get(cls)
    if table is None:
        table = _TABLES[cls] = _made_table(cls)
    return table


def _made_table(cls: type[FactsBase]) -> dict[str, tuple[str, str]]:
    return {one.metadata["key"]: (one.name, one.metadata["signature"]) for one in fields(cls) if "key" in one.metadata}
