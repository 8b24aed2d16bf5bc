"""The whole program from its command line: wrong calls, who may do what, start and stop."""

import itertools
import os
import select
import shutil
import signal
import socket
import stat
import subprocess
import tempfile
import termios
import threading
import time

import pytest

import queues
from process import FilesOf, FindKeyWait, OrdinaryUser, Refused, Traced
from settings import Settings
from stopwatch import Stopwatch
from waiting import LIMIT
from world import DAEMON, FOLDER, bin, run, wait_until

USAGE = ("Usage: {} [start|stop|config|status|issuer|help]\n"
         "\n"
         "  wardenlink start   - Start the Daemon process\t\n"
         "  wardenlink stop    - Terminate Resident Daemon process\t\n"
         "  wardenlink config  - Modify Time Settings \t\n"
         "  wardenlink status  - Monitor UPS status\t\n")
REFUSAL = ("\nSorry. You must login as super-user to run this program"
           " (User ID: 65534)!!\n")
BANNER = "<SNMP WardenLink for Linux>\n "
RECORD = FOLDER + "/launched"


@pytest.fixture
def program():
    """A copy of the program in a place that every user can reach."""
    folder = tempfile.mkdtemp(dir="/run")
    os.chmod(folder, 0o755)
    yield shutil.copy(bin("wardenlink"), folder)
    shutil.rmtree(folder)


def call(*argv, timeout=LIMIT, **options):
    """Runs any command to its end, its output as text."""
    options.setdefault("stdin", subprocess.DEVNULL)
    return subprocess.run(argv, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          timeout=timeout, check=False, **options)


def place_daemon(script):
    with open(DAEMON, "w", encoding="ascii") as target:
        target.write("#!/bin/sh\n" + script)
    os.chmod(DAEMON, 0o755)


def place_recorder():
    """A daemon that writes down how it was called, a line for each launch, and ends."""
    place_daemon(f'printf "%s|" "$0" "$@" >> {RECORD}; echo >> {RECORD}\n')


def launches():
    if not os.path.exists(RECORD):
        return []
    with open(RECORD, encoding="ascii") as source:
        return source.read().splitlines()


def wait_presence_taken(process):
    """Waits until a program, on its way to a fresh presence message, took the one that was there."""
    wait_until(lambda: queues.info("heartbeatQueue").last_reader == process.pid,
               what="the program looking for the daemon")


class Beating:
    """Shows a living daemon on the heartbeat queue without running one."""

    def __enter__(self):
        self.over = threading.Event()
        self.thread = threading.Thread(target=self._beat)
        self.thread.start()
        wait_until(lambda: queues.count("heartbeatQueue"), what="a presence message")

    def _beat(self):
        while not self.over.wait(0.1):
            if queues.count("heartbeatQueue") < 5:
                queues.send("heartbeatQueue", 4, "alive")

    def __exit__(self, *unused):
        self.over.set()
        self.thread.join()


# --- wrong calls -------------------------------------------------------------------------

WRONG_CALLS = [
    ((), "One argument needed!"),
    (("start", "stop"), "Too many arguments!"),
    (("status", "status"), "Too many arguments!"),
    (("", ""), "Too many arguments!"),
    (("a", "b", "c", "d"), "Too many arguments!"),
]
UNKNOWN_WORDS = ["issuer", "START", "Stop", "star", "starts", " start", "start ", "", "-h",
                 "--help", "--version", "%s%n", "debugtolvd"]


@pytest.mark.parametrize("words,line", WRONG_CALLS)
def test_a_wrong_number_of_arguments_gets_the_usage(words, line):
    result = run(*words)
    assert result.stdout == line + "\n" + USAGE.format(bin("wardenlink"))
    assert result.stderr == ""
    assert result.returncode == 1


@pytest.mark.parametrize("words,line", WRONG_CALLS)
def test_an_ordinary_user_gets_the_same_usage_before_any_refusal(program, words, line):
    result = call(*OrdinaryUser(), program, *words)
    assert result.stdout == line + "\n" + USAGE.format(program)
    assert result.stderr == ""
    assert result.returncode == 1


