"""What an ordinary user of the machine can and cannot do: the table of SECURITY.md, tried."""

import contextlib
import ctypes
import errno
import fcntl
import itertools
import os
import re
import resource
import shutil
import signal
import subprocess
import time

import pytest

import queues
import settings as files
import tolvd as daemon
import world
from local_painter import WARNING, all_replies_with
from outside import check_lines, check_stream, pieces, plain_terminal
from process import Children, OrdinaryUser, ReadStatus
from settings import FOLDER, Settings
from tolvd import (agent_settings, ask, kept_outage, leave_outage, put_program, serial_settings,
                   wait_recorded)
from users import (become_ordinary_user, beside, crowd, end, is_full, spawn, storm,
                   try_as_ordinary_user)
from waiting import LIMIT, wait_until

pytestmark = pytest.mark.usefixtures("other_user")

SETTINGS = [f"{FOLDER}/{name}" for name in ("power.ini", "wardenlink.cfg")]
OPERATORS = 34  # a group that the user belongs to where a test says so
PR_SET_NAME = 15
MOST_PROCESSES = 200  # of a user, those of other worlds perhaps among them
DELAY = 60  # seconds from an outage's begin to the shutdown
FLUSH = 10  # the longest wait for the disks
BUSY = 60  # seconds by which a busy machine may hold up anything
TURN_OFF = ".1.3.6.1.4.1.935.1.1.1.6.2.1.0"


def write_into(path):
    os.close(os.open(path, os.O_WRONLY))


def read_from(path):
    os.close(os.open(path, os.O_RDONLY))


def make_in(folder):
    os.close(os.open(folder + "/mine", os.O_WRONLY | os.O_CREAT, 0o755))


def is_refused(step, *words):
    return try_as_ordinary_user(step, *words) in (errno.EACCES, errno.EPERM)


# --- files ---------------------------------------------------------------------------------


def save_in_the_editor(start, keys=""):
    """What `wardenlink config` writes, which makes files that are missing."""
    screen = start([world.bin("wardenlink"), "config"])
    screen.wait_key()
    screen.press(keys + "s")
    assert screen.cells(18, 35, 17) == "(Save Completed!)"
    screen.send("q")
    assert screen.wait_exit() == 0


def set_up():
    """What `tolvd --setup` writes, which makes them, too."""
    assert ask("--setup", "serial", world.DEVICE).returncode == 0
    assert files.read().com_port == world.DEVICE


def narrow_settings():
    """Takes the right to read them away from all but the operators."""
    for path in SETTINGS:
        os.chown(path, 0, OPERATORS)
        os.chmod(path, 0o640)


def test_the_community_is_everybodys_until_the_mode_is_narrowed(start, serial_ups):
    save_in_the_editor(start, "osecret\n")
    assert files.read().snmp_community == files.read_text()["snmp_community"] == "secret"
    assert [try_as_ordinary_user(read_from, path) for path in SETTINGS] == [0, 0]
    narrow_settings()
    for save in (lambda: save_in_the_editor(start, "d+"), set_up):
        before = [os.stat(path).st_ino for path in SETTINGS]
        save()
        assert not set(before) & {os.stat(path).st_ino for path in SETTINGS}, "they are other files"
        for path in SETTINGS:
            state = os.stat(path)
            assert (state.st_uid, state.st_gid, state.st_mode & 0o7777) == (0, OPERATORS, 0o640)
            assert is_refused(read_from, path)
            assert try_as_ordinary_user(read_from, path, groups=[OPERATORS]) == 0
    assert files.read().snmp_community == "secret"


@pytest.fixture
def secret_agent():
    """One that answers to a community that not everybody is to know."""
    running = world.Agent(community="secret")
    agent_settings(snmp_community="secret")
    narrow_settings()
    yield running
    assert running.stop() == 0, "the simulated UPS ended badly"


def ask_as(user, program, words):
    """The status as he sees it; none while it is too old, on a busy machine."""
    shown = subprocess.run([*user, program, "--status", *words], capture_output=True, text=True,
                           timeout=LIMIT, check=False)
    assert shown.stderr == ""
    return shown.stdout if shown.returncode == 0 else None


