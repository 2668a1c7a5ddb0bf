"""The mivo media service: what files are and show, thumbnails, tags, encoding, for every format.

    import mivo

    with mivo.Media() as media:
        facts = media.describe("/music/song.flac")

`mivo.aio` is the same for programs with an event loop.
"""

from mivo import aio
from mivo._jobs import JobState
from mivo._sync import Job, Media
from mivo._tags import UNCHANGED
from mivo.aio import Described, Thumbnailed
from mivo.errors import (
    AccessDenied,
    BadAnswer,
    BusError,
    Cancelled,
    ConnectionLost,
    Crashed,
    Exists,
    Failed,
    InvalidArguments,
    LimitsExceeded,
    MediaError,
    NoPicture,
    NoSpace,
    NotFound,
    NotMedia,
    NotRegular,
    ServiceError,
    ServiceUnavailable,
    TimedOut,
    TooLarge,
    Unsupported,
)
from mivo.facts import Facts
from mivo.pictures import Picture, Thumbnail

__all__ = [
    "AccessDenied",
    "BadAnswer",
    "BusError",
    "Cancelled",
    "ConnectionLost",
    "Crashed",
    "Described",
    "Exists",
    "Facts",
    "Failed",
    "InvalidArguments",
    "Job",
    "JobState",
    "LimitsExceeded",
    "Media",
    "MediaError",
    "NoPicture",
    "NoSpace",
    "NotFound",
    "NotMedia",
    "NotRegular",
    "Picture",
    "ServiceError",
    "ServiceUnavailable",
    "Thumbnail",
    "Thumbnailed",
    "TimedOut",
    "TooLarge",
    "UNCHANGED",
    "Unsupported",
    "aio",
]
