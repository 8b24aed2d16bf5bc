"""An agent that is not of this project: Debian's own snmpd serves the UPS's objects."""

import os
import shutil
import socket
import subprocess

import pytest

import world
from tolvd import agent_settings, empty_the_world, leave_outage, wait_recorded
from waiting import wait_until

UPS = ".1.3.6.1.4.1.935.1.1.1."
SNMPD = shutil.which("snmpd", path="/usr/sbin:/sbin:/usr/bin")

# A UPS at rest, as (object, type, value) of the configuration file.
AT_REST = {
    "3.2.1.0": ("integer", 2284),
    "4.1.1.0": ("integer", 2),
    "2.1.1.0": ("integer", 2),
    "2.1.2.0": ("integer", 0),
    "4.2.1.0": ("integer", 2301),
    "4.2.2.0": ("integer", 500),
    "4.2.3.0": ("integer", 42),
    "2.2.1.0": ("integer", 97),
    "3.2.4.0": ("integer", 499),
}

# A program that snmpd keeps running and asks on its standard input, for one object.
REPORTER = """#!/bin/sh
while read -r word; do
    case $word in
        PING) echo PONG ;;
        get) read -r object; echo "$object"; echo integer; cat '{reading}' ;;
        *) read -r object; echo NONE ;;
    esac
done
"""


class Snmpd:
    """snmpd in the foreground at the agent's address, its state below folder."""

    def __init__(self, folder, lines, community="public"):
        assert SNMPD, "Debian's snmpd is not installed"
        state = folder / "state"
        state.mkdir()
        config = folder / "snmpd.conf"
        config.write_text("\n".join([f"rocommunity {community}", *lines]) + "\n")
        self.log = folder / "log"
        environment = dict(os.environ, SNMP_PERSISTENT_DIR=str(state), MIBS="", HOME=str(folder))
        self.process = subprocess.Popen(
            [SNMPD, "-f", "-C", "-c", str(config), "-Lf", str(self.log), "-p", str(folder / "pid"),
             f"udp:{world.agent_address()}:161"], stdin=subprocess.DEVNULL, env=environment)
        self._community = community.encode()
        self._wait_answer()

    def _wait_answer(self):
        # A GetRequest for the input voltage, put together by hand.
        def Element(tag, content):
            return bytes([tag, len(content)]) + content

        name = bytes([0x2b, 6, 1, 4, 1, 0x87, 0x27, 1, 1, 1, 3, 2, 1, 0])
        variable = Element(0x30, Element(6, name) + Element(5, b""))
        pdu = b"\x02\x01\x01\x02\x01\x00\x02\x01\x00" + Element(0x30, variable)
        request = Element(0x30, b"\x02\x01\x00" + Element(4, self._community) + Element(0xa0, pdu))
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as asker:
            asker.settimeout(0.2)

            def Answers():
                assert self.process.poll() is None, "snmpd ended: " + self.log.read_text()
                try:
                    asker.sendto(request, (world.agent_address(), 161))
                    return asker.recv(4096)
                except OSError:
                    return None
            wait_until(Answers, what="an answer of snmpd")

    def stop(self):
        self.process.terminate()
        self.process.wait()


@pytest.fixture
def serve(tmp_path):
    """serve(OBJECTS, LINES) starts snmpd with override lines for the objects."""
    running = []

    def Serve(objects, lines=(), **options):
        overrides = [f"override {UPS}{name} {kind} {value}"
                     for name, (kind, value) in objects.items()]
        running.append(Snmpd(tmp_path, [*overrides, *lines], **options))
        return running[-1]

    yield Serve
    for server in running:
        server.stop()


@pytest.fixture
def watch(settings, start):
    """watch() starts `wardenlink status` and waits for its first painted pass."""
    def Watch():
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_key()
        return screen
    return Watch


