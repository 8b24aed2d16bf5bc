"""What tolvd --check finds wrong around the daemon: a line for each, with its remedy."""

import contextlib
import ctypes
import fcntl
import os
import shutil
import signal
import subprocess

import pytest

import tolvd as daemon
import world
from process import Refused, RunningFrom
from settings import Settings
from tolvd import ask, program, put_program, serial_settings
from users import ORDINARY_USER, other_user  # noqa: F401
from waiting import LIMIT, wait_until

INI, CFG = (os.path.join(world.FOLDER, name) for name in ("power.ini", "wardenlink.cfg"))
NO_DAEMON = "Trouble: no daemon runs: nothing is protected. Remedy: systemctl enable --now wardenlink."


@pytest.fixture(autouse=True)
def sound(serial_ups):
    """Everything in its place, but for a daemon that runs."""
    daemon.require_recorders()
    serial_settings()
    os.symlink(program(), world.DAEMON)
    put_program(daemon.EVENT_FOLDER + "/10mine", "exit 0\n")


def troubles():
    """The lines about troubles; the one about a daemon that does not run is not repeated."""
    shown = ask("--check").stdout.splitlines()
    found = [line for line in shown if line.startswith("Trouble: ")]
    assert all(line.count(" Remedy: ") == 1 and line.endswith(".") for line in found)
    assert NO_DAEMON in found
    return [line for line in found if line != NO_DAEMON]


def owner(path, matter="is not root's alone"):
    return f"Trouble: {path} {matter}. Remedy: chown root {path} && chmod go-w {path}."


def test_where_all_is_well_nothing_is_said():
    assert troubles() == []


def test_a_daemon_that_runs_is_no_trouble(tolvd):
    tolvd()
    assert "Trouble" not in ask("--check").stdout


def test_a_folder_that_is_missing():
    shutil.rmtree(world.FOLDER)
    try:
        assert troubles() == [f"Trouble: {world.FOLDER} is missing. Remedy: "
                              f"mkdir -m 755 {world.FOLDER}."]
    finally:
        os.mkdir(world.FOLDER, 0o755)


@pytest.mark.parametrize("mode, uid", [(0o775, 0), (0o757, 0), (0o755, 65534)])
@pytest.mark.parametrize("path", [world.FOLDER, daemon.EVENT_FOLDER, daemon.STATE])
def test_folders_that_others_can_change(path, mode, uid):
    os.makedirs(path, exist_ok=True)
    os.chown(path, uid, -1)
    os.chmod(path, mode)
    try:
        assert troubles() == [owner(path, "is not root's alone: others can take the protection "
                                    "away")]
    finally:
        os.chown(path, 0, -1)
        os.chmod(path, 0o755)


@pytest.mark.parametrize("path", [world.FOLDER, daemon.STATE])
def test_folders_that_are_closed_to_the_users_of_the_screens(path):
    os.makedirs(path, exist_ok=True)
    try:
        for mode in (0o750, 0o751, 0o754):
            os.chmod(path, mode)
            assert troubles() == [f"Trouble: {path} is closed to ordinary users: they see nothing "
                                  f"of the UPS. Remedy: chmod 755 {path}."]
    finally:
        os.chmod(path, 0o755)


@pytest.mark.parametrize("path", [INI, CFG])
def test_settings_files_that_are_missing_or_others(path):
    os.chmod(path, 0o664)
    assert troubles() == [owner(path)]
    os.chmod(path, 0o640)
    assert troubles() == []
    os.chown(path, 65534, -1)
    assert troubles() == [owner(path)]
    os.remove(path)
    remedy = {INI: "restore a copy, or tolvd --setup and then wardenlink config.",
              CFG: "wardenlink config makes it from power.ini."}[path]
    assert troubles() == [f"Trouble: {path} is missing. Remedy: {remedy}"]
    for name in INI, CFG:
        with contextlib.suppress(FileNotFoundError):
            os.remove(name)
    assert f"Trouble: {CFG} is missing. Remedy: restore a copy." in troubles()


@pytest.mark.parametrize("path", [INI, CFG])
def test_a_folder_in_the_place_of_a_settings_file(path):
    os.remove(path)
    os.mkdir(path)
    assert [line for line in troubles() if line.startswith(f"Trouble: {path} is no plain file. ")]


