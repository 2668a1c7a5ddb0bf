#!/usr/bin/python3
"""What kills leave of an index, and that two runs do not write one at once.

run_index_faults.py --programs FOLDER [--short] [--kills N] [--seed N] [PART...]

FOLDER holds mivo and mivo-mediad. Parts: first (runs that make an index are killed at random moments, and gone on with),
interrupts (the same with signals that ask), update (so are updates, while files come, change and go), together (a second run is refused), room (the disk is full). The
exit status is 1 when a line was ever lost, doubled or cut within an index, when an index was neither the old nor the new
one during an update, or when what came out in the end is not what a run makes that nobody kills.
"""
import argparse
import json
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import faultlib
from faultlib import fail

SKIPPED = 77
FILES = 400


def make_collection(folder):
    """Files of several kinds in folders of several depths, most of them links to a few."""
    os.makedirs(folder)
    originals = os.path.join(folder, "originals")
    os.mkdir(originals)
    faultlib.make_mp3(os.path.join(originals, "a.mp3"), 1)
    with open(os.path.join(originals, "b.txt"), "w", encoding="ascii") as file:
        file.write("no media")
    sources = [os.path.join(originals, name) for name in ("a.mp3", "a.mp3", "b.txt")]
    for number in range(FILES):
        below = os.path.join(folder, f"d{number % 7}", *(["deep"] if number % 3 else []))
        os.makedirs(below, exist_ok=True)
        os.link(sources[number % 3], os.path.join(below, f"n{number}{os.path.splitext(sources[number % 3])[1]}"))
    odd = os.fsencode(os.path.join(folder, "odd"))
    os.mkdir(odd)
    shutil.copy(os.fsencode(sources[0]), odd + b"/caf\xe9.mp3")


def tool(*words, **more):
    return subprocess.run([os.path.join(faultlib.programs, "mivo"), *words], capture_output=True, text=True,
                          errors="replace", timeout=300, **more)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def whole_lines(path, name):
    """The lines of an index that was killed; only a last one may be cut."""
    lines = read(path).split(b"\n")[:-1]
    for line in lines:
        try:
            json.loads(line)
        except ValueError:
            fail(f"{name}: {line[:200]!r} is no whole line")
    return lines


def status_after(seconds, number, *words):
    """How a run ends that gets a signal after some time."""
    run = subprocess.Popen([os.path.join(faultlib.programs, "mivo"), *words], stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)
    time.sleep(seconds)
    run.send_signal(number)
    return run.wait(timeout=300)


def killed_after(seconds, *words):
    """True when it was killed before its end."""
    return status_after(seconds, signal.SIGKILL, *words) == -signal.SIGKILL


def duration_of(*words):
    begin = time.monotonic()
    result = tool(*words)
    if result.returncode != 0:
        fail(f"{' '.join(words)}: {result.stderr}")
    return time.monotonic() - begin


def first(folder, options):
    """Each index is killed again and again until a run comes to its end."""
    music, whole, out = (os.path.join(folder, name) for name in ("music", "whole.jsonl", "out.jsonl"))
    duration = duration_of("index", music, whole)
    expected = read(whole)
    lines = expected.split(b"\n")[:-1]
    kills = indexes = 0
    while kills < options.kills:
        if os.path.exists(out):
            os.unlink(out)
        before = 0
        while killed_after(random.uniform(0, duration * 1.1), "index", music, out):
            kills += 1
            if not os.path.exists(out):
                continue
            have = whole_lines(out, "first")
            if have != lines[:len(have)]:
                fail(f"first: {len(have)} lines are not the first ones")
            if len(have) < before:
                fail(f"first: {before} lines became {len(have)}")
            before = len(have)
            if kills >= options.kills:
                break
        result = tool("index", music, out)
        if result.returncode != 0 or read(out) != expected:
            fail(f"first: another index than without kills: {result.stderr}")
        indexes += 1
    print(f"first: {kills} kills, {indexes} indexes")


def interrupts(folder, options):
    """Who is interrupted ends in order: no line is cut, and the next run goes on."""
    music, whole, out = (os.path.join(folder, name) for name in ("music", "whole.jsonl", "out.jsonl"))
    duration = duration_of("index", music, whole)
    expected = read(whole)
    interrupted = 0
    for turn in range(options.kills):
        if os.path.exists(out):
            os.unlink(out)
        number = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[turn % 3]
        status = status_after(random.uniform(0, duration), number, "index", music, out)
        # Before it listens a signal ends it as any program.
        if status not in (0, 130, -number):
            fail(f"interrupts: status {status}")
        interrupted += status == 130
        have = read(out) if os.path.exists(out) else b""
        if not expected.startswith(have) or (have and not have.endswith(b"\n")):
            fail(f"interrupts: {len(have)} bytes that are not whole lines")
        if tool("index", music, out).returncode != 0 or read(out) != expected:
            fail("interrupts: not gone on with")
    print(f"interrupts: {interrupted} of {options.kills}")


