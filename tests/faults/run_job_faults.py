#!/usr/bin/python3
"""What happens to files whose encoding, conversion or export is killed, runs out of room or meets a bad source.

run_job_faults.py --programs FOLDER [--short] [--kills N] [--seed N] [--only JOB] [PART...]

FOLDER holds mivo and mivo-mediad. Parts: room, readonly, kills, cut, same; all of them without a name. Every part prints
its counts; the exit status is 1 when a source was ever changed, a job reported success without its whole output, or an
export or conversion left half a file under its final name or a hidden one.
"""
import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from faultlib import audio_hash, chosen, digest, fail, failures, has_nameless_files

SKIPPED = 77
programs = None


class Job:
    """One kind of job: the command with its options, its source, and what its whole output is."""

    def __init__(self, words, source, output, folder):
        self.words, self.source, self.output = words, source, output
        self.command = "-".join(word.strip("-") for word in words)
        self.before = digest(source)
        whole = os.path.join(folder, "whole-" + output)
        begin = time.monotonic()
        result = self.run(whole)
        self.duration = time.monotonic() - begin
        if result.returncode:
            raise RuntimeError(f"mivo {self.command} failed: {result.stderr}")
        self.size, self.whole, self.audio = os.path.getsize(whole), digest(whole), audio_hash(whole)
        os.unlink(whole)

    def run(self, output, environment=None, source=None):
        return subprocess.run([*self.call(), source or self.source, output], capture_output=True, text=True, timeout=300, env={**os.environ, **(environment or {})})

    def call(self):
        return [os.path.join(programs, "mivo"), *self.words]

    def source_is_whole(self, name):
        if digest(self.source) != self.before:
            fail(f"{name}: the source changed")


def make_jobs(folder, seconds, options):
    sound, movie = os.path.join(folder, "sound.wav"), os.path.join(folder, "movie.mov")
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"anoisesrc=r=44100:d={seconds}:a=0.3:seed=1",
                    "-ac", "2", sound], check=True)
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"testsrc2=s=640x360:r=25:d={seconds}",
                    "-f", "lavfi", "-i", f"anoisesrc=r=44100:d={seconds}:seed=2", "-c:v", "libx264", "-preset", "ultrafast",
                    "-c:a", "aac", movie], check=True)
    # Several encoders share out what is longer than a quarter of a minute.
    longer = os.path.join(folder, "longer.wav")
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", f"anoisesrc=r=44100:d={max(seconds, 40)}:a=0.3:seed=3",
                    "-ac", "2", longer], check=True)
    rows = {"encode": (["encode", "--cores", "1"], sound, "out.mp3"),
            "convert": (["convert", "--cores", "1"], sound, "out.m4a"),
            "export": (["export"], movie, "out.mp4"),
            "2-mp3": (["encode", "--cores", "2"], longer, "out2.mp3"),
            "2-aac": (["convert", "--cores", "2"], longer, "out2.m4a")}
    return [Job(*rows[name], folder) for name in chosen(list(rows), options)]


def expect_refused(name, job, result, output):
    if result.returncode != 1 or not result.stderr:
        fail(f"{name}: exit status {result.returncode}, {result.stderr!r}")
    # The service keeps what a failed encoding wrote, but the tool gives a file its name only when it is whole.
    if os.listdir(os.path.dirname(output)):
        fail(f"{name}: left {os.listdir(os.path.dirname(output))}")
    job.source_is_whole(name)


# ---- a full disk -----------------------------------------------------------------------------------------------------

def room(folder, jobs, options):
    """Room for none, one tenth ... nine tenths of the output, then room for all of it."""
    mount = os.path.join(folder, "small")
    os.mkdir(mount)
    refused = 0
    for job in jobs:
        for tenth in list(range(10)) + [25]:
            size = max(4096, job.size * tenth // 10)
            if subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "none", mount],
                              capture_output=True).returncode:
                print("room: skipped, cannot mount a small tmpfs here")
                return
            try:
                name, output = f"{job.command} with {tenth} tenths of room", os.path.join(mount, job.output)
                result = job.run(output)
                if tenth > 9:
                    if result.returncode or digest(output) != job.whole:
                        fail(f"{name}: {result.stderr!r}")
                    continue
                expect_refused(name, job, result, output)
                refused += 1
            finally:
                subprocess.run(["umount", mount], check=True)
    print(f"room: {refused} jobs on a full disk: each refused, nothing left;"
          f" {len(jobs)} with room: done")


def readonly(folder, jobs, options):
    place = os.path.join(folder, "readonly")
    os.mkdir(place)
    if subprocess.run(["mount", "-t", "tmpfs", "none", place], capture_output=True).returncode:
        print("readonly: skipped, cannot mount here")
        return
    try:
        for job in jobs:
            with open(os.path.join(place, job.output), "wb") as older:
                older.write(b"older")
        subprocess.run(["mount", "-o", "remount,ro", place], check=True)
        for job in jobs:
            older = os.path.join(place, job.output)
            for output in (older, os.path.join(place, "new-" + job.output)):
                result = job.run(output)
                if result.returncode != 1 or not result.stderr:
                    fail(f"{job.command} to a read-only mount: {result.returncode}, {result.stderr!r}")
                job.source_is_whole("readonly")
            if open(older, "rb").read() != b"older":
                fail(f"{job.command}: changed a file of a read-only mount")
        print(f"readonly: {2 * len(jobs)} jobs to a read-only mount: each refused")
    finally:
        subprocess.run(["umount", place], check=True)


# ---- kills -----------------------------------------------------------------------------------------------------------

