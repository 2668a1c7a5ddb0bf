"""What is known of a file. Written by python/write-facts from facts/FactNames.h."""

from __future__ import annotations

import datetime
import pathlib
import urllib.parse
from dataclasses import dataclass

from mivo._fact import FactsBase, fact

_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


@dataclass(frozen=True, repr=False)
class Facts(FactsBase):
    """What is known of a file; what is not known is None, or an empty tuple."""

    #: "audio", "video" or "picture"
    kind: str | None = fact("mivo:kind", "s")
    #: By content, in the names of shared-mime-info
    mime_type: str | None = fact("mivo:mimeType", "s")
    #: File URI, of calls with a path only
    url: str | None = fact("xesam:url", "s")
    #: Of the file (bytes)
    size: int | None = fact("mivo:size", "t")
    #: Since 1970 UTC (microseconds)
    modified: int | None = fact("mivo:modified", "x")
    #: Playing time (microseconds)
    length: int | None = fact("mpris:length", "x")
    #: Title
    title: str | None = fact("xesam:title", "s")
    #: Album
    album: str | None = fact("xesam:album", "s")
    #: Artists in the file's order
    artist: tuple[str, ...] = fact("xesam:artist", "as")
    #: Artists of the album
    album_artist: tuple[str, ...] = fact("xesam:albumArtist", "as")
    #: Composers
    composer: tuple[str, ...] = fact("xesam:composer", "as")
    #: Genres, names for numbers
    genre: tuple[str, ...] = fact("xesam:genre", "as")
    #: Comments without a description
    comment: tuple[str, ...] = fact("xesam:comment", "as")
    #: Place on the disc
    track_number: int | None = fact("xesam:trackNumber", "i")
    #: Tracks of the disc
    track_total: int | None = fact("mivo:trackTotal", "i")
    #: Disc of the set
    disc_number: int | None = fact("xesam:discNumber", "i")
    #: Discs of the set
    disc_total: int | None = fact("mivo:discTotal", "i")
    #: As precise as the file is; of a picture when it was taken, in the camera's local time (ISO 8601)
    content_created: str | None = fact("xesam:contentCreated", "s")
    #: Lyrics
    as_text: str | None = fact("xesam:asText", "s")
    #: Tempo (beats a minute)
    audio_bpm: int | None = fact("xesam:audioBPM", "i")
    #: Part of a compilation
    compilation: bool | None = fact("mivo:compilation", "b")
    #: Whether pictures are embedded
    has_picture: bool | None = fact("mivo:hasPicture", "b")
    #: FFmpeg's short name of the sound's format
    audio_codec: str | None = fact("mivo:audioCodec", "s")
    #: FFmpeg's short name of the moving pictures' format
    video_codec: str | None = fact("mivo:videoCodec", "s")
    #: Of the sound (Hz)
    sample_rate: int | None = fact("mivo:sampleRate", "u")
    #: Of the sound
    channels: int | None = fact("mivo:channels", "u")
    #: Lossless formats only (bits)
    bits_per_sample: int | None = fact("mivo:bitsPerSample", "u")
    #: The sound's average, as the stream states it, else measured; a movie's is the whole file's (bit/s)
    bitrate: int | None = fact("mivo:bitrate", "u")
    #: As stored, before turning (pixels)
    width: int | None = fact("mivo:width", "u")
    #: As stored, before turning (pixels)
    height: int | None = fact("mivo:height", "u")
    #: Average of a movie's pictures (1/s)
    frame_rate: float | None = fact("mivo:frameRate", "d")
    #: Exif's 1 to 8; videos that turn too
    orientation: int | None = fact("mivo:orientation", "u")
    #: Maker of the camera
    camera_make: str | None = fact("mivo:cameraMake", "s")
    #: Model of the camera
    camera_model: str | None = fact("mivo:cameraModel", "s")
    #: Model of the lens
    lens: str | None = fact("mivo:lens", "s")
    #: Exposure (seconds)
    exposure_time: float | None = fact("mivo:exposureTime", "d")
    #: Aperture
    f_number: float | None = fact("mivo:fNumber", "d")
    #: Of the lens, not converted (mm)
    focal_length: float | None = fact("mivo:focalLength", "d")
    #: Sensitivity
    iso: int | None = fact("mivo:iso", "u")
    #: North (degrees)
    latitude: float | None = fact("mivo:latitude", "d")
    #: East (degrees)
    longitude: float | None = fact("mivo:longitude", "d")
    #: Above sea level (metres)
    altitude: float | None = fact("mivo:altitude", "d")

    @property
    def path(self) -> pathlib.Path | None:
        """The path of the file; None where it was described by a handle."""
        return None if self.url is None else pathlib.Path(urllib.parse.unquote(urllib.parse.urlsplit(self.url).path))

    @property
    def seconds(self) -> float | None:
        """The playing time in seconds."""
        return None if self.length is None else self.length / 1_000_000

    @property
    def modified_at(self) -> datetime.datetime | None:
        """When the file was changed, in UTC."""
        return None if self.modified is None else _EPOCH + datetime.timedelta(microseconds=self.modified)
