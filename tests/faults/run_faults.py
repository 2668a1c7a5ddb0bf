#!/usr/bin/python3
"""What happens to files whose update is killed, runs out of room, meets failing calls or rivals, or shares blocks.

run_faults.py --programs FOLDER [--short] [--kills N] [--seed N] [--only TEXT] [PART...]

Parts: kills, steps, calls, room, rights, turns, kinds, sharing; all of them without a name. Every part prints its counts; the exit
status is 1 when a file was ever anything but its old or its new content.
"""
import argparse
import errno
import os
import random
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time

import faultlib
import sharing
from faultlib import (Records, audio_hash, chosen, command, digest, fail, faulty_update, has_nameless_files, judge_faulty,
                      litter, make, parts, update, updated_copy)

NOBODY = 65534
SKIPPED = 77


# ---- (a) kills -------------------------------------------------------------------------------------------------------

def judge_killed(name, path, old, new, linked, nameless):
    """What a kill may leave: the old or the new content, in place also both with a journal; and beside it nothing but,
    between the last two calls, a whole new file."""
    folder = os.path.dirname(path)
    left = parts(folder)
    if nameless and (len(left) > 1 or any(digest(part) != new for part in left)):
        fail(f"{name}: left {litter(folder)}")
    found = digest(path)
    if found in (old, new):
        return ("new" if found == new else "old"), bool(left)
    if linked and any(kept.startswith(".mivo-journal") for kept in litter(folder)):
        return "journalled", bool(left)  # torn, and its complete old content lies beside it
    fail(f"{name}: torn")
    return "torn", bool(left)


