#!/usr/bin/python3
"""Bursts of calls to all names around the moments at which the service starts and leaves: cold, at its idle exit, told
to quit, told to quit in the middle of a job, and killed. A private bus starts it: a plain dbus-daemon, or one beside a
systemd of its own, in namespaces of their own (as root). Counts calls, errors, calls that hang, and processes a start.
"""
import argparse
import asyncio
import collections
import contextlib
import os
import pathlib
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import wave

SKIPPED = 77
HANG_SECONDS = 5
PROMISED_SECONDS = 1
IDLE_SECONDS = 1
NOWHERE = "/no/such/file"
NAMES = {  # the interface and the operation that each is called with
    "MivoAVParser_1._3._0._12062": ("MVMediaInfoBuilder", "build"),
    "MivoMP3Parser_1._3._0._12062": ("MVMediaInfoBuilder", "build"),
    "MivoImageParser_1._3._0._12062": ("MVMediaInfoBuilder", "build"),
    "MivoMediaTagUpdater_1._3._0._12062": ("MVMediaTagBase", "podcastInfo"),
    "MivoMP4Exporter_1._3._0._12062": ("MVMP4ExporterBase", "isAlacAudio"),
    "MivoMP4Parser_1._3._0._12062": ("MVMediaInfoBuilder", "build"),
    "MivoExifExtractor_1._3._0._12062": ("MVExifExtractorBase", "extractExif"),
    "MivoMp3Encoder_1._3._0._12062": ("MVAudioEncoderBase", "attributes"),
    "MivoBasicAudioParser_1._3._0._12062": ("MVMediaInfoBuilder", "build"),
    "Mivo.Media1": ("Media1", "DescribeMany"),
}
PATHS = {"Media1": "/Mivo/Media1"}
ARGUMENTS = {"attributes": ("", []), "DescribeMany": ("asa{sv}", [[NOWHERE], {}])}
ENCODER = "MivoMp3Encoder_1._3._0._12062"
SYSTEMD = pathlib.Path("/lib/systemd/systemd")
UNITS = pathlib.Path("/usr/lib/systemd/user")
UNITS_USED = ("basic.target", "default.target", "sockets.target", "paths.target", "timers.target", "shutdown.target",
              "app.slice", "background.slice", "session.slice", "dbus.socket", "dbus.service", "exit.target",
              "systemd-exit.service")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


try:
    from dbus_next import Message, MessageType
    from dbus_next.aio import MessageBus
except ImportError:
    skip("python3-dbus-next is not installed")


# ---- where the service is started by a bus

class Session:
    """A bus that can start the service, with the files that a build has made for it."""

    def __init__(self, folder, options):
        self.folder = folder
        self.starts = folder / "starts"
        self.starts.touch()
        self.data = folder / "data"
        services = self.data / "dbus-1/services"
        services.mkdir(parents=True)
        program = self.write_program(options)
        for file in sorted((options.files / "dbus-1/services").glob("*.service")):
            lines = file.read_text().splitlines()
            lines = [f"Exec={program} {line.partition(' ')[2]}" if line.startswith("Exec=") else line for line in lines
                     if options.bus == "systemd" or not line.startswith("SystemdService=")]
            (services / file.name).write_text("\n".join(lines) + "\n")
        self.program = program

    def write_program(self, options):
        """The service, after a line of who was started."""
        program = self.folder / "mivo-mediad"
        program.write_text(f"#!/bin/sh\necho $$ >>{self.starts}\n"
                           f"exec {options.programs / 'mivo-mediad'} --idle-exit={IDLE_SECONDS} \"$@\"\n")
        program.chmod(0o755)
        return program

    def started(self):
        return len(self.starts.read_text().splitlines())

    def environment(self):
        return {"PATH": os.environ["PATH"], "HOME": str(self.folder), "XDG_DATA_HOME": str(self.data),
                "XDG_RUNTIME_DIR": str(self.folder)}


