#!/usr/bin/python3
"""What SetTags makes of files of every format, as other programs read it, and what kills leave of them.

run_settags.py --programs FOLDER [--short] [--kills N] [--seed N] [--only TEXT] [--corpus FOLDER] [PART...]

Parts: readers (of the media corpus: both other readers find what was set, what was not named is as it was, audio packets
are equal), covers (of a made file of every format), kills (at random moments, over all formats). The exit status is 1 when a file was ever anything but that.
"""
import argparse
import base64
import hashlib
import importlib.util
import json
import os
import random
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

import faultlib
from faultlib import chosen, digest, fail, litter, make_m4a, make_mp3

SKIPPED = 77

# ---- what is set, and how others call it -----------------------------------------------------------------------------

TAGS = {
    "xesam:title": ["Tïtle 제목"], "xesam:album": ["Album"], "xesam:artist": ["AC/DC", "Zwei 두번째"],
    "xesam:albumArtist": ["Various"], "xesam:composer": ["Compöser"], "xesam:genre": ["Own Genre"],
    "xesam:comment": ["A comment"], "xesam:contentCreated": ["2010-05-04"], "xesam:trackNumber": ["7"],
    "mivo:trackTotal": ["12"], "xesam:discNumber": ["1"], "mivo:discTotal": ["2"],
}
NAMES = ["title", "album", "artist", "albumartist", "composer", "genre", "comment", "date", "track", "disc"]
ID3 = {"TIT2": "title", "TALB": "album", "TPE1": "artist", "TPE2": "albumartist", "TCOM": "composer", "TCON": "genre",
       "TDRC": "date", "TYER": "date", "TDAT": "date", "TIME": "date", "TRCK": "track", "TPOS": "disc",
       "TDRL": "date", "TDOR": "date", "TORY": "date"}
VORBIS = {"title": "title", "album": "album", "artist": "artist", "albumartist": "albumartist",
          "album artist": "albumartist", "album_artist": "albumartist", "composer": "composer", "genre": "genre",
          "comment": "comment", "description": "comment", "date": "date", "year": "date", "tracknumber": "track",
          "track": "track", "tracktotal": "tracktotal", "totaltracks": "tracktotal", "discnumber": "disc", "disc": "disc",
          "disctotal": "disctotal", "totaldiscs": "disctotal"}
MP4 = {"\xa9nam": "title", "\xa9alb": "album", "\xa9ART": "artist", "aART": "albumartist", "\xa9wrt": "composer",
       "\xa9gen": "genre", "gnre": "genre", "\xa9cmt": "comment", "\xa9day": "date", "trkn": "track", "disk": "disc"}


def id3_tags(tag):
    """What is named, and everything else, of an ID3 tag."""
    named, others = {}, []
    for key, frame in (tag or {}).items():
        name = ID3.get(frame.FrameID)
        if frame.FrameID == "COMM" and not frame.desc:
            name = "comment"
        if name == "date" and frame.FrameID != "TDRC":
            continue
        if name:
            named[name] = [str(text) for text in frame.text]
        elif frame.FrameID == "APIC":
            others.append(("APIC", frame.type, frame.desc, frame.mime, hashlib.sha1(frame.data).hexdigest()))
        elif frame.FrameID != "TDTG":
            others.append((key, repr(frame)))
    return named, others


def mapped(tags, names):
    named, others = {}, []
    for key, value in (tags or {}).items():
        values = value if isinstance(value, list) else [value]
        name = names.get(key if key in names else key.lower())
        if name:
            named.setdefault(name, []).extend("/".join(map(str, v)) if isinstance(v, tuple) else str(v) for v in values)
        else:
            others.append((key, [hashlib.sha1(bytes(v)).hexdigest() if isinstance(v, bytes) else repr(v) for v in values]))
    return named, others