def kill_rounds(path, rounds, records, work, linked):
    """Kills updates of one file at random moments; every next update has to leave the new content and nothing else."""
    counts = {"old": 0, "new": 0, "journalled": 0, "litter": 0}
    folder = os.path.dirname(path)
    nameless = has_nameless_files(folder)
    audio = audio_hash(path)
    for turn in range(rounds):
        arguments = records.arguments(turn + 1)
        old = digest(path)
        new, duration = updated_copy(path, arguments, work)
        child = subprocess.Popen(command(path, arguments), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(random.uniform(0, duration * 1.05))
        child.send_signal(signal.SIGKILL)
        child.wait()
        found, left = judge_killed(f"{path}: kill {turn}", path, old, new, linked, nameless)
        if found == "torn":
            return counts
        counts[found] += 1
        counts["litter"] += left
        update(path, arguments)
        if digest(path) != new:
            fail(f"{path}: not the new content after the update that followed kill {turn}")
        if litter(folder):
            fail(f"{path}: litter after the update that followed kill {turn}: {litter(folder)}")
    if audio_hash(path) != audio:
        fail(f"{path}: other audio than before")
    return counts


def kills(folder, options):
    records = Records(folder)
    sizes = [(1, 2), (5, 1)] if options.short else [(1, 10), (5, 7), (50, 2), (200, 1)]
    kinds = ["end.m4a", "fast.m4a", "plain.mp3", "linked.mp3", "linked.m4a"]
    unit = options.kills / (len(kinds) * sum(weight for _, weight in sizes))
    kinds = chosen(kinds, options)
    total = {}
    done = 0
    for megabytes, weight in sizes:
        for kind in kinds:
            place = os.path.join(folder, f"{megabytes}-{kind}")
            os.mkdir(place)
            path = os.path.join(place, kind)
            make(path, megabytes)
            linked = "linked" in kind
            if linked:
                os.link(path, os.path.join(place, "second name"))
            rounds = max(1, round(unit * weight))
            counts = kill_rounds(path, rounds, records, folder, linked)
            print(f"  {rounds} kills, {megabytes} MB {kind}: {counts}", flush=True)
            for key, count in counts.items():
                total[key] = total.get(key, 0) + count
            done += rounds
            if linked and not os.path.samefile(path, os.path.join(place, "second name")):
                fail(f"{path}: lost its second name")
            shutil.rmtree(place)
    print(f"kills: {done} kills over files of {sizes[0][0]} to {sizes[-1][0]} MB: {total['old']} old, {total['new']} new,"
          f" {total['journalled']} in place with a journal, {total['litter']} left a hidden file for the next update")


def steps_of(pristine, arguments, work, named):
    """Kills an update of copies of a file before its first call, its second, and so on until it ends by itself; how many
    calls that were, and after how many of them a hidden file was left."""
    kind = os.path.basename(pristine)
    place = os.path.join(work, f"{kind}-steps-{named}")
    os.mkdir(place)
    path = os.path.join(place, kind)
    nameless = not named and has_nameless_files(place)
    new, _ = updated_copy(pristine, arguments, work)
    came, calls, left_some = True, 0, 0
    while came:
        shutil.copyfile(pristine, path)
        if "linked" in kind:
            os.link(path, os.path.join(place, "second"))
        _, came = faulty_update(path, arguments, "any", "kill", calls, os.path.join(work, "report"), named)
        name = f"{kind}, {'named' if named else 'nameless'} parts: killed before call {calls}"
        found, left = judge_killed(name, path, digest(pristine), new, "linked" in kind, nameless)
        if not came and found != "new":
            fail(f"{name}, which never came: {found}")
        calls, left_some = calls + came, left_some + left
        update(path, arguments)
        if digest(path) != new or litter(place):
            fail(f"{name}: the next update left {litter(place)}")
        for name in os.listdir(place):
            os.unlink(os.path.join(place, name))
    # The one moment is that between the two last names. A journal has the right one at once.
    if nameless and left_some != (0 if "linked" in kind else 1):
        fail(f"{kind}: a kill leaves a hidden file at {left_some} moments")
    return calls, left_some


def steps(folder, options):
    """Kills updates before each system call that they make, also as on a file system without nameless files."""
    records = Records(folder)
    counts = []
    for kind in chosen(["plain.mp3", "end.m4a", "linked.mp3"], options):
        pristine = os.path.join(folder, kind)
        make(pristine, 1)
        counts += [steps_of(pristine, records.arguments(1), folder, named) for named in (False, True)]
    calls, left = (sum(column) for column in zip(*counts))
    print(f"steps: {calls} updates killed before one of their calls: {left} left a hidden file for the next update")


# ---- (b) failing calls -----------------------------------------------------------------------------------------------

RETRIED = ["pwrite", "pread", "copy_file_range", "fsync", "ftruncate", "flock"]
OTHERS = ["linkat", "renameat", "openat", "tmpfile", "fchmod", "fsetxattr", "fallocate"]
SHORT = ["pwrite", "pread", "copy_file_range"]


def failing_calls(folder, options):
    records = Records(folder)
    arguments = records.arguments(1)
    counts = {"old": 0, "new": 0}
    for kind in chosen(["plain.mp3", "end.m4a", "linked.mp3"], options):
        place = os.path.join(folder, kind + "-calls")
        os.mkdir(place)
        pristine = os.path.join(folder, kind)
        make(pristine, 1)
        path = os.path.join(place, kind)

        def fresh():
            shutil.rmtree(place)
            os.mkdir(place)
            shutil.copyfile(pristine, path)
            os.setxattr(path, "user.mood", b"calm")
            if "linked" in kind:
                os.link(path, os.path.join(place, "second"))

        fresh()
        update(path, arguments)
        old, new = digest(pristine), digest(path)
        cases = [(call, error) for call in RETRIED + OTHERS for error in (errno.ENOSPC, errno.EIO)]
        cases += [(call, errno.EINTR) for call in RETRIED] + [(call, "short") for call in SHORT]
        for call, error in cases:
            step = 5 if options.short and call == "pread" else 1
            for index in range(0, 400, step):
                fresh()
                result, came = faulty_update(path, arguments, call, error, index, os.path.join(folder, "report"))
                if not came:
                    break
                name = f"{kind}: {call} {index} -> {error}"
                counts[judge_faulty(name, path, result, old, new, error in (errno.EINTR, "short"))] += 1
        # A disk that fails for good while a file is rewritten in place: the next update restores it.
        for call in ("pwrite", "fsync"):
            fresh()
            faulty_update(path, arguments, call, errno.EIO, "all", os.path.join(folder, "report"))
            update(path, arguments)
            if digest(path) != new or litter(place):
                fail(f"{kind}: not right after every {call} had failed")
    print(f"calls: {counts['old'] + counts['new']} failing calls: {counts['old']} kept the old content,"
          f" {counts['new']} went on to the new")


# ---- (c) no room -----------------------------------------------------------------------------------------------------

def room(folder, options):
    mount = os.path.join(folder, "small")
    os.mkdir(mount)
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=6m", "none", mount], capture_output=True).returncode:
        print("room: skipped, cannot mount a small tmpfs here")
        return
    try:
        records = Records(folder)
        counts = {"old": 0, "new": 0}
        for kind in ["plain.mp3", "end.m4a", "linked.mp3"]:
            pristine = os.path.join(folder, "room-" + kind)
            make(pristine, 2)
            path = os.path.join(mount, kind)
            reference = os.path.join(folder, "reference-" + kind)
            shutil.copyfile(pristine, reference)
            update(reference, records.arguments(1))
            for tenth in range(0, 13):
                shutil.copyfile(pristine, path)
                if "linked" in kind:
                    os.link(path, os.path.join(mount, "second"))
                free = os.statvfs(mount).f_bavail * os.statvfs(mount).f_bsize
                ballast = max(0, free - tenth * 256 * 1024)
                with open(os.path.join(mount, "ballast"), "wb") as file:
                    file.write(b"\1" * ballast)
                result = update(path, records.arguments(1))
                counts[judge_faulty(f"{kind} with {tenth * 256} KB free", path, result, digest(pristine),
                                    digest(reference), False)] += 1
                for name in os.listdir(mount):
                    os.unlink(os.path.join(mount, name))
        print(f"room: {sum(counts.values())} updates on a small file system: {counts['old']} kept the old content,"
              f" {counts['new']} had room")
        if not counts["old"] or not counts["new"]:
            fail("room: not both outcomes were seen")
    finally:
        subprocess.run(["umount", mount], check=True)


# ---- (d) no right ----------------------------------------------------------------------------------------------------

def expect_refused(name, path, arguments, prefix, mp4_answer):
    before, facts = digest(path), os.stat(path)
    result = update(path, arguments, prefix=prefix)
    answer = mp4_answer if path.endswith(".m4a") else "true"
    if result.stdout.strip() != answer or digest(path) != before or os.stat(path).st_ctime_ns != facts.st_ctime_ns:
        fail(f"{name}: answered {result.stdout.strip()}, {result.stderr.strip()}")
    if not result.stderr:
        fail(f"{name}: no log line")


def rights(folder, options):
    if os.geteuid() != 0:
        print("rights: skipped, only root can take rights away")
        return
    os.chmod(folder, 0o755)
    local = os.path.join(folder, "tag_updater")
    shutil.copy(os.path.join(faultlib.programs, "tag_updater"), local)
    everybodys = faultlib.programs
    faultlib.programs = folder
    nobody = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
    arguments = ["Title=t"]
    count = 0
    for kind in ["plain.mp3", "end.m4a"]:
        place = os.path.join(folder, "rights-" + kind)
        os.mkdir(place)
        path = os.path.join(place, kind)
        make(path, 1)
        os.chown(place, NOBODY, NOBODY)
        os.chown(path, NOBODY, NOBODY)
        os.chmod(path, 0o400)
        expect_refused(f"{kind}: mode 0400", path, arguments, nobody, "false")
        os.chmod(path, 0o644)
        os.chmod(place, 0o555)
        expect_refused(f"{kind}: folder of mode 0555", path, arguments, nobody, "true")
        os.chmod(place, 0o755)
        count += 2
        if subprocess.run(["chattr", "+i", path], capture_output=True).returncode == 0:
            expect_refused(f"{kind}: immutable", path, arguments, [], "false")
            subprocess.run(["chattr", "-i", path], check=True)
            count += 1
        if subprocess.run(["mount", "--bind", place, place], capture_output=True).returncode == 0:
            subprocess.run(["mount", "-o", "remount,ro,bind", place], check=True)
            expect_refused(f"{kind}: read-only mount", path, arguments, [], "false")
            subprocess.run(["umount", place], check=True)
            count += 1
        # A writable file of somebody else in one's own folder: replaced, and then one's own.
        os.chown(path, 0, 0)
        os.chmod(path, 0o666)
        result = update(path, arguments, prefix=nobody)
        if result.stdout != "true\n" or stat.S_IMODE(os.stat(path).st_mode) != 0o666:
            fail(f"{kind}: foreign owner: {result.stdout} {result.stderr}")
        count += 1
    faultlib.programs = everybodys
    print(f"rights: {count} updates without a right: each refused and logged, or done, as it should")


# ---- (e) rivals ------------------------------------------------------------------------------------------------------

def turns(folder, options):
    rounds = 25 if options.short else 200
    for kind, keys in [("plain.mp3", ("Genre=g", "TrackNo=")), ("end.m4a", ("Title=g", "TrackNo=")),
                       ("linked.mp3", ("Genre=g", "TrackNo="))]:
        place = os.path.join(folder, "turns-" + kind)
        os.mkdir(place)
        path = os.path.join(place, kind)
        make(path, 1)
        audio = audio_hash(path)
        if "linked" in kind:
            os.link(path, os.path.join(place, "second"))
        # A disk that takes seconds for one update makes the other one give up, and say so: it comes again.
        script = """for i in $(seq 1 $3); do
            while "$0" "$1" "$2$i" 2>&1 >/dev/null | tee /dev/stderr | grep -q "another program"; do :; done
        done"""
        rivals = [subprocess.Popen(["sh", "-c", script, command(path, [])[0], path, key, str(rounds)],
                                   stdout=subprocess.DEVNULL) for key in keys]
        if any(rival.wait() for rival in rivals):
            fail(f"{kind}: a rival failed")
        probe = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "default=nk=0", path],
                               capture_output=True, text=True).stdout
        found = dict(line.removeprefix("TAG:").split("=", 1) for line in probe.splitlines() if "=" in line)
        name = keys[0].split("=")[0].lower()
        if found.get(name) != f"g{rounds}" or found.get("track", "").split("/")[0] != str(rounds):
            fail(f"{kind}: an update was lost: {found}")
        if audio_hash(path) != audio or litter(place):
            fail(f"{kind}: audio or litter after {rounds} turns")
    print(f"turns: 3 files, two processes with {rounds} updates each: no update lost")


