"""The real daemon in a private world: started, watched, and what it did to the world around it.

Nothing here runs where the machine's own shutdown could be reached.
"""

import collections
import contextlib
import json
import os
import re
import select
import shutil
import signal
import subprocess
import threading
import time

import pytest

import queues
import world
from process import Children, IsStopped, MemoryKilobytes, RunningFrom
from settings import Settings
from stopwatch import Stopwatch
from waiting import LIMIT
from world import wait_until

STATE = "/run/wardenlink"
STATUS = STATE + "/status.json"
OUTAGE = STATE + "/outage"
LOCK = STATE + "/tolvd.lock"
LAST_DEED = STATE + "/shutdown"
RECORDED = "/run/wardenlink-recorded"
HELD = "/run/wardenlink-held"
AHEAD = "/run/wardenlink-clock-ahead"
EVENT_FOLDER = world.FOLDER + "/event.d"
REPLIES = tuple(f"{world.FOLDER}/wardenlink.{name}" for name in ("q1", "rtg", "mdl"))

STARTED = []  # the daemons of this test, for the report of a failure

# A line of the daemon's log, and one that a recorder wrote: the moment of CLOCK_BOOTTIME first.
Line = collections.namedtuple("Line", "at priority text")
Record = collections.namedtuple("Record", "at name words")


def boot_now():
    return time.clock_gettime(time.CLOCK_BOOTTIME)


# --- the world around it ------------------------------------------------------------------


def require_recorders():
    """Fails unless all that turns a machine off or speaks to its users is a recorder; leaves the
    test out where there are no private worlds."""
    if os.environ.get("WARDENLINK_WORLD") == "machine":
        pytest.skip(world.NOT_HERE)
    assert os.environ.get("WARDENLINK_WORLD") == "private", "not in a private world of tools/world"
    with open(os.path.join(world.ROOT, "tools", "recorder"), "rb") as source:
        recorder = source.read()
    for path in ("/sbin/shutdown", "/sbin/poweroff", "/sbin/halt", "/sbin/reboot",
                 "/usr/bin/systemctl", "/usr/bin/wall"):
        if path == "/usr/bin/systemctl" and not os.path.exists(path):
            continue
        with open(path, "rb") as placed:
            assert placed.read().startswith(recorder), f"{path} is the machine's own"


def empty_the_world():
    """What the test before left, where tests share a world."""
    for name in os.listdir(world.FOLDER):  # the queues' keys hang on the folder itself
        path = os.path.join(world.FOLDER, name)
        if os.path.isdir(path) and not os.path.islink(path):
            shutil.rmtree(path)
        else:
            os.remove(path)
    shutil.rmtree(STATE, ignore_errors=True)
    for name in queues.NAMES:
        queues.remove(name)
    if os.path.exists(RECORDED):
        os.remove(RECORDED)


def recorded(name=None):
    """What was called so far, oldest first: by one name, or all."""
    if not os.path.exists(RECORDED):
        return []
    with open(RECORDED, encoding="ascii") as source:
        parts = [line.rstrip("\n").split(" ", 2) for line in source if line.endswith("\n")]
    found = [Record(float(at), what, words) for at, what, words in parts]
    return [record for record in found if name in (None, record.name)]


def wait_recorded(name, words=None, timeout=LIMIT):
    """The first call of this name (with these words), waited for."""
    def Find():
        return [record for record in recorded(name) if words in (None, record.words)]
    return wait_until(Find, timeout, f"{name} {words or ''}")[0]


def put_program(path, script):
    """A shell script that the daemon can run."""
    os.makedirs(os.path.dirname(path), mode=0o755, exist_ok=True)
    with open(path, "w", encoding="ascii") as target:
        target.write("#!/bin/sh\n" + script)
    os.chmod(path, 0o755)
    return path


