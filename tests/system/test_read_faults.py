"""Files whose bytes a failing disk refuses (EIO): what is seen then, and that what they hold is
kept."""

import contextlib
import dataclasses
import os

import pytest

import queues
import tolvd as daemon
import world
from config_painter import edit, file_bytes, files_hold  # noqa: F401
from help_painter import CONTENTS, PLACE, WINDOWS, check, place_help
from local_watch import open_watch, watch  # noqa: F401
from process import Refused
from settings import Settings
from tolvd import ask, kept_outage, leave_outage, preloaded, serial_settings, trace
from waiting import LIMIT, wait_until

LOG = "/run/refused"
NAMES = ("power.ini", "wardenlink.cfg")
SETTINGS = [f"{world.FOLDER}/{name}" for name in NAMES]
EDITOR = [world.bin("wardenlink"), "config"]
HELD = Settings(comm_mode=0, com_port="/dev/ttyS7", ac_fail_delay=42, schedule=[[1, 2, 3, 4]] * 7)


def only(paths):
    """Words for strace: calls on these files alone."""
    return [word for path in paths for word in ("-P", path)]


@contextlib.contextmanager
def unreadable(pid, *paths, follow=()):
    """A running program that gets no byte of these files. Gives a function that waits until it
    has tried so many times."""
    tracer = trace(pid, *follow, "-o", LOG, *only(paths), "-e", "inject=read:error=EIO")

    def tries():
        with open(LOG, encoding="utf-8", errors="replace") as source:
            return source.read().count("EIO (Input/output error) (INJECTED)")

    def wait_tried(times=1):
        wait_until(lambda: tries() >= times, what="a reading")

    try:
        yield wait_tried
    finally:
        tracer.terminate()
        tracer.wait(LIMIT)


def wait_shown(look):
    """A program that is traced stands still at each call, which looks like waiting for a key: its
    picture is waited for."""
    def Holds():
        with contextlib.suppress(AssertionError):
            look()
            return True
    try:
        wait_until(Holds, what="the picture")
    except AssertionError:
        look()


# --- settings ------------------------------------------------------------------------------


def test_an_editor_shows_what_it_could_read_and_writes_nothing_unasked(edit):
    """The text holds all that its first picture shows but what is the same by default."""
    for paths, shown in (SETTINGS[:1], HELD), (SETTINGS[1:], HELD), (SETTINGS, Settings()):
        HELD.write()
        editor = edit(shown, written=True,
                      command=[*Refused("read", "EIO"), "-D", *only(paths), *EDITOR])
        assert not files_hold(HELD)
        editor.quit("qq")


@pytest.mark.parametrize("program", [["wardenlink", "status"], ["wardenlink-monitor"],
                                     ["wardenlink-local"]], ids=str)
def test_a_screen_writes_no_settings_where_it_could_read_none(start, program):
    HELD.write()
    screen = start([*Refused("read", "EIO"), *only(SETTINGS), world.bin(program[0]), *program[1:]])
    screen.wait_for(lambda: "UPS" in "".join(map(screen.row, range(screen.rows))), what="a picture")
    assert not files_hold(HELD)


@pytest.mark.parametrize("call", ["read", "openat"])
def test_a_setup_keeps_settings_that_it_cannot_read(serial_ups, call):
    HELD.write()
    for path in SETTINGS:
        shown = ask("--setup", "serial", world.DEVICE, prefix=[*Refused(call, "EIO"), *only([path])])
        assert shown.stderr == (f"tolvd: {world.FOLDER}: the settings that are there cannot be "
                                "read\n")
        assert (shown.returncode, shown.stdout) == (1, "")
        assert not files_hold(HELD)