@pytest.mark.parametrize("word", ["help", *UNKNOWN_WORDS])
def test_an_unknown_word_is_an_argument_error_for_the_super_user(word):
    result = run(word)
    assert result.stdout == "Argument error!\n" + USAGE.format(bin("wardenlink"))
    assert result.stderr == ""
    assert result.returncode == 1


def test_help_passes_the_super_user_rule_and_is_no_command_for_anybody(program):
    result = call(*OrdinaryUser(), program, "help")
    assert result.stdout == "Argument error!\n" + USAGE.format(program)
    assert result.stderr == ""
    assert result.returncode == 1


def test_the_usage_line_bears_the_name_that_was_typed():
    for name in ("ups", "./%s", "", "two words"):
        result = call(name, executable=bin("wardenlink"))
        assert result.stdout == "One argument needed!\n" + USAGE.format(name)
        assert result.returncode == 1


def test_wrong_calls_leave_no_trace(program):
    for words in ((), ("help",), ("start", "now"), ("START",)):
        run(*words)
    assert os.listdir(FOLDER) == []
    assert not any(queues.exists(name) for name in queues.NAMES)


# --- the super-user rule -----------------------------------------------------------------

@pytest.mark.parametrize("word", ["start", "stop", "config", *UNKNOWN_WORDS])
def test_an_ordinary_user_is_refused_every_word_but_two(program, word):
    place_recorder()
    result = call(*OrdinaryUser(), program, word)
    assert result.stderr == REFUSAL
    assert result.stdout == ""
    assert result.returncode == 1
    assert not any(queues.exists(name) for name in queues.NAMES)
    assert launches() == []


def test_an_ordinary_user_may_watch_the_status(program, start):
    Settings(snmp_ip="127.0.0.1").write()
    screen = start([*OrdinaryUser(), program, "status"])
    screen.wait_text(0, 1, "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4")
    screen.wait_text(23, 1, "System:")
    assert b"Sorry" not in screen.raw
    screen.send("q")
    assert screen.wait_exit() == 0


@pytest.fixture
def everyones_folder():
    os.chmod(FOLDER, 0o777)
    yield
    os.chmod(FOLDER, 0o755)


def test_an_ordinary_users_status_makes_a_missing_text_file_where_the_folder_allows_it(
        program, start, everyones_folder):
    if OrdinaryUser()[0] != "setpriv":
        pytest.skip("there is one user only here")
    kept = Settings(snmp_ip="127.0.0.1", ac_fail_delay=77, reserved=9).write()
    os.remove(FOLDER + "/wardenlink.cfg")
    screen = start([*OrdinaryUser(), program, "status"])
    screen.wait_text(0, 1, "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4")
    with open(FOLDER + "/power.ini", "rb") as record, open(FOLDER + "/wardenlink.cfg", "rb") as text:
        assert (record.read(), text.read()) == (kept.record(), kept.text().encode())
    for name in ("power.ini", "wardenlink.cfg"):
        state = os.stat(f"{FOLDER}/{name}")
        assert (state.st_uid, stat.S_IMODE(state.st_mode)) == (65534, 0o644), name
    screen.send("q")
    assert screen.wait_exit() == 0


def test_an_ordinary_users_status_never_replaces_settings_that_it_may_not_read(
        program, everyones_folder):
    if OrdinaryUser()[0] != "setpriv":
        pytest.skip("there is one user only here")
    kept = Settings(ac_fail_delay=77).write()
    os.chmod(FOLDER + "/power.ini", 0o600)
    result = call(*OrdinaryUser(), program, "status")
    assert (result.returncode, result.stdout) == (1, "File /etc/wardenlink/power.ini Error!\n")
    with open(FOLDER + "/power.ini", "rb") as record:
        assert record.read() == kept.record()
    assert sorted(os.listdir(FOLDER)) == ["power.ini", "wardenlink.cfg"]


def test_a_refusal_leaves_the_terminal_alone(program, start):
    screen = start([*OrdinaryUser(), program, "config"])
    assert screen.wait_exit() == 1
    # Only the text: nothing that moves the cursor or clears the screen.
    assert screen.raw.decode() == REFUSAL.replace("\n", "\r\n")


# --- start -------------------------------------------------------------------------------

def test_start_launches_the_daemon_with_twelve_blanks_and_says_nothing():
    place_recorder()
    result = run("start")
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    wait_until(launches, what="the launch")
    assert launches() == [DAEMON + "|            |"]