def test_who_may_not_read_the_community_is_told_by_the_daemon(
        secret_agent, tolvd, start, everyones, everyones_tolvd):
    local = shutil.copy(world.bin("wardenlink-local"), os.path.dirname(everyones))
    for command, told in (([everyones, "status"], f"File {SETTINGS[0]} Error!"),
                          ([local], f"{SETTINGS[0]} not found!")):
        screen = start([*OrdinaryUser(), *command])
        assert screen.wait_exit() != 0
        assert screen.raw.decode().splitlines() == [told]
    tolvd()
    for words in ([], ["--json"]):
        told = wait_until(lambda words=words: ask_as(OrdinaryUser(), everyones_tolvd, words),
                          what="the daemon's word")
        assert "good" in told and world.agent_address() in told and "secret" not in told
    member = [word for word in OrdinaryUser() if word != "--clear-groups"]
    screen = start([*member, f"--groups={OPERATORS}", everyones, "status"])
    screen.wait_key()
    assert screen.cells(4, 23, 6) == "secret"


def test_the_settings_and_what_lies_beside_them_are_roots(start, serial_ups):
    os.mkdir(daemon.EVENT_FOLDER)
    for save in (lambda: save_in_the_editor(start), set_up):
        save()
        for folder in (FOLDER, daemon.EVENT_FOLDER):
            assert is_refused(make_in, folder)
            assert is_refused(os.symlink, "/run/elsewhere", folder + "/.power.ini.save-abcdef")
        for path in SETTINGS:
            assert is_refused(write_into, path)
            assert is_refused(os.remove, path)
            assert is_refused(os.rename, path, path + ".mine")
            assert is_refused(os.chmod, path, 0o666)
            os.remove(path)  # so that the next one makes it


def test_a_save_replaces_a_link_and_leaves_alone_where_it_leads(start):
    Settings(ac_fail_delay=7).write()
    for path in SETTINGS:
        shutil.move(path, "/run/" + os.path.basename(path))
        os.symlink("/run/" + os.path.basename(path), path)
        os.chown("/run/" + os.path.basename(path), 65534, -1)
    screen = start([world.bin("wardenlink"), "config"])
    screen.wait_key()
    for key in "d+s":
        screen.press(key)
    for path in SETTINGS:
        assert not os.path.islink(path)
        with open("/run/" + os.path.basename(path), "rb") as old, open(path, "rb") as new:
            assert old.read() != new.read()
        os.remove("/run/" + os.path.basename(path))


def test_the_daemons_files_its_lock_and_its_programs_are_roots(serial_ups, tolvd):
    put_program(daemon.EVENT_FOLDER + "/10mine", "exit 0\n")
    serial_settings()
    tolvd()
    for folder in (daemon.STATE, daemon.EVENT_FOLDER):
        assert is_refused(make_in, folder)
        assert is_refused(os.symlink, "/run/elsewhere", folder + "/status.json.new")
    for path in (daemon.STATUS, daemon.LOCK, daemon.EVENT_FOLDER + "/10mine"):
        assert is_refused(write_into, path)
        assert is_refused(os.remove, path)
    # A lock may be held through a file that is open for reading only.
    assert is_refused(read_from, daemon.LOCK)


# --- the daemon ----------------------------------------------------------------------------


