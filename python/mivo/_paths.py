"""Files as callers name them."""

from __future__ import annotations

import os
from typing import IO, Any, Union

from mivo.errors import AccessDenied, Failed, MediaError, NotFound

#: A path as the standard library takes it.
Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
#: A file that is open for reading, or its number.
File = Union[int, IO[Any]]


def absolute(path: Path) -> str:
    """The whole path, of whatever bytes: those that are no UTF-8 are surrogates. ".." stays: links may come before it."""
    return os.path.join(os.getcwd(), os.fsdecode(path))


def is_text(path: str) -> bool:
    """Whether the bus can carry the path."""
    try:
        path.encode()
    except UnicodeEncodeError:
        return False
    return True


def open_for_reading(path: str) -> int:
    """A handle of the file, or the error that the service has for it."""
    try:
        # What is no regular file is for the service to refuse, and does not keep anybody waiting.
        return os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK | os.O_NOCTTY)
    except OSError as error:
        raise _error_of(error) from error


def _error_of(error: OSError) -> MediaError:
    message = error.strerror or str(error)
    if isinstance(error, (FileNotFoundError, NotADirectoryError)):
        return NotFound(message)
    if isinstance(error, PermissionError):
        return AccessDenied(message)
    return Failed(message)


def handle_of(file: File) -> int:
    return file if isinstance(file, int) else file.fileno()


def name_of(file: File) -> str:
    """The name of an open file as far as it knows one, without its folder."""
    name = getattr(file, "name", "")
    return shown(os.path.basename(os.fsdecode(name))) if isinstance(name, (str, bytes)) else ""


def shown(name: str) -> str:
    """A name as text that the bus can carry."""
    return os.fsencode(name).decode(errors="replace").replace("\0", "")
