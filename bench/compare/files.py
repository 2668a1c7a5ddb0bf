"""The collections that bench/compare/run works on, made once."""
import os
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = ROOT / "build" / "bench-compare"
SYSTEM_PYTHON = "/usr/bin/python3"  # the one that has Debian's mutagen
SONGS, MIXED, COVERS, PHOTOS, HEICS = 2000, 400, 200, 40, 10
MIXED_CODECS = {"flac": ["-c:a", "flac"], "ogg": ["-c:a", "libvorbis", "-q:a", "4"], "opus": ["-c:a", "libopus", "-b:a", "96k"],
                "m4a": ["-c:a", "aac", "-b:a", "128k"]}
TAGS = {"title": "Song number {}", "artist": "Some Artist", "album": "The Album", "genre": "Rock", "date": "2004",
        "composer": "A Composer", "comment": "a comment", "track": "{}/400"}
# A tone that wanders, a chord and noise: something for every part of an encoder, and compressible like music.
SOUND = ("aevalsrc='0.25*sin(2*PI*(200+20*sin(t/3))*t)+0.15*sin(2*PI*1320*t)*sin(t)+0.08*(random(0)-0.5)|"
         "0.25*sin(2*PI*(300+15*sin(t/5))*t)+0.15*sin(2*PI*1760*t)*cos(t)+0.08*(random(1)-0.5)':s=44100:d={}")


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], check=True)


def sound(path, seconds, *codec):
    ffmpeg("-f", "lavfi", "-i", SOUND.format(seconds), *codec, path)


def tags(number):
    return [word for key, value in TAGS.items() for word in ("-metadata", f"{key}={value.format(number)}")]


def tagged_copies(source, folder, ending, count, picture=None):
    """Ten of them are tagged one by one; the others are copies of these."""
    for number in range(count):
        path = folder / f"{number:04}{ending}"
        if number < 10:
            cover = ["-i", picture, "-map", "0", "-map", "1", "-disposition:v", "attached_pic"] if picture else []
            ffmpeg("-i", source, *cover, "-c", "copy", *tags(number), path)
        else:
            shutil.copy(folder / f"{number % 10:04}{ending}", path)


def make_songs():
    folder = FOLDER / "songs"
    folder.mkdir()
    sound(FOLDER / "song.mp3", 20, "-c:a", "libmp3lame", "-b:a", "192k")
    tagged_copies(FOLDER / "song.mp3", folder, ".mp3", SONGS)


def make_mixed():
    folder = FOLDER / "mixed"
    folder.mkdir()
    for kind, codec in MIXED_CODECS.items():
        sound(FOLDER / f"song.{kind}", 20, *codec)
        tagged_copies(FOLDER / f"song.{kind}", folder, f".{kind}", MIXED // len(MIXED_CODECS))


def make_covers():
    folder = FOLDER / "covers"
    folder.mkdir()
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=600x600:d=1:r=1", "-frames:v", "1", "-q:v", "2", FOLDER / "cover.jpg")
    tagged_copies(FOLDER / "song.mp3", folder, ".mp3", COVERS, FOLDER / "cover.jpg")


def make_photos():
    """Noise over a picture of a television test: as much detail as a phone's camera writes."""
    folder = FOLDER / "photos"
    folder.mkdir()
    for number in range(PHOTOS):
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=s=4032x3024:d=1:r=1,hue=h={number * 9},noise=alls=12:allf=t+u:all_seed={number}",
               "-frames:v", "1", "-q:v", "3", folder / f"{number:02}.jpg")
    heics = FOLDER / "heics"
    heics.mkdir()
    for number in range(HEICS):
        subprocess.run(["heif-enc", "-q", "50", "-t", "512", str(folder / f"{number:02}.jpg"), "-o", str(heics / f"{number:02}.heic")],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def make_movies():
    folder = FOLDER / "movies"
    folder.mkdir()
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=1920x1080:d=60:r=30", "-f", "lavfi", "-i", SOUND.format(60), "-c:v", "libx264",
           "-preset", "veryfast", "-g", "250", "-c:a", "aac", folder / "long.mp4")


def make_sounds():
    folder = FOLDER / "sounds"
    folder.mkdir()
    sound(folder / "three.wav", 180, "-c:a", "pcm_s16le")
    ffmpeg("-i", folder / "three.wav", *tags(1), folder / "three.flac")


def make_all():
    done = FOLDER / "made"
    if done.exists():
        return
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir(parents=True)
    for make in (make_songs, make_mixed, make_covers, make_photos, make_movies, make_sounds):
        make()
    os.sync()
    done.touch()
