"""Options of calls, as the bus takes them."""

from __future__ import annotations

from typing import Any

from dbus_fast import Variant

from mivo._wire import text, text_variant

Options = dict[Any, Variant]


def option(key: str, signature: str, value: int | None) -> Options:
    """One option of the types b and u; none where there is no value."""
    if value is None:
        return {}
    return {text(key): Variant(signature, unsigned(key, value) if signature == "u" else bool(value))}


def text_option(key: str, value: str | None) -> Options:
    return {} if value is None else {text(key): text_variant(value)}


def describe_options(pictures: bool) -> Options:
    return option("pictures", "b", True if pictures else None)


def thumbnail_options(format: str, upright: bool) -> Options:
    return {**text_option("format", format), **option("upright", "b", upright)}


def unsigned(name: str, value: int) -> int:
    """A number of the type u."""
    if not 0 <= value < 1 << 32:
        raise ValueError(f"{name} is {value}")
    return value
