"""What the parts of run_faults.py share: files to update, updates of them, and judging what they left."""
import hashlib
import os
import random
import shutil
import subprocess
import time

failures = []
programs = None  # the folder of tag_updater and libfault_interposer.so


def fail(text):
    failures.append(text)
    print("FAILED:", text)


def digest(path):
    hash_ = hashlib.blake2b()
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            hash_.update(block)
    return hash_.hexdigest()


def chosen(names, options):
    """Those of the names that --only asks for."""
    wanted = [name for name in names if options.only in name]
    if not wanted:
        raise SystemExit(f"--only {options.only}: there are {', '.join(names)}")
    return wanted


def litter(folder):
    return [name for name in os.listdir(folder) if name.startswith(".mivo")]


def parts(folder):
    return [os.path.join(folder, name) for name in litter(folder) if name.startswith(".mivo-part")]


def has_nameless_files(folder):
    try:
        os.close(os.open(folder, os.O_TMPFILE | os.O_RDWR))
    except OSError:
        return False
    return True


# ---- files -----------------------------------------------------------------------------------------------------------

def make_mp3(path, megabytes):
    """Valid frame headers with noise behind them: no block of the file is like another."""
    source = random.Random(megabytes)
    block = b"".join(b"\xff\xfb\x90\x64" + source.randbytes(413) for _ in range(2514))  # about 1 MB
    with open(path, "wb") as file:
        for i in range(megabytes):
            file.write(i.to_bytes(4, "big").join([block[:4], block[8:]]))


def make_m4a(path, megabytes, flags=()):
    seconds = megabytes * 1_000_000 / 88_200
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"anoisesrc=r=44100:d={seconds}:seed={megabytes}",
                    "-c:a", "alac", "-sample_fmt", "s16p", *flags, path], check=True)


def make(path, megabytes):
    if path.endswith(".mp3"):
        make_mp3(path, megabytes)
    else:
        make_m4a(path, megabytes, ["-movflags", "+faststart"] if "fast" in path else [])


def make_picture(path, edge):
    """Noise does not compress: a PNG and a JPEG of it are large."""
    pixels = random.Random(edge).randbytes(edge * edge * 3)
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "rgb24", "-s", f"{edge}x{edge}", "-i", "-",
                    path], input=pixels, check=True)


def audio_hash(path):
    command = ["ffmpeg", "-v", "quiet", "-i", path, "-map", "0:a", "-c", "copy", "-f", "md5", "-"]
    return subprocess.run(command, capture_output=True, text=True).stdout


# ---- updates ---------------------------------------------------------------------------------------------------------

class Records:
    """Two records by turns: one with a cover of 300 KB, one without any."""

    def __init__(self, folder):
        self.picture = os.path.join(folder, "cover.png")
        make_picture(self.picture, 320)

    def arguments(self, turn):
        if turn % 2:
            return ["Title=" + "x" * 1500, "Artist=with", f"AlbumArt=@{self.picture}"]
        return ["Title=short", "Artist=without", "AlbumArt=null"]


def command(path, arguments):
    return [os.path.join(programs, "tag_updater"), path, *arguments]


def update(path, arguments, environment=None, prefix=()):
    return subprocess.run([*prefix, *command(path, arguments)], capture_output=True, text=True,
                          env={**os.environ, **(environment or {})})


def updated_copy(path, arguments, folder):
    copy = os.path.join(folder, "copy-" + os.path.basename(path))
    shutil.copyfile(path, copy)
    begin = time.monotonic()
    update(copy, arguments)
    return digest(copy), time.monotonic() - begin


def faulty_update(path, arguments, call, error, index, report, named=False):
    """`named`: as on a file system that has no nameless files."""
    preload = os.path.join(programs, "libfault_interposer.so")
    result = update(path, arguments, {"LD_PRELOAD": preload, "FAULT_CALL": call, "FAULT_ERROR": str(error),
                                      "FAULT_INDEX": str(index), "FAULT_REPORT": report,
                                      "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0",
                                      **({"FAULT_NAMED": "1"} if named else {})})
    came = os.path.exists(report)
    if came:
        os.unlink(report)
    return result, came


def judge_faulty(name, path, result, old, new, must_succeed):
    found = digest(path)
    if found not in (old, new):
        fail(f"{name}: neither the old nor the new content")
    if must_succeed and found != new:
        fail(f"{name}: not continued")
    opened = "MP4Tag file open fail" not in result.stderr
    if result.stdout != ("true\n" if opened else "false\n"):
        fail(f"{name}: answered {result.stdout!r}")
    if found == old and opened and result.stderr.count("Cannot replace the content of") != 1:
        fail(f"{name}: no reason in the log: {result.stderr!r}")
    if litter(os.path.dirname(path)):
        fail(f"{name}: litter {litter(os.path.dirname(path))}")
    return "new" if found == new else "old"