def by_mutagen(path):
    """Named tags and the others; None for a file that it does not open."""
    import mutagen
    from mutagen.aiff import AIFF
    from mutagen.id3 import ID3 as Id3Tag
    from mutagen.mp4 import MP4 as Mp4File
    from mutagen.wave import WAVE
    kind = kind_of(path)
    try:
        if kind == "mp3":
            try:
                return id3_tags(Id3Tag(path, load_v1=False))
            except mutagen.id3.ID3NoHeaderError:
                return {}, []
        if kind == "wav":
            return id3_tags(WAVE(path).tags)
        if kind == "aiff":
            return id3_tags(AIFF(path).tags)
        if kind == "mp4":
            return mapped(Mp4File(path).tags, MP4)
        file = mutagen.File(path)
        if file is None:
            return None
        named, others = mapped(dict(file.tags or {}), VORBIS)
        others += [("picture", p.type, hashlib.sha1(p.data).hexdigest()) for p in getattr(file, "pictures", [])]
        for total, place in (("tracktotal", "track"), ("disctotal", "disc")):
            of = named.pop(total, None)
            if of:
                named[place] = [named.get(place, [""])[0] + "/" + of[0]]
        return named, others
    except (mutagen.MutagenError, struct.error, ValueError):
        return None


def by_ffprobe(path):
    run = subprocess.run(["ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json", path],
                         capture_output=True, text=True, errors="replace")
    if run.returncode != 0:
        return None
    found = json.loads(run.stdout)
    tags = {}
    sound = [stream for stream in found.get("streams", []) if stream.get("codec_type") == "audio"]
    for holder in sound[:1] + [found.get("format", {})]:
        tags.update({key.lower(): value for key, value in holder.get("tags", {}).items()})
    return tags


def without_last_tags(path):
    """What lies before the tags at the end of a file: FFmpeg takes them for a part of the last packet."""
    with open(path, "rb") as file:
        data = file.read()
    while True:
        if data[-128:-125] == b"TAG":
            data = data[:-128]
        elif data[-32:-24] == b"APETAGEX":
            size, has_header = struct.unpack("<I", data[-20:-16])[0], data[-9] & 0x80
            data = data[:-size - (32 if has_header else 0)]
        elif data[-10:-7] == b"3DI":
            data = data[:-20 - sum(byte << shift for byte, shift in zip(data[-4:], (21, 14, 7, 0)))]
        else:
            return data


def audio_packets(path):
    """A number of all packets of sound as they are stored, with their times."""
    is_mp3 = kind_of(path) == "mp3"
    run = subprocess.run(["ffmpeg", "-v", "quiet", *(["-f", "mp3"] if is_mp3 else []), "-i", "-" if is_mp3 else path, "-map",
                          "0:a", "-c", "copy", "-f", "framehash", "-hash", "md5", "-"], capture_output=True,
                         input=without_last_tags(path) if is_mp3 else b"")
    # Stream, times, size and hash: comments travel beside the first packet of some formats.
    lines = [b",".join(line.split(b",")[:6]) for line in run.stdout.splitlines() if not line.startswith(b"#")]
    return len(lines), hashlib.sha1(b"\n".join(lines)).hexdigest()


def kind_of(path):
    with open(path, "rb") as file:
        head = file.read(64)
    ending = os.path.splitext(path)[1].lower()
    if head[:4] == b"fLaC" or (head[:3] == b"ID3" and ending == ".flac"):
        return "flac"
    if head[:4] == b"OggS":
        return "ogg"
    if head[:4] == b"RIFF":
        return "wav"
    if head[:4] == b"FORM":
        return "aiff"
    return "mp4" if head[4:8] == b"ftyp" or ending in (".m4a", ".mp4", ".m4b") else "mp3"


# Files of which FFmpeg reads other packets of sound afterwards, and why.
OTHER_PACKETS = {"obsolete.mp3": "FFmpeg takes its Lyrics3 block, whose title goes, for sound"}


# ---- readers ---------------------------------------------------------------------------------------------------------

