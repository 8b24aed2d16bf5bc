"""Nothing that tolvd writes for people holds a byte from outside raw: its log, on standard error
and to the system's, its trace, its status and its answers."""

import contextlib
import fcntl
import json
import os
import re
import shutil
import signal
import socket
import subprocess

import pytest

import queues
import tolvd as daemon
import world
from outside import check_lines, pieces, printable
from snmp_painter import NAMES
from storm import fill
from tolvd import agent_settings, preloaded, put_program, serial_settings
from waiting import LIMIT, wait_until


@pytest.fixture(autouse=True)
def private_world():
    daemon.require_recorders()


def switch_trace_on():
    with open(world.FOLDER + "/powerd.dbg", "w", encoding="ascii") as target:
        target.write("debug\n")


def answer(*options):
    """What tolvd says to that, as bytes; looked over."""
    shown = subprocess.run([daemon.program(), *options], stdin=subprocess.DEVNULL,
                           capture_output=True, timeout=LIMIT, check=False)
    check_lines(shown.stdout + shown.stderr)
    return shown.stdout


def as_reply(text):
    """Bytes as the simulated UPS takes them."""
    return "".join(f"\\x{byte:02X}" for byte in text) + "\\r"


# --- the log ---------------------------------------------------------------------------------


def disturb(serial_ups):
    """All bytes in turn, in what the UPS says and in the orders; how many orders."""
    texts = pieces(90, without=b"\r\n")
    for text in texts:
        for request in ("Q1", "F", "I"):
            serial_ups.serial(f"reply {request} {as_reply(b'#' + text)}")
        serial_ups.serial(f"send {as_reply(text)}")
        wait_until(lambda: queues.count("commandQueue") == 0, what="the last order taken")
        queues.send("commandQueue", 9, text)
        queues.send("daemonControlQueue", 5, text)
    return len(texts)


def test_the_log_on_standard_error(serial_ups, tolvd):
    serial_settings()
    switch_trace_on()
    running = tolvd()
    orders = disturb(serial_ups)
    running.wait_log("is dropped: it is none", count=orders)
    running.wait_log("^from the UPS: #")
    texts = pieces(29, without=b" []")
    for at, text in enumerate(texts):
        serial_settings(com_port=text.decode("latin-1"))
        running.reload()
        running.wait_log("cannot be opened", count=at + 1)
        answer("--status")
        json.loads(answer("--status", "--json"))
    shown = "".join(line.text for line in running.lines("cannot be opened"))
    assert shown.count("?") > 120
    # Each line was looked over as it came: whatever is not printable is strange.
    assert running.strange == []


def test_an_agents_address_that_is_none(tolvd):
    """In the log when the settings are read, and in a check."""
    serial_settings(com_port="/dev/none")
    running = tolvd(ready=False, env=preloaded("short_waits"))
    texts = pieces(29, without=b"\0 []")
    for text in texts:
        agent_settings(snmp_ip=text.decode("latin-1"))
        running.reload()
        assert answer("--check").startswith(b"The settings name no UPS: nothing is protected.")
        serial_settings(com_port="/dev/none")
        running.reload()  # to the next one from a line
    told = running.lines("the agent's address \".*\" is none: NOTHING is protected")
    assert len(told) == len(texts)
    assert "".join(line.text for line in told).count("?") > 120
    assert running.strange == []


# The daemon with a system log of its own, in place of the machine's.
WITH_LOG = ["unshare", "--mount", "sh", "-c", """
mkdir -p /run/dev && mount --rbind /dev /run/dev && mount -t tmpfs tmpfs /dev &&
mkdir /dev/pts && mount --rbind /run/dev/pts /dev/pts &&
touch /dev/null && mount --bind /run/dev/null /dev/null && ln -s /run/system-log /dev/log &&
exec "$@" """, "sh"]


@contextlib.contextmanager
def system_log():
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
        log.bind("/run/system-log")
        log.settimeout(LIMIT)
        try:
            yield log
        finally:
            os.remove("/run/system-log")


def hear_drops(log, pid):
    """A line for each order that is none, in the system's log."""
    for text in pieces(90):
        queues.send("commandQueue", 9, text)
        line = log.recv(4096)
        while b"is dropped: it is none" not in line:
            check_lines(line)
            line = log.recv(4096)
        check_lines(line)
        assert re.match(rb"<28>tolvd\[%d\]: command \"" % pid, line)


def pid_of_detached():
    """The daemon, once it has heard its UPS."""
    return wait_until(lambda: daemon.read_status().get("ups") == "heard" and
                      daemon.read_status()["pid"], what="the daemon")


def end_detached(pid):
    os.kill(pid, signal.SIGTERM)
    wait_until(lambda: not os.path.exists(f"/proc/{pid}"), what="its end")


def test_the_lines_for_the_systems_log(serial_ups):
    serial_settings()
    with contextlib.ExitStack() as last:
        with system_log() as log:
            subprocess.run([*WITH_LOG, daemon.program()], check=True, timeout=LIMIT)
            pid = pid_of_detached()
            last.callback(end_detached, pid)
            hear_drops(log, pid)
        with system_log() as log:  # that was started anew
            hear_drops(log, pid)


def test_a_system_log_that_nobody_reads_costs_its_lines_only(serial_ups):
    serial_settings()
    with system_log():
        fill("/run/system-log")
        subprocess.run([*WITH_LOG, daemon.program()], check=True, timeout=LIMIT)
        pid = pid_of_detached()
        serial_ups.load(44)
        wait_until(lambda: daemon.read_status()["load"] == 44, what="another reading")
        end_detached(pid)