def test_start_gives_the_daemon_exactly_its_path_and_one_argument(placed):
    assert run("start").returncode == 0
    pid = placed.wait_running()
    with open(f"/proc/{pid}/cmdline", "rb") as source:
        assert source.read() == DAEMON.encode() + b"\0" + b" " * 12 + b"\0"


@pytest.mark.parametrize("environment", [("-u", "TERM"), ("TERM=nonsense",)])
def test_start_and_stop_need_no_terminal(environment):
    """From a boot script, say."""
    place_recorder()
    stopped = call("env", *environment, bin("wardenlink"), "stop")
    assert (stopped.stdout, stopped.stderr) == (BANNER + "is not running!\n", "")
    started = call("env", *environment, bin("wardenlink"), "start")
    assert (started.returncode, started.stderr) == (0, "")
    wait_until(launches, what="the launch")


def test_start_does_not_wait_for_the_daemon():
    go_on = FOLDER + "/go-on"
    os.mkfifo(go_on)
    place_daemon(f"read -r word < {go_on}; : > {RECORD}\n")
    assert run("start").returncode == 0
    assert not os.path.exists(RECORD)
    with open(go_on, "w", encoding="ascii") as target:
        target.write("now\n")
    wait_until(lambda: os.path.exists(RECORD), what="the daemon's own work")


def test_start_twice_launches_twice_while_no_daemon_has_shown_itself():
    place_recorder()
    assert run("start").returncode == 0
    assert run("start").returncode == 0
    wait_until(lambda: len(launches()) == 2, what="two launches")


def test_start_says_that_a_living_daemon_is_running(placed):
    assert run("start").returncode == 0
    pid = placed.wait_running()
    result = run("start")
    assert result.stdout == BANNER + "is currently running!\n"
    assert (result.returncode, result.stderr) == (0, "")
    wait_until(lambda: placed.pids() == [pid], what="that daemon alone")


def calls_of(log):
    """The lines of a trace, without the one that tells the exit status."""
    with open(log, encoding="ascii") as source:
        return [line for line in source.read().splitlines() if "(" in line]


def call_counting_sleeps(word):
    """Runs a command; what it gives, its seconds, and how often it slept."""
    log = "/run/sleeps"
    took = Stopwatch()
    result = call(*Traced("nanosleep,clock_nanosleep", log), bin("wardenlink"), word)
    return result, took.passed(), len(calls_of(log))


def test_start_replaces_a_dead_daemon_after_fifteen_seconds():
    place_recorder()
    queues.send("heartbeatQueue", 4, "left by a daemon that died")
    result, seconds, sleeps = call_counting_sleeps("start")
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    assert seconds > 14.95
    assert sleeps == 15
    wait_until(launches, what="the launch")
    assert len(launches()) == 1


def test_start_says_that_the_daemon_program_fails():
    # The text comes from the child, which may write after its parent has ended.
    for place in (None, "exit 0\n"):
        if place is not None:
            place_daemon(place)
            os.chmod(DAEMON, 0o644)
        result = subprocess.run([bin("wardenlink"), "start"], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=LIMIT,
                                check=False)
        assert result.stdout == b"Error! Daemon program fails!\n"
        assert (result.returncode, result.stderr) == (0, b"")


def test_start_ends_silently_with_1_where_no_process_can_be_made():
    result = call(*Refused("clone,clone3,fork,vfork", "EAGAIN"), bin("wardenlink"), "start")
    assert (result.returncode, result.stdout, result.stderr) == (1, "", "")


def ignore_ends():
    """In a child: what a caller may ignore and the daemon must not."""
    for number in (signal.SIGPIPE, signal.SIGXFSZ):
        signal.signal(number, signal.SIG_IGN)


def test_start_gives_the_daemon_the_default_actions_whatever_its_caller_ignores():
    place_daemon(f"grep ^SigIgn: /proc/$$/status > {RECORD}.new; mv {RECORD}.new {RECORD}\n")
    assert run("start", preexec_fn=ignore_ends).returncode == 0
    ignored = int(wait_until(launches, what="the launch")[0].split()[1], 16)
    for number in (signal.SIGPIPE, signal.SIGXFSZ):
        assert not ignored >> (number - 1) & 1, number