def setter(path, *pairs):
    return subprocess.run([os.path.join(faultlib.programs, "tag_setter"), path, *pairs], capture_output=True,
                          text=True, timeout=120).stdout.strip()


def pairs_of(tags):
    return [f"{key}={value}" for key, values in tags.items() for value in values]


def expected(name):
    values = {"title": TAGS["xesam:title"], "album": ["Album"], "artist": TAGS["xesam:artist"], "albumartist": ["Various"],
              "composer": ["Compöser"], "genre": ["Own Genre"], "comment": ["A comment"], "date": ["2010-05-04"],
              "track": ["7/12"], "disc": ["1/2"]}
    return values[name]


def judge_packets(name, problem):
    reason = OTHER_PACKETS.get(os.path.basename(name))
    if reason:
        print("  explained:", name, reason)
    else:
        fail(f"{name}: {problem}")


def judge_reading(name, path, before, packets):
    kind = kind_of(path)
    after = by_mutagen(path)
    if before is not None and after is None:
        return fail(f"{name}: mutagen cannot open it any more")
    if after is not None:
        # Of some metadata boxes mutagen reads nothing, before and after.
        unknown = kind == "mp4" and not any(before or ({}, [])) and not any(after)
        for key in [] if unknown else NAMES:
            if after[0].get(key) != expected(key):
                fail(f"{name}: mutagen reads {key} as {after[0].get(key)}")
        # Items under keys have numbers for names; beside a list of the other kind mutagen does not look at them.
        lost = [other for other in (before or ({}, []))[1] if other not in after[1] and other[0][0] != "\0"]
        new = [other for other in after[1] if other not in (before or ({}, []))[1]]
        # A tag that it did not read before, as at the end of a file, is one that it reads now.
        if lost or (new and before and any(before)):
            fail(f"{name}: not named, and changed: {str(lost)[:300]} -> {str(new)[:300]}")
    if audio_packets(path) != packets:
        judge_packets(name, f"other audio packets: {packets} -> {audio_packets(path)}")
    tags = by_ffprobe(path)
    if tags is None:
        if packets[0]:
            fail(f"{name}: ffprobe cannot open it")
        return
    wanted = {"title": "Tïtle 제목", "album": "Album", "genre": "Own Genre", "comment": "A comment",
              "album_artist": "Various", "composer": "Compöser"}
    for key, value in wanted.items():
        if kind == "wav" and key in ("album_artist", "composer"):
            continue  # ffprobe reads no ID3 tag in WAVE, and INFO has none of these that it knows
        if tags.get(key, tags.get(key.replace("_", ""))) != value:
            fail(f"{name}: ffprobe reads {key} as {tags.get(key)}")
    if not tags.get("artist", "").startswith("AC/DC"):
        fail(f"{name}: ffprobe reads artist as {tags.get('artist')}")


def readers(folder, options):
    corpus = options.corpus
    if not os.path.isdir(corpus):
        print("readers: skipped, the media corpus is not here")
        return
    names = [os.path.join(part, name) for part in ("audio", "mp3", "mp4") for name in sorted(os.listdir(os.path.join(corpus, part)))
             if os.path.isfile(os.path.join(corpus, part, name))]
    counts = {}
    for name in names:
        if options.only not in name:
            continue
        path = os.path.join(folder, "set-" + os.path.basename(name))
        shutil.copy(os.path.join(corpus, name), path)
        before, packets, old = by_mutagen(path), audio_packets(path), digest(path)
        answer = setter(path, *pairs_of(TAGS))
        counts[answer.split(":")[0]] = counts.get(answer.split(":")[0], 0) + 1
        if litter(folder):
            fail(f"{name}: left {litter(folder)}")
        if answer != "done":
            print("  not written:", name, answer)
            if digest(path) != old:
                fail(f"{name}: refused, and changed")
        else:
            judge_reading(name, path, before, packets)
            if setter(path, *pairs_of(TAGS)) != "unchanged":
                fail(f"{name}: the second change is not the first")
            # A tag without sound is no file that the service takes.
            if packets[0]:
                judge_removal(name, path, packets)
        os.remove(path)
    print("readers:", counts)