def record_events(name="10record"):
    """A program for all events: recorded as "event NAME", the environment kept beside it."""
    put_program(f"{EVENT_FOLDER}/{name}", f"""
env >"/run/wardenlink-event-$1"
echo "$(cut -d' ' -f1 /proc/uptime) event $*" >>{RECORDED}
""")


def events():
    """The names of the events that were recorded so far."""
    return [record.words for record in recorded("event")]


def wait_event(name, count=1):
    """Waits until the event was recorded so often. The programs of one event run beside those of
    the next: what causes the next one waits, where their order is looked at."""
    wait_until(lambda: events().count(name) >= count, what=f"the event {name}")


def course():
    """The same without a UPS that was lost for a moment and came back: on a machine that stands
    still for some seconds it is."""
    return [name for name in events() if name not in ("ups-lost", "ups-back")]


def event_environment(event):
    with open(f"/run/wardenlink-event-{event}", encoding="ascii") as source:
        return dict(line.rstrip("\n").split("=", 1) for line in source)


def serial_settings(**changes):
    """Settings for the simulated UPS on its line, the shortest delays, written to both files."""
    return Settings(**{"comm_mode": 0, "com_port": world.DEVICE, "ac_fail_delay": 1,
                       "batt_low_delay": 1, **changes}).write()


def agent_settings(**changes):
    """The same for the UPS behind its agent."""
    return Settings(**{"comm_mode": 1, "snmp_ip": world.agent_address(), "ac_fail_delay": 1,
                       "batt_low_delay": 1, **changes}).write()


def boot_id():
    with open("/proc/sys/kernel/random/boot_id", encoding="ascii") as source:
        return source.read().strip()


def leave_done(seconds):
    """What is left when the system was told to go down so many seconds ago."""
    os.makedirs(STATE, mode=0o755, exist_ok=True)
    with open(LAST_DEED, "w", encoding="ascii") as target:
        target.write(f"done {boot_id()} {int((boot_now() - seconds) * 1000)}\n")


def leave_outage(seconds, unwatched=0):
    """What a daemon leaves that was ended in an outage, each so many seconds ago."""
    os.makedirs(STATE, mode=0o755, exist_ok=True)
    since = boot_now() - seconds
    with open(OUTAGE, "w", encoding="ascii") as target:
        looked = max(since, boot_now() - unwatched)
        target.write(f"{boot_id()} {int(since * 1000)} -1 {int(looked * 1000)}\n")
    return since


def kept_outage():
    """When the outage began, as its file has it: a whole file, or none."""
    try:
        with open(OUTAGE, encoding="ascii") as source:
            text = source.read()
    except FileNotFoundError:
        return None
    assert re.fullmatch(r"[0-9a-f-]{36} \d+ -?\d+ \d+\n", text), text
    return text.split()[1]


def memory_of(running):
    """Kilobytes in use; none under the sanitizers, which keep for a while what was given back."""
    return 0 if "ASAN_OPTIONS" in os.environ else MemoryKilobytes(running.pid)


@contextlib.contextmanager
def standing_still(pid):
    """A daemon that does nothing meanwhile."""
    os.kill(pid, signal.SIGSTOP)
    try:
        wait_until(lambda: IsStopped(pid), what="the daemon standing still")
        yield
    finally:
        os.kill(pid, signal.SIGCONT)


def trace(pid, *options):
    """strace beside a running daemon, from now on, or until it has ended the daemon."""
    def IsTraced():
        with open(f"/proc/{pid}/status", encoding="ascii") as source:
            return re.search(r"^TracerPid:\s*[1-9]", source.read(), re.M)
    tracer = subprocess.Popen(["strace", "-qq", "-o", "/dev/null", *options, "-p", str(pid)],
                              stderr=subprocess.DEVNULL)
    wait_until(lambda: tracer.poll() is not None or IsTraced(), what="strace")
    return tracer


# --- the daemon ---------------------------------------------------------------------------


def program():
    return world.bin("tolvd")


