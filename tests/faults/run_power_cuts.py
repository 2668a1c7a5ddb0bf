#!/usr/bin/python3
"""What a power cut leaves of files whose tags are being updated.

run_power_cuts.py --programs FOLDER [--short] [--cuts N] [--seed N] [--without-sync] [SYSTEM...]

Systems: ext4, xfs, btrfs; all of them without a name. Updates run on a file system whose disk records every write
(recorded_disk.py), while another program syncs files of its own. For each of N random moments the disk is made as a power
cut at that moment would leave it, mounted, and every file looked at: whole, old or new, and new if the update had been
answered; where something is left over, the next update has to put it right. The exit status is 1 if anything was broken.

--without-sync has the updates' fsync do nothing, all of what was not flushed get lost, and expects broken files: the
proof that this would find them.
"""
import argparse
import collections
import importlib.util
import os
import random
import shutil
import subprocess
import sys
import tempfile
import threading
import time

import disk_log
import faultlib
from faultlib import command, digest, fail, litter, make, make_picture

SKIPPED = 77
KINDS = ["plain.mp3", "end.m4a", "fast.m4a", "linked.mp3", "linked.m4a", "other.mp3"]
SYSTEMS = {  # what makes one of 4,096-byte sectors without leaving work for later, and its megabytes
    "ext4": (["mkfs.ext4", "-q", "-b", "4096", "-E", "lazy_itable_init=0,lazy_journal_init=0"], 128),
    "xfs": (["mkfs.xfs", "-q", "-s", "size=4096"], 300),
    "btrfs": (["mkfs.btrfs", "-q", "-s", "4096"], 256),
}
SECOND_NAME = "second name"
MOST_TRIALS = 8  # without syncs, until a broken file is found

Update = collections.namedtuple("Update", "kind old new arguments")


def run(*words, **options):
    return subprocess.run(words, check=True, capture_output=True, text=True, **options).stdout.strip()


class Mounted:
    """A disk in a file, mounted as long as the block runs."""

    def __init__(self, system, image, folder):
        self.system, self.image, self.folder = system, image, folder

    def __enter__(self):
        os.makedirs(self.folder, exist_ok=True)
        self.device = run("losetup", "--find", "--show", "--sector-size", str(disk_log.BLOCK), self.image)
        try:
            run("mount", "-t", self.system, "-o", "nodiscard", self.device, self.folder)
        finally:
            run("losetup", "--detach", self.device)  # at once if the mount failed, else with the end of the mount
        return self.folder

    def __exit__(self, *_):
        run("umount", self.folder)
        if self.system == "btrfs":  # which takes the next disk for an old state of this one
            subprocess.run(["btrfs", "device", "scan", "--forget", self.device], capture_output=True)


def path_of(mount, kind):
    return os.path.join(mount, "in " + kind, kind)


def make_files(mount):
    for kind in KINDS:
        path = path_of(mount, kind)
        os.mkdir(os.path.dirname(path))
        make(path, 1)
        if "linked" in kind:
            os.link(path, os.path.join(os.path.dirname(path), SECOND_NAME))


def make_disk(system, image, files, folder):
    mkfs, megabytes = SYSTEMS[system]
    with open(image, "wb") as file:
        file.truncate(megabytes << 20)
    run(*mkfs, image)
    with Mounted(system, image, folder) as mount:
        run("cp", "-a", files + "/.", mount)


# ---- the updates -----------------------------------------------------------------------------------------------------

def records(work):
    """What grows a file, shrinks it, fits into its room, and what is larger than the rest of it."""
    small, large = os.path.join(work, "small.png"), os.path.join(work, "large.png")
    make_picture(small, 320)
    make_picture(large, 900)
    return [["Title=" + "x" * 1500, "Artist=with", f"AlbumArt=@{small}"], ["Title=short", "Artist=without", "AlbumArt=null"],
            ["Title=fits", "Genre=Folk"], ["Title=large", f"AlbumArt=@{large}"]]


