"""Checks of the simulated UPS itself.

They run inside a world, with the agent at the world's agent address, and a /run of
their own; WARDENLINK_BIN_DIR names the build folder.
"""

import contextlib
import os
import re
import select
import signal
import subprocess
import time

import pytest

from channels import (ADDRESS, CONTROL, UPS, Control, ask, field, integer, is_silent_to, launched,
                      number, open_socket, parse, program, request, write)
from waiting import LIMIT, wait_until

LOAD = UPS + "4.2.3.0"
INPUT = UPS + "3.2.1.0"
OFF = UPS + "6.2.1.0"
OFF_DELAY = UPS + "5.2.10.0"
FLASH = UPS + "6.2.5.0"
OTHER_ID_BIT = 0x40000000


@pytest.fixture(scope="module")
def agent():
    with launched("ups_agent", "--listen", ADDRESS) as process:
        assert process.stdout.readline() == "ready\n"
        yield process
        process.send_signal(signal.SIGTERM)
        assert process.wait(LIMIT) == 0
        assert not os.path.exists(CONTROL)


@pytest.fixture
def control(agent):
    channel = Control()
    channel.do("reset")
    return channel


def test_a_ups_at_rest_stands_still(control):
    control.do("speed 100")
    before = control.state()
    control.do("freeze on")
    write(FLASH, integer(2))
    assert control.state()["flashing"] == "on"
    control.do("freeze off")
    control.wait_for("flashing", "off")  # ten of its seconds have passed
    assert control.state() == before
    assert (number(INPUT), number(LOAD)) == (2300, 35)


def test_a_mains_failure_runs_the_battery_down_and_recovery_fills_it(control):
    control.do("speed 2")
    control.do("battery 30")
    control.do("mains fail")
    control.wait_for("output_status", "3")
    control.wait_for("battery_status", "3")
    assert int(control.state()["time_on_battery"]) >= 7, "from 30 to 20 percent"
    control.wait_for("output_status", "5")
    assert int(control.state()["time_on_battery"]) >= 22, "to none"
    assert number(UPS + "4.2.2.0") == 0
    control.do("mains restore")
    control.do("speed 50")
    control.wait_for("charge", "100")
    assert control.state()["output_status"] == "2"


def test_the_off_command_waits_for_its_delay(control):
    assert write(OFF_DELAY, integer(2))[1] == 0
    started = time.monotonic()
    assert write(OFF, integer(2))[1] == 0
    control.wait_for("output_on", "off")
    assert time.monotonic() - started > 1.95
    assert write(UPS + "6.2.6.0", integer(2))[1] == 0
    control.wait_for("output_on", "on")


def test_a_write_of_another_type_or_to_a_reading_is_refused(control):
    assert write(OFF_DELAY, field(4, b"12"))[1:3] == (3, 1)
    assert write(LOAD, integer(1))[1:3] == (2, 1)
    assert number(OFF_DELAY) == 1


@pytest.mark.parametrize("text, tag, content", [
    ("integer -5", 0x02, b"\xfb"),
    ("gauge 7", 0x42, b"\x07"),
    ("counter 7", 0x41, b"\x07"),
    ("timeticks 7", 0x43, b"\x07"),
    ("string a  b ", 0x04, b"a  b "),
    ("hex 00ff41", 0x04, b"\x00\xff\x41"),
    ("oid .1.3.6", 0x06, b"\x2b\x06"),
    ("ipaddress 192.0.2.77", 0x40, bytes([192, 0, 2, 77])),
    ("null", 0x05, b""),
])
def test_an_override_is_served_with_its_type(control, text, tag, content):
    control.do("set load " + text)
    assert ask(LOAD)[1:] == (0, 0, tag, content)
    assert control.do("get ." + LOAD) == [text]
    control.do("unset load")
    assert number(LOAD) == 35


def test_what_is_not_understood_is_refused(control):
    for line in ("bogus", "get nothing", "set load integer x", "set load hex 0", "mains",
                 "battery 101", "speed nan", "error load 6", "delay x", ""):
        lines, last = control(line)
        assert not lines and last.startswith("error "), line


@pytest.mark.parametrize("name, status", [("tooBig", 1), ("noSuchName", 2), ("badValue", 3),
                                          ("readOnly", 4), ("genErr", 5), ("5", 5)])
def test_an_error_answers_reads_and_writes(control, name, status):
    control.do(f"error turn_off {name}")
    assert ask(OFF)[1:3] == (status, 1)
    assert write(OFF, integer(2))[1:3] == (status, 1)
    assert control.state()["pending"] == "none"
    control.do("error turn_off off")
    assert number(OFF) == 1


def test_a_missing_object_is_no_such_name(control):
    control.do("missing load on")
    assert ask(LOAD)[1:3] == (2, 1)
    control.do("missing load off")
    assert number(LOAD) == 35


def test_silence_for_one_object_leaves_the_others(control):
    control.do("silent on load")
    assert is_silent_to(request(LOAD), INPUT)
    assert number(INPUT) == 2300
    control.do("silent on")
    with open_socket() as sock:
        sock.send(request(INPUT))
        wait_until(lambda: control.do("log")[-1:] == [f"get .{INPUT}"])
        control.do("silent off")
        sock.send(request(INPUT, number=99))
        assert parse(sock.recv(4096))[0] == 99


