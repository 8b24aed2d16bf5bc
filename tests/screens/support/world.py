"""The simulated UPS inside a private world (tools/world), and what the product needs there."""

import os
import select
import socket
import subprocess
import time
import tempfile

from waiting import LIMIT, wait_until  # noqa: F401

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), *[os.pardir] * 3))
FOLDER = "/etc/wardenlink"
DAEMON = FOLDER + "/daemon"
CONTROL = "/run/wardenlink-sim.sock"
DEVICE = "/run/wardenlink-sim-tty"

# Why a test does not run where namespaces are refused; ctest knows it by these words.
NOT_HERE = "left out: it needs a private world"


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


class Simulator:
    """A running program of the simulator; the methods act through its control channel."""

    def __init__(self, program, control, words, scenario):
        self.control = control
        argv = [bin(program), "--control", control, *words]
        if scenario:
            argv += ["--scenario", scenario]
        self.process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self._socket, self._rest = None, b""
        self._wait_ready(program)

    def _wait_ready(self, program):
        out = self.process.stdout
        readable = select.select([out], [], [], LIMIT)[0]
        line = out.readline() if readable else b""
        if line != b"ready\n":
            self.stop()
            raise AssertionError(f"{program} did not start: it said {line!r}")

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

    # What was asked.

    def log(self):
        """One text for each request received, as sim/README.md says."""
        return self.command("log")

    def timed_log(self):
        """The log as (moment of CLOCK_BOOTTIME, text)."""
        offset = time.clock_gettime(time.CLOCK_BOOTTIME) - time.monotonic()
        lines = [line.split(" ", 1) for line in self.command("log times")]
        return [(float(moment) + offset, text) for moment, text in lines]

    def clear_log(self):
        self.command("log clear")

    def stop(self):
        """Ends the simulator; nothing answers any more. Its exit status."""
        if self._socket is not None:
            self._socket.close()
            self._socket = None
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(LIMIT)
        self.process.stdout.close()
        return self.process.returncode


class Agent(Simulator):
    """A UPS behind an SNMP agent. Its log holds "get OID...", "set OID TYPE VALUE"."""

    def __init__(self, address=None, community="public", control=CONTROL, scenario=None):
        self.address = address or agent_address()
        super().__init__("sim/ups_agent", control,
                         ["--listen", self.address, "--community", community], scenario)

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


class Serial(Simulator):
    """A UPS on a serial line. Its log holds "serial REQUEST"."""

    def __init__(self, device=DEVICE, control=CONTROL, scenario=None):
        self.device = device
        super().__init__("sim/ups_serial", control, ["--device", device], scenario)

    def serial(self, words):
        """What goes wrong on the line: silent on, garble 100, vanish, ..."""
        self.command(f"serial {words}")
