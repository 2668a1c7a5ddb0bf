"""The media service for programs without an event loop."""

from __future__ import annotations

import pathlib
import weakref
from collections.abc import Coroutine, Iterable, Iterator
from typing import Any, TypeVar

from mivo import aio
from mivo._jobs import JobState
from mivo._loop import LoopThread
from mivo._paths import File, Path
from mivo._tags import UNCHANGED, Unchanged
from mivo.aio import Codec, Described, Format, ListTag, Mode, NumberTag, Quality, TextTag, Thumbnailed
from mivo.errors import MediaError
from mivo.facts import Facts
from mivo.pictures import Thumbnail

T = TypeVar("T")


class Job:
    """A job, as :class:`mivo.aio.Job`: iterating over it tells its progress."""

    def __init__(self, media: Media, job: aio.Job) -> None:
        self._media = media  # which ends its jobs when nobody has it any more
        self._thread = media._thread
        self._job = job

    def __repr__(self) -> str:
        return repr(self._job)

    @property
    def source(self) -> pathlib.Path:
        return self._job.source

    @property
    def destination(self) -> pathlib.Path:
        return self._job.destination

    @property
    def state(self) -> JobState:
        return self._job.state

    @property
    def progress(self) -> float:
        """How much is done, from 0 to 1; never less than before."""
        return self._job.progress

    @property
    def error(self) -> MediaError | None:
        """Why it has failed or was cancelled."""
        return self._job.error

    @property
    def ended(self) -> bool:
        return self._job.ended

    def result(self, timeout: float | None = None) -> pathlib.Path:
        """Waits for the end: the path of what was made, or the error that ended the job.

        After `timeout` seconds the job is cancelled, and TimeoutError raised.
        """
        return self._thread.run(self._job.result(), timeout)

    def cancel(self) -> None:
        """Ends the job, and waits until it has ended. One that has ended stays as it is."""
        self._thread.run(self._job.cancel())

    def __iter__(self) -> Iterator[float]:
        """The progress now, and each time that more is done, until the end."""
        return self._thread.iterate(self._job.__aiter__())

    def __enter__(self) -> Job:
        return self

    def __exit__(self, *_: object) -> None:
        self.cancel()


class Media:
    """The media service, as :class:`mivo.aio.Media`, for any number of threads at once.

    A call that takes longer than `timeout` seconds raises TimeoutError, and is stopped in the service; so is one that the
    user interrupts. Iterators and jobs take as long as they take. `address` is that of a bus other than the session's.
    """

    def __init__(self, *, address: str | None = None, timeout: float | None = None) -> None:
        self._timeout = timeout
        self._media = aio.Media(address=address)
        self._thread = LoopThread()
        weakref.finalize(self, self._thread.end)

    def __enter__(self) -> Media:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Leaves the bus: calls of other threads fail, and jobs that run are cancelled."""
        if self._thread.running:
            self._thread.run(self._media.close())
        self._thread.stop()

    def version(self) -> int:
        """The version of the service's interface."""
        return self._run(self._media.version())

    def describe(self, path: Path, *, pictures: bool = False) -> Facts:
        """What a file is, its tags, its streams, what the camera has noted; with `pictures` those that are in it."""
        return self._run(self._media.describe(path, pictures=pictures))

    def describe_file(self, file: File, name: str | None = None, *, pictures: bool = False) -> Facts:
        """The same for a file that is open for reading, from its beginning; its position stays."""
        return self._run(self._media.describe_file(file, name, pictures=pictures))

    def describe_many(self, paths: Iterable[Path], *, ordered: bool = True) -> Iterator[Described]:
        """Describes any number of files, on all cores of the service: in the paths' order, or as they are known."""
        for batch in self._thread.iterate(self._media.describe_batches(paths, ordered=ordered)):
            yield from batch

    def thumbnail(self, path: Path, size: int, *, format: Format = "png", upright: bool = True) -> Thumbnail:
        """A picture of a picture, a song's cover or a video, that fits into a square of `size` pixels."""
        return self._run(self._media.thumbnail(path, size, format=format, upright=upright))

    def thumbnail_file(
        self, file: File, size: int, name: str | None = None, *, format: Format = "png", upright: bool = True
    ) -> Thumbnail:
        """The same for a file that is open for reading."""
        return self._run(self._media.thumbnail_file(file, size, name, format=format, upright=upright))

    def thumbnails(
        self, paths: Iterable[Path], size: int, *, format: Format = "png", upright: bool = True, ordered: bool = True
    ) -> Iterator[Thumbnailed]:
        """Thumbnails of any number of files, in the paths' order or as they are made."""
        made = self._media.thumbnails(paths, size, format=format, upright=upright, ordered=ordered)
        return self._thread.iterate(made)

    def set_tags(
        self,
        path: Path,
        *,
        title: TextTag = UNCHANGED,
        album: TextTag = UNCHANGED,
        artist: ListTag = UNCHANGED,
        album_artist: ListTag = UNCHANGED,
        composer: ListTag = UNCHANGED,
        genre: ListTag = UNCHANGED,
        comment: ListTag = UNCHANGED,
        content_created: TextTag = UNCHANGED,
        track_number: NumberTag = UNCHANGED,
        track_total: NumberTag = UNCHANGED,
        disc_number: NumberTag = UNCHANGED,
        disc_total: NumberTag = UNCHANGED,
        front_cover: bytes | File | Unchanged | None = UNCHANGED,
    ) -> Facts:
        """Changes the tags that are named, all or none; None removes one. Returns what is known of the file after it."""
        return self._run(
            self._media.set_tags(
                path,
                title=title,
                album=album,
                artist=artist,
                album_artist=album_artist,
                composer=composer,
                genre=genre,
                comment=comment,
                content_created=content_created,
                track_number=track_number,
                track_total=track_total,
                disc_number=disc_number,
                disc_total=disc_total,
                front_cover=front_cover,
            )
        )

    def encode(
        self,
        source: Path,
        destination: Path,
        *,
        format: Codec | None = None,
        bitrate: int | None = None,
        vbr: bool | None = None,
        quality: Quality | None = None,
        mode: Mode | None = None,
        tags: bool | None = None,
        replace: bool | None = None,
        cores: int | None = None,
    ) -> Job:
        """Encodes the sound of a file to MP3 or AAC: a job, which is cancelled when this object is closed."""
        started = self._media.encode(
            source,
            destination,
            format=format,
            bitrate=bitrate,
            vbr=vbr,
            quality=quality,
            mode=mode,
            tags=tags,
            replace=replace,
            cores=cores,
        )
        return Job(self, self._run(started))

    def _run(self, work: Coroutine[Any, Any, T]) -> T:
        return self._thread.run(work, self._timeout)