def test_a_local_screen_goes_on_with_the_settings_that_it_has(watch):
    old = watch.painter.settings
    with unreadable(watch.screen.pid, *SETTINGS) as wait_tried:
        Settings(comm_mode=0, com_port="/dev/ttyS7").write()
        watch.tell("010")
        watch.screen.send(" ")
        wait_tried()
        watch.files = dataclasses.replace(watch.files, load="071").write()
        watch.screen.send(" ")
        wait_shown(watch.check)
    assert watch.painter.settings == old
    watch.change(Settings(comm_mode=0, com_port="/dev/ttyS7"))
    watch.press("  ")
    watch.check()


def test_the_editor_shows_what_it_saved_where_it_cannot_read_it_back(edit):
    editor = edit(HELD)
    editor.press("n", at=(9, 42), countdown_on=0)
    with unreadable(editor.screen.pid, *SETTINGS) as wait_tried:
        editor.screen.send("s")
        wait_tried()
    editor.screen.wait_key()
    editor.expect(at=(18, 42))
    assert not files_hold(editor.settings)
    editor.press("dddd", at=(3, 63))  # behind the passes that read the files
    editor.press("as", at=(18, 49), turn_off_ups=0)
    assert not files_hold(editor.settings)


# --- what the screens read besides ---------------------------------------------------------


@pytest.mark.parametrize("name", ["q1", "rtg", "mdl"])
def test_a_reply_that_cannot_be_read_is_shown_as_none(watch, name):
    whole = watch.files
    with unreadable(watch.screen.pid, f"{world.FOLDER}/wardenlink.{name}"):
        watch.files = dataclasses.replace(whole, **{name: None})
        watch.screen.send(" ")
        wait_shown(watch.check)
    watch.files = whole
    watch.press()
    watch.check()


def test_a_help_page_that_cannot_be_read_leaves_the_one_before(start):
    place_help()
    screen = start([world.bin("wardenlink-help")])
    screen.wait_key()
    with unreadable(screen.pid, f"{PLACE}/text5.txt") as wait_tried:
        screen.send("5")
        wait_tried()
    screen.wait_key()
    check(screen, CONTENTS)
    screen.press("5")
    check(screen, 20)


def test_a_help_whose_contents_cannot_be_read_does_not_open(start):
    place_help()
    contents = f"{PLACE}/{WINDOWS[CONTENTS].file}"
    screen = start([*Refused("read", "EIO"), *only([contents]), world.bin("wardenlink-help")])
    screen.wait_exit()
    assert screen.raw.replace(b"\r", b"") == b"\nerror.....exiting\n"


# --- the daemon ----------------------------------------------------------------------------


@pytest.mark.parametrize("path", SETTINGS)
def test_a_daemon_keeps_its_settings_until_it_can_read_others(serial_ups, tolvd, path):
    serial_settings(ac_fail_delay=1440)
    running = tolvd(env=preloaded("short_waits"))
    with unreadable(running.pid, path, follow=["-f"]) as wait_tried:
        serial_settings(ac_fail_delay=1440, com_port="/dev/ttyS7")
        queues.send("daemonControlQueue", 5, "010")
        assert running.wait_log("the settings cannot be read: the old ones stay").priority == 3
        wait_tried(10)
        serial_ups.load(44)
        running.wait_status(load=44, device=world.DEVICE)
        assert not running.lines("settings were read again")
        assert len(running.lines("cannot be read")) == 1
        with open(LOG, encoding="utf-8", errors="replace") as source:
            own = [line for line in source if line.startswith(f"{running.pid} ") and "EIO" in line]
        assert len(own) <= 3, "its children try again: no disk keeps the daemon itself waiting"
    running.wait_status(device="/dev/ttyS7", ups="lost")
    serial_settings(ac_fail_delay=1440)
    running.reload()
    running.wait_status(device=world.DEVICE, ups="heard")


def start_blind(*paths):
    """A daemon that cannot read these files; strace goes with it from its first call on."""
    # A sanitizer cannot look for leaks in a program that is traced.
    sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    running = daemon.Tolvd(prefix=["strace", "-D", "-qq", "-o", "/dev/null", *only(paths), "-e",
                                   "inject=read:error=EIO"], env={"ASAN_OPTIONS": sanitizer})
    daemon.STARTED.append(running)
    return running