def test_the_values_of_a_ups_at_rest_are_shown(serve, watch):
    serve(AT_REST)
    screen = watch()
    assert screen.cells(3, 23, 14) == world.agent_address().ljust(14)
    assert screen.cells(4, 23, 14) == "public        "
    assert screen.cells(5, 25, 8) == "Normal  "
    assert screen.cells(6, 25, 8) == "Normal  "
    assert screen.cells(3, 62, 5) == "228.4"
    assert screen.cells(7, 63, 5) == "230.1"
    assert screen.cells(11, 62, 3) == " 42"
    assert screen.cells(15, 62, 3) == " 97"
    assert screen.cells(19, 64, 4) == "49.9"


def test_a_failure_with_a_low_battery_is_shown(serve, watch):
    serve({**AT_REST, "3.2.1.0": ("integer", 0), "4.1.1.0": ("integer", 3),
           "2.1.1.0": ("integer", 3), "2.1.2.0": ("integer", 125), "2.2.1.0": ("integer", 9)})
    screen = watch()
    assert screen.cells(5, 25, 8) == "AC FAILS"
    assert screen.cells(6, 25, 8) == "BAT. LOW"
    assert screen.cells(7, 25, 11) == "   125 Sec."
    assert screen.cells(3, 62, 5).strip() == "0.0"
    assert screen.cells(15, 62, 3) == "  9"


def test_objects_that_it_does_not_know_are_not_available(serve, watch):
    serve({name: AT_REST[name] for name in ("3.2.1.0", "4.1.1.0", "4.2.1.0", "4.2.2.0")})
    screen = watch()
    assert screen.cells(3, 62, 5) == "228.4"
    assert screen.cells(5, 25, 8) == "Normal  "
    assert screen.cells(11, 62, 12) == "N/A         "
    assert screen.cells(15, 62, 12) == "N/A         "
    assert screen.cells(19, 64, 12) == "N/A         "


def test_numbers_of_other_types_are_shown_as_well(serve, watch):
    serve({**AT_REST, "4.2.3.0": ("uinteger", 61), "2.2.1.0": ("counter", 88)})
    screen = watch()
    assert screen.cells(11, 62, 3) == " 61"
    assert screen.cells(15, 62, 3) == " 88"


def test_a_value_that_a_program_reports_is_followed(serve, watch, tmp_path):
    reading = tmp_path / "reading"
    reading.write_text("2310\n")
    script = tmp_path / "report"
    script.write_text(REPORTER.format(reading=reading))
    script.chmod(0o755)
    objects = {name: value for name, value in AT_REST.items() if name != "3.2.1.0"}
    serve(objects, [f"pass_persist {UPS}3.2.1 {script}"])
    screen = watch()
    assert screen.cells(3, 62, 5) == "231.0"
    reading.write_text("2176\n")
    screen.wait_text(3, 62, "217.6")


def test_another_community_gets_no_data_until_it_is_the_right_one(serve, settings, start):
    serve(AT_REST, community="ups-group")
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_text(23, 41, "Type 'r' to Redraw, Type 'q' to Quit.")
    screen.wait_key()
    assert screen.cells(5, 25, 12) == "N/A         "
    settings.snmp_community = "ups-group"
    settings.write()
    other = start([world.bin("wardenlink"), "status"])
    other.wait_text(3, 62, "228.4")


def alert_of_a_shutdown(tolvd):
    """What the daemon says of the agent when the system goes down."""
    empty_the_world()
    agent_settings()
    leave_outage(54)
    running = tolvd()
    alert = running.wait_log("^telling the UPS: failed|could not be told", timeout=120)
    wait_recorded("shutdown", "-h now")
    running.stop()
    return alert.text


@pytest.mark.parametrize("seconds, words", [
    (179, "failed to set the turn-off delay, which is too short: the UPS stays on"),
    (180, "failed to turn the UPS off: its agent refuses it"),
])
def test_a_delay_that_cannot_be_set_has_to_be_long_enough(serve, tolvd, seconds, words):
    """It is asked for within two seconds: a busy machine has several tries."""
    serve({**AT_REST, "4.1.1.0": ("integer", 3), "5.2.10.0": ("integer", seconds)})
    assert any(words in alert_of_a_shutdown(tolvd) for _ in range(3))
