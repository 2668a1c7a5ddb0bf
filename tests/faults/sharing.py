"""The part of run_faults.py about file systems that share blocks between files."""
import errno
import os
import shutil
import subprocess

from faultlib import Records, chosen, digest, fail, faulty_update, judge_faulty, litter, make, update, updated_copy

ROOM_OF_UPDATE = 4 << 20  # a tag with its cover, and what a file system keeps for itself


def mounted_image(folder, system):
    """A new, empty file system of that kind in a file, or nothing where that cannot be had."""
    image, mount = os.path.join(folder, system + ".image"), os.path.join(folder, system)
    os.mkdir(mount)
    with open(image, "wb") as file:
        file.truncate(1 << 30)
    steps = [["mkfs." + system, "-q", image], ["mount", "-o", "loop", image, mount]]
    for step in steps:
        if not shutil.which(step[0]) or subprocess.run(step, capture_output=True).returncode:
            return None
    return mount


def free_room(mount):
    subprocess.run(["sync", "-f", mount], check=True)
    facts = os.statvfs(mount)
    return facts.f_bfree * facts.f_bsize


def share_rounds(mount, kind, records, work, megabytes, rounds):
    """Updates with and without a cover: the content is what it is without sharing; how many took no second room."""
    shared = 0
    place = os.path.join(mount, kind + "-sharing")
    os.mkdir(place)
    path = os.path.join(place, kind)
    make(path, megabytes)
    if "linked" in kind:
        os.link(path, os.path.join(place, "second"))
    for turn in range(rounds):
        expected, _ = updated_copy(path, records.arguments(turn + 1), work)
        kept = os.path.join(place, f"kept-{turn}")  # as long as this one lives, its blocks are not given back
        subprocess.run(["cp", "--reflink=always", path, kept], check=True)
        before = free_room(mount)
        update(path, records.arguments(turn + 1))
        taken = before - free_room(mount)
        if digest(path) != expected or litter(place):
            fail(f"{path}: not the content of an update without sharing, or litter {litter(place)}")
        if taken > ROOM_OF_UPDATE:
            fail(f"{path}: update {turn} took {taken} bytes: the blocks are not shared")
        shared += taken <= ROOM_OF_UPDATE
    refused_sharing(path, records, work)
    shutil.rmtree(place)
    return shared


def refused_sharing(path, records, work):
    """Blocks that cannot be shared after all are copied."""
    for turn, error in enumerate((errno.EOPNOTSUPP, errno.ENOSPC, errno.EIO), 1):
        arguments = records.arguments(turn)
        old, (new, _) = digest(path), updated_copy(path, arguments, work)
        result, came = faulty_update(path, arguments, "ioctl", error, "all", os.path.join(work, "report"))
        if not came:
            fail(f"{path}: did not try to share")
        judge_faulty(f"{path}: ioctl -> {error}", path, result, old, new, True)


def sharing(folder, options):
    if os.geteuid() != 0:
        print("sharing: skipped, only root can mount")
        return
    records = Records(folder)
    megabytes, rounds = (8, 2) if options.short else (100, 4)
    for system in chosen(["xfs", "btrfs"], options):
        mount = mounted_image(folder, system)
        if not mount:
            print(f"sharing: skipped {system}, which cannot be made or mounted here")
            continue
        try:
            kinds_ = ["plain.mp3", "end.m4a", "fast.m4a", "linked.mp3", "linked.m4a"]
            shared = sum(share_rounds(mount, kind, records, folder, megabytes, rounds) for kind in kinds_)
            print(f"sharing: {rounds * len(kinds_)} updates of {megabytes} MB files on {system}: {shared} shared the media")
        finally:
            subprocess.run(["umount", mount], check=True)
