#!/usr/bin/python3
"""mivo-thumbnailer in the hands of desktop environments: GNOME's thumbnail factory, which starts it in a sandbox, Tumbler,
which Xfce asks over the session bus, and sandboxes with less in them than these.

    desktop_test.py BUILD gnome|tumbler|sandbox

What was built is installed into a folder, which lies over /usr/local for this test alone: sandboxes show /usr. Everything
happens in namespaces, on a bus and in folders of the test's own. The status 77 says that something is not installed.

With /usr/bin/python3: GObject's bindings are the distribution's.
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
BUILD = pathlib.Path(sys.argv[1]).resolve()
ROOT = pathlib.Path(__file__).resolve().parents[2]
CORPUS = pathlib.Path(os.environ.get("MIVO_CORPUS", ROOT.parent / "shared" / "corpus"))
INSIDE = "MIVO_TEST_FOLDER"
SIDE = 256
PATIENCE = 240  # seconds, of a machine that has much else to do

# Files of the corpus, their types, and how large a picture of at most 256 pixels is of them, upright.
FILES = [
    ("image/tokyo.jpg", "image/jpeg", (192, 256)),
    ("image/Landscape_6.jpg", "image/jpeg", (256, 171)),  # turned by its EXIF data
    ("image/cat.jpg", "image/jpeg", (256, 192)),
    ("image/no_exif.jpg", "image/jpeg", (177, 256)),
    ("image/flower.webp", "image/webp", (256, 192)),
    ("image/2-color.webp", "image/webp", (256, 256)),
    ("image/IMG_5195.HEIC", "image/heif", (198, 256)),
    ("image/sample_still_photo.heic", "image/heif", (144, 256)),
    ("image/g4_orientation_6.tif", "image/tiff", (256, 38)),  # turned by its own tag
    ("image/transparent.gif", "image/gif", (200, 150)),
    ("image/basn6a16.png", "image/png", (32, 32)),
    ("image/hopper.bmp", "image/bmp", (128, 128)),
    ("mp3/bear-id3.mp3", "audio/mpeg", (256, 256)),
    ("mp4/fixture-babys-songbook.m4b.m4a", "audio/mp4", (256, 256)),
    ("mp4/nero-chapters.m4b", "audio/x-m4b", (256, 256)),
    ("audio/bear_with_id3.flac", "audio/flac", (256, 256)),
    ("video/sample_portrait.mp4", "video/mp4", (171, 256)),  # turned by its track
    ("video/dolbyVision-hdr.MOV", "video/quicktime", (144, 256)),
    ("video/avc.mkv", "video/x-matroska", (256, 192)),
    ("video/bear-vp9.webm", "video/webm", (256, 192)),
    ("video/MVI_4823.AVI", "video/x-msvideo", (256, 192)),
    ("video/fixture.3gp", "video/3gpp", (256, 146)),
]
DAMAGED = ("bad/broken.png", "image/png")
# Turned as the file says by another program, and how far from that a picture may be (root of the mean square, of 1).
COMPARED = ["image/tokyo.jpg", "image/Landscape_6.jpg", "image/cat.jpg", "image/flower.webp", "image/g4_orientation_6.tif"]
NEAR = 0.06

failures = []


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def check(holds, what):
    if not holds:
        failures.append(what)
        print(f"FAILED: {what}")


def size_of(png):
    begin = pathlib.Path(png).read_bytes()[:24]
    return struct.unpack(">II", begin[16:24]) if begin[1:4] == b"PNG" else None


def check_picture(png, name, size):
    check(size_of(png) == size, f"{name}: {size_of(png)} instead of {size}")
    if name not in COMPARED or not shutil.which("convert"):
        return
    expected = pathlib.Path(os.environ[INSIDE]) / "expected.png"
    subprocess.run(["convert", f"{CORPUS / name}[0]", "-auto-orient", "-resize", f"{size[0]}x{size[1]}!", expected], check=True)
    told = subprocess.run(["compare", "-metric", "RMSE", expected, png, "null:"], capture_output=True, text=True).stderr
    distance = float(told.split("(")[1].rstrip(")\n"))
    check(distance < NEAR, f"{name}: {distance} from what ImageMagick shows")


# Namespaces of the test's own.

def run_inside():
    """Starts this test again where mounts are its own, with what was built over /usr/local."""
    alone = ["unshare", "--mount"] if os.getuid() == 0 else ["unshare", "--mount", "--map-root-user"]
    if not shutil.which("unshare") or subprocess.run([*alone, "true"], stderr=subprocess.DEVNULL).returncode:
        skip("no namespaces are to be had")
    with tempfile.TemporaryDirectory(prefix="mivo-desktop-") as folder:
        stage = pathlib.Path(folder) / "stage"
        for component in ("thumbnailer", "mediad", "mivo"):
            subprocess.run(["cmake", "--install", BUILD, "--prefix", stage, "--component", component], check=True,
                           stdout=subprocess.DEVNULL)
        entry, = (stage / "share/thumbnailers").iterdir()
        lines = [line if not line.partition("=")[0].endswith("Exec") else
                 line.partition("=")[0] + "=/usr/local/bin/" + line.partition("=")[2].rpartition("bin/")[2]
                 for line in entry.read_text().splitlines()]
        entry.write_text("\n".join(lines) + "\n")
        # No other program for thumbnails is known, but every type of media.
        data = pathlib.Path(folder) / "data"
        data.mkdir()
        (data / "thumbnailers").symlink_to("/usr/local/share/thumbnailers")
        (data / "mime").symlink_to("/usr/share/mime")
        environment = {"PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": folder, INSIDE: folder, "LC_ALL": "C.UTF-8",
                       "XDG_CACHE_HOME": f"{folder}/cache", "XDG_CONFIG_HOME": f"{folder}/config",
                       "XDG_RUNTIME_DIR": folder, "XDG_DATA_DIRS": str(data),
                       "GSETTINGS_SCHEMA_DIR": "/usr/share/glib-2.0/schemas", "GSETTINGS_BACKEND": "memory",
                       "MIVO_CORPUS": str(CORPUS)}
        words = ["sh", "-c", 'mount --bind "$0" /usr/local && exec "$@"', str(stage), "/usr/bin/python3", __file__, *sys.argv[1:]]
        return subprocess.run([*alone, *words], env=environment).returncode


def sandbox_words():
    """A sandbox as desktop environments make it, without what single tests add."""
    words = ["bwrap", "--ro-bind", "/usr", "/usr", "--unshare-all", "--die-with-parent", "--chdir", "/"]
    for name in ("lib", "lib64", "bin"):
        words += ["--symlink", f"usr/{name}", f"/{name}"]
    return words


def needs_sandboxes():
    if not shutil.which("bwrap"):
        skip("bubblewrap is not installed")
    if subprocess.run([*sandbox_words(), "--dev", "/dev", "/bin/true"], stderr=subprocess.DEVNULL).returncode:
        skip("bubblewrap can make no sandbox here")


# GNOME's factory.

def gnome():
    needs_sandboxes()
    try:
        import gi
        gi.require_version("GnomeDesktop", "4.0")
        from gi.repository import Gio, GnomeDesktop
    except (ImportError, ValueError) as problem:
        skip(f"GNOME's desktop library is not installed ({problem})")
    new_factory = GnomeDesktop.DesktopThumbnailFactory.new
    factory = new_factory(GnomeDesktop.DesktopThumbnailSize.LARGE)
    folder = pathlib.Path(os.environ[INSIDE])
    taken = []
    for name, kind, size in FILES:
        path = CORPUS / name
        uri, changed = Gio.File.new_for_path(str(path)).get_uri(), int(path.stat().st_mtime)
        check(factory.can_thumbnail(uri, kind, changed), f"{name}: GNOME knows no program for {kind}")
        begin = time.monotonic()
        try:
            picture = factory.generate_thumbnail(uri, kind)
        except gi.repository.GLib.Error as problem:
            check(False, f"{name}: {problem.message}")
            continue
        taken.append((time.monotonic() - begin) * 1e3)
        png = str(folder / "gnome.png")
        picture.savev(png, "png", [], [])
        check_picture(png, name, size)
    print(f"GNOME's factory made {len(taken)} pictures of {len({kind for _, kind, _ in FILES})} types, "
          f"{sum(taken) / max(1, len(taken)):.0f} ms each")

    path = CORPUS / DAMAGED[0]
    try:
        factory.generate_thumbnail(Gio.File.new_for_path(str(path)).get_uri(), DAMAGED[1])
        check(False, f"{path.name}: has a picture")
    except gi.repository.GLib.Error:
        pass
    accepts_cached(Gio, GnomeDesktop, new_factory)


def accepts_cached(Gio, GnomeDesktop, new_factory):
    """What the tool puts into the cache is found, by a program that has made none of it."""
    paths = [CORPUS / name for name, _, _ in FILES]
    subprocess.run(["mivo", "thumbnail", "--cache", "--size", "all", *paths], check=True)
    for size in ("NORMAL", "LARGE", "XLARGE", "XXLARGE"):
        factory = new_factory(getattr(GnomeDesktop.DesktopThumbnailSize, size))
        found = sum(factory.lookup(Gio.File.new_for_path(str(path)).get_uri(), int(path.stat().st_mtime)) is not None
                    for path in paths)
        check(found == len(paths), f"{size}: {found} of {len(paths)} cached thumbnails are found")
        check(factory.lookup(Gio.File.new_for_path(str(paths[0])).get_uri(), 1) is None, "an older file is found, too")
        print(f"lookup accepts {found} of {len(paths)} cached thumbnails ({size})")


# Tumbler.

# Ours goes before Tumbler's own. (They are not disabled: version 4.18 falls over what is.)
TUMBLER_SETTINGS = "".join(f"[{name}Thumbnailer]\nPriority={priority}\n" for name, priority in [
    ("Desktop", 9), *((name, 0) for name in ("JPEG", "Pixbuf", "Ffmpeg", "Gst", "Raw"))])


def tumbler_program():
    for folder in pathlib.Path("/usr/lib").glob("*/tumbler-1"):
        if (folder / "tumblerd").exists():
            return folder / "tumblerd"
    return skip("Tumbler is not installed")


def tumbler():
    program = tumbler_program()
    try:
        from gi.repository import Gio, GLib
    except ImportError as problem:
        skip(f"GObject's bindings are not installed ({problem})")
    if "DBUS_SESSION_BUS_ADDRESS" not in os.environ:
        if not shutil.which("dbus-run-session"):
            skip("dbus-run-session is not installed")
        os.execvp("dbus-run-session", ["dbus-run-session", "--", "/usr/bin/python3", __file__, *sys.argv[1:]])
    settings = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "tumbler" / "tumbler.rc"
    settings.parent.mkdir(parents=True)
    settings.write_text(TUMBLER_SETTINGS)
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    server = subprocess.Popen([program], stderr=subprocess.DEVNULL)
    try:
        ask_tumbler(Gio, GLib, bus)
    finally:
        server.kill()
        server.wait()


def ask_tumbler(Gio, GLib, bus):
    name, place, interface = "org.freedesktop.thumbnails.Thumbnailer1", "/org/freedesktop/thumbnails/Thumbnailer1", "org.freedesktop.thumbnails.Thumbnailer1"
    loop = GLib.MainLoop()
    ready, problems = set(), {}

    def heard(_bus, _sender, _path, _interface, signal, parameters):
        if signal == "Ready":
            ready.update(parameters.unpack()[1])
        elif signal == "Error":
            problems.update({uri: parameters.unpack()[3] for uri in parameters.unpack()[1]})
        elif signal == "Finished":
            loop.quit()

    bus.signal_subscribe(None, interface, None, place, None, Gio.DBusSignalFlags.NONE, heard)
    files = [*((name, kind) for name, kind, _ in FILES), DAMAGED]
    uris = [Gio.File.new_for_path(str(CORPUS / name)).get_uri() for name, _ in files]
    call = GLib.Variant("(asasssu)", (uris, [kind for _, kind in files], "large", "foreground", 0))
    # It takes its name a moment after its start; what is asked before is refused, as nothing can start it here.
    for _ in range(600):
        owner = bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                              GLib.Variant("(s)", (name,)), None, Gio.DBusCallFlags.NONE, -1).unpack()[0]
        if owner:
            break
        time.sleep(0.1)
    bus.call_sync(name, place, interface, "Queue", call, None, Gio.DBusCallFlags.NONE, -1)
    GLib.timeout_add_seconds(PATIENCE, loop.quit)
    loop.run()
    cache = subprocess.run(["find", os.environ["XDG_CACHE_HOME"], "-name", "*.png"], capture_output=True, text=True).stdout
    for (name, _, size), uri in zip(FILES, uris):
        check(uri in ready, f"{name}: not ready: {problems.get(uri)}")
        digest = GLib.compute_checksum_for_string(GLib.ChecksumType.MD5, uri, -1)
        found = [line for line in cache.splitlines() if line.endswith(f"/large/{digest}.png")]
        check(len(found) == 1, f"{name}: {len(found)} thumbnails in the cache")
        if found:
            check_picture(found[0], name, size)
    check(uris[-1] in problems, f"{DAMAGED[0]}: no error")
    print(f"Tumbler was ready with {len(ready)} of {len(FILES)} files of {len({kind for _, kind, _ in FILES})} types")


# Less than a desktop's sandbox has.

def sandbox():
    needs_sandboxes()
    folder = pathlib.Path(os.environ[INSIDE])
    target = folder / "target"
    target.mkdir()
    name, _, size = FILES[1]

    def thumbnail(*more, program="/usr/local/bin/mivo-thumbnailer"):
        """In a sandbox that shows the input at another place, alone with its output."""
        words = [*sandbox_words(), *more, "--bind", target, "/tmp", "--ro-bind", CORPUS / name, "/tmp/input"]
        return subprocess.run([*words, program, "-s", str(SIDE), "/tmp/input", "/tmp/output"], env={}, capture_output=True,
                              text=True)

    for what, more in (("nothing but /dev", ["--dev", "/dev"]), ("processes, too", ["--dev", "/dev", "--proc", "/proc"])):
        done = thumbnail(*more)
        check(done.returncode == 0, f"with {what}: {done.stderr}")
        if done.returncode == 0:
            check_picture(target / "output", name, size)
        left = sorted(path.name for path in target.iterdir() if path.name != "input")
        check(left == (["output"] if done.returncode == 0 else []), f"with {what}: {left} is left")
        (target / "output").unlink(missing_ok=True)

    # Where the worker cannot close itself nothing is read, sandbox or not.
    worker = folder / "stage/libexec/mivo/mivo-worker"
    worker.rename(worker.with_name("gone"))
    done = thumbnail("--dev", "/dev", "--proc", "/proc")
    check(done.returncode == 1 and done.stderr.count("\n") == 1, f"without a worker: {done.returncode} {done.stderr}")
    check(not (target / "output").exists(), "without a worker there is an output")
    print("sandboxes with /dev alone and with processes: a thumbnail; without a worker: a line and the status 1")


def main():
    if not CORPUS.is_dir():
        skip("the media corpus is not here (../shared/corpus or $MIVO_CORPUS)")
    if INSIDE not in os.environ:
        return run_inside()
    {"gnome": gnome, "tumbler": tumbler, "sandbox": sandbox}[sys.argv[2]]()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
