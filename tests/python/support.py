"""A bus of the tests' own with the built service on it, and sample files.

Imported first, by tests that are called as: TEST PROGRAMS [words of unittest].
"""
import asyncio
import contextlib
import ctypes
import gc
import importlib.util
import math
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import wave

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77
DEBIANS = "/usr/bin/python3"
PR_SET_PDEATHSIG = 1


def _need_dbus_fast():
    """Debian's modules are Debian's Python's, which may not be the first one."""
    if not importlib.util.find_spec("dbus_fast"):
        if sys.executable != DEBIANS and pathlib.Path(DEBIANS).exists():
            os.execv(DEBIANS, [DEBIANS, *sys.argv])
        print("skipped: python3-dbus-fast is not installed")
        sys.exit(SKIPPED)


_need_dbus_fast()
sys.path.insert(0, str(ROOT / "python"))
sys.dont_write_bytecode = True
PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else ROOT / "build/bin"


def instrumented():
    """Whether the sanitizers' libraries are in the programs: they make system calls that closed processes may not."""
    program = (PROGRAMS / "mivo-mediad").read_bytes()
    return any(mark in program for mark in (b"__asan_init", b"__tsan_init"))


def _end_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


@contextlib.contextmanager
def private_bus():
    """The address of a bus that ends with the block."""
    with tempfile.TemporaryDirectory() as folder:
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1",
                                f"--address=unix:path={folder}/bus"], stdout=subprocess.PIPE, text=True,
                               preexec_fn=_end_with_parent)
        try:
            address = bus.stdout.readline().strip()
            if not address:
                raise RuntimeError("dbus-daemon does not start")
            yield address
        finally:
            bus.kill()
            bus.wait()
            bus.stdout.close()


@contextlib.contextmanager
def faulty_programs():
    """A copy of the programs whose worker does what the names of files say: hang-at-job.wav."""
    with tempfile.TemporaryDirectory(dir=PROGRAMS.parent) as folder:
        copy = pathlib.Path(folder)
        for built, name in (("bin/mivo-mediad", "bin/mivo-mediad"), ("tests/faulty_worker", "bin/mivo-worker"),
                            ("lib/mivo-ffmpeg.so", "lib/mivo-ffmpeg.so")):
            (copy / name).parent.mkdir(exist_ok=True)
            os.link(PROGRAMS.parent / built, copy / name)
        yield copy / "bin"


@contextlib.contextmanager
def service(address, programs=PROGRAMS):
    """The built service on that bus, while the block runs; its process, with `log()`."""
    with tempfile.TemporaryFile() as log:
        process = subprocess.Popen([programs / "mivo-mediad"], env={**os.environ, "DBUS_SESSION_BUS_ADDRESS": address},
                                   stderr=log, preexec_fn=_end_with_parent)
        try:
            _wait_for_name(address)
            process.log = lambda: os.pread(log.fileno(), 1 << 20, 0).decode()
            yield process
        finally:
            process.kill()
            process.wait()


def _wait_for_name(address):
    import mivo

    with mivo.Media(address=address) as media:
        eventually(lambda: _answers(media), "the service does not answer")


def _answers(media):
    import mivo

    try:
        return media.version() == 1
    except mivo.ServiceUnavailable:
        return False


def eventually(holds, message, seconds=60):
    """Waits for what another process does; the end means never."""
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            raise AssertionError(message)
        time.sleep(0.02)


def children(process):
    """The processes below one."""
    listed = pathlib.Path(f"/proc/{process}/task").glob("*/children")
    return [int(child) for tasks in listed for child in tasks.read_text().split()]


def open_files():
    """How many descriptors this process has, without those that nobody has any more."""
    gc.collect()
    return len(os.listdir("/proc/self/fd"))


def write_tone(path, seconds=1.0):
    """A tone as WAV, of tenths of a second."""
    tenth = b"".join(struct.pack("<h", int(9000 * math.sin(i * 0.0627))) for i in range(4410))
    with wave.open(str(path), "wb") as sound:
        sound.setparams((1, 2, 44100, 0, "NONE", ""))
        sound.writeframes(tenth * round(seconds * 10))
    return pathlib.Path(path)


RED_PNG = ROOT / "tests/data/tags/red.png"
RED_JPEG = ROOT / "tests/data/tags/red.jpg"


class AsyncCase(unittest.IsolatedAsyncioTestCase):
    """Tests with an event loop, which says nothing of a machine that is busy."""

    async def asyncSetUp(self):
        asyncio.get_running_loop().slow_callback_duration = 60


class WithService(unittest.TestCase):
    """Tests with one bus and service for all of a class, and a folder for each."""

    @classmethod
    def setUpClass(cls):
        cls.address = cls.enterClassContext(private_bus())
        cls.process = cls.enterClassContext(service(cls.address))

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
