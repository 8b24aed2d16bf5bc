"""The SNMP library keeps out of sight: no file, no look-up, no word on the terminal."""

import contextlib
import os
import re
import shutil
import socket
import subprocess
import threading

import pytest

import world
from fixtures import close_and_check
from waiting import LIMIT

INPUT_VOLTAGE = ".1.3.6.1.4.1.935.1.1.1.3.2.1.0"
NO_DATA_PROMPT = "Type 'r' to Redraw, Type 'q' to Quit."

# Calls that look a file up, and those that make, move or remove one.
LOOK_UP = ("open", "openat", "openat2", "creat", "access", "faccessat", "faccessat2", "stat",
           "newfstatat", "statx", "lstat", "readlink", "readlinkat", "chdir", "execve")
MAKE = ("mkdir", "mkdirat", "mknod", "mknodat", "rename", "renameat", "renameat2", "link",
        "linkat", "symlink", "symlinkat", "unlink", "unlinkat", "rmdir", "truncate")
SEND = ("socket", "connect", "sendto", "sendmsg", "sendmmsg")
# A configuration of the library that would make it miss the agent, and complain.
MISLEADING = "clientaddr 203.0.113.9\ndefTarget snmp udp :1161\ndumpPacket yes\nnonsense\n"

CALL = re.compile(r"^(?:\d+\s+)?(\w+)\((.*)$")
PATH = re.compile(r'"((?:[^"\\]|\\.)*)"')


@pytest.fixture
def home(tmp_path):
    """An empty home folder, for libraries that would leave something there."""
    return tmp_path


def without_leak_check():
    # Leaks cannot be looked for in a process that is being traced.
    options = os.environ.get("ASAN_OPTIONS")
    return {"ASAN_OPTIONS": options + ":detect_leaks=0"} if options else {}


def trace_status(start, home, wait, environment=None):
    """Runs `wardenlink status` under strace until wait(screen) is through and 'q' is typed.

    The calls as (name, arguments) and the screen.
    """
    log = str(home.parent / (home.name + ".trace"))
    screen = start(["/usr/bin/strace", "-f", "-s", "4096", "-o", log,
                    "-e", "trace=" + ",".join("?" + name for name in LOOK_UP + MAKE + SEND),
                    world.bin("wardenlink"), "status"],
                   env={"HOME": str(home), **without_leak_check(), **(environment or {})})
    wait(screen)
    screen.send("q")
    assert screen.wait_exit() == 0
    with open(log, encoding="latin-1") as source:
        found = [CALL.match(line) for line in source]
    calls = [match.groups() for match in found if match]
    assert any(name == "openat" and "power.ini" in rest for name, rest in calls), "nothing traced"
    return calls, screen


def paths(calls):
    return {path for _, rest in calls for path in PATH.findall(rest)}


def snmp_files(calls):
    """What was looked up under a name of the SNMP library's, its shared objects aside."""
    return {path for path in paths(calls)
            if re.search("snmp|/mibs|ucd", path) and not re.search(r"/libnetsnmp[^/]*\.so", path)}


def made_files(calls):
    """What was opened for creation, made, moved or removed."""
    return {(name, rest) for name, rest in calls
            if name in MAKE or name == "creat" or "O_CREAT" in rest}


def shows_input_voltage(screen):
    screen.wait_text(3, 62, "230.0")


def shows_no_data(screen):
    screen.wait_text(23, 41, NO_DATA_PROMPT)
    screen.wait_text(3, 3, "Ip Address     :")


def test_a_status_screen_looks_up_no_file_of_the_library(agent, settings, start, home):
    calls, _ = trace_status(start, home, shows_input_voltage)
    assert snmp_files(calls) == set()
    assert made_files(calls) == set()
    assert os.listdir(home) == []
    services = [rest for _, rest in calls if '"/etc/services"' in rest]
    assert len(services) == 1, "in the first of its sessions only"


NO_ADDRESSES = ["a..b", "testhost", "192.0.2.10:161", "::1", "127.1"]
NAME_SERVICE = re.compile("^/etc/(hosts|resolv.conf|host.conf|gai.conf|networks)$|nscd")


@pytest.mark.parametrize("address", NO_ADDRESSES)
def test_an_address_that_is_none_is_neither_looked_up_nor_asked(settings, start, home, address):
    settings.snmp_ip = address
    settings.write()
    calls, _ = trace_status(start, home, shows_no_data)
    assert not [call for call in calls if call[0] in SEND], "nobody to talk to"
    assert not [path for path in paths(calls) if NAME_SERVICE.search(path)]
    assert snmp_files(calls) == set()
    assert made_files(calls) == set()
    assert os.listdir(home) == []


def test_a_dotted_number_is_not_looked_up(agent, settings, start, home):
    for address, wait in (("127.0.0.1", shows_no_data),
                          (world.agent_address(), shows_input_voltage)):
        settings.snmp_ip = address
        settings.write()
        calls, _ = trace_status(start, home, wait)
        assert [call for call in calls if call[0] == "socket"], "no session was opened"
        assert not [path for path in paths(calls) if re.search("hosts|resolv.conf", path)]


