"""The settings outlive whatever happens during a save: the editor killed at any system call, any
call refused, a full disk, a read-only folder. Each file is then wholly old or wholly new."""

import calendar
import errno
import os
import re
import signal
import stat
import subprocess
import tempfile
import threading
import time

import pytest

import queues
import world
from config_painter import SAVED, edit, file_bytes  # noqa: F401
from fixtures import close_and_check
from process import IsStopped, Refused, Traced
from settings import Settings
from stopwatch import TRIES
from terminal import Terminal
from tolvd import preloaded
from waiting import LIMIT, wait_until

NOTICE_QUEUES = ("daemonControlQueue", "screenControlQueue")
NAMES = ("power.ini", "wardenlink.cfg")
OLD = Settings(snmp_community="old", schedule=[[1, 2, 3, 4]] * 7)
NEW = Settings(snmp_community="old", schedule=[[1, 2, 3, 4]] * 7, countdown_on=0)
OTHER = Settings(snmp_community="old", schedule=[[1, 2, 3, 4]] * 7, turn_off_ups=0)
MODES = {"power.ini": 0o640, "wardenlink.cfg": 0o604}
OWNER = 12, 34
# What a save may leave, from its begin to its end: the first file is replaced first.
IN_ORDER = (("old", "old"), ("new", "old"), ("new", "new"))
CALLS = "/run/calls"
TRACER_READY = re.compile(r"strace: Process \d+ attached")


def content(settings):
    return {"power.ini": settings.record(), "wardenlink.cfg": settings.text().encode("latin-1")}


@pytest.fixture
def owned():
    """The old files with modes and an owner of their own."""
    restore()


def told():
    """How often the daemon and the status screen were told of a save."""
    return [len(queues.drain(name)) for name in NOTICE_QUEUES]


def restore():
    told()
    OLD.write()
    for name, mode in MODES.items():
        path = os.path.join(world.FOLDER, name)
        os.chmod(path, mode)
        try:
            os.chown(path, *OWNER)
        except OSError:
            pytest.fail("this world has one user only: run as root, or have subordinate ids")
    for name in set(os.listdir(world.FOLDER)) - set(NAMES):
        os.remove(os.path.join(world.FOLDER, name))


def versions():
    """Which of both contents each file has: ("old", "new"); fails for any other content."""
    found = []
    for name in NAMES:
        data = file_bytes(name)
        assert data in (content(OLD)[name], content(NEW)[name]), f"{name} holds {data!r}"
        found.append("old" if data == content(OLD)[name] else "new")
    return tuple(found)


def check_owner():
    for name, mode in MODES.items():
        state = os.stat(os.path.join(world.FOLDER, name))
        assert (stat.S_IMODE(state.st_mode), state.st_uid, state.st_gid) == (mode, *OWNER), name