def judge_removal(name, path, packets):
    answer = setter(path, *[f"{key}=" for key in TAGS])
    after = by_mutagen(path)
    if answer not in ("done", "unchanged"):
        return fail(f"{name}: removal {answer}")
    if after is not None and after[0]:
        fail(f"{name}: not removed: {after[0]}")
    tags = by_ffprobe(path) or {}
    for key in ("title", "album", "artist", "genre", "composer"):
        if key in tags:
            fail(f"{name}: ffprobe still reads {key} as {tags[key]}")
    if audio_packets(path) != packets:
        judge_packets(name, "other audio packets after the removal")


# ---- covers ----------------------------------------------------------------------------------------------------------

def covers_by_mutagen(path):
    """The pictures of a file: type (none in MPEG-4) and digest."""
    import mutagen
    from mutagen.flac import Picture
    file = mutagen.File(path)
    tags = file.tags or {}
    found = [(p.type, hashlib.sha1(p.data).hexdigest()) for p in getattr(file, "pictures", [])]
    for text in tags.get("metadata_block_picture", []) if kind_of(path) == "ogg" else []:
        picture = Picture(base64.b64decode(text))
        found.append((picture.type, hashlib.sha1(picture.data).hexdigest()))
    if kind_of(path) in ("mp3", "wav", "aiff"):
        found += [(frame.type, hashlib.sha1(frame.data).hexdigest()) for frame in tags.values() if frame.FrameID == "APIC"]
    if kind_of(path) == "mp4":
        found += [(3, hashlib.sha1(bytes(cover)).hexdigest()) for cover in tags.get("covr", [])]
    return sorted(found)


def shown_by_ffmpeg(path):
    """Width and height of the first attached picture."""
    run = subprocess.run(["ffprobe", "-v", "quiet", "-select_streams", "v:0", "-show_entries", "stream=width,height", "-of",
                          "csv=p=0", path], capture_output=True, text=True)
    return run.stdout.strip()


def covers(folder, options):
    """Two covers after each other, a JPEG and a PNG of different sizes, then none; the sound stays."""
    pictures = {}
    for ending, size in (("jpg", "40x30"), ("png", "50x20")):
        pictures[ending] = os.path.join(folder, "cover." + ending)
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"testsrc=s={size}", "-frames:v", "1",
                        pictures[ending]], check=True)
    judged = 0
    for kind in chosen(list(KINDS), options):
        path = os.path.join(folder, f"covered.{kind}")
        make(path, kind, 1)
        packets = audio_packets(path)
        for ending, size in (("jpg", "40,30"), ("png", "50,20"), ("", "")):
            value = f"@{pictures[ending]}" if ending else ""
            answer = setter(path, f"mivo:frontCover={value}")
            wanted = [(3, digest_of(pictures[ending]))] if ending else []
            if answer != "done" or covers_by_mutagen(path) != wanted:
                fail(f"{kind}: {answer}, mutagen reads the covers {covers_by_mutagen(path)} in place of {wanted}")
            # FFmpeg reads no ID3 tag in WAVE.
            if kind != "wav" and shown_by_ffmpeg(path) != size:
                fail(f"{kind}: ffprobe reads a cover of {shown_by_ffmpeg(path)} in place of {size}")
            if audio_packets(path) != packets:
                fail(f"{kind}: other audio packets beside a cover")
            judged += 1
    print("covers:", judged)


def digest_of(path):
    with open(path, "rb") as file:
        return hashlib.sha1(file.read()).hexdigest()


# ---- kills -----------------------------------------------------------------------------------------------------------