# ---- (f) kinds of files ----------------------------------------------------------------------------------------------

def kinds(folder, options):
    count = 0
    for kind in ["plain.mp3", "end.m4a"]:
        place = os.path.join(folder, "kinds-" + kind)
        os.mkdir(place)
        path = os.path.join(place, kind)
        link = os.path.join(place, "link" + path[-4:])
        make(path, 1)
        os.symlink(kind, link)
        os.setxattr(path, "user.mood", b"calm")
        acl = subprocess.run(["setfacl", "-m", "u:1234:rw", path], capture_output=True).returncode == 0
        if os.geteuid() == 0:
            os.chown(path, 1234, 2345)
            os.chmod(path, 0o400)
            if acl:
                subprocess.run(["setfacl", "-m", "u:1234:r", path], check=True)
        rights_before = subprocess.run(["getfacl", "-p", path], capture_output=True, text=True).stdout if acl else ""
        before = os.stat(path)
        audio = audio_hash(path)
        result = update(link, ["Title=" + "t" * 1000])
        after = os.stat(path)
        rights_after = subprocess.run(["getfacl", "-p", path], capture_output=True, text=True).stdout if acl else ""
        same = (before.st_mode, before.st_uid, before.st_gid) == (after.st_mode, after.st_uid, after.st_gid)
        if result.stdout != "true\n" or before.st_ino == after.st_ino or not same or rights_before != rights_after:
            fail(f"{kind}: mode, owner or ACL changed: {result.stderr}")
        if not os.path.islink(link) or os.getxattr(path, "user.mood") != b"calm" or audio_hash(path) != audio:
            fail(f"{kind}: symlink, attribute or audio changed")
        second = os.path.join(place, "second")
        os.link(path, second)
        update(path, ["Title=linked"])
        if not os.path.samefile(path, second) or audio_hash(second) != audio or litter(place):
            fail(f"{kind}: hard link lost")
        count += 2
    print(f"kinds: {count} updates through a symlink (mode 0400, foreign owner, attribute, ACL) and of a hard link: kept")


