"""What keeps the command center from starting, and what it says then."""

import os
import shutil
import subprocess
import tempfile
import termios

import pytest

import queues
import world
from issuer_painter import SERIAL
from issuer_watch import DRIVER, open_center, presence  # noqa: F401
from process import OrdinaryUser
from settings import FOLDER, Settings
from waiting import LIMIT

NO_DAEMON = b"Initialize Daemon Process first by typing [wardenlink start]\r\n\r\n"
NO_SETTINGS = b"File /etc/wardenlink/power.ini Error!\r\n"
NO_AGENT = b"Error......Exiting"
BEFORE_THE_WAY = 108  # bytes of power.ini that stand before the way to the UPS


def refusal(start):
    """All that it writes to its terminal; it has to end by itself with status 0."""
    screen = start([world.bin(DRIVER)])
    assert screen.wait_exit() == 0
    assert screen.termios()[3] & termios.ECHO and screen.termios()[3] & termios.ICANON
    return screen.raw


@pytest.mark.parametrize("mode", [0, 1])
def test_without_a_daemon_it_says_how_to_start_it(agent, start, mode):
    Settings(comm_mode=mode, snmp_ip=world.agent_address()).write()
    assert refusal(start) == NO_DAEMON
    assert agent.log() == [], "the UPS was not asked"


def test_messages_that_are_no_presence_do_not_count(start):
    Settings(comm_mode=SERIAL).write()
    queues.send("heartbeatQueue", 5, "100")
    assert refusal(start) == NO_DAEMON


def test_a_leftover_presence_message_is_no_daemon(start):
    Settings(comm_mode=SERIAL).write()
    queues.send("heartbeatQueue", 4, "alive")
    assert refusal(start) == NO_DAEMON


def test_missing_settings_are_an_error_and_are_not_made(start):
    with presence():
        assert refusal(start) == NO_SETTINGS
    assert os.listdir(FOLDER) == []


@pytest.mark.parametrize("name", ["power.ini", "wardenlink.cfg"])
def test_one_missing_file_is_an_error_and_is_not_made(start, name):
    Settings().write()
    os.remove(f"{FOLDER}/{name}")
    with presence():
        assert refusal(start) == NO_SETTINGS
    assert not os.path.exists(f"{FOLDER}/{name}")


def test_missing_settings_come_before_a_missing_daemon(start):
    assert refusal(start) == NO_SETTINGS


def test_a_silent_agent_is_an_error(agent, settings, start):
    agent.silent()
    with presence():
        assert refusal(start) == NO_AGENT
    assert agent.log() == ["get .1.3.6.1.4.1.935.1.1.1.3.2.1.0"] * 5


def test_an_agent_that_knows_another_community_is_an_error(agent, start):
    Settings(snmp_ip=world.agent_address(), snmp_community="rack4").write()
    with presence():
        assert refusal(start) == NO_AGENT
    assert agent.log() == ["refused"] * 5


def test_an_agent_without_the_input_voltage_is_an_error(agent, settings, start):
    agent.missing("input_voltage")
    with presence():
        assert refusal(start) == NO_AGENT


def test_an_agent_that_answers_with_an_error_is_there(agent, settings, start):
    agent.error("input_voltage", "genErr")
    center = open_center(start, settings)
    center.check()
    center.painter.utility = False
    center.press("d")


def test_a_loopback_address_stands_for_no_agent(start):
    Settings(snmp_ip="127.0.0.1").write()
    with presence():
        assert refusal(start) == NO_AGENT


def test_an_ordinary_user_is_refused_before_anything_else():
    Settings(comm_mode=SERIAL).write()
    queues.send("heartbeatQueue", 4, "alive")
    folder = tempfile.mkdtemp(dir="/tmp")
    try:
        os.chmod(folder, 0o755)
        driver = shutil.copy(world.bin(DRIVER), folder)
        result = subprocess.run(OrdinaryUser() + [driver], capture_output=True, check=False,
                                stdin=subprocess.DEVNULL, timeout=LIMIT)
    finally:
        shutil.rmtree(folder)
    assert result.stderr == (b"\nSorry. You must login as super-user to run this program "
                             b"(User ID: 65534)!!\n")
    assert result.stdout == b"" and result.returncode == 1, "it returned to its caller"
    assert queues.count("heartbeatQueue") == 1, "nobody looked for a daemon"


def test_an_unknown_way_to_the_ups_offers_no_command(agent, start):
    Settings(comm_mode=2, snmp_ip=world.agent_address()).write()
    with presence():
        screen = start([world.bin(DRIVER)])
        screen.wait_key()
    screen.press("snpt")
    rows = (*range(3, 14), *range(16, 23))  # of the menu, and of what is under way
    assert [screen.cells(row, 1, 77).strip() for row in rows] == [""] * len(rows)
    assert queues.drain("commandQueue") == [] and agent.log() == []
    screen.send("q")
    assert screen.wait_exit() == 0


def test_what_a_short_record_leaves_out_is_the_default(agent, start):
    chosen = Settings(snmp_ip=world.agent_address()).write()
    os.truncate(f"{FOLDER}/power.ini", BEFORE_THE_WAY)
    os.truncate(f"{FOLDER}/wardenlink.cfg", 0)
    center = open_center(start, chosen)
    center.check()  # the menu of a UPS behind an agent
