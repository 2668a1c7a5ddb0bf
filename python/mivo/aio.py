"""The media service, asynchronously.

    async with mivo.aio.Media() as media:
        facts = await media.describe("/music/song.flac")

Calls run side by side. A task that is cancelled while it waits for a call stops that call in the service.
"""

from __future__ import annotations

import asyncio
import itertools
import os

from collections.abc import AsyncGenerator, Awaitable, Callable, Sequence
from dataclasses import dataclass
from typing import Any, Literal, TypeVar

from dbus_fast import Message, Variant

from mivo import _paths
from mivo._answers import error_of_facts, facts_of, thumbnail_of
from mivo._connection import Connection
from mivo._jobs import Job, Jobs, JobState
from mivo._lanes import Lanes
from mivo._many import Source, batches, each, mapped
from mivo._options import describe_options, option, text_option, thumbnail_options, unsigned
from mivo._paths import File, Path
from mivo._tags import UNCHANGED, Unchanged, cover_on_the_wire, tags_on_the_wire
from mivo._wire import INTERFACE, PROPERTIES, Answer, Request, text, value_of
from mivo.errors import BadAnswer, MediaError, ServiceError, TooLarge
from mivo.facts import Facts
from mivo.pictures import Thumbnail

__all__ = ["Described", "Job", "JobState", "Media", "Thumbnailed"]

# The service is at as many as there are cores; what is beyond that only has to keep it busy. Calls with handles take
# descriptors of the service, which has a limit for them.
CALLS_AT_ONCE = 64
HANDLE_CALLS_AT_ONCE = 16
# The first answers come soon, later ones cost less each.
BATCH_SIZES = (16, 64, 250)
BATCHES_AT_ONCE = 3
THUMBNAILS_AT_ONCE = 8
# Each has a connection of its own.
CHANGES_AT_ONCE = 8

Format = Literal["png", "jpeg", "rgba"]
Codec = Literal["mp3", "aac"]
Quality = Literal["fast", "standard", "best"]
Mode = Literal["mono", "stereo", "joint"]
T = TypeVar("T")
TextTag = str | Unchanged | None
ListTag = Sequence[str] | Unchanged | None
NumberTag = int | Unchanged | None


@dataclass(frozen=True)
class Described:
    """One of many files: either facts or error are there."""

    #: As the caller has named it.
    path: Path
    facts: Facts | None = None
    error: MediaError | None = None


@dataclass(frozen=True)
class Thumbnailed:
    """One of many files: either thumbnail or error are there."""

    #: As the caller has named it.
    path: Path
    thumbnail: Thumbnail | None = None
    error: MediaError | None = None