def test_start_gives_the_daemon_none_of_its_callers_files_but_the_standard_streams(placed):
    with open(FOLDER + "/lock", "w", encoding="ascii") as lock:
        os.dup2(lock.fileno(), 900)
        assert run("start", pass_fds=(lock.fileno(), 900)).returncode == 0
        os.close(900)
    pid = placed.wait_running()
    held = FilesOf(pid)
    assert FOLDER + "/lock" not in held.values()
    assert {"0", "1", "2"} <= set(held)


def test_start_then_stop_ends_the_daemon(placed):
    assert run("start").returncode == 0
    placed.wait_running()
    result = run("stop")
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    placed.wait_ended()


def test_start_needs_no_streams_and_stop_one_descriptor_besides(placed):
    closed, few = ["sh", "-c", 'exec "$0" "$@" <&- >&- 2>&-'], ["prlimit", "--nofile=4"]
    assert call(*closed, bin("wardenlink"), "start").returncode == 0
    placed.wait_running()
    assert call(*closed, *few, bin("wardenlink"), "stop").returncode == 0
    placed.wait_ended()


# --- stop --------------------------------------------------------------------------------

def test_stop_sends_three_bytes_of_type_5_to_the_daemons_queue():
    with Beating():
        result = run("stop")
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    assert queues.drain("daemonControlQueue") == [(5, b"100")]
    assert queues.drain("screenControlQueue") == []


def test_stop_ends_silently_with_1_when_its_message_cannot_be_queued():
    with pytest.raises(OSError):
        while True:
            queues.send("daemonControlQueue", 5, "9" * 4096)
    while queues.info("daemonControlQueue").bytes < queues.info("daemonControlQueue").most_bytes:
        queues.send("daemonControlQueue", 5, "9")
    with Beating():
        result = run("stop")
    assert (result.returncode, result.stdout, result.stderr) == (1, "", "")
    assert b"100" not in [text for _, text in queues.drain("daemonControlQueue")]


def test_stop_without_a_daemon_says_so_at_once():
    result, _, sleeps = call_counting_sleeps("stop")
    assert sleeps == 0
    assert result.stdout == BANNER + "is not running!\n"
    assert (result.returncode, result.stderr) == (0, "")
    assert not queues.exists("heartbeatQueue")
    assert not queues.exists("daemonControlQueue")


def test_stop_finds_out_that_a_daemon_died_and_clears_its_queue():
    for _ in range(6):
        queues.send("heartbeatQueue", 4, "left over")
    result, seconds, sleeps = call_counting_sleeps("stop")
    assert seconds > 14.95
    assert sleeps == 15
    assert result.stdout == BANNER + "is not running!\n"
    assert (result.returncode, result.stderr) == (0, "")
    assert not queues.exists("heartbeatQueue")
    assert not queues.exists("daemonControlQueue"), "nobody is asked to end"


# --- standard streams --------------------------------------------------------------------

def test_commands_run_with_their_input_from_a_file_and_leave_the_file_alone():
    place_recorder()
    path = FOLDER + "/input"
    with open(path, "w+", encoding="ascii") as source:
        source.write("nobody reads this\n")
        source.seek(0)
        assert run("stop", stdin=source).stdout == BANNER + "is not running!\n"
        assert run("start", stdin=source).returncode == 0
        wait_until(launches, what="the launch")
        assert source.tell() == 0
        assert run("HELP", stdin=source).returncode == 1
    with open(path, encoding="ascii") as source:
        assert source.read() == "nobody reads this\n"


def test_commands_run_with_no_input_at_all():
    result = run("stop", stdin=None, preexec_fn=lambda: os.close(0))
    assert result.stdout == BANNER + "is not running!\n"
    assert result.returncode == 0


CLOSED = [streams for count in (1, 2, 3) for streams in itertools.combinations((0, 1, 2), count)]


def close_all(streams):
    for stream in streams:
        os.close(stream)


def stream_paths(pid):
    """What the three standard streams of a process lead to; None where one is closed."""
    paths = []
    for stream in (0, 1, 2):
        try:
            paths.append(os.readlink(f"/proc/{pid}/fd/{stream}"))
        except FileNotFoundError:
            paths.append(None)
    return paths