def test_a_daemon_finds_its_ups_in_the_text_beside_a_record_that_it_cannot_read(serial_ups, tolvd):
    serial_settings(schedule_on=1, schedule=[[1, 2, 3, 4]] * 7)
    running = start_blind(SETTINGS[0])
    running.wait_log("the settings cannot be read whole: what is missing has its default")
    running.wait_status(ups="heard", device=world.DEVICE, scheduled_at=None)
    assert file_bytes("power.ini"), "it writes no settings"


def test_an_outage_outlives_settings_that_cannot_be_read(serial_ups, tolvd):
    """The mains are out, the daemon is started again, and a disk refuses the settings for a while:
    without them there is no UPS, which is no end of an outage."""
    serial_ups.mains("fail")
    left = leave_outage(100)
    serial_settings(ac_fail_delay=1440)
    for path in SETTINGS:
        os.rename(path, path + ".kept")
        os.symlink("/run", path)  # which is there, and gives no bytes
    running = tolvd(ready=False, env=preloaded("short_waits"))
    assert running.wait_log("what is missing has its default until the disk gives it").priority == 1
    running.wait_log("NOTHING is protected")
    running.wait_status(source="none", pending="outage")
    for path in SETTINGS:
        os.replace(path + ".kept", path)
    running.wait_status(device=world.DEVICE, ups="heard")
    assert kept_outage() == str(int(left * 1000))
    assert not running.lines("no UPS now")
    running.wait_log("the power failure goes on: its delays count from its begin")


def test_a_daemon_without_a_ups_takes_the_first_that_a_failing_disk_gives(serial_ups, tolvd):
    serial_settings(ac_fail_delay=1440)
    for path in SETTINGS:
        os.rename(path, path + ".kept")
        os.symlink("/run", path)
    running = tolvd(ready=False, env=preloaded("short_waits"))
    running.wait_log("NOTHING is protected")
    os.replace(SETTINGS[1] + ".kept", SETTINGS[1])
    running.wait_status(device=world.DEVICE, ups="heard")
    os.replace(SETTINGS[0] + ".kept", SETTINGS[0])
    running.wait_log("settings were read again", count=2)


def test_a_check_beside_settings_that_cannot_be_read_shows_what_the_daemon_goes_by(serial_ups, tolvd):
    serial_settings()
    tolvd().wait_status(status=0)
    shown = ask("--check", prefix=[*Refused("read", "EIO"), *only(SETTINGS)])
    assert shown.returncode == 0
    assert "\nThe running daemon goes by the settings that it has. Its last reading:\n" in shown.stdout
    assert "mains              good\n" in shown.stdout and shown.stdout.count("cannot be read. ") == 2


def test_a_check_asks_a_line_that_the_daemon_does_not_know_of_yet(serial_ups, tolvd):
    tolvd(ready=False).wait_status(source="none")
    serial_settings()
    shown = ask("--check")
    assert shown.returncode == 0 and "mains              good\n" in shown.stdout
    assert "tells no status" not in shown.stdout


def test_an_outage_that_cannot_be_read_begins_anew(serial_ups, tolvd):
    """The system stays up for another delay."""
    serial_settings(ac_fail_delay=2)
    serial_ups.freeze()
    serial_ups.mains("fail")
    left = leave_outage(100)
    began = daemon.boot_now()
    running = start_blind(daemon.OUTAGE)
    running.wait_status(status=2)
    since = int(wait_until(lambda: kept_outage() != str(int(left * 1000)) and kept_outage(),
                           what="the outage kept anew"))
    assert since >= int(began * 1000)


def test_a_status_that_cannot_be_read_is_no_daemon(serial_ups, tolvd):
    serial_settings()
    tolvd()
    shown = ask("--status", prefix=[*Refused("read", "EIO"), *only([daemon.STATUS])])
    assert (shown.returncode, shown.stdout) == (1, "no daemon is running\n")