@pytest.mark.parametrize("path", [daemon.EVENT_FOLDER, daemon.STATE])
def test_a_link_in_the_place_of_a_folder(path):
    shutil.rmtree(path, ignore_errors=True)
    os.symlink("/run", path)
    try:
        assert troubles() == [f"Trouble: {path} is no folder and has to go away. Remedy: "
                              f"mkdir -m 755 {path}."]
    finally:
        os.remove(path)


@pytest.mark.parametrize("path", [INI, CFG])
def test_a_settings_file_that_a_disk_refuses(path):
    """What would be written in its place are defaults: nobody is sent to the editor."""
    shown = ask("--check", prefix=[*Refused("read", "EIO"), "-P", path]).stdout
    assert shown.startswith("The settings cannot be read whole: what is missing has its default.\n")
    assert (f"Trouble: {path} cannot be read. Remedy: restore a copy, or mend the disk, and save "
            "nothing before: defaults would take its place.\n") in shown
    assert shown.count("Trouble: ") == 2, "and there is no daemon"
    if path == INI:
        os.remove(CFG)
    else:
        os.truncate(INI, 20)
    assert ask("--check", prefix=[*Refused("read", "EIO"), "-P", path]).stdout.count("Trouble: ") == 2


def test_half_a_settings_file():
    os.truncate(INI, 231)
    assert troubles() == [f"Trouble: {INI} is not 232 bytes long. Remedy: wardenlink config, save "
                          "with [s], and look at all that is set, the schedule too."]


@pytest.mark.parametrize("changes, words", [
    ({"ac_fail_delay": 1441}, "the AC failure delay is out of range"),
    ({"batt_low_delay": 0}, "the battery-low delay is out of range"),
    ({"ups_off_delay": 0.0}, "the UPS turn-off delay is out of range"),
    ({"turn_off_ups": 2}, "Turn Off UPS? is 2, neither 0 nor 1"),
    ({"schedule_on": -1}, "Schedule Function is -1, neither 0 nor 1"),
    ({"countdown_on": 7}, "Countdown Function is 7, neither 0 nor 1"),
    ({"battery_rating": 11.0}, "the battery rating is out of range"),
    ({"battery_rating": 97.0}, "the battery rating is out of range"),
    ({"comm_mode": 192}, "the communication mode is neither 0 nor 1"),
], ids=lambda value: next(iter(value)) if isinstance(value, dict) else "")
def test_settings_out_of_range(changes, words):
    Settings(**{"comm_mode": 0, "com_port": world.DEVICE, **changes}).write()
    found = troubles()
    assert len(found) == 1 and found[0].startswith(f"Trouble: {words}"), found


@pytest.mark.parametrize("volts", [0.0, 12.0, 96.0])
def test_a_battery_rating_at_an_end_of_its_range(volts):
    serial_settings(battery_rating=volts)
    assert troubles() == []


def test_a_daemon_that_start_does_not_find():
    os.remove(world.DAEMON)
    assert troubles() == ['Trouble: "wardenlink start" finds no daemon. Remedy: '
                          f"ln -sf {program()} {world.DAEMON}."]


def test_event_programs_that_never_run():
    folder = daemon.EVENT_FOLDER
    for name in ("20.sh", "30", "40off"):
        shutil.copy(f"{folder}/10mine", f"{folder}/{name}")
    os.symlink("10mine", f"{folder}/50link")
    os.chmod(f"{folder}/20.sh", 0o755)
    os.chmod(f"{folder}/30", 0o775)
    os.chmod(f"{folder}/40off", 0o644)
    assert sorted(troubles()) == [
        f"Trouble: {folder}/20.sh never runs: its name. Remedy: name it by letters, digits, '_' "
        "and '-'.", owner(f"{folder}/30", "never runs: it is not root's alone"),
        f"Trouble: {folder}/50link never runs: it is no plain file. Remedy: put a copy in its "
        "place."]


@contextlib.contextmanager
def gone(path):
    os.rename(path, path + ".gone")
    try:
        yield
    finally:
        os.rename(path + ".gone", path)


def test_commands_that_cannot_be_run():
    for path in ("/sbin/shutdown", "/sbin/poweroff"):
        with gone(path):
            found = troubles()
        assert len(found) == 1 and found[0].startswith(f"Trouble: {path} cannot be run"), found


@contextlib.contextmanager
def mounted_over(path, source):
    subprocess.run(["mount", "--bind", source, path], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "--lazy", path], check=True)