class Media:
    """The media service. Of one event loop; connects to the bus with its first call, which starts the service.

    `address` is that of a bus other than the session's.
    """

    def __init__(self, *, address: str | None = None) -> None:
        self._address = address
        self._closed = False
        self._plain = Lanes(lambda: self._connect(handles=False), CALLS_AT_ONCE)
        self._handles = Lanes(lambda: self._connect(handles=True), HANDLE_CALLS_AT_ONCE)
        self._changes = asyncio.Semaphore(CHANGES_AT_ONCE)
        self._jobs = Jobs(lambda: self._connect(handles=False))

    async def __aenter__(self) -> Media:
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.close()

    async def close(self) -> None:
        """Leaves the bus: calls fail, and jobs that run are cancelled."""
        self._closed = True
        await self._plain.close()
        await self._handles.close()
        await self._jobs.close()

    async def version(self) -> int:
        """The version of the service's interface."""
        body = [text(INTERFACE), text("Version")]
        with Answer(await self._plain.call(Request("Get", "ss", body, interface=PROPERTIES)), "v") as answer:
            version: int = value_of({"Version": answer.body[0]}, "Version", "u")
            return version

    async def describe(self, path: Path, *, pictures: bool = False) -> Facts:
        """What a file is, its tags, its streams, what the camera has noted; with `pictures` those that are in it."""
        whole = _paths.absolute(path)
        if not _paths.is_text(whole):
            return await self._opened(whole, lambda handle, name: self._describe_handle(handle, name, pictures))
        if pictures:
            return facts_of(
                await self._handles.call(Request("Describe", "sa{sv}", [text(whole), describe_options(pictures)]))
            )
        return facts_of(await self._plain.call(Request("Describe", "sa{sv}", [text(whole), {}])))

    async def describe_file(self, file: File, name: str | None = None, *, pictures: bool = False) -> Facts:
        """The same for a file that is open for reading, from its beginning; its position stays.

        The name, by default the file's own, only helps where the content leaves the type open.
        """
        return await self._describe_handle(_paths.handle_of(file), _name(file, name), pictures)

    async def describe_many(self, paths: Source[Path], *, ordered: bool = True) -> AsyncGenerator[Described, None]:
        """Describes any number of files, on all cores of the service: in the paths' order, or as they are known.

        What is not described when the iterator is closed is stopped.
        """
        many = self.describe_batches(paths, ordered=ordered)
        try:
            async for batch in many:
                for described in batch:
                    yield described
        finally:
            await many.aclose()

    async def describe_batches(
        self, paths: Source[Path], *, ordered: bool = True
    ) -> AsyncGenerator[list[Described], None]:
        """The same by the list, for whoever hands them on."""
        sizes = itertools.chain(BATCH_SIZES, itertools.repeat(BATCH_SIZES[-1]))
        async with self._plain.alone() as connection:
            many = mapped(
                lambda batch: self._describe_batch(connection, batch), batches(paths, sizes), BATCHES_AT_ONCE, ordered
            )
            try:
                async for described in many:
                    yield described
            finally:
                await many.aclose()

    async def thumbnail(self, path: Path, size: int, *, format: Format = "png", upright: bool = True) -> Thumbnail:
        """A picture of a picture, a song's cover or a video, that fits into a square of `size` pixels."""
        whole = _paths.absolute(path)
        options = thumbnail_options(format, upright)
        if not _paths.is_text(whole):
            return await self._opened(whole, lambda handle, name: self._draw_handle(handle, name, size, options))
        body = [text(whole), unsigned("size", size), options]
        return thumbnail_of(await self._handles.call(Request("Thumbnail", "sua{sv}", body)))

    async def thumbnail_file(
        self, file: File, size: int, name: str | None = None, *, format: Format = "png", upright: bool = True
    ) -> Thumbnail:
        """The same for a file that is open for reading."""
        options = thumbnail_options(format, upright)
        return await self._draw_handle(_paths.handle_of(file), _name(file, name), size, options)

    async def thumbnails(
        self, paths: Source[Path], size: int, *, format: Format = "png", upright: bool = True, ordered: bool = True
    ) -> AsyncGenerator[Thumbnailed, None]:
        """Thumbnails of any number of files, in the paths' order or as they are made."""

        async def one(path: Path) -> Thumbnailed:
            try:
                made = await self.thumbnail(path, size, format=format, upright=upright)
            except ServiceError as error:
                return Thumbnailed(path, error=error)
            return Thumbnailed(path, made)

        many = mapped(one, each(paths), THUMBNAILS_AT_ONCE, ordered)
        try:
            async for thumbnailed in many:
                yield thumbnailed
        finally:
            await many.aclose()

    async def set_tags(
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
        """Changes the tags that are named, all or none, and returns what is known of the file after it.

        None removes a tag. The cover is the bytes of a JPEG or PNG, or a file that is open for reading and has them. A
        task that is cancelled stops the change; the file then is the old one or the new one.
        """
        changes = dict(
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
        )
        with cover_on_the_wire(front_cover) as (cover, handles):
            body = [_path_text(path), {**tags_on_the_wire(changes), **cover}, {}]
            return facts_of(await self._alone(Request("SetTags", "sa{sv}a{sv}", body, handles)))

    async def encode(
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
        """Encodes the sound of a file to MP3 or AAC: a job, which is cancelled when this object is closed.

        What is left out is as the service has it: the format by the destination's ending, 192,000 bit/s, tags and cover
        of the source, no file replaced, cores that are free.
        """
        options = {
            **text_option("format", format),
            **option("bitrate", "u", bitrate),
            **option("vbr", "b", vbr),
            **text_option("quality", quality),
            **text_option("mode", mode),
            **option("tags", "b", tags),
            **option("replace", "b", replace),
            **option("cores", "u", cores),
        }
        self._refuse_closed()
        body = [_path_text(source), _path_text(destination), options]
        return await self._jobs.start(
            Request("Encode", "ssa{sv}", body), _paths.absolute(source), _paths.absolute(destination)
        )

    async def _connect(self, handles: bool) -> Connection:
        self._refuse_closed()
        connection = await Connection.open(self._address, handles)
        if self._closed:
            connection.close()
        self._refuse_closed()
        return connection

    def _refuse_closed(self) -> None:
        if self._closed:
            raise RuntimeError("this Media is closed")

    async def _alone(self, request: Request) -> Message:
        """The answer to a call that must not be made twice."""
        async with self._changes, self._handles.alone() as connection:
            return await connection.ask(request)

    async def _opened(self, path: str, ask: Callable[[int, str], Awaitable[T]]) -> T:
        """What is answered for a file whose name the bus cannot carry."""
        handle = _paths.open_for_reading(path)
        try:
            return await ask(handle, _paths.shown(os.path.basename(path)))
        finally:
            os.close(handle)

    async def _describe_handle(self, handle: int, name: str, pictures: bool) -> Facts:
        body = [0, text(name), describe_options(pictures)]
        return facts_of(await self._handles.call(Request("DescribeFile", "hsa{sv}", body, (handle,))))

    async def _draw_handle(self, handle: int, name: str, size: int, options: dict[Any, Variant]) -> Thumbnail:
        body = [0, text(name), unsigned("size", size), options]
        return thumbnail_of(await self._handles.call(Request("ThumbnailFile", "hsua{sv}", body, (handle,))))

    async def _describe_batch(self, connection: Connection, batch: list[Path]) -> list[Described]:
        whole = [_paths.absolute(path) for path in batch]
        asked = [path for path in whole if _paths.is_text(path)]
        request = Request("DescribeMany", "asa{sv}", [[text(path) for path in asked], {}])
        with Answer(await connection.ask(request), "aa{sv}") as answer:
            answers = answer.body[0]
        if len(answers) != len(asked):
            raise BadAnswer(f"{len(answers)} answers for {len(asked)} files")
        found = iter(answers)
        return [
            await self._described(given, next(found) if _paths.is_text(path) else None)
            for given, path in zip(batch, whole, strict=True)
        ]

    async def _described(self, path: Path, values: dict[str, Variant] | None) -> Described:
        """One file of many. What has found no room in the answer, or no way onto the bus, is asked for alone."""
        try:
            error = None if values is None else error_of_facts(values)
            if values is None or isinstance(error, TooLarge):
                return Described(path, await self.describe(path))
            return Described(path, error=error) if error else Described(path, Facts.from_wire(values))
        except ServiceError as error:
            return Described(path, error=error)


def _name(file: File, name: str | None) -> str:
    return _paths.name_of(file) if name is None else _paths.shown(name)


def _path_text(path: Path) -> bytes:
    whole = _paths.absolute(path)
    if not _paths.is_text(whole):
        raise ValueError(f"the service does not write files whose names are not UTF-8: {whole!r}")
    return text(whole)