class Tracer:
    """strace on a running editor that stands before a save."""

    def __init__(self, pid, *options):
        self.log = tempfile.NamedTemporaryFile("r", prefix="save-")
        self.process = subprocess.Popen(
            ["strace", "-y", "-o", self.log.name, *options, "-p", str(pid)],
            stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        line = self.process.stderr.readline()
        assert TRACER_READY.match(line), line

    def end(self):
        """Detaches; the lines of the log."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        self.process.communicate(timeout=LIMIT)
        return self.log.read().splitlines()


def save_once(edit, *options):
    """Presses [s] in an editor with a change, under strace; the editor, and strace's log."""
    editor = edit(OLD, written=True)
    editor.press("n", at=(9, 42), countdown_on=0)
    tracer = Tracer(editor.screen.pid, *options)
    editor.screen.send("s")
    editor.screen.wait_for(
        lambda: not editor.screen.alive() or all(map(queues.count, NOTICE_QUEUES)),
        what="the end of the save")
    return editor, tracer.end()


def save_under(edit, *options):
    """The same with the key among what was traced, and no idle pass before it, the calls of which
    would be counted too: on a busy machine there may be one."""
    for _ in range(TRIES):
        editor, log = save_once(edit, *options)
        keys = [line for line in log if line.startswith("read(0<")]
        if keys and '"s"' in keys[0]:
            return editor, log
        editor.screen.close()
        restore()
    raise AssertionError("never a trace that begins with the key")


def check_left_whole():
    found = versions()
    assert found in IN_ORDER, found
    check_owner()
    return found


# --- killed ------------------------------------------------------------------------------------


def list_calls(log):
    """The calls of a save that touch its folder or a queue, in order, each with its number
    among those of the same name."""
    begin = next(at for at, line in enumerate(log) if line.startswith("read("))
    names = [line.partition("(")[0] for line in log]
    end = max(at for at, name in enumerate(names) if name == "msgsnd")
    return [(names[at], names[:at + 1].count(names[at])) for at in range(begin + 1, end + 1)
            if world.FOLDER in log[at] or names[at].startswith("msg")]


def test_an_editor_killed_at_any_call_of_a_save_leaves_whole_files(edit, owned):
    _, log = save_under(edit)
    left = []
    for call, number in list_calls(log):
        restore()
        editor, _ = save_under(edit, "-e", f"inject={call}:signal=KILL:when={number}")
        assert editor.screen.wait_exit() == -signal.SIGKILL, (call, number)
        left.append(check_left_whole())
        close_and_check(editor.screen)
    assert left == sorted(left, key=IN_ORDER.index), left
    assert set(left) == set(IN_ORDER) and len(left) > 20


def age_leftovers(count):
    """Makes what the killed save left look two minutes old: nobody is at work on it any more."""
    left = set(os.listdir(world.FOLDER)) - set(NAMES)
    assert len(left) == count
    for name in left:
        path = os.path.join(world.FOLDER, name)
        os.utime(path, (time.time() - 120,) * 2)


def test_after_a_kill_the_next_editor_starts_saves_and_clears_up(edit, owned):
    for call, leftovers in (("write", 1), ("fsync", 1), ("rename", 2)):
        restore()
        editor, _ = save_under(edit, "-e", f"inject={call}:signal=KILL:when=1")
        assert editor.screen.wait_exit() == -signal.SIGKILL
        assert check_left_whole() == ("old", "old")
        age_leftovers(leftovers)
        editor = edit(OLD, written=True)
        editor.press("n", at=(9, 42), countdown_on=0)
        editor.press("s", at=(18, 42))
        assert check_left_whole() == ("new", "new")
        assert sorted(os.listdir(world.FOLDER)) == sorted(NAMES)


# --- the first save ----------------------------------------------------------------------------


def make_first(start, *options):
    """An editor that finds no settings and makes them before its screen, traced from its start."""
    for name in os.listdir(world.FOLDER):
        os.remove(os.path.join(world.FOLDER, name))
    return start([*Traced("all", CALLS), "-y", *options, world.bin("wardenlink"), "config"],
                 quit_keys="qq")


def making_calls():
    """The calls that make the files, each with its number among those of the same name."""
    with open(CALLS, encoding="utf-8", errors="replace") as source:
        log = source.read().splitlines()
    names = [line.partition("(")[0] for line in log]
    touching = [at for at, line in enumerate(log) if world.FOLDER in line]
    assert "ENOENT" in log[touching[0]] and names[touching[-1]] == "close"
    return [(names[at], names[:at + 1].count(names[at])) for at in touching[1:]]


def made():
    """Whether each file is there, which is then whole."""
    there = [os.path.exists(os.path.join(world.FOLDER, name)) for name in NAMES]
    for name, is_there in zip(NAMES, there):
        assert not is_there or file_bytes(name) == content(Settings())[name], name
    return tuple(there)


def test_a_first_save_killed_at_any_call_leaves_whole_files_or_none(start, edit):
    """And the next editor starts, with all of them."""
    make_first(start).wait_text(19, 9, "[q] Quit.")
    left = []
    for call, number in making_calls():
        killed = make_first(start, "-e", f"inject={call}:signal=KILL:when={number}")
        assert killed.wait_exit() == -signal.SIGKILL, (call, number)
        left.append(made())
        editor = edit(Settings(), written=True)
        assert made() == (True, True)
        close_and_check(editor.screen)
    assert left == sorted(left) and len(left) > 15, left
    assert set(left) == {(False, False), (True, False), (True, True)}


# --- refused -----------------------------------------------------------------------------------


NEVER_STARTED, HALF, DONE = IN_ORDER


# What the first, the second ... refusal of the call within a save leaves; a call that is made
# for other things too leaves any of several.
@pytest.mark.parametrize("call, error, expected", [
    ("openat", "ENOSPC", {NEVER_STARTED, DONE}), ("openat", "EMFILE", {NEVER_STARTED, DONE}),
    ("write", "ENOSPC", [NEVER_STARTED, NEVER_STARTED]),
    ("write", "EIO", [NEVER_STARTED, NEVER_STARTED]),
    ("fsync", "EIO", [NEVER_STARTED, NEVER_STARTED, DONE]),
    ("fchmod", "EPERM", [NEVER_STARTED, NEVER_STARTED]),
    ("fchown", "EIO", [NEVER_STARTED, NEVER_STARTED]),
    ("close", "EIO", {NEVER_STARTED, DONE}),
    ("rename", "ENOSPC", [NEVER_STARTED, HALF]), ("rename", "EROFS", [NEVER_STARTED, HALF])])
def test_a_save_with_a_refused_call_leaves_whole_files(edit, owned, call, error, expected):
    """The screen says as ever that it was completed, and shows what the files then hold."""
    left = []
    for number in range(1, 12):
        restore()
        editor, log = save_under(edit, "-e", f"inject={call}:error={error}:when={number}")
        end = max(at for at, line in enumerate(log) if line.startswith("msgsnd("))
        if not any("(INJECTED)" in line for line in log[:end]):
            break  # the save has no call of this kind any more
        left.append(check_left_whole())
        assert sorted(os.listdir(world.FOLDER)) == sorted(NAMES)
        assert told() == [1, 1]
        editor.screen.wait_key()
        editor.expect(at=(18, 42), countdown_on=(NEW if left[-1] == DONE else OLD).countdown_on)
        close_and_check(editor.screen, "\nqq")
    assert type(expected)(left) == expected


def test_a_save_of_one_who_may_not_hand_files_over_keeps_them(edit, owned):
    _, log = save_under(edit, "-e", "inject=fchown:error=EPERM")
    assert any("(INJECTED)" in line for line in log)
    assert versions() == DONE
    for name in NAMES:
        state = os.stat(os.path.join(world.FOLDER, name))
        assert (state.st_uid, state.st_gid) == (0, 0)
        assert stat.S_IMODE(state.st_mode) == {0o640: 0o600, 0o604: 0o604}[MODES[name]]


def test_a_folder_that_cannot_be_flushed_is_an_error_with_both_files_new():
    result = subprocess.run([*Refused("fsync", "EIO", when="3+"), world.bin("wardenlink"), "status"],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=LIMIT,
                            check=False)
    assert (result.returncode, result.stdout) == (1, b"File /etc/wardenlink/power.ini Error!\n")
    assert sorted(os.listdir(world.FOLDER)) == sorted(NAMES)
    for name, data in content(Settings()).items():
        assert file_bytes(name) == data


def test_an_interrupted_write_is_taken_up_again(edit, owned):
    for number in (1, 2):
        restore()
        save_under(edit, "-e", f"inject=write:error=EINTR:when={number}")
        assert check_left_whole() == ("new", "new")


# --- in order ----------------------------------------------------------------------------------


def position(log, pattern, start):
    """Where the next line that matches stands in the log."""
    for at in range(start, len(log)):
        if re.match(pattern, log[at]) and " = -1 " not in log[at]:
            return at
    raise AssertionError(f"no {pattern} from line {start} of\n" + "\n".join(log))


def test_both_files_are_flushed_before_either_takes_its_name_and_the_folder_after(edit, owned):
    _, log = save_under(edit)
    at, scratch = 0, {}
    for name in NAMES:
        at = position(log, rf'openat\(.*"{world.FOLDER}/[^"/]+", .*O_EXCL', at)
        scratch[name] = re.escape(re.search(r'"([^"]+)"', log[at]).group(1))
        at = position(log, rf"write\(\d+<{scratch[name]}>", at)
        at = position(log, rf"f(data)?sync\(\d+<{scratch[name]}>", at)
    for name in NAMES:
        path = re.escape(f"{world.FOLDER}/{name}")
        at = position(log, rf'rename(at2?)?\(.*"{scratch[name]}", .*"{path}"', at)
    at = position(log, rf"fsync\(\d+<{re.escape(world.FOLDER)}>", at)
    told = [number for number, line in enumerate(log) if line.startswith("msgsnd(")]
    assert len(told) == 2 and min(told) > at, "the daemon and a screen, once all is done"
    # Under their own names they are read and replaced, and nothing else.
    own = [line for line in log if re.search(r'/(power\.ini|wardenlink\.cfg)"', line)]
    assert len([line for line in own if line.startswith("rename")]) == 2
    assert not [line for line in own if not re.match(r"rename|openat\(.*O_RDONLY|\w*stat", line)]


def test_a_reader_finds_whole_files_between_any_two_calls_of_a_save(edit, owned):
    met, over = set(), threading.Event()

    def Read():
        while not over.is_set():
            met.update((name, file_bytes(name)) for name in NAMES)

    reader = threading.Thread(target=Read)
    reader.start()
    try:
        save_once(edit, "-e", "inject=openat,write,fsync,close,rename,unlink:delay_enter=50000")
        wanted = {*content(OLD).items(), *content(NEW).items()}
        wait_until(lambda: not reader.is_alive() or wanted <= met, what="the new files")
    finally:
        over.set()
        reader.join()
    assert met == wanted


# --- the clock set meanwhile -------------------------------------------------------------------


def hold_save(edit, flushes):
    """An editor that stands still in its save, with so many scratch files whole on the disk."""
    editor = edit(OLD, written=True, env=preloaded("short_waits"))
    editor.press("n", at=(9, 42), countdown_on=0)
    tracer = Tracer(editor.screen.pid, "-e", f"inject=fsync:signal=STOP:when={flushes}")
    editor.screen.send("s")
    wait_until(lambda: "stopped by SIGSTOP" in file_bytes(tracer.log.name).decode(),
               what="the save standing still")
    tracer.end()
    wait_until(lambda: IsStopped(editor.screen.pid), what="it standing still untraced")
    assert len(os.listdir(world.FOLDER)) == len(NAMES) + flushes
    return editor


def end_save(editor, weather, left):
    """The held one goes on. Its screen says as ever that it is completed, and shows what the files
    then hold; nothing else is left."""
    told()
    os.kill(editor.screen.pid, signal.SIGCONT)
    wait_until(lambda: all(map(queues.count, NOTICE_QUEUES)), what="the end of the save")
    editor.screen.wait_key()
    assert editor.screen.cells(18, 35, len(SAVED)) == SAVED
    weather.set_clock(time.time())
    editor.press("d", at=(3, 63), countdown_on=left.countdown_on, turn_off_ups=left.turn_off_ups)
    assert {name: file_bytes(name) for name in NAMES} == content(left)
    assert sorted(os.listdir(world.FOLDER)) == sorted(NAMES)
    check_owner()


@pytest.mark.parametrize("year", [1970, 2040])
@pytest.mark.parametrize("flushes", [1, 2])
def test_a_clock_that_is_set_does_a_save_no_harm(edit, owned, weather, flushes, year):
    editor = hold_save(edit, flushes)
    weather.set_clock(calendar.timegm((year, 1, 1, 0, 0, 0)))
    end_save(editor, weather, NEW)


# What another save finds half done it takes for a leftover where its clock is a minute ahead.
@pytest.mark.parametrize("year, left", [(1970, NEW), (2040, OTHER)])
@pytest.mark.parametrize("flushes", [1, 2])
def test_of_two_saves_one_is_kept_whole_when_the_clock_is_set(edit, owned, weather, flushes, year,
                                                              left):
    held = hold_save(edit, flushes)
    editor = edit(OLD, written=True, env=preloaded("short_waits"))
    weather.set_clock(calendar.timegm((year, 1, 1, 0, 0, 0)))
    editor.screen.press("as")
    assert {name: file_bytes(name) for name in NAMES} == content(OTHER)
    end_save(held, weather, left)


# --- no room, no right -------------------------------------------------------------------------


@pytest.fixture
def mounted():
    """mounted(WORDS) puts a file system over the settings folder, if that is possible here."""
    count = 0

    def Mount(*words):
        nonlocal count
        if os.environ["WARDENLINK_WORLD"] != "private":
            return False
        subprocess.run(["mount", *words, world.FOLDER], check=True)
        count += "remount" not in ",".join(words)
        return True

    yield Mount
    for _ in range(count):
        subprocess.run(["umount", "--lazy", world.FOLDER], check=True)


def fill(path):
    """Takes all the room that there is: the files' number, then their bytes."""
    made = []
    try:
        while len(made) < 1000:
            with open(f"{path}/filler{len(made)}", "wb", buffering=0) as filler:
                made.append(filler.name)
                while True:
                    filler.write(b"#" * 512)
    except OSError as problem:
        assert problem.errno == errno.ENOSPC
    return made


def check_failed_save(editor):
    """A save that cannot be: nothing changes on disk, and both readers are told all the same."""
    before = sorted(os.listdir(world.FOLDER))
    editor.screen.press("ns")
    assert editor.screen.cells(18, 35, 17) == SAVED
    assert check_left_whole() == ("old", "old")
    assert sorted(os.listdir(world.FOLDER)) == before
    assert told() == [1, 1]


@pytest.mark.parametrize("room", ["size=64k", "size=1m,nr_inodes=5"])
def test_a_save_on_a_full_disk_keeps_the_old_files_until_there_is_room(edit, owned, mounted, room):
    if not mounted("-t", "tmpfs", "-o", room + ",mode=755", "tmpfs"):
        check_refused_everywhere(edit, "ENOSPC")
        return
    restore()
    editor = edit(OLD, written=True)
    made = fill(world.FOLDER)
    check_failed_save(editor)
    for path in made:
        os.remove(path)
    editor.screen.press("ddddns")  # the four passes that still read the files, then again
    assert check_left_whole() == ("new", "new")
    assert sorted(os.listdir(world.FOLDER)) == sorted(NAMES)


def test_a_save_in_a_read_only_folder_keeps_the_old_files(edit, owned, mounted):
    if not mounted("--bind", world.FOLDER):
        check_refused_everywhere(edit, "EROFS")
        return
    assert mounted("-o", "remount,ro,bind")
    editor = edit(OLD, written=True)
    check_failed_save(editor)
    editor.screen.press("ddddd")
    assert editor.screen.cells(9, 42, 3) == "ON ", "the old settings were read again"


def check_refused_everywhere(edit, error):
    """Where nothing may be mounted: every opening and flushing of the save fails instead."""
    save_under(edit, "-e", f"inject=openat,fsync:error={error}")
    assert check_left_whole() == ("old", "old")


def test_a_read_only_folder_without_settings_is_an_error_before_the_screen(mounted):
    if not mounted("--bind", world.FOLDER) or not mounted("-o", "remount,ro,bind"):
        os.mkdir(os.path.join(world.FOLDER, "power.ini"))  # no file can take its place
    with Terminal([world.bin("wardenlink"), "config"]) as screen:
        assert screen.wait_exit() == 1
        assert screen.raw == b"File /etc/wardenlink/power.ini Error!\r\n"