def ask(*options, prefix=(), **how):
    """Runs tolvd with these options to its end; the result has returncode, stdout and stderr."""
    return subprocess.run([*prefix, program(), *options], stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=LIMIT, check=False,
                          **{"text": True, **how})


def preloaded(name):
    """The environment of a daemon with this library of tests/preload before the system's own."""
    return {"LD_PRELOAD": world.bin(f"tests/lib{name}.so"), "CLOCK_AHEAD": AHEAD, "ASAN_OPTIONS":
            os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}


def set_clocks_ahead(seconds, asleep=0):
    """Where the clocks stand of a daemon with clock_ahead before the system's library, and how
    long the machine slept besides."""
    with open(AHEAD + ".new", "w", encoding="ascii") as target:
        target.write(f"{seconds} {asleep}\n")
    os.rename(AHEAD + ".new", AHEAD)


def read_status():
    """The status file as it stands; empty when there is none."""
    try:
        with open(STATUS, encoding="ascii") as source:
            return json.load(source)
    except FileNotFoundError:
        return {}


class Tolvd:
    """A daemon in the foreground whose log is read as it comes."""

    def __init__(self, *options, prefix=(), env=None):
        self.log, self.strange = [], []
        self.process = subprocess.Popen(
            [*prefix, program(), "--foreground", *options], stdin=subprocess.DEVNULL,
            stderr=subprocess.PIPE, env={**os.environ, **(env or {})})
        self.pid = self.process.pid
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for data in self.process.stderr:
            found = re.fullmatch(rb"<([0-7])>([ -~]*)\n", data)
            if found:
                self.log.append(Line(boot_now(), int(found[1]), found[2].decode()))
            else:
                self.strange.append(data)

    def lines(self, pattern):
        """The log's lines so far that hold this pattern."""
        return [line for line in self.log if re.search(pattern, line.text)]

    def wait_log(self, pattern, timeout=LIMIT, count=1):
        """The count-th line that holds this pattern, waited for."""
        wait_until(lambda: len(self.lines(pattern)) >= count, timeout, f"{pattern!r} in the log")
        return self.lines(pattern)[count - 1]

    def report(self):
        """The log with its moments, for people."""
        return "\n".join(f"{line.at:.2f} <{line.priority}>{line.text}" for line in self.log)

    def status(self):
        """What this daemon wrote last; empty before."""
        status = read_status()
        return status if status.get("pid") == self.pid else {}

    def wait_status(self, timeout=LIMIT, **members):
        """The status in which all these members have these values, waited for."""
        def Holds():
            status = self.status()
            return status if members.items() <= status.items() else None
        return wait_until(Holds, timeout, f"{members} in {self.status()}")

    def wait_ready(self, **members):
        """Waits until its UPS was heard."""
        self.wait_status(**{"ups": "heard", **members})
        return self

    def only_child(self):
        """The process that opens its line or asks its agent, once those of its events are over."""
        def Find():
            found = Children(self.pid)
            return found[0] if len(found) == 1 else None
        return wait_until(Find, what="a single child")

    def reload(self):
        """Tells it to read the settings again, and waits until it did."""
        done = len(self.lines("settings were read again"))
        queues.send("daemonControlQueue", 5, "010")
        return self.wait_log("settings were read again", count=done + 1)

    def kill(self):
        """Ends it as nothing that it can notice."""
        self.process.kill()
        self.wait_end()

    def wait_end(self, timeout=LIMIT):
        """The exit status."""
        status = self.process.wait(timeout)
        self._reader.join(1)  # processes that it left may hold the log open
        while self._reader.is_alive() and select.select([self.process.stderr], [], [], 0)[0]:
            self._reader.join(1)
        return status

    def stop(self):
        """Asks it to end; it has three seconds of a machine that runs for that."""
        watch = Stopwatch()
        self.process.terminate()
        self.process.wait(LIMIT)
        assert watch.below(45), watch.passed()
        assert self.wait_end() == 0

    def close(self):
        if self.process.poll() is None:
            self.stop()
        assert not self.strange, self.strange