class Rounds:
    """Updates, each made before on a copy, so that it is known what it has to lead to."""

    def __init__(self, mount, marks, copies, work, options):
        self.mount, self.marks, self.copies = mount, marks, copies
        self.records = records(work)
        self.environment = dict(os.environ)
        if options.without_sync:
            self.environment |= {"LD_PRELOAD": os.path.join(faultlib.programs, "libfault_interposer.so"),
                                 "FAULT_CALL": "fsync", "FAULT_ERROR": "skip", "FAULT_INDEX": "all",
                                 "FAULT_REPORT": os.path.join(work, "report"),
                                 "ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"}
        self.updates = []
        self.lock = threading.Lock()

    def mark(self, text, number):
        os.pwrite(self.marks, f"{text} {number}\n".encode(), 0)  # at the start of a page: what crosses one comes as two

    def update(self, kind, arguments):
        copy, path = path_of(self.copies, kind), path_of(self.mount, kind)
        old = digest(copy)
        faultlib.update(copy, arguments)
        with self.lock:
            number = len(self.updates)
            self.updates.append(Update(kind, old, digest(copy), arguments))
        self.mark("begin", number)
        result = subprocess.run(command(path, arguments), capture_output=True, text=True, env=self.environment)
        self.mark("end", number)
        if result.stdout != "true\n" or result.stderr:
            fail(f"{path}: answered {result.stdout!r}, {result.stderr!r}")

    def run(self, kinds, count, source):
        for _ in range(count):
            self.update(source.choice(kinds), source.choice(self.records))


def sync_others(mount, ended, source):
    """Another program, whose syncs bring to the disk what they like of the updates, too."""
    count = 0
    while not ended.wait(source.uniform(0.001, 0.08)):
        with open(os.path.join(mount, f"other {count % 4}"), "wb") as file:
            file.write(source.randbytes(5000))
            file.flush()
            os.fsync(file.fileno())
        count += 1