def expected_paths(path, closed):
    return ["/dev/null" if stream in closed else path for stream in (0, 1, 2)]


@pytest.mark.parametrize("closed", CLOSED)
def test_start_opens_the_daemons_closed_streams_on_the_null_device(closed):
    place_daemon(f'paths=$(cd /proc/$$/fd; readlink 0 1 2)\n'
                 f'echo "$paths" >{RECORD}.new; mv {RECORD}.new {RECORD}\n')
    path = FOLDER + "/streams"
    with open(path, "w+", encoding="ascii") as file:
        started = subprocess.run([bin("wardenlink"), "start"], stdin=file, stdout=file,
                                 stderr=file, preexec_fn=lambda: close_all(closed), check=False)
    assert started.returncode == 0
    assert wait_until(launches, what="the launch") == expected_paths(path, closed)


@pytest.mark.parametrize("closed", CLOSED)
def test_no_socket_of_a_status_screen_takes_a_closed_streams_place(agent, settings, closed):
    path = FOLDER + "/streams"
    with open(path, "w+", encoding="ascii") as file:
        process = subprocess.Popen([bin("wardenlink"), "status"], stdin=file, stdout=file,
                                   stderr=file, preexec_fn=lambda: close_all(closed),
                                   env=dict(os.environ, TERM="linux"))
    try:
        wait_until(agent.log, what="a request")
        assert stream_paths(process.pid) == expected_paths(path, closed)
    finally:
        process.kill()
        process.wait()


def agent_side_port(pid):
    """The port of a program's own UDP socket."""
    with open(f"/proc/{pid}/net/udp", encoding="ascii") as source:
        rows = [line.split() for line in source.read().splitlines()[1:]]
    sockets = {int(target[len("socket:["):-1]) for target in FilesOf(pid).values()
               if target.startswith("socket:")}
    port, = [int(row[1].split(":")[1], 16) for row in rows if int(row[9]) in sockets]
    return port


def test_what_is_sent_to_a_status_screen_without_input_is_no_key(start, agent, settings):
    # Whoever can send to its socket, the agent first of all, must not press [q].
    screen = start(["sh", "-c", 'exec "$0" status <&-', bin("wardenlink")], quit_keys="")
    screen.wait_text(0, 1, "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4")
    wait_until(agent.log, what="a request")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        for _ in range(40):
            sender.sendto(b"q", (agent.address, agent_side_port(screen.pid)))
            time.sleep(0.1)
    assert screen.alive()
    agent.clear_log()
    wait_until(agent.log, what="the next request")


# --- the terminal's mode -----------------------------------------------------------------

# A mode as no program leaves it by itself: no echo of its own kind, odd control characters.
def odd_mode(mode):
    mode = [list(part) if isinstance(part, list) else part for part in mode]
    mode[0] &= ~termios.ICRNL
    mode[3] = mode[3] & ~termios.ECHOE | termios.ECHO | termios.ICANON
    mode[6][termios.VERASE] = b"\x15"
    mode[6][termios.VKILL] = b"\x02"
    return mode


def modes(fd):
    """All of a terminal's mode but its speeds."""
    iflag, oflag, cflag, lflag, _, _, characters = termios.tcgetattr(fd)
    return iflag, oflag, cflag, lflag, characters


class Pty:
    """A terminal in an odd mode, whose other end stays open when a program ends."""

    def __enter__(self):
        self.master, self.slave = os.openpty()
        termios.tcsetattr(self.slave, termios.TCSANOW, odd_mode(termios.tcgetattr(self.slave)))
        self.before = modes(self.slave)
        return self

    def run_while(self, words, disturb):
        """Runs a command on it, calls disturb(process) meanwhile; gives the exit status."""
        process = subprocess.Popen(words, stdin=self.slave, stdout=self.slave,
                                   stderr=self.slave, start_new_session=True,
                                   env=dict(os.environ, TERM="linux"))
        disturb(process)

        def HasEnded():
            while select.select([self.master], [], [], 0)[0]:
                os.read(self.master, 65536)
            return process.poll() is not None
        wait_until(HasEnded, what="the end of the command")
        return process.returncode

    def make_raw(self):
        mode = termios.tcgetattr(self.slave)
        mode[0] |= termios.ICRNL
        mode[1] &= ~termios.OPOST
        mode[3] &= ~(termios.ICANON | termios.ECHO)
        mode[6][termios.VMIN], mode[6][termios.VTIME] = 0, 20
        termios.tcsetattr(self.slave, termios.TCSANOW, mode)

    def __exit__(self, *unused):
        os.close(self.master)
        os.close(self.slave)