def test_the_environment_cannot_lead_the_library_to_files(agent, settings, start, home):
    folder = home.parent / (home.name + "-snmp-files")
    folder.mkdir()
    for name in ("snmp.conf", "snmp.local.conf", "snmpapp.conf"):
        (folder / name).write_text(MISLEADING)
    environment = {"SNMPCONFPATH": str(folder), "SNMP_PERSISTENT_DIR": str(folder),
                   "SNMP_PERSISTENT_FILE": str(folder / "snmpapp.conf"),
                   "MIBDIRS": str(folder), "MIBS": "ALL"}
    calls, _ = trace_status(start, home, shows_input_voltage, environment)
    assert not [path for path in paths(calls) if str(folder) in path]
    assert sorted(os.listdir(folder)) == ["snmp.conf", "snmp.local.conf", "snmpapp.conf"]


@contextlib.contextmanager
def misleading_files(folder="/etc/snmp"):
    """The library's own folder as it would mislead it; the machine gets its own back."""
    kept = folder + ".kept"
    if os.path.exists(folder):
        shutil.move(folder, kept)
    os.makedirs(folder + "/hosts")
    hosts = [f"hosts/{prefix}{world.agent_address()}.conf" for prefix in ("", "udp:")]
    for name in ("snmp.conf", *hosts):
        with open(f"{folder}/{name}", "w", encoding="ascii") as target:
            target.write(MISLEADING)
    try:
        yield
    finally:
        shutil.rmtree(folder)
        if os.path.exists(kept):
            shutil.move(kept, folder)


def test_files_of_the_library_on_the_machine_have_no_effect(agent, settings, start):
    with misleading_files():
        snmpget = subprocess.run(["snmpget", "-v1", "-cpublic", agent.address, INPUT_VOLTAGE],
                                 capture_output=True, check=False, timeout=LIMIT)
        assert b"nonsense" in snmpget.stderr, "other programs are misled"
        screen = start([world.bin("wardenlink"), "status"])
        shows_input_voltage(screen)
    assert "refused" not in agent.log()
    assert b"nonsense" not in screen.raw


# --- nothing on the terminal -------------------------------------------------------------


# What differs from agent to agent, and the clock: first and last column by row.
OWN_CELLS = {1: (55, 78), 3: (23, 37), 4: (23, 37)}


def fixed_cells(screen):
    """All rows, the cells that are each screen's own shown as blanks."""
    rows = screen.lines()
    for r, (first, last) in OWN_CELLS.items():
        rows[r] = rows[r][:first] + " " * (last + 1 - first) + rows[r][last + 1:]
    return rows


@pytest.fixture
def calm(settings, start):
    """The screen without data of an agent that is never asked, and so says nothing."""
    settings.snmp_ip = "127.0.0.1"
    settings.write()
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_paint()
    screen.wait_text(23, 41, NO_DATA_PROMPT)
    return screen


def watch_address(settings, start, address, errors):
    settings.snmp_ip = address
    settings.write()
    # Standard error has a file of its own, so that a later repaint cannot hide a word of it.
    return start(["/bin/sh", "-c", f"exec '{world.bin('wardenlink')}' status 2>'{errors}'"])


@pytest.mark.parametrize("address", ["a..b", "192.0.2.10:161", "%s%n"])
def test_an_address_that_is_none_leaves_the_screen_clean(calm, settings, start, tmp_path, address):
    screen = watch_address(settings, start, address, tmp_path / "errors")
    screen.wait_paint()
    assert fixed_cells(screen) == fixed_cells(calm)
    assert (tmp_path / "errors").read_bytes() == b""


def distorted_answers(request):
    """Answers that the library does not understand, some of which it would complain about."""
    at = request.index(b"\xa0")  # the request's own tag
    answer = request[:at] + b"\xa2" + request[at + 1:]
    return [b"", b"garbage", b"\xff" * 2000, b"\x30\x84\x7f\xff\xff\xff\x02\x01\x00",
            b"\x30\x82\x00\x10\x02\x01\x00\x04\xff" + b"p" * 9,
            request[:at] + b"\x03" + request[at + 1:],  # an unknown kind of message
            request[:at] + b"\x80" + request[at + 1:],
            answer[:-2] + b"\x01\x00",  # an unknown type of value
            answer[:-2] + b"\x2b\x00",
            answer[:-5]]


def test_an_agent_that_answers_garbage_leaves_the_screen_clean(calm, settings, start, tmp_path):
    asked = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as agent:
        agent.bind((world.agent_address(), 161))
        agent.settimeout(0.1)
        ending = threading.Event()

        def Answer():
            while not ending.is_set():
                try:
                    request, asker = agent.recvfrom(65536)
                except TimeoutError:
                    continue
                asked.append(request)
                for datagram in distorted_answers(request):
                    agent.sendto(datagram, asker)

        thread = threading.Thread(target=Answer)
        thread.start()
        try:
            screen = watch_address(settings, start, world.agent_address(), tmp_path / "errors")
            screen.wait_key(60)
            assert fixed_cells(screen) == fixed_cells(calm)
            assert len(asked) >= 6
            screen.send("q")
            screen.wait_exit(60)
        finally:
            ending.set()
            thread.join()
    assert (tmp_path / "errors").read_bytes() == b""
    close_and_check(screen)