def change_some(music, turn):
    """Some files come, some change, some go."""
    for number in range(turn % 5, FILES, 40):
        path = os.path.join(music, f"d{number % 7}", f"new{number}.txt")
        if os.path.exists(path) and turn % 2:
            os.unlink(path)
        else:
            with open(path, "a", encoding="ascii") as file:
                file.write(str(turn))


def update(folder, options):
    music, fresh, out = (os.path.join(folder, name) for name in ("music", "fresh.jsonl", "out.jsonl"))
    if os.path.exists(out):
        os.unlink(out)
    tool("index", music, out)
    kills = updates = 0
    while kills < options.kills:
        old = read(out)
        change_some(music, updates)
        if os.path.exists(fresh):
            os.unlink(fresh)
        duration = duration_of("index", music, fresh)
        new = read(fresh)
        while killed_after(random.uniform(0, duration * 1.3), "index", "--update", music, out):
            kills += 1
            if read(out) not in (old, new):
                fail("update: the index is neither the old nor the new one")
            if kills >= options.kills:
                break
        result = tool("index", "--update", music, out)
        if result.returncode != 0 or read(out) != new:
            fail(f"update: another index than a new one: {result.stderr}")
        left = [name for name in os.listdir(folder) if name.startswith(".out")]
        if left:
            fail(f"update: left {left}")
        updates += 1
    print(f"update: {kills} kills, {updates} updates")


def together(folder, _options):
    """Of two runs that begin at once one is refused, or comes when the other has ended."""
    music, out = os.path.join(folder, "music"), os.path.join(folder, "together.jsonl")
    refused = 0
    for turn in range(5):
        words = [os.path.join(faultlib.programs, "mivo"), "index", *(["--update"] if turn else []), music, out]
        change_some(music, turn)
        runs = [subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) for _ in range(3)]
        for run in runs:
            message = run.communicate(timeout=300)[1]
            if run.returncode == 0:
                continue
            refused += 1
            if "is being written by another" not in message:
                fail(f"together: {message}")
        paths = [json.loads(line)["xesam:url"] for line in whole_lines(out, "together")]
        if len(set(paths)) != len(paths) or len(paths) < FILES:
            fail(f"together: {len(paths)} lines, {len(set(paths))} files")
    print(f"together: {refused} refused")


def room(folder, _options):
    """What is there when the disk is full is gone on with when there is room."""
    music, mount = os.path.join(folder, "music"), os.path.join(folder, "small")
    os.mkdir(mount)
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "none", mount], capture_output=True).returncode:
        print("room: nothing can be mounted here")
        return
    try:
        out = os.path.join(mount, "out.jsonl")
        result = tool("index", music, out)
        if result.returncode != 1 or "No space left" not in result.stderr:
            fail(f"room: {result.returncode} {result.stderr}")
        if not read(out).endswith(b"\n"):
            fail("room: a cut line stayed")
        whole_lines(out, "room")
        subprocess.run(["mount", "-o", "remount,size=64m", mount], check=True)
        again = tool("index", music, out)
        if again.returncode != 0 or len(whole_lines(out, "room")) < FILES:
            fail(f"room: not gone on with: {again.stderr}")
        print("room: a full disk")
    finally:
        subprocess.run(["umount", mount], check=True)


PARTS = {"first": first, "interrupts": interrupts, "update": update, "together": together, "room": room}


def start_bus(folder):
    bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1",
                            f"--address=unix:path={folder}/bus"], stdout=subprocess.PIPE, text=True,
                           stderr=subprocess.DEVNULL)
    os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
    return bus


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", required=True)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--kills", type=int)
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 30))
    parser.add_argument("parts", nargs="*", choices=[*PARTS, []])
    options = parser.parse_args()
    options.kills = options.kills or (20 if options.short else 500)
    if not shutil.which("dbus-daemon"):
        print("dbus-daemon is not here")
        return SKIPPED
    faultlib.programs = options.programs
    print("seed", options.seed)
    random.seed(options.seed)
    with tempfile.TemporaryDirectory() as folder:
        bus = start_bus(folder)
        try:
            make_collection(os.path.join(folder, "music"))
            for part in options.parts or PARTS:
                PARTS[part](folder, options)
        finally:
            tool("quit")
            bus.terminate()
            bus.wait()
    return 1 if faultlib.failures else 0


if __name__ == "__main__":
    sys.exit(main())