class PlainSession(Session):
    def __enter__(self):
        address = f"unix:path={self.folder}/bus"
        configuration = self.folder / "session.conf"
        configuration.write_text(
            "<!DOCTYPE busconfig PUBLIC '-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN' "
            "'http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd'>\n"
            f"<busconfig><type>session</type><listen>{address}</listen>"
            f"<servicedir>{self.data}/dbus-1/services</servicedir>"
            "<policy context='default'><allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/>"
            "<allow own='*'/></policy></busconfig>\n")
        self.daemon = subprocess.Popen(
            ["dbus-daemon", f"--config-file={configuration}", "--nofork", "--print-address=1"], stdout=subprocess.PIPE,
            stderr=open(self.folder / "log", "wb"), env=self.environment(), text=True)
        self.address = self.daemon.stdout.readline().strip()
        return self

    def __exit__(self, *_):
        self.daemon.kill()
        self.daemon.wait()

    def log(self):
        return (self.folder / "log").read_text()


class SystemdSession(Session):
    """In namespaces that enter_namespaces has made: nothing of the machine's own systemd is seen from here."""

    def __init__(self, folder, options):
        super().__init__(folder, options)
        self.units = folder / "units"
        self.units.mkdir()
        for name in UNITS_USED:
            if (UNITS / name).exists():
                shutil.copy(UNITS / name, self.units / name)
        (self.units / "sockets.target.wants").mkdir()
        (self.units / "sockets.target.wants/dbus.socket").symlink_to("../dbus.socket")
        unit = (options.files / "systemd/mivo-mediad.service").read_text().splitlines()
        unit = [f"ExecStart={self.program}" if line.startswith("ExecStart=") else line for line in unit]
        (self.units / "mivo-mediad.service").write_text("\n".join(unit + ["StandardError=append:" + str(folder / "log")])
                                                        + "\n")

    def environment(self):
        return super().environment() | {"SYSTEMD_UNIT_PATH": str(self.units), "SYSTEMD_LOG_TARGET": "console"}

    def __enter__(self):
        (self.folder / "log").touch()
        self.daemon = subprocess.Popen([SYSTEMD, "--user", "--log-level=notice"], env=self.environment(),
                                       stdout=subprocess.DEVNULL, stderr=open(self.folder / "systemd.log", "wb"))
        self.address = f"unix:path={self.folder}/bus"
        end = time.monotonic() + 30
        while not (self.folder / "bus").exists():
            if time.monotonic() > end:
                skip("no systemd of our own starts here: " + (self.folder / "systemd.log").read_text()[-400:])
            time.sleep(0.05)
        return self

    def __exit__(self, *_):
        self.daemon.terminate()
        try:
            self.daemon.wait(timeout=20)
        except subprocess.TimeoutExpired:
            self.daemon.kill()

    def log(self):
        return (self.folder / "log").read_text() + (self.folder / "systemd.log").read_text()


def enter_namespaces():
    """Runs this program again with mounts, processes and control groups of its own; its exit status."""
    if os.geteuid() != 0:
        skip("a systemd of our own takes root")
    if not SYSTEMD.exists():
        skip("systemd is not installed")
    roots = [pathlib.Path("/sys/fs/cgroup/unified"), pathlib.Path("/sys/fs/cgroup")]
    root = next((one for one in roots if (one / "cgroup.procs").exists() and (one / "cgroup.controllers").exists()), None)
    if not root:
        skip("there are no control groups of the second version")
    group = root / f"mivo-activation-{os.getpid()}"
    try:
        group.mkdir()
    except OSError as problem:
        skip(f"no control group can be made: {problem}")
    inside = ("mount --make-rprivate / && mount -t proc proc /proc && mount -t tmpfs tmpfs /run && "
              "mount -t cgroup2 none /sys/fs/cgroup && mkdir -p /run/systemd/system && exec \"$@\"")
    outside = (f"echo $$ >{group}/cgroup.procs && "
               "exec unshare --mount --pid --fork --cgroup --kill-child /bin/sh -c \"$@\"")
    try:
        done = subprocess.run(["/bin/sh", "-c", outside, "sh", inside, "sh", sys.executable, *sys.argv, "--inside"])
        return done.returncode
    finally:
        for _ in range(100):  # what was in it has just been killed
            with contextlib.suppress(OSError):
                for below in sorted(group.rglob("*"), reverse=True):
                    if below.is_dir():
                        below.rmdir()
                group.rmdir()
                break
            time.sleep(0.05)


# ---- calls