class Session:
    """A bus and the service on it."""

    def __init__(self):
        bus = subprocess.run(["dbus-daemon", "--session", "--fork", "--print-address=1", "--print-pid=1"],
                             capture_output=True, text=True, check=True).stdout.split()
        self.environment, self.bus = {"DBUS_SESSION_BUS_ADDRESS": bus[0]}, int(bus[1])
        self.service = subprocess.Popen([os.path.join(programs, "mivo-mediad")], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, env={**os.environ, **self.environment})
        # A client that comes too early would start a service of its own.
        while not self.ready():
            if self.service.poll() is not None:
                raise RuntimeError("the service ended while it was starting")
            time.sleep(0.01)

    def ready(self):
        return subprocess.run([os.path.join(programs, "mivo"), "status"], capture_output=True,
                              env={**os.environ, **self.environment}).returncode == 0

    def end(self):
        self.service.kill()
        self.service.wait()
        os.kill(self.bus, signal.SIGTERM)


def kills(folder, jobs, options):
    """SIGKILL at random moments of a job, over an older file of the final name every other time."""
    counts = {"nothing": 0, "older": 0, "whole": 0}
    rounds = max(1, options.kills // len(jobs))
    for job in jobs:
        place = os.path.join(folder, "kills-" + job.command)
        os.mkdir(place)
        output = os.path.join(place, job.output)
        for turn in range(rounds):
            if turn % 2:
                with open(output, "wb") as older:
                    older.write(b"older")
            session = Session()
            client = subprocess.Popen([*job.call(), job.source, output],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                      env={**os.environ, **session.environment})
            time.sleep(random.uniform(0, job.duration * 1.05))
            session.end()
            client.wait(60)
            judge_kill(job, output, client.returncode, counts)
            for name in os.listdir(place):
                os.unlink(os.path.join(place, name))
    print(f"kills: {rounds * len(jobs)} services killed in mid-job: {counts}")


def judge_kill(job, output, status, counts):
    name = f"kill of {job.command}"
    job.source_is_whole(name)
    # Only between its two names, when it is whole, does an output leave anything else.
    place = os.path.dirname(output)
    hidden = [os.path.join(place, other) for other in os.listdir(place) if other != job.output]
    if has_nameless_files(place) and any(audio_hash(other) != job.audio for other in hidden):
        fail(f"{name}: left {hidden}")
    if not os.path.exists(output):
        counts["nothing"] += 1
    elif audio_hash(output) == job.audio:
        counts["whole"] += 1  # or all but the tags, which the tool sends when the conversion is done
        return
    elif os.path.getsize(output) == len(b"older"):
        counts["older"] += 1
    else:
        fail(f"{name}: half a file of {os.path.getsize(output)} bytes under the final name")
    if status == 0:
        fail(f"{name}: reported success")


# ---- sources ---------------------------------------------------------------------------------------------------------

def cut(folder, jobs, options):
    """Sources that end early: an answer, and a file only with success or, of sound, as far as the source went."""
    counts = {"done": 0, "refused": 0}
    steps = 5 if options.short else 20
    for job in jobs:
        source = os.path.join(folder, "cut" + os.path.splitext(job.source)[1])
        for step in range(steps):
            shutil.copyfile(job.source, source)
            os.truncate(source, os.path.getsize(source) * step // steps)
            output = os.path.join(folder, "cut-" + job.output)
            result = job.run(output, source=source)
            if result.returncode not in (0, 1) or (result.returncode == 0) != os.path.exists(output):
                fail(f"{job.command} of {step}/{steps} of its source: {result.returncode}, {result.stderr!r}")
            counts["refused" if result.returncode else "done"] += 1
            if os.path.exists(output):
                os.unlink(output)
    print(f"cut: {steps * len(jobs)} cut sources: {counts}")


def same(folder, jobs, options):
    """The destination is the source, by its own name, a symlink or a second name."""
    count = 0
    for job in jobs:
        for kind in ("itself", "symlink", "link"):
            output = job.source
            if kind != "itself":
                output = os.path.join(folder, f"{kind}-{job.output}")
                (os.symlink if kind == "symlink" else os.link)(job.source, output)
            result = job.run(output)
            if result.returncode != 1:
                fail(f"{job.command} onto its source by {kind}: {result.returncode}, {result.stderr!r}")
            job.source_is_whole(f"{job.command} onto its source by {kind}")
            count += 1
    print(f"same: {count} jobs onto their own source: each refused, the source whole")


PARTS = {"room": room, "readonly": readonly, "kills": kills, "cut": cut, "same": same}


def main():
    global programs
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True, help="folder of mivo and mivo-mediad")
    parser.add_argument("--short", action="store_true", help="short sources, few rounds")
    parser.add_argument("--kills", type=int, help="how many (15 when short, else 300)")
    parser.add_argument("--only", default="", metavar="JOB", help="encode, convert, export, 2-mp3 or 2-aac alone")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of the random moments")
    parser.add_argument("parts", nargs="*", choices=[[], *PARTS], default=[])
    options = parser.parse_args()
    options.kills = options.kills or (15 if options.short else 300)
    programs = options.programs
    random.seed(options.seed)
    print(f"seed {options.seed}")
    os.environ.pop("DBUS_SESSION_BUS_ADDRESS", None)
    if not shutil.which("ffmpeg") or not shutil.which("dbus-daemon"):
        print("skipped: ffmpeg or dbus-daemon is not installed")
        return SKIPPED
    with tempfile.TemporaryDirectory(prefix="mivo-faults-") as folder:
        jobs = make_jobs(folder, 5 if options.short else 60, options)
        for part in options.parts or PARTS:
            begin = time.monotonic()
            PARTS[part](folder, jobs, options)
            print(f"{part}: {time.monotonic() - begin:.0f} s", flush=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