def hold_last_deed():
    """Lets the event shutdown stop the process that shuts the system down, which waits for the
    event's programs: see held_deed."""
    with contextlib.suppress(FileNotFoundError):
        os.remove(HELD)
    put_program(f"{EVENT_FOLDER}/10hold", f"""[ "$1" = shutdown ] || exit 0
deed=$(sed -n 's/^PPid:[[:space:]]*//p' "/proc/$PPID/status")
kill -STOP "$deed"
echo "$deed" >{HELD}
""")


def held_deed():
    """The process that shuts the system down, once it stands still; SIGCONT lets it go on."""
    def Find():
        with contextlib.suppress(FileNotFoundError), open(HELD, encoding="ascii") as source:
            return re.fullmatch(r"(\d+)\n", source.read())
    found = wait_until(Find, what="the last deed, held")
    os.remove(HELD)
    return int(found[1])


def end_last_deed():
    """Ends the process that shuts the system down, if one still tries."""
    try:
        with open(LAST_DEED, encoding="ascii") as source:
            os.kill(int(source.read().split()[0]), signal.SIGKILL)
    except (FileNotFoundError, ProcessLookupError, ValueError):  # the last: it has done its work
        pass


def last_deed_done():
    """Whether that process has done all it had to."""
    with open(LAST_DEED, encoding="ascii") as source:
        return source.read().startswith("done ")


@pytest.fixture
def tolvd():
    """tolvd(OPTION, ...) starts the daemon in the foreground and waits until it works.

    ready=False does not wait for its UPS. All are ended and looked over at the test's end.
    """
    require_recorders()
    STARTED.clear()

    def Start(*options, ready=True, **how):
        daemon = Tolvd(*options, **how)
        STARTED.append(daemon)
        if ready:
            daemon.wait_ready()
        else:
            daemon.wait_status(pid=daemon.pid)
        return daemon

    yield Start
    for daemon in STARTED:
        daemon.close()
    end_last_deed()


class Placed:
    """The daemon at its place, as an installation links it, for the front-end to launch."""

    def __init__(self):
        os.symlink(program(), world.DAEMON)

    def pids(self):
        """The daemons that run, whoever started them; one that detaches is two for a moment."""
        return RunningFrom(program())

    def wait_running(self):
        """Waits until a daemon keeps the status and shows its presence; its process."""
        def Find():
            pid = read_status().get("pid")
            return pid if pid in self.pids() else None
        wait_until(lambda: queues.count("heartbeatQueue"), what="the daemon's presence")
        return wait_until(Find, what="a running daemon")

    def wait_ended(self):
        wait_until(lambda: not self.pids(), what="the daemon's end")

    def end(self):
        """Ends every daemon, one way or another."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            for pid in self.pids():
                with contextlib.suppress(ProcessLookupError):  # the half that was left behind
                    os.kill(pid, number)
            with contextlib.suppress(AssertionError):
                wait_until(lambda: not self.pids(), 5)


@pytest.fixture
def placed():
    """The daemon at its place, not started; ended at the test's end."""
    require_recorders()
    daemon = Placed()
    yield daemon
    daemon.end()


@pytest.fixture
def everyones_tolvd():
    """A copy of the daemon's program that ordinary users can reach."""
    path = shutil.copy(program(), "/run/tolvd-of-everyone")
    os.chmod(path, 0o755)
    yield path
    os.remove(path)


@pytest.fixture
def serial_ups():
    """A simulated UPS at rest on its serial line."""
    running = world.Serial()
    yield running
    assert running.stop() in (0, -signal.SIGKILL), "the simulated UPS ended badly"


def request_times(ups, text):
    """The moments at which a request or order reached the UPS."""
    return [at for at, line in ups.timed_log() if line == text]