class Tally:
    def __init__(self):
        self.calls = 0
        self.errors = collections.Counter()
        self.lost = 0  # to a process that was killed while it had them
        self.slowest = 0.0

    def line(self, what, more=""):
        problems = f"errors {sum(self.errors.values())} {dict(self.errors) if self.errors else ''}".rstrip()
        print(f"{what}: calls {self.calls}, {problems}{more}, slowest {self.slowest * 1000:.0f} ms", flush=True)


class Clients:
    """A connection for each name, so that no call waits for another's."""

    def __init__(self, address):
        self.address = address

    async def __aenter__(self):
        self.of = {name: await self.connect() for name in NAMES}
        self.control = await self.connect()
        return self

    async def __aexit__(self, *_):
        for bus in (*self.of.values(), self.control):
            bus.disconnect()

    async def connect(self):
        return await MessageBus(bus_address=self.address).connect()

    async def ask_bus(self, member, *names):
        answer = await self.control.call(Message(
            destination="org.freedesktop.DBus", path="/org/freedesktop/DBus", interface="org.freedesktop.DBus",
            member=member, signature="s" * len(names), body=list(names)))
        return answer.body[0] if answer.message_type == MessageType.METHOD_RETURN else None

    async def process_of(self, name):
        return await self.ask_bus("GetConnectionUnixProcessID", name)

    async def any_owned(self):
        return any([await self.ask_bus("NameHasOwner", name) for name in NAMES])

    async def wait_for_none(self):
        while await self.any_owned():
            await asyncio.sleep(0.002)

    def quit(self):
        return self.control.send(Message(
            message_type=MessageType.SIGNAL, path="/", interface="Mivo.NSDistributedNotificationCenter",
            member="notification", signature="ss", body=["MivoTerminitor", "Mivo"]))

    async def call(self, name, tally, may_be_lost=False):
        interface, member = NAMES[name]
        signature, arguments = ARGUMENTS.get(member, ("s", [NOWHERE]))
        begun = time.monotonic()
        tally.calls += 1
        try:
            answer = await asyncio.wait_for(self.of[name].call(Message(
                destination=name, path=PATHS.get(interface, "/"), interface="Mivo." + interface, member=member,
                signature=signature, body=arguments)), HANG_SECONDS)
        except asyncio.TimeoutError:
            tally.errors["hang"] += 1
            return
        tally.slowest = max(tally.slowest, time.monotonic() - begun)
        if answer.message_type != MessageType.METHOD_RETURN:
            # What a killed process had in hand is lost; nobody else's call is.
            if may_be_lost and answer.error_name == "org.freedesktop.DBus.Error.NoReply":
                tally.lost += 1
            else:
                tally.errors[f"{answer.error_name}: {answer.body}"] += 1

    async def burst(self, tally, spread, **how):
        async def one(name):
            await asyncio.sleep(random.uniform(0, spread))
            await self.call(name, tally, **how)
        await asyncio.gather(*(one(name) for name in NAMES))


# ---- the moments

async def cold_starts(clients, session, rounds):
    tally, first, processes = Tally(), [], []
    for _ in range(rounds):
        await clients.quit()
        await clients.wait_for_none()
        await asyncio.sleep(0.05)  # systemd has to have seen the end
        before = session.started()
        begun = time.monotonic()
        await clients.call(random.choice(list(NAMES)), tally)
        first.append(time.monotonic() - begun)
        await clients.burst(tally, 0)
        processes.append(session.started() - before)
    first.sort()
    tally.line(f"{rounds} cold starts", f", first answer median {statistics.median(first) * 1000:.0f} ms, "
               f"95 % {first[int(len(first) * 0.95)] * 1000:.0f} ms, processes a start {statistics.mean(processes):.2f}")
    return tally


async def repeat(clients, session, what, seconds, moment):
    tally = Tally()
    before, rounds, end = session.started(), 0, time.monotonic() + seconds
    while rounds == 0 or time.monotonic() < end:
        await moment(clients, tally)
        rounds += 1
    tally.line(what, f", lost with the process {tally.lost}, rounds {rounds}, "
               f"processes a round {(session.started() - before) / rounds:.2f}")
    return tally


async def at_start(clients, tally):
    """All names at once, when nothing runs."""
    await clients.quit()
    await clients.wait_for_none()
    await clients.burst(tally, random.choice([0, 0.004]))


async def at_idle_exit(clients, tally):
    await clients.burst(tally, 0.004)
    await asyncio.sleep(IDLE_SECONDS + random.uniform(-0.004, 0.012))
    await clients.burst(tally, 0.004)


