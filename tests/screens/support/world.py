"""The simulated UPS and the stand-in daemon inside a private world (tools/world)."""

import os
import select
import shutil
import signal
import socket
import subprocess
import tempfile

import queues
from process import RunningFrom
from waiting import LIMIT, wait_until

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), *[os.pardir] * 3))
FOLDER = "/etc/wardenlink"
DAEMON = FOLDER + "/daemon"
CONTROL = "/run/wardenlink-sim.sock"


def bin(name):
    """Path of a built program: bin("wardenlink"), bin("sim/ups_agent")."""
    folder = os.environ.get("WARDENLINK_BIN_DIR", os.path.join(ROOT, "build", "debug"))
    path = os.path.join(folder, name)
    assert os.access(path, os.X_OK), f"{path} is not built"
    return path


def agent_address():
    """The address that the simulated UPS answers at."""
    assert "WARDENLINK_AGENT" in os.environ, "run this through tools/world"
    return os.environ["WARDENLINK_AGENT"]


def run(*words, timeout=LIMIT, stdin=subprocess.DEVNULL, **options):
    """Runs `wardenlink WORDS` to its end; the result has returncode, stdout and stderr."""
    # Files, not pipes: a daemon that it launched keeps its output open.
    with tempfile.TemporaryFile("w+") as out, tempfile.TemporaryFile("w+") as err:
        result = subprocess.run([bin("wardenlink"), *words], stdin=stdin, stdout=out,
                                stderr=err, timeout=timeout, **options)
        out.seek(0)
        err.seek(0)
        result.stdout, result.stderr = out.read(), err.read()
        return result


class ControlError(Exception):
    """The simulator answered a control command with an error."""


class Agent:
    """A running ups_agent; the methods act through its control channel."""

    def __init__(self, address=None, community="public", control=CONTROL, scenario=None):
        self.address = address or agent_address()
        self.control = control
        argv = [bin("sim/ups_agent"), "--listen", self.address, "--community", community,
                "--control", control]
        if scenario:
            argv += ["--scenario", scenario]
        self.process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self._socket, self._rest = None, b""
        self._wait_ready()

    def _wait_ready(self):
        out = self.process.stdout
        readable = select.select([out], [], [], LIMIT)[0]
        line = out.readline() if readable else b""
        if line != b"ready\n":
            self.stop()
            raise AssertionError(f"ups_agent did not start: it said {line!r}")

    def _connect(self):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(LIMIT)
        self._socket.connect(self.control)
        self._rest = b""

    def _read_line(self):
        while b"\n" not in self._rest:
            data = self._socket.recv(65536)
            assert data, "the control channel was closed"
            self._rest += data
        line, self._rest = self._rest.split(b"\n", 1)
        return line.decode("latin-1")

    def command(self, line):
        """Sends one command; the reply's lines without their indent. ControlError on "error"."""
        if self._socket is None:
            self._connect()
        self._socket.sendall(line.encode("latin-1") + b"\n")
        reply = []
        while True:
            text = self._read_line()
            if text == "ok":
                return reply
            if text.startswith("error"):
                raise ControlError(f"{line}: {text}")
            reply.append(text[2:])

    # Objects: name is a short name (sim/README.md) or a numeric identifier.

    def get(self, name):
        """The object's value: int for the number types, str, or bytes for hex."""
        kind, _, text = self.command(f"get {name}")[0].partition(" ")
        if kind in ("integer", "gauge", "counter", "timeticks"):
            return int(text)
        return bytes.fromhex(text) if kind == "hex" else text

    def set(self, name, value, kind=None):
        """Overrides one object until unset: int, str, bytes or None, or text of that kind."""
        if kind is None:
            kind = {int: "integer", str: "string", bytes: "hex", type(None): "null"}[type(value)]
        text = value.hex() if isinstance(value, bytes) else value
        self.command(f"set {name} {kind}" + ("" if text is None else f" {text}"))

    def unset(self, name):
        self.command(f"unset {name}")

    # The model.

    def reset(self):
        self.command("reset")

    def recover(self):
        self.command("recover")

    def mains(self, word):
        """word: fail or restore."""
        self.command(f"mains {word}")

    def battery(self, level):
        """level: low, full or a percentage."""
        self.command(f"battery {level}")

    def load(self, percent):
        self.command(f"load {percent}")

    def input(self, tenths_of_volt):
        self.command(f"input {tenths_of_volt}")

    def frequency(self, tenths_of_hertz):
        self.command(f"frequency {tenths_of_hertz}")

    def temperature(self, degrees):
        self.command(f"temperature {degrees}")

    def speed(self, factor):
        self.command(f"speed {factor}")

    def freeze(self, on=True):
        self.command(f"freeze {'on' if on else 'off'}")

    def state(self):
        """The model as a dictionary of texts."""
        return dict(line.split(None, 1) if " " in line else (line, "")
                    for line in self.command("state"))

    # Misbehaviour; name=None means every object.

    def silent(self, on=True, name=None):
        self.command(f"silent {'on' if on else 'off'} {name or ''}".rstrip())

    def error(self, name, status):
        """status: genErr, noSuchName, ... a number, or off."""
        self.command(f"error {name} {status}")

    def missing(self, name, on=True):
        self.command(f"missing {name} {'on' if on else 'off'}")

    def delay(self, milliseconds, name=None):
        self.command(f"delay {milliseconds} {name or ''}".rstrip())

    def other_id(self, on=True, name=None):
        self.command(f"otherid {'on' if on else 'off'} {name or ''}".rstrip())

    # What was asked.

    def log(self):
        """One text for each datagram received: "get OID...", "set OID TYPE VALUE"."""
        return self.command("log")

    def clear_log(self):
        self.command("log clear")

    def stop(self):
        """Ends the agent; its address no longer answers."""
        if self._socket is not None:
            self._socket.close()
            self._socket = None
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(LIMIT)
        self.process.stdout.close()
        return self.process.returncode


class Daemon:
    """The stand-in daemon at its place; start() runs it, or the product launches it."""

    def __init__(self):
        shutil.copy2(bin("sim/ups_daemon"), DAEMON)
        os.chmod(DAEMON, 0o755)
        self.process = None

    def start(self):
        """Starts it and waits until it can be seen (a presence message is waiting)."""
        # Unbuffered, so that a line that waits can be seen to wait.
        self.process = subprocess.Popen([DAEMON, " " * 12], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, bufsize=0)
        self.wait_running()
        return self

    def pids(self):
        """The daemon processes that run, whoever started them."""
        if self.process is not None:
            self.process.poll()
        return RunningFrom(DAEMON)

    def running(self):
        return bool(self.pids())

    def wait_running(self, timeout=LIMIT):
        """Waits until a daemon runs and shows its presence; its process ids."""
        wait_until(lambda: queues.count("heartbeatQueue") > 0, timeout, "the daemon's presence")
        return wait_until(self.pids, timeout, "a running daemon")

    def wait_ended(self, timeout=LIMIT):
        wait_until(lambda: not self.running(), timeout, "the daemon's end")

    def output_line(self, timeout=LIMIT):
        """The next line that the daemon started by start() prints."""
        assert select.select([self.process.stdout], [], [], timeout)[0], "the daemon is quiet"
        return self.process.stdout.readline().decode().rstrip("\n")

    def stop(self):
        """Ends every running daemon and takes the program away."""
        for pid in self.pids():
            os.kill(pid, signal.SIGTERM)
        self.wait_ended()
        if self.process is not None:
            self.process.wait()
            self.process.stdout.close()
            self.process = None
        if os.path.exists(DAEMON):
            os.remove(DAEMON)