# --- answers ---------------------------------------------------------------------------------


def test_an_agents_names_in_status_and_check(agent, tolvd):
    agent_settings()
    for text in pieces(60):
        for name in ("ident_1", "ident_2", *NAMES):
            agent.set(name, text)
        answer("--check")
    agent.set("ident_1", b"a\tb\nc\vd")
    agent.set("ident_2", b"e\ff\rg")
    running = tolvd()
    model = wait_until(lambda: running.status()["model"], what="the names")
    assert json.loads(answer("--status", "--json"))["model"] == model
    assert model.encode() in answer("--status") and model.encode() in answer("--check")


# Of a round: what is only shown, and what it is called; and what the safety hangs on.
SHOWN = {"time_on_battery": "2.1.2", "output_voltage": "4.2.1", "output_frequency": "4.2.2",
         "load": "4.2.3", "capacity": "2.2.1", "input_frequency": "3.2.4", "ident_1": "1.1.1",
         "ident_2": "1.1.2"}
ESSENTIALS = {"battery_status": "2.1.1", "output_status": "4.1.1", "input_voltage": "3.2.1"}
# The library spells a text in digits unless all of it prints; white space it hands on as it is.
BLANKS = [b"a\vb\fc", b"a\tb\rc\nd"]


def spelt(text):
    return text.translate(bytes.maketrans(b"\t\n\v\f\r", b"     ")).decode() if text in BLANKS \
        else text.hex(" ").upper() + " "


def wait_trace(running, number, text):
    running.wait_log(rf'^agent, object \S+\.1\.1\.1\.{number}\.0: "{spelt(text)}"')


def test_an_agents_objects_in_the_trace(agent, tolvd):
    """Every object of a round, with texts that together hold all bytes."""
    agent_settings()
    switch_trace_on()
    texts, how = BLANKS + pieces(16), {"env": preloaded("short_waits")}
    for at in range(0, len(texts), len(SHOWN)):
        told = list(zip(SHOWN, texts[at:] + texts))
        for name, text in told:
            agent.set(name, text)
        running = tolvd(**how)  # a new one, for it asks seldom what the UPS is
        for name, text in told:
            wait_trace(running, SHOWN[name], text)
        running.stop()
    running = tolvd(**how)
    for name, number in ESSENTIALS.items():
        for text in [*BLANKS, *texts[-2:]]:
            agent.set(name, text)
            wait_trace(running, number, text)
        agent.unset(name)
    running.wait_status(ups="heard", mains="good")
    assert running.strange == []


def test_a_status_that_somebody_else_wrote():
    """Who makes the folder before root does decides what stands in it."""
    os.makedirs(daemon.STATE, exist_ok=True)
    for text in pieces(60, without=b"\n"):
        told = [f'"pid": {os.getpid()}', f'"boot_milliseconds": {daemon.boot_now() * 1000:.0f}',
                '"status": 0', f'"model": "{text.decode("latin-1")}"']
        with open(daemon.STATUS, "w", encoding="latin-1") as target:
            target.write("{\n  " + ",\n  ".join(told) + "\n}\n")
        assert b'"model": "' in answer("--status", "--json")
        assert b"\nmodel " in b"\n" + answer("--status")


def test_settings_and_names_of_files_in_a_check(serial_ups):
    serial_settings()
    program = put_program(daemon.EVENT_FOLDER + "/10mine", "exit 0\n")
    texts = pieces(24, without=b"\0 []/")  # a name ends at the zero byte
    for text in texts:
        shutil.copy(program, daemon.EVENT_FOLDER.encode() + b"/" + text)
    assert answer("--check").count(b"never runs: its name") == len(texts)
    shutil.rmtree(daemon.EVENT_FOLDER)
    for source in ("power.ini", "wardenlink.cfg"):
        for text in texts:
            serial_settings(com_port=text.decode("latin-1"))
            if source == "power.ini":
                open(world.FOLDER + "/wardenlink.cfg", "wb").close()
            line = f"The UPS is on the serial line {printable(text)}.\n"
            assert answer("--check").startswith(line.encode())


def test_the_name_of_who_holds_the_line(serial_ups):
    serial_settings()
    with open("/proc/self/comm", "rb") as source:
        before = source.read().rstrip(b"\n")
    with open(world.DEVICE, "r+b", buffering=0) as line, \
            open("/proc/self/comm", "r+b", buffering=0) as name:
        fcntl.flock(line, fcntl.LOCK_EX)
        try:
            for text in pieces(15, without=b"\0\n"):
                name.write(text)
                holder = f"Trouble: process {os.getpid()} ({printable(text)})"
                assert holder.encode() in answer("--check")
        finally:
            name.write(before)


def refused_words(texts):
    """What a setup is asked to take: a device, an address, or a community."""
    for text in texts:
        yield b"serial", text
        yield b"serial", b"/" + text
        yield b"snmp", text
        yield b"snmp", b"192.0.2.10", text


def test_the_words_of_a_setup():
    for words in refused_words(pieces(29, without=b"\0")):
        shown = subprocess.run([daemon.program(), "--setup", *words], stdin=subprocess.DEVNULL,
                               capture_output=True, timeout=LIMIT, check=False)
        check_lines(shown.stdout + shown.stderr)
        assert (shown.returncode, shown.stdout, shown.stderr[:7]) == (1, b"", b"tolvd: "), words
        assert shown.stderr.count(b"\n") == 1
    assert os.listdir(world.FOLDER) == []