async def at_quit(clients, tally):
    await clients.burst(tally, 0)
    await clients.quit()
    await asyncio.sleep(random.uniform(0, 0.006))
    await clients.burst(tally, 0.006)


async def at_kill(clients, tally):
    await clients.burst(tally, 0)
    process = await clients.process_of(ENCODER)
    if process:
        with contextlib.suppress(ProcessLookupError):
            os.kill(process, signal.SIGKILL)
    await clients.burst(tally, 0.004, may_be_lost=True)
    await clients.burst(tally, 0)


def make_song(path, seconds):
    with wave.open(str(path), "wb") as song:
        song.setnchannels(2)
        song.setsampwidth(2)
        song.setframerate(44100)
        noise = random.Random(1).randbytes(44100 * 4)
        for _ in range(seconds):
            song.writeframes(noise)


async def at_quit_with_job(clients, folder, rounds):
    """The encoder is told to quit in the middle of a song; its own name and another are called meanwhile."""
    tally, slow = Tally(), 0
    song = folder / "song.wav"
    make_song(song, 240)
    for _ in range(rounds):
        await clients.burst(tally, 0)
        old = await clients.process_of(ENCODER)
        client = await clients.connect()
        job = asyncio.ensure_future(client.call(Message(
            destination=ENCODER, path="/", interface="Mivo.MVAudioEncoderBase", member="encodeFileOutputFile",
            signature="ss", body=[str(song), str(folder / "song.mp3")])))
        await asyncio.sleep(0.3)
        assert not job.done(), "the song is too short"
        await clients.quit()
        await clients.wait_for_none()
        begun = time.monotonic()
        await clients.burst(tally, 0)
        slow += time.monotonic() - begun > PROMISED_SECONDS
        if await clients.process_of(ENCODER) == old or job.done():
            tally.errors["not the successor, or not in the middle of a job"] += 1
        # It ends, or is cut off after the grace that quitting gives it.
        await asyncio.wait([job], timeout=HANG_SECONDS)
        client.disconnect()
    # How long is told and no error: a busy machine takes longer. That the job goes on meanwhile is what must hold.
    tally.line(
        f"{rounds} times told to quit in the middle of a job, {slow} bursts of more than {PROMISED_SECONDS} s"
    )
    return tally


async def run(session, options):
    tallies = []
    async with Clients(session.address) as clients:
        if "cold" in options.parts:
            tallies.append(await cold_starts(clients, session, options.cold_starts))
        for part, moment in (("start", at_start), ("idle", at_idle_exit), ("quit", at_quit), ("kill", at_kill)):
            if part in options.parts:
                tallies.append(await repeat(clients, session, part, options.seconds, moment))
        if "job" in options.parts:
            tallies.append(await at_quit_with_job(clients, session.folder, options.jobs))
    return sum(sum(tally.errors.values()) for tally in tallies)


def main():
    every = ["cold", "start", "idle", "quit", "kill", "job"]
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=pathlib.Path, default=pathlib.Path("build/bin"))
    parser.add_argument("--files", type=pathlib.Path, help="the .service files and the unit: the build's folder desktop")
    parser.add_argument("--bus", choices=["dbus", "systemd"], default="dbus")
    parser.add_argument("--seconds", type=float, default=120, help="for each part")
    parser.add_argument("--cold-starts", type=int, default=100)
    parser.add_argument("--jobs", type=int, default=10)
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--log", action="store_true", help="what the service and systemd wrote")
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("parts", nargs="*", metavar="PART", help=", ".join(every))
    options = parser.parse_args()
    options.parts = options.parts or every
    if not set(options.parts) <= set(every):
        parser.error("the parts are " + ", ".join(every))
    options.programs = options.programs.resolve()
    options.files = (options.files or options.programs.parent / "desktop").resolve()
    if options.short:
        options.seconds, options.cold_starts, options.jobs = 3, 5, 1
    if options.bus == "systemd" and not options.inside:
        sys.exit(enter_namespaces())
    kind = SystemdSession if options.bus == "systemd" else PlainSession
    with tempfile.TemporaryDirectory() as folder:
        with kind(pathlib.Path(folder), options) as session:
            problems = asyncio.run(run(session, options))
            if options.log or problems:
                print(session.log())
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