def test_a_mode_left_raw_meanwhile_is_put_back_when_the_command_is_over():
    queues.send("heartbeatQueue", 4, "left over")
    with Pty() as pty:
        def LeaveRaw(process):
            wait_presence_taken(process)
            pty.make_raw()
            assert modes(pty.slave) != pty.before
            queues.send("heartbeatQueue", 4, "alive")
        assert pty.run_while([bin("wardenlink"), "stop"], LeaveRaw) == 0
        assert modes(pty.slave) == pty.before


# With its other streams elsewhere a screen shows nothing, but sets the terminal that it reads.
@pytest.mark.parametrize("words", [("wardenlink", "status"), ("wardenlink-monitor",)])
@pytest.mark.parametrize("elsewhere", ["", ">/dev/null 2>&1"])
def test_the_mode_of_before_comes_back_after_a_screen(words, elsewhere):
    Settings(snmp_ip="127.0.0.1").write()
    with Pty() as pty:
        def PressQuit(process):
            wait_until(lambda: not termios.tcgetattr(pty.slave)[3] & termios.ICANON,
                       what="the screen's own mode")
            during = termios.tcgetattr(pty.slave)
            assert not during[3] & termios.ECHO
            wait_until(lambda: FindKeyWait(process.pid), what="the screen waiting for a key")
            os.write(pty.master, b"q")
        name, *options = words
        screen = ["sh", "-c", f'exec "$@" {elsewhere}', "sh", bin(name), *options]
        assert pty.run_while(screen, PressQuit) == 0
        assert modes(pty.slave) == pty.before


def test_no_mode_is_put_back_where_none_was_there_to_keep():
    log = "/run/ioctls"
    with open("/run/input", "w+", encoding="ascii") as source:
        call(*Traced("ioctl", log), bin("wardenlink"), "stop", stdin=source)
    assert [line for line in calls_of(log) if "TCGETA" in line]
    assert not [line for line in calls_of(log) if "TCSET" in line]


def test_no_mode_is_put_back_on_a_terminal_that_did_not_tell_its_own():
    log = "/run/ioctls"
    with Pty() as pty:
        words = [*Refused("ioctl", "EIO", log=log), bin("wardenlink"), "stop"]
        assert pty.run_while(words, lambda process: None) == 0
        assert modes(pty.slave) == pty.before
    assert [line for line in calls_of(log) if "TCGETA" in line]
    assert not [line for line in calls_of(log) if "TCSET" in line]


def test_a_wrong_call_touches_no_mode():
    with Pty() as pty:
        for words in ([], ["help"], ["start", "stop"]):
            assert pty.run_while([bin("wardenlink"), *words], lambda process: None) == 1
            assert modes(pty.slave) == pty.before


# --- what else a command does and does not -------------------------------------------------

def test_start_and_stop_leave_the_settings_alone():
    Settings(ac_fail_delay=77).write()
    os.chmod(FOLDER + "/power.ini", 0o600)
    place_recorder()
    before = {name: os.stat(f"{FOLDER}/{name}") for name in ("power.ini", "wardenlink.cfg")}
    run("start")
    run("stop")
    wait_until(launches, what="the launch")
    for name, old in before.items():
        now = os.stat(f"{FOLDER}/{name}")
        assert (now.st_ino, now.st_mtime_ns, stat.S_IMODE(now.st_mode)) == \
            (old.st_ino, old.st_mtime_ns, stat.S_IMODE(old.st_mode))


def test_an_interrupt_ends_a_command_that_has_no_screen():
    queues.send("heartbeatQueue", 4, "left over")
    # Whoever runs the tests in the background may have it ignored from the outset.
    process = subprocess.Popen([bin("wardenlink"), "stop"], stdin=subprocess.DEVNULL,
                               preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
    wait_presence_taken(process)
    process.send_signal(signal.SIGINT)
    assert process.wait(LIMIT) == -signal.SIGINT