def make_updates(rounds, mount, options):
    """Two updates at a time, of different files."""
    ended = threading.Event()
    other = threading.Thread(target=sync_others, args=(mount, ended, random.Random(options.seed)))
    rivals = [threading.Thread(target=rounds.run, args=(KINDS[i::2], options.updates // 2, random.Random(options.seed + i)))
              for i in range(2)]
    for thread in (other, *rivals):
        thread.start()
    for rival in rivals:
        rival.join()
    ended.set()
    other.join()


def start_recorder(live, disk, log):
    recorder = subprocess.Popen([os.path.join(os.path.dirname(__file__), "recorded_disk.py"), live, disk, log])
    while not os.path.exists(os.path.join(disk, "disk")):
        if recorder.poll() is not None:
            raise SystemExit("the recorded disk does not start")
        time.sleep(0.01)
    return recorder


def recorded_updates(system, work, options):
    """Makes a disk and updates on it; what it held before, the log, the digests before, and the updates."""
    base, live, log, copies, disk, mount = (os.path.join(work, name)
                                            for name in ("base", "live", "log", "copies", "disk", "mount"))
    os.mkdir(disk)
    os.mkdir(copies)
    run("mount", "-t", "tmpfs", "none", copies)
    make_files(copies)
    before = {kind: digest(path_of(copies, kind)) for kind in KINDS}
    make_disk(system, base, copies, mount)
    copy_image(base, live)
    recorder = start_recorder(live, disk, log)
    try:
        with Mounted(system, os.path.join(disk, "disk"), mount):
            marks = os.open(os.path.join(disk, "marks"), os.O_WRONLY)
            rounds = Rounds(mount, marks, copies, work, options)
            make_updates(rounds, mount, options)
            os.close(marks)
    finally:
        run("umount", disk)
        recorder.wait()
        run("umount", copies)
    return base, log, before, rounds.updates


# ---- the cuts --------------------------------------------------------------------------------------------------------

def copy_image(image, copy):
    run("cp", "--reflink=auto", "--sparse=always", image, copy)


def keeps(source, options):
    """How much of what was not flushed a disk still has: nothing, as much as chance likes, everything."""
    some = source.random()
    ways = [lambda count: 0, lambda count: source.randrange(count + 1), lambda count: count,
            lambda count: count if source.random() < some else 0]
    return ways[0] if options.without_sync else source.choice(ways)


class Judge:
    """Knows at each mark what each file may be, and looks at what a cut left."""

    def __init__(self, before, updates, repair):
        self.now, self.updates, self.repair = dict(before), updates, repair
        self.running, self.last = {}, {}
        self.earlier = {kind: set() for kind in before}
        self.counts = collections.Counter()

    def mark(self, text):
        word, number = text.decode().split()
        update = self.updates[int(number)]
        if word == "begin":
            self.running[update.kind] = update
        else:
            self.last[update.kind] = self.running.pop(update.kind)
            self.earlier[update.kind].add(update.old)
            self.now[update.kind] = update.new

    def found(self, mount, kind):
        """In one word what became of a file."""
        path = path_of(mount, kind)
        folder = os.path.dirname(path)
        content = digest(path) if os.path.exists(path) else None
        if "linked" in kind and not os.path.samefile(path, os.path.join(folder, SECOND_NAME)):
            return "a lost name"
        update = self.running.get(kind)
        if not update:
            if content == self.now[kind]:
                # btrfs: the name that the new file had before it got the old one's may be there, too.
                return "left over" if litter(folder) else "untouched"
            return "lost" if content in self.earlier[kind] else "torn"
        if content in (update.old, update.new):
            return "new" if content == update.new else "old"
        journals = [os.path.join(folder, name) for name in litter(folder) if name.startswith(".mivo-journal")]
        if "linked" in kind and update.old in map(digest, journals):
            return "journalled"
        return "torn"

    def state_of(self, mount, kind):
        """What file and hidden files hold, in words, for whoever looks for what went wrong."""
        update, folder = self.running.get(kind) or self.last[kind], os.path.dirname(path_of(mount, kind))
        words = {update.old: "old", update.new: "new"}
        return {name: words.get(content := digest(os.path.join(folder, name)),
                                "earlier" if content in self.earlier[kind] else f"unknown, {content}")
                for name in [kind, *litter(folder)]}

    def repaired(self, mount, kind):
        """The update comes again, after whatever the cut left of it."""
        update, path = self.running.get(kind) or self.last[kind], path_of(mount, kind)
        self.counts["hidden files left"] += len(litter(os.path.dirname(path)))
        before = self.state_of(mount, kind)
        result = faultlib.update(path, update.arguments)
        right = digest(path) == update.new and not litter(os.path.dirname(path))
        if not right:
            print(f"    status {result.returncode}, {result.stderr.strip()}; was {before}, is {self.state_of(mount, kind)},"
                  f" running: {kind in self.running}, {update.arguments[:1]}", flush=True)
        return right

    def look(self, mount):
        """Whether nothing is broken."""
        right = True
        for kind in KINDS:
            word = self.found(mount, kind)
            self.counts[word] += 1
            good = word in ("untouched", "old", "new", "journalled", "left over")
            to_repair = kind in self.running or word == "left over"
            if good and to_repair and self.repair and not self.repaired(mount, kind):
                word, good = "not repaired", False
                self.counts[word] += 1
            if not good:
                self.counts["broken"] += 1
                right = False
                print(f"    {kind}: {word}", flush=True)
        return right


def moments(log, count, source):
    """Random entries of the log, by number, from where updates began."""
    with open(log, "rb") as file:
        kinds = [kind for kind, _, _ in disk_log.entries(file)]
    return set(source.sample(range(kinds.index(disk_log.MARK) + 1, len(kinds)), count))


def cut_power(system, work, base, log, judge, options):
    source = random.Random(options.seed)
    chosen = moments(log, options.cuts, source)
    disk = disk_log.DiskWithoutPower(base)
    cut = os.path.join(work, "cut")
    with open(log, "rb") as file:
        for number, (kind, offset, data) in enumerate(disk_log.entries(file)):
            if kind == disk_log.WRITE:
                disk.write(offset, data)
            elif kind == disk_log.FLUSH:
                disk.flush()
            else:
                judge.mark(data)
            if number not in chosen:
                continue
            copy_image(base, cut)
            judge.counts["blocks lost"] += disk.cut(cut, keeps(source, options))
            with Mounted(system, cut, os.path.join(work, "mount")) as mount:
                if not judge.look(mount) and not options.without_sync:
                    fail(f"{system}: cut behind entry {number}")
            os.unlink(cut)


def power_cuts(system, options):
    with tempfile.TemporaryDirectory(prefix="mivo-cuts-") as work:
        begin = time.monotonic()
        base, log, before, updates = recorded_updates(system, work, options)
        made = time.monotonic()
        judge = Judge(before, updates, repair=not options.without_sync)
        cut_power(system, work, base, log, judge, options)
        counts = judge.counts
        print(f"{system}: {len(updates)} updates, {options.cuts} cuts, {counts['blocks lost']} blocks lost: of the files being"
              f" updated {counts['old']} old, {counts['new']} new, {counts['journalled']} in place with a journal; of the"
              f" others {counts['untouched']} untouched, {counts['left over']} with a hidden file; {counts['hidden files left']} hidden files left for the next update;"
              f" {counts['broken']} broken ({counts['lost']} lost, {counts['torn']} torn)", flush=True)
        print(f"{system}: {made - begin:.0f} s of updates, {time.monotonic() - made:.0f} s of cuts", flush=True)
        return counts


def usable(system):
    return shutil.which("mkfs." + system) and any(line.split()[-1] == system for line in open("/proc/filesystems"))


def missing():
    """Why there can be no power cuts here, if so."""
    if os.geteuid() != 0:
        return "only root can mount"
    if not os.path.exists("/dev/fuse") or not os.path.exists("/dev/loop-control"):
        return "no FUSE or no loop devices"
    for program in ("ffmpeg", "losetup", "unshare"):
        if not shutil.which(program):
            return f"{program} is not installed"
    return None if importlib.util.find_spec("fusepy") else "python3-fusepy is not installed"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", required=True, help="folder of tag_updater and libfault_interposer.so")
    parser.add_argument("--short", action="store_true", help="few updates, few cuts")
    parser.add_argument("--cuts", type=int, help="how many on each file system (12 when short, else 300)")
    parser.add_argument("--updates", type=int, help="how many on each file system (24 when short, else 240)")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32), help="of the random moments")
    parser.add_argument("--without-sync", action="store_true", help="have fsync do nothing, and expect broken files")
    parser.add_argument("systems", nargs="*", choices=[[], *SYSTEMS], default=[])
    options = parser.parse_args()
    if reason := missing():
        print(f"skipped: {reason}")
        return SKIPPED
    if "MIVO_POWER_CUTS" not in os.environ:  # mounts of its own
        os.environ["MIVO_POWER_CUTS"] = "1"
        os.execvp("unshare", ["unshare", "--mount", "--propagation", "private", sys.executable, *sys.argv])
    options.cuts = options.cuts or (12 if options.short else 300)
    options.updates = options.updates or (24 if options.short else 240)
    faultlib.programs = options.programs
    print(f"seed {options.seed}", flush=True)
    systems = [system for system in options.systems or SYSTEMS if usable(system)]
    if not systems:
        print("skipped: none of these file systems here")
        return SKIPPED
    broken = 0
    # A few moments may all be ones at which nothing was under way; those of other updates are others.
    for _ in range(MOST_TRIALS if options.without_sync else 1):
        broken += sum(power_cuts(system, options)["broken"] for system in systems)
        if broken:
            break
        options.seed += 1
    if options.without_sync and not broken:
        fail("no broken file without syncs: the cuts find nothing")
    return 1 if faultlib.failures else 0


if __name__ == "__main__":
    sys.exit(main())
