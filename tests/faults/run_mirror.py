#!/usr/bin/python3
"""What is in a mirror whose making is killed or interrupted at any moment, or that has no room, and what the next runs
make of it.

run_mirror.py --programs FOLDER [--short] [--kills N] [--seed N]

FOLDER holds mivo and mivo-mediad. The exit status is 1 when there ever was a file that is not as an undisturbed run makes
it, when runs that were not disturbed did not bring the mirror to its end, left anything beside it, or did anything again.
"""
import argparse
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from faultlib import digest, fail, failures

SKIPPED = 77
STATE = ".mivo-mirror"
SONGS = 12


def make_library(folder):
    """Lossless songs in several folders, of a second or a few, and one that is copied."""
    for i in range(SONGS):
        place = folder / str(i % 3)
        place.mkdir(parents=True, exist_ok=True)
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"anoisesrc=r=44100:d={1 + i % 4}:a=0.3:seed={i}",
                        "-metadata", f"title={i}", place / f"{i}.flac"], check=True)
    subprocess.run(["ffmpeg", "-v", "error", "-i", folder / "0" / "0.flac", folder / "copied.mp3"], check=True)


def files_in(folder):
    """What people see there: names and contents."""
    return {str(path.relative_to(folder)): digest(path) for path in folder.rglob("*")
            if path.is_file() and not any(part.startswith(".") for part in path.relative_to(folder).parts)}


class Mirror:
    def __init__(self, programs, library, folder):
        self.words = [os.path.join(programs, "mivo"), "encode", "--mirror", "--quality", "fast", str(library), str(folder)]
        self.folder = folder

    def run(self):
        return subprocess.run(self.words, capture_output=True, text=True, timeout=300)

    def run_disturbed(self, seconds, how):
        """False where it had come to its end before."""
        process = subprocess.Popen(self.words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(seconds)
        disturbed = process.poll() is None
        if disturbed:
            process.send_signal(how)
        process.wait(timeout=300)
        return disturbed

    def check_names(self, whole):
        for name, content in files_in(self.folder).items():
            if whole.get(name) != content:
                fail(f"{name} is not as an undisturbed run makes it")

    def check_end(self, whole):
        if self.run().returncode:
            fail("an undisturbed run failed")
        if files_in(self.folder) != whole:
            fail("an undisturbed run did not bring the mirror to its end")
        left = [path.name for path in self.folder.rglob(".*") if path.name != STATE]
        if left:
            fail(f"there is {left}")
        again = self.run().stdout
        if not again.startswith(f"0 encoded, 0 copied, {SONGS + 1} unchanged, 0 removed, 0 failed"):
            fail(f"a second run says {again!r}")


def kills(programs, folder, count):
    library = folder / "library"
    make_library(library)
    reference = Mirror(programs, library, folder / "reference")
    begin = time.monotonic()
    reference.run()
    duration = time.monotonic() - begin
    whole = files_in(reference.folder)
    if len(whole) != SONGS + 1:
        fail(f"an undisturbed run made {sorted(whole)}")
    disturbed = rounds = 0
    while disturbed < count and not failures:
        mirror = Mirror(programs, library, folder / "mirror")
        shutil.rmtree(mirror.folder, ignore_errors=True)
        for _ in range(random.randrange(1, 6)):
            how = random.choice([signal.SIGKILL, signal.SIGKILL, signal.SIGINT])
            disturbed += mirror.run_disturbed(random.uniform(0, duration), how)
            if mirror.folder.exists():
                mirror.check_names(whole)
        mirror.check_end(whole)
        rounds += 1
    print(f"kills: {disturbed} runs were killed or interrupted, in {rounds} mirrors")


def room(programs, folder):
    """What has no room on the disk takes none from what comes after it, and is made when there is some."""
    library, mount = folder / "songs", folder / "small"
    library.mkdir()
    mount.mkdir()
    for name, seconds in (("a", 12), ("b", 4)):
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"sine=d={seconds}", "-metadata", "title=T",
                        library / f"{name}.flac"], check=True)
    words = f"'{programs}/mivo' encode --mirror --jobs 1 '{library}' '{mount}'"
    script = f"""mount -t tmpfs -o size=400k none '{mount}'
        {words} || echo failed $?
        ls -A '{mount}'
        mount -o remount,size=4m '{mount}'
        {words}"""
    done = subprocess.run(["unshare", "--mount", "--propagation", "private", "sh", "-ec", script],
                          capture_output=True, text=True, timeout=300)
    if "mount" in done.stderr:
        print("room: nothing can be mounted here")
        return
    expected = f"""encoded  b.mp3
1 encoded, 0 copied, 0 unchanged, 0 removed, 1 failed
failed 1
{STATE}
b.mp3
encoded  a.mp3
1 encoded, 0 copied, 1 unchanged, 0 removed, 0 failed
"""
    if done.stdout != expected or f"a.flac: there is no room for its copy in {mount}\n" not in done.stderr:
        fail(f"room: {done.stdout}{done.stderr}")
    print("room: a full disk")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True, help="folder of mivo and mivo-mediad")
    parser.add_argument("--short", action="store_true", help="few rounds")
    parser.add_argument("--kills", type=int, help="how many (10 when short, else 300)")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of the random moments")
    options = parser.parse_args()
    random.seed(options.seed)
    print(f"seed {options.seed}")
    os.environ.pop("DBUS_SESSION_BUS_ADDRESS", None)
    if not shutil.which("ffmpeg") or not shutil.which("dbus-daemon"):
        print("skipped: ffmpeg or dbus-daemon is not installed")
        return SKIPPED
    with tempfile.TemporaryDirectory(prefix="mivo-faults-") as folder:
        os.environ["XDG_RUNTIME_DIR"] = folder
        room(os.path.abspath(options.programs), pathlib.Path(folder))
        kills(options.programs, pathlib.Path(folder), options.kills or (10 if options.short else 300))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