PARTS = {"kills": kills, "steps": steps, "calls": failing_calls, "room": room, "rights": rights, "turns": turns, "kinds": kinds,
         "sharing": sharing.sharing}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True, help="folder of tag_updater and libfault_interposer.so")
    parser.add_argument("--short", action="store_true", help="small files, few rounds")
    parser.add_argument("--kills", type=int, help="how many (50 when short, else 1000)")
    parser.add_argument("--only", default="", metavar="TEXT",
                        help="of kills, steps and calls the kinds of files, of sharing the file systems with that name")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of the random moments")
    parser.add_argument("parts", nargs="*", choices=[[], *PARTS], default=[])
    options = parser.parse_args()
    options.kills = options.kills or (50 if options.short else 1000)
    faultlib.programs = options.programs
    random.seed(options.seed)
    print(f"seed {options.seed}")
    if not shutil.which("ffmpeg"):
        print("skipped: ffmpeg is not installed")
        return SKIPPED
    for part in options.parts or PARTS:
        with tempfile.TemporaryDirectory(prefix="mivo-faults-") as folder:
            begin = time.monotonic()
            PARTS[part](folder, options)
            print(f"{part}: {time.monotonic() - begin:.0f} s")
    return 1 if faultlib.failures else 0


if __name__ == "__main__":
    sys.exit(main())
