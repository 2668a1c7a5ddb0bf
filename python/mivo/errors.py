"""What calls raise.

Every error is a :class:`MediaError`. The service's own have classes of their names; whatever else comes over the bus is
a :class:`BusError`.
"""

from __future__ import annotations

SERVICE_PREFIX = "Mivo.Media1.Error."


class MediaError(Exception):
    """Something that the service, the bus or its answer made impossible.

    ``name`` is the whole name of the error on the bus, ``message`` one sentence for a person.
    """

    def __init__(self, message: str = "", name: str = "") -> None:
        super().__init__(message)
        self.message = message
        self.name = name or SERVICE_PREFIX + type(self).__name__


class ServiceError(MediaError):
    """An error that the service answers with; one of a name that is not known here is just this."""


class NotFound(ServiceError):
    """There is no file of that path."""


class AccessDenied(ServiceError):
    """It may not be read, or not written."""


class NotRegular(ServiceError):
    """A folder, a FIFO, a device, a socket."""


class NotMedia(ServiceError):
    """No format that is read."""


class NoPicture(ServiceError):
    """Nothing to make a thumbnail of."""


class Unsupported(ServiceError):
    """What this format does not allow: tags that are not written, no sound to encode."""


class Exists(ServiceError):
    """A destination that is there, or is the source."""


class TooLarge(ServiceError):
    """A picture, a file or tags larger than the service reads, or a format takes."""


class NoSpace(ServiceError):
    """The disk is full."""


class TimedOut(ServiceError):
    """The service gave the file up after its own time; not what a timeout of the caller raises."""


class Crashed(ServiceError):
    """The process that read the file died."""


class Cancelled(ServiceError):
    """The job was cancelled."""


class Failed(ServiceError):
    """Everything else that the service could not do."""


class InvalidArguments(MediaError, ValueError):
    """An option of a value that the service does not take."""


class BusError(MediaError):
    """The bus, or the way to the service."""


class ServiceUnavailable(BusError):
    """No bus is there, or nobody on it is or starts the service."""


class ConnectionLost(BusError):
    """The bus or the service left while a call waited for its answer."""


class LimitsExceeded(BusError):
    """More at once than the bus or the service allows."""


class BadAnswer(BusError):
    """An answer that is not of the form that the interface promises."""


_BUS_PREFIX = "org.freedesktop.DBus.Error."
_OF_THE_BUS: dict[str, type[MediaError]] = {
    "InvalidArgs": InvalidArguments,
    "LimitsExceeded": LimitsExceeded,
    "Disconnected": ConnectionLost,
    "NoReply": ConnectionLost,
    "NameHasNoOwner": ServiceUnavailable,
    "NoServer": ServiceUnavailable,
    "ServiceUnknown": ServiceUnavailable,
}
_CLASSES: dict[str, type[MediaError]] = {
    **{SERVICE_PREFIX + error.__name__: error for error in ServiceError.__subclasses__()},
    **{_BUS_PREFIX + name: error for name, error in _OF_THE_BUS.items()},
}


def error_of(name: str, message: str) -> MediaError:
    """The error of that name on the bus."""
    found = _CLASSES.get(name)
    if found is None and name.startswith(SERVICE_PREFIX):
        found = ServiceError
    elif found is None and name.startswith(_BUS_PREFIX + "Spawn."):
        found = ServiceUnavailable
    return (found or BusError)(message or name, name)