def test_a_late_answer_holds_up_nothing(control):
    control.do("delay 10000 load")
    with open_socket() as sock:
        started = time.monotonic()
        sock.send(request(LOAD))
        assert number(INPUT) == 2300 and control.do("get load") == ["integer 35"]
        assert not select.select([sock], [], [], 0)[0], "the late answer came first"
        assert parse(sock.recv(4096))[1] == 0
        assert time.monotonic() - started > 9.95


def test_another_request_id_is_far_from_the_own(control):
    assert ask(LOAD, number=7)[0] == 7
    control.do("otherid on load")
    assert ask(LOAD, number=7)[0] == 7 ^ OTHER_ID_BIT
    assert ask(INPUT, number=8)[0] == 8


def test_only_the_right_community_and_version_are_answered(control):
    assert is_silent_to(request(LOAD, community=b"other"), INPUT)
    assert is_silent_to(request(LOAD, version=1), INPUT)
    assert control.do("log") == ["refused", f"get .{INPUT}"] * 2


def test_the_log_has_one_line_for_each_datagram(control):
    control.do("silent on load")
    ask(LOAD, wait=0.2)
    write(OFF_DELAY, integer(9))
    assert control.do("log") == [f"get .{LOAD}", f"set .{OFF_DELAY} integer 9"]
    stamps = [line.split(" ", 1) for line in control.do("log times")]
    assert [text for _, text in stamps] == control.do("log")
    times = [float(moment) for moment, _ in stamps]
    assert times == sorted(times) and times[-1] <= time.monotonic()
    control.do("log clear")
    assert control.do("log") == []


def test_several_clients_are_served_at_once(control):
    others = [Control() for _ in range(5)]
    others[0].sock.sendall(b"sta")  # an unfinished line holds up nobody
    assert all(other.do("get load") == ["integer 35"] for other in others[1:])
    others[0].sock.sendall(b"te\nget load\n")
    assert others[0].file.readline().startswith("  input ")


def test_the_readme_lists_every_name_and_no_other(control):
    sources = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "sim")
    with open(os.path.join(sources, "README.md"), encoding="utf-8") as file:
        rows = re.findall(r"^\| `(\w+)` \| `(\.[\d.]+)` \|", file.read(), re.M)
    with open(os.path.join(sources, "model", "ups_objects.cpp"), encoding="utf-8") as file:
        table = re.findall(r'^    (?:Reading|Text|Command)\("(\w+)"', file.read(), re.M)
    assert [name for name, _ in rows] == table
    for name, oid in rows:
        assert control.do("get " + name) == control.do("get " + oid)
        assert ask(oid)[1] == 0


def resident_pages(process):
    with open(f"/proc/{process.pid}/statm", encoding="ascii") as file:
        return int(file.read().split()[1])


def flood(count):
    with open_socket() as sock:
        for index in range(count):
            oid = (LOAD, INPUT, UPS + "1.1.1.0", UPS + "9.9.0")[index % 4]
            sock.send(request(oid, number=index + 1))
            assert parse(sock.recv(4096))[0] == index + 1


def test_memory_does_not_grow_with_the_requests(agent, control):
    flood(21000)  # past the length that the log keeps
    before = resident_pages(agent)
    flood(20000)
    # A sanitizer holds freed memory back; there it looks for leaks itself, at the end.
    limit = 512 if "ASAN_OPTIONS" in os.environ else 64
    assert resident_pages(agent) - before <= limit


@contextlib.contextmanager
def scenario(name):
    """The control channel of an agent of its own with that scenario."""
    path = "/run/wardenlink-selftest.sock"
    with launched("ups_agent", "--listen", "127.0.0.1:16100", "--scenario", name,
                  "--control", path) as process:
        assert process.stdout.readline() == "ready\n"
        yield Control(path)
        process.terminate()
        assert process.wait(LIMIT) == 0


def test_the_demonstration_fails_and_recovers():
    with scenario("demo") as channel:
        channel.do("speed 25")
        for key, value in (("mains", "off"), ("battery_status", "3"), ("mains", "on"),
                           ("charge", "100"), ("mains", "off")):
            channel.wait_for(key, value)


def test_an_outage_begins_after_eight_seconds_and_has_no_end():
    with scenario("outage") as channel:
        began = time.monotonic()
        channel.do("reset")
        assert channel.state()["mains"] == "on"
        channel.do("speed 4")
        channel.wait_for("mains", "off")
        assert 1.8 < time.monotonic() - began
        channel.do("speed 100")
        channel.wait_for("output_status", "5")
        channel.wait_seconds(300)
        assert (channel.state()["mains"], channel.state()["scenario"]) == ("off", "outage")


def test_another_scenario_is_refused():
    assert subprocess.run([program("ups_agent"), "--scenario", "other"], timeout=LIMIT,
                          capture_output=True, check=False).returncode == 2