def test_no_signal_reaches_the_daemon(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    for number in (0, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGSTOP, signal.SIGKILL):
        assert try_as_ordinary_user(os.kill, running.pid, number) == errno.EPERM
    asked = serial_ups.log().count("serial Q1")
    wait_until(lambda: serial_ups.log().count("serial Q1") > asked + 2, what="rounds")
    assert not running.lines("settings were read again")


def beat():
    while True:
        if queues.count("heartbeatQueue") < 5:
            queues.send("heartbeatQueue", 4, "alive")
        time.sleep(0.1)


def test_a_presence_that_is_made_up_keeps_start_from_starting_and_no_more(placed, serial_ups):
    serial_settings()
    queues.open("heartbeatQueue")  # root's: one that he made is removed before it is believed
    user = spawn(become_ordinary_user, beat)
    try:
        wait_until(lambda: queues.count("heartbeatQueue"), what="his presence")
        assert world.run("start").returncode == 0
        assert placed.pids() == []
        # The way of the service asks nobody whether there is a daemon.
        subprocess.run([world.DAEMON], timeout=LIMIT, check=True)
        assert placed.wait_running() in placed.pids()
    finally:
        end(user)


def test_the_presence_comes_back_to_a_queue_that_was_filled_or_emptied(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    assert try_as_ordinary_user(queues.fill, "heartbeatQueue", 4) == 0
    wait_until(lambda: queues.info("heartbeatQueue").last_sender == running.pid, what="the presence")
    assert try_as_ordinary_user(queues.drain, "heartbeatQueue") == 0
    wait_until(lambda: queues.count("heartbeatQueue"), what="the presence")
    assert running.status()["ups"] == "heard"


@contextlib.contextmanager
def presence_taken():
    """By so many that a message finds one of them waiting, also on a busy machine."""
    with crowd(lambda: queues.hoard("heartbeatQueue"), 8) as readers:
        wait_until(lambda: queues.info("heartbeatQueue").last_reader in readers, what="his first")
        yield


def test_a_signal_ends_a_daemon_whose_presence_is_taken(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    with presence_taken():
        running.stop()


def test_the_protection_does_not_hang_on_the_presence(serial_ups, tolvd, start):
    serial_settings(ac_fail_delay=10)
    serial_ups.freeze()
    running = tolvd()
    screen = start([world.bin("wardenlink-local")])
    screen.wait_key()
    with presence_taken():
        serial_ups.mains("fail")
        running.wait_status(status=2, pending="outage")
        wait_until(lambda: all_replies_with(" 10000"), what="the replies")
        screen.press(" ")
        assert screen.cells(9, 26, 8) == "AC FAILS"
        assert screen.cells(15, 4, 32) == " " * 32, "no warning without a daemon"
        wait_until(lambda: ask("--status").returncode == 2, what="the daemon's word")
        assert world.run("stop").stdout.endswith("is not running!\n")  # removes the queue
    running.reload()
    running.wait_status(status=2, pending="outage")
    # One for a pass that nobody called forth, one for the pass that is looked at.
    wait_until(lambda: queues.count("heartbeatQueue") > 1, what="the presence")
    screen.press(" ")
    assert screen.cells(15, 4, 32) == WARNING


def make_and_give(name):
    queues.open(name)
    queues.give(name, 0)


def test_a_queue_that_he_made_and_gave_to_root_is_made_anew(serial_ups, tolvd):
    serial_settings()
    for name in ("daemonControlQueue", "commandQueue"):
        assert try_as_ordinary_user(make_and_give, name) == 0
        assert (queues.info(name).uid, queues.info(name).cuid) == (0, 65534)
    tolvd()
    for name in ("daemonControlQueue", "commandQueue"):
        made = queues.info(name)
        assert (made.uid, made.cuid, made.mode & 0o777) == (0, 0, 0o600)


def take_all_queues(taken):
    """Every queue that the system has to give."""
    while (queue := queues.make_private()) is not None:
        taken.append(queue)


def give_back(taken):
    for queue in taken:
        queues.remove_number(queue)


def test_a_daemon_without_a_single_queue_protects(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    taken = []  # his own from the fork on
    with beside(lambda: take_all_queues(taken), lambda: give_back(taken)):
        leave_outage(DELAY - 5)
        tolvd().wait_log("the system goes down now, by the power failure")
        wait_recorded("shutdown", "-h now")
        assert not any(map(queues.exists, queues.NAMES))
    wait_until(lambda: queues.count("heartbeatQueue"), what="the presence, now that there is room")


def check_shutdown_in_time(tolvd, look):
    """Of a daemon that finds an outage nearly over. look() is at what goes on beside it then."""
    since = leave_outage(DELAY - 5)
    decided = tolvd().wait_log("the system goes down now, by the power failure")
    call = wait_recorded("shutdown", "-h now")
    look()
    # The recorder's clock shows hundredths.
    assert kept_outage() == str(int(since * 1000)), "counted from its begin"
    assert DELAY - 0.1 <= call.at - since <= DELAY + FLUSH + BUSY
    assert DELAY <= decided.at - since <= DELAY + BUSY


def test_no_storm_on_any_queue_holds_up_a_shutdown(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    with storm("heartbeatQueue", senders=4), storm("daemonControlQueue", 5, 4), \
            storm("commandQueue", 9, 4), storm("dataQueue", 1, 4):
        check_shutdown_in_time(tolvd, lambda: wait_until(lambda: is_full("heartbeatQueue"),
                                                         what="the storm, which goes on"))


def never_end():
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    while True:
        signal.pause()


def make_all_processes(made):
    """As many as he may have, none of which ends when it is told to."""
    resource.setrlimit(resource.RLIMIT_NPROC, (MOST_PROCESSES, MOST_PROCESSES))
    with contextlib.suppress(BlockingIOError):
        while True:
            made.append(spawn(never_end))


def ignores_end(pid):
    return ReadStatus(pid, "SigIgn", 16) >> (signal.SIGTERM - 1) & 1


def end_all(made):
    for pid in made:
        end(pid)


def test_processes_without_number_that_ignore_their_end_hold_up_no_shutdown(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    made = []  # his own from the fork on
    with beside(lambda: make_all_processes(made), lambda: end_all(made)) as user:
        his = Children(user)
        assert len(his) > 10
        wait_until(lambda: all(ignores_end(pid) for pid in his), what="the last one begun")

        def tell_to_end():
            for pid in his:
                os.kill(pid, signal.SIGTERM)
        check_shutdown_in_time(tolvd, tell_to_end)
        assert all(ignores_end(pid) for pid in his), "none has ended"


# --- the UPS -------------------------------------------------------------------------------


def test_the_line_is_the_daemons_alone(serial_ups, tolvd):
    serial_settings()
    os.chmod(world.DEVICE, 0o666)
    assert try_as_ordinary_user(write_into, os.path.realpath(world.DEVICE)) == 0
    tolvd()
    os.chmod(world.DEVICE, 0o666)  # a line that was closed is a new one
    for step in (read_from, write_into):
        assert try_as_ordinary_user(step, os.path.realpath(world.DEVICE)) == errno.EBUSY


def test_who_had_the_line_open_before_keeps_it_and_is_named(serial_ups, tolvd):
    serial_settings()
    os.chmod(world.DEVICE, 0o666)
    line = []  # his own from the fork on
    with beside(lambda: line.append(os.open(world.DEVICE, os.O_RDWR | os.O_NOCTTY)),
                lambda: os.write(line[0], b"T\r")) as user:
        assert f"Trouble: process {user} (" in ask("--check").stdout
        running = tolvd()
        shown = ask("--check").stdout
        assert f"Trouble: process {user} (" in shown and f"process {running.pid} (" not in shown
        assert try_as_ordinary_user(write_into, os.path.realpath(world.DEVICE)) == errno.EBUSY
        assert "serial T" not in serial_ups.log()
    wait_until(lambda: "serial T" in serial_ups.log(), what="his order at the UPS")


def test_who_knows_the_community_commands_an_agent_that_lets_him(agent):
    words = [*OrdinaryUser(), "snmpset", "-v1", "-r0", "-cpublic", agent.address, TURN_OFF, "i", "2"]
    agent.freeze()
    assert subprocess.run(words, capture_output=True, check=False).returncode == 0
    assert agent.log() == [f"set {TURN_OFF} integer 2"]
    agent.error("turn_off", "readOnly")
    assert subprocess.run(words, capture_output=True, check=False).returncode != 0


# --- root's terminal -----------------------------------------------------------------------


def send_outside(texts):
    """His presence messages, as many as are taken, for ever."""
    for text in itertools.cycle(texts):
        wait_until(lambda: queues.count("heartbeatQueue") < 5, what="a reader")
        queues.send("heartbeatQueue", 4, text)


def test_what_he_sends_as_the_presence_reaches_no_terminal_raw(start):
    Settings(comm_mode=0).write()
    queues.open("heartbeatQueue")  # root's: one that he made is removed before it is read
    screen = start([world.bin("wardenlink-local")], **plain_terminal())
    screen.wait_key()
    for text in pieces(90):
        assert try_as_ordinary_user(queues.send, "heartbeatQueue", 4, text) == 0
        screen.press("r")
        assert queues.info("heartbeatQueue").last_reader == screen.pid
        check_stream(screen.clear_raw())
    user = spawn(become_ordinary_user, lambda: send_outside(pieces(90)))
    try:
        wait_until(lambda: queues.count("heartbeatQueue") >= 5, what="his presence")
        shown = world.run("start")
    finally:
        end(user)
    assert " is currently running!" in shown.stdout, "it was believed"
    check_lines((shown.stdout + shown.stderr).encode())


def hold_line_as(name):
    """Holds the line alone, under that name of a process."""
    ctypes.CDLL(None).prctl(PR_SET_NAME, name)
    fcntl.flock(os.open(world.DEVICE, os.O_RDWR | os.O_NOCTTY), fcntl.LOCK_EX)


def test_the_name_of_a_user_who_holds_the_line_reaches_no_terminal_raw(serial_ups):
    daemon.require_recorders()
    serial_settings()
    with open(world.DEVICE, "r+b", buffering=0):  # a line that is closed is a new one
        os.chmod(world.DEVICE, 0o666)
        for name in pieces(15, without=b"\0\n"):
            with beside(lambda name=name: hold_line_as(name)) as user:
                with open(f"/proc/{user}/comm", "rb") as source:
                    assert source.read() == name + b"\n"
                shown = ask("--check", text=False).stdout
            assert b"Trouble: process %d (" % user in shown
            check_lines(shown)


# --- the screens ---------------------------------------------------------------------------


def test_a_local_screen_whose_queue_is_full_follows_the_settings_within_twelve_passes(start):
    Settings(comm_mode=0, com_port="/dev/ttyS1").write()
    screen = start([world.bin("wardenlink-local")])
    screen.wait_key()
    with storm("screenControlQueue", 5, 4):
        Settings(comm_mode=0, com_port="/dev/ttyS2").write()
        screen.press("x" * 12)
        screen.press("x")
        assert screen.cells(8, 26, 10) == "/dev/ttyS2"


# --- the page ------------------------------------------------------------------------------


def page_rows():
    """The cells of each line of the table."""
    with open(f"{world.ROOT}/SECURITY.md", encoding="utf-8") as source:
        rows = [line.split("|") for line in source if re.match(r"\| [a-z]", line)]
    return [row for row in rows if row[1].strip() != "wish"]


def test_each_line_of_the_page_names_tests_that_there_are():
    rows = page_rows()
    assert len(rows) == 16 and {len(row) for row in rows} == {5}
    for row in rows:
        names = re.findall(r"`((?:system|screens|unit)\.[\w.]+)`", row[3])
        assert names, f"no test of: {row[1]}"
        for name in names:
            folder, file, *rest = name.split(".")
            unit = folder == "unit"
            path = f"tests/{folder}/" + (f"{file}_test.cpp" if unit else f"test_{file}.py")
            with open(f"{world.ROOT}/{path}", encoding="utf-8") as source:
                wanted = rf"TEST(_F|_P)?\({rest[0]}, {rest[1]}\)" if unit else rf"def {rest[0]}\("
                assert re.search(wanted, source.read()), name


def test_the_page_names_each_test_that_tries_something():
    named = "".join(row[3] for row in page_rows())
    with open(__file__, encoding="utf-8") as source:
        tests = re.findall(r"^def (test_\w+)\(", source.read(), re.M)
    assert len(tests) > 2
    for name in tests[:-2]:  # the last two look at the page
        assert f"`system.ordinary_user.{name}`" in named, name