KINDS = {"flac": ["-c:a", "flac"], "ogg": ["-c:a", "libvorbis", "-b:a", "320k"], "opus": ["-c:a", "libopus", "-b:a", "256k"],
         "wav": ["-c:a", "pcm_s16le"], "aiff": ["-c:a", "pcm_s16be"], "mp3": None, "m4a": None}


def make(path, kind, megabytes):
    if kind == "mp3":
        return make_mp3(path, megabytes)
    if kind == "m4a":
        return make_m4a(path, megabytes)
    rate = {"ogg": 40_000, "opus": 32_000}.get(kind, 176_400)
    seconds = megabytes * 1_000_000 / rate
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"anoisesrc=r=48000:d={seconds}:seed=1", "-ac", "2",
                    *KINDS[kind], path], check=True)


def kill_rounds(path, rounds, source):
    counts = {"old": 0, "new": 0}
    folder = os.path.dirname(path)
    packets = audio_packets(path)
    for turn in range(rounds):
        # Now within the room that is there, now with a need for more.
        long = "x" * source.choice([10, 200, 70_000])
        pairs = [f"xesam:title={turn} {long}", f"xesam:artist=A{turn}", "xesam:artist=B"]
        old = digest(path)
        copy = os.path.join(folder, "copy" + os.path.splitext(path)[1])
        shutil.copy(path, copy)
        begin = time.monotonic()
        if setter(copy, *pairs) != "done":
            fail(f"{path}: not written")
        duration = time.monotonic() - begin
        new = digest(copy)
        os.remove(copy)
        child = subprocess.Popen([os.path.join(faultlib.programs, "tag_setter"), path, *pairs], stdout=subprocess.DEVNULL)
        time.sleep(source.uniform(0, duration * 1.05))
        child.send_signal(signal.SIGKILL)
        child.wait()
        found = digest(path)
        if found not in (old, new):
            fail(f"{os.path.basename(path)}: torn")
            return counts
        counts["new" if found == new else "old"] += 1
        if setter(path, *pairs) not in ("done", "unchanged") or digest(path) != new:
            fail(f"{os.path.basename(path)}: the next change did not make it")
        if litter(folder):
            fail(f"{os.path.basename(path)}: left {litter(folder)}")
    if audio_packets(path) != packets:
        fail(f"{os.path.basename(path)}: other audio packets")
    return counts


def kills(folder, options):
    total = {"old": 0, "new": 0}
    source = random.Random(options.seed)
    kinds = chosen(list(KINDS), options)
    for i, kind in enumerate(kinds):
        path = os.path.join(folder, f"song.{kind}")
        make(path, kind, 2 if options.short else 8)
        rounds = (options.kills * (i + 1)) // len(kinds) - (options.kills * i) // len(kinds)
        for key, count in kill_rounds(path, rounds, source).items():
            total[key] += count
        os.remove(path)
    print(f"kills: {total}")


# ---- main ------------------------------------------------------------------------------------------------------------

PARTS = {"readers": readers, "covers": covers, "kills": kills}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--kills", type=int)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    parser.add_argument("--only", default="")
    parser.add_argument("--corpus", default=os.environ.get("MIVO_CORPUS", os.path.join(os.path.dirname(__file__), "../../../shared/corpus")))
    parser.add_argument("parts", nargs="*")
    options = parser.parse_args()
    options.kills = options.kills or (35 if options.short else 500)
    for program in ("ffmpeg", "ffprobe"):
        if not shutil.which(program):
            print(program, "is not here")
            return SKIPPED
    if not importlib.util.find_spec("mutagen"):
        print("mutagen is not here")
        return SKIPPED
    if options.parts == ["readers"] and not os.path.isdir(options.corpus):
        print("the media corpus is not here")
        return SKIPPED
    faultlib.programs = options.programs
    print("seed", options.seed)
    with tempfile.TemporaryDirectory() as folder:
        for part in options.parts or PARTS:
            PARTS[part](folder, options)
    return 1 if faultlib.failures else 0


if __name__ == "__main__":
    sys.exit(main())