def test_users_who_cannot_be_told():
    with mounted_over("/usr/bin/wall", INI):  # which is no program
        found = troubles()
        assert len(found) == 1 and found[0].startswith("Trouble: /usr/bin/wall cannot be run")
        serial_settings(countdown_on=0)
        assert troubles() == []


def test_a_line_that_another_program_holds(serial_ups):
    with open("/proc/self/comm", encoding="utf-8") as name:
        holder = [f"Trouble: process {os.getpid()} ({name.read().strip()}) has it open. Remedy: end "
                  "it, or take it off this line."]
    with open(world.DEVICE, "r+b", buffering=0) as line:
        assert troubles() == holder, "and takes the UPS's words away, now and then"
        fcntl.flock(line, fcntl.LOCK_EX)
        serial_ups.clear_log()
        assert troubles() == holder
        assert "The line is held by another program: it was not asked.\n" in ask("--check").stdout
        assert "serial Q1" not in serial_ups.log()


def test_a_daemon_that_tells_no_status_is_not_to_be_ended(serial_ups, tolvd):
    """It may protect all the same: a full disk below /run is enough for it to look like this."""
    running = tolvd()
    running.wait_status(status=0)
    with daemon.standing_still(running.pid):
        os.remove(daemon.STATUS)
        shown = ask("--check").stdout
    assert (f"Trouble: process {running.pid} is a daemon that tells no status, and may protect all "
            "the same. Remedy: see its log.\n") in shown
    assert (f"Trouble: process {running.pid} (tolvd) has it open, and may protect all the same. "
            "Remedy: see its log.\n") in shown
    assert shown.count("Trouble: ") == 2, "nothing is to be ended, and nothing started"


@pytest.mark.parametrize("words", [["--dry-run"], ["--foreground"], [], [" " * 12]], ids=str)
def test_a_daemon_is_found_by_its_process(words):
    """However it was started, from a folder of its own too, and whatever became of its file."""
    place = "/run/tolvd.old"
    shutil.copy(program(), place)
    with subprocess.Popen([place, *words], stderr=subprocess.DEVNULL) as started:
        wait_until(lambda: os.path.exists(daemon.STATUS), what="the daemon")
        silent = daemon.read_status()["pid"]
        with daemon.standing_still(silent):
            os.remove(daemon.STATUS)
            os.remove(place)
            shown = ask("--check").stdout
        os.kill(silent, signal.SIGTERM)
        started.wait(LIMIT)
    assert f"Trouble: process {silent} is a daemon that tells no status" in shown
    assert "A daemon that tells no status may hold the line: it was not asked.\n" in shown
    # What it has started at its end looks like it for a moment: until it has closed all it was given.
    wait_until(lambda: not RunningFrom(place), what="its end")


def hear_signals():
    """What a daemon has, and an ordinary user's program may have as well."""
    made = ctypes.CDLL(None).signalfd(-1, ctypes.create_string_buffer(128), 0)
    os.set_inheritable(made, True)


@pytest.mark.parametrize("user, hears", [(ORDINARY_USER, True), (0, False)])
def test_what_is_only_called_tolvd_hides_no_missing_daemon(other_user, user, hears):
    place = "/run/tolvd"
    shutil.copy("/bin/cat", place)
    with subprocess.Popen([place], stdin=subprocess.PIPE, user=user, close_fds=False,
                          preexec_fn=hear_signals if hears else None) as other:
        wait_until(lambda: os.path.samefile(f"/proc/{other.pid}/exe", place), what="the program")
        assert troubles() == []
        other.stdin.close()
        assert other.wait(LIMIT) == 0


def test_a_program_of_the_daemons_that_has_the_line_open_is_named(serial_ups, tolvd):
    """It takes the UPS's words away like any other, even though the daemon has started it."""
    put_program(daemon.EVENT_FOLDER + "/10reader", f"exec sleep 1000 <{world.DEVICE}\n")
    tolvd().wait_status(status=0)
    wait_until(lambda: "(sleep) has it open. Remedy: end it" in ask("--check").stdout,
               what="the program")


def test_nothing_is_changed_by_looking():
    before = {name: os.stat(os.path.join(world.FOLDER, name)) for name in os.listdir(world.FOLDER)}
    os.truncate(INI, 100)
    os.chmod(CFG, 0o666)
    ask("--check")
    assert set(os.listdir(world.FOLDER)) == set(before)
    assert os.stat(INI).st_size == 100 and os.stat(CFG).st_mode & 0o777 == 0o666
    assert not os.path.exists(daemon.STATE)
