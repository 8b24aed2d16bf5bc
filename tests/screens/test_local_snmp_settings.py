"""The local screen of a UPS behind an SNMP agent follows its settings while it runs."""

import os

import pytest

import queues
import world
from local_painter import put_file
from process import OpenFiles
from remote_painter import Readings
from settings import FOLDER, Settings
from snmp_painter import announce, open_local, tell

# Another address beside the agent's that every machine has: 0.0.0.0 leads to 127.0.0.1, which
# is not asked by its own name.
OTHER_LISTEN, OTHER_ADDRESS = "127.0.0.1", "0.0.0.0"
PROBE = "get .1.3.6.1.4.1.935.1.1.1.3.2.1.0"
OTHER_CONTROL = "/run/wardenlink-sim-other.sock"


@pytest.fixture
def local(agent, settings, start):
    """The local screen with its SNMP panels painted."""
    return open_local(start, agent, settings)


@pytest.fixture
def other():
    """Another simulated UPS, at another address and with another community."""
    running = world.Agent(OTHER_LISTEN, "other-ups", OTHER_CONTROL)
    running.set("load", 61)
    yield running
    running.stop()


def other_settings(**changes):
    return Settings(snmp_ip=OTHER_ADDRESS, snmp_community="other-ups", **changes)


def follow_other(local, other):
    """The settings name the other UPS from now on."""
    local.take_settings(other_settings())
    local.agent, local.readings = other, Readings(load=61)


def put_serial_files(model):
    """The daemon's files of a UPS on the serial port."""
    put_file("wardenlink.q1", b"(215.0 195.0 220.0 045 50.0 13.6 25.0 00001001\r")
    put_file("wardenlink.mdl", f"#{model}\r".encode("ascii"))


def serial_is_shown(screen):
    return screen.cells(3, 3, 19) == "UPS Type          :" and screen.cells(3, 62, 5) == "215.0"


# --- following the settings ----------------------------------------------------------------------


def test_another_agent_is_followed_when_the_settings_were_saved(local, agent, other):
    follow_other(local, other)
    agent.clear_log()
    tell("010")
    local.show()
    assert local.screen.cells(11, 62, 3) == " 61"
    assert local.screen.cells(4, 23, 9) == "other-ups"
    agent.clear_log()
    local.show()
    assert agent.log() == [], "the first agent is left alone"


def test_without_a_message_the_first_agent_stays(local, agent, other):
    follow_other(local, other)
    other.clear_log()
    local.screen.press(" ")
    assert other.log() == []
    assert local.screen.cells(3, 23, 15).rstrip() == agent.address
    assert local.screen.cells(11, 62, 3) == " 35"


def test_an_agent_that_stays_the_same_is_loaded_no_more(local, other):
    follow_other(local, other)

    def CountProbes(message=None):
        if message:
            tell(message)
        other.clear_log()
        local.show()
        return other.log().count(PROBE)
    assert CountProbes("010") > CountProbes(), "a loaded agent is asked for"
    assert CountProbes("010") == CountProbes(), "it is the one that was loaded before"


def test_another_community_alone_is_another_agent(local, agent):
    agent.clear_log()
    local.take_settings(Settings(snmp_ip=world.agent_address(), snmp_community="private"))
    tell("010")
    local.lost = True
    local.show()
    assert "refused" in agent.log()
    local.take_settings(Settings(snmp_ip=world.agent_address()))
    tell("010")
    local.lost = False
    local.show()


def test_settings_are_read_again_at_every_twelfth_pass(agent, start):
    local = open_local(start, agent, Settings(snmp_ip="127.0.0.1").write())
    local.lost = True
    local.screen.press("x" * 12 + "x" * 11)
    local.check()
    agent.clear_log()
    Settings(snmp_ip=world.agent_address()).write()
    queues.drain("screenControlQueue")
    local.lost = False
    local.painter.settings = Settings(snmp_ip=world.agent_address())
    local.show("x")  # the twenty-fourth pass ends with it
    assert agent.log() != []


def test_settings_saved_early_wait_for_the_twelfth_pass(agent, start):
    local = open_local(start, agent, Settings(snmp_ip="127.0.0.1").write())
    local.lost = True
    Settings(snmp_ip=world.agent_address()).write()
    local.screen.press("x" * 11)
    local.check()
    assert agent.log() == []
    local.lost = False
    local.painter.settings = Settings(snmp_ip=world.agent_address())
    local.show("x")


def test_delays_follow_the_settings_at_once(local):
    local.take_settings(Settings(snmp_ip=world.agent_address(), ac_fail_delay=120,
                                 ups_off_delay=0.8))
    tell("010")
    local.show()
    assert local.screen.cells(8, 26, 4) == " 120"
    assert local.screen.cells(9, 26, 4) == " 0.8"


def test_settings_that_cannot_be_read_change_nothing(local):
    os.remove(f"{FOLDER}/power.ini")
    tell("010")
    local.show()
    local.show("r")


def test_only_one_control_message_is_taken_in_a_pass(local, other):
    follow_other(local, other)
    for text in ("000", "010"):
        tell(text)
    local.screen.press(" ")
    assert queues.count("screenControlQueue") == 1
    assert local.screen.cells(11, 62, 3) == " 35"
    local.show()


def test_changing_agents_for_long_opens_no_more_files(local, agent, other):
    local.turn("m")  # the page needs no pause between its passes
    announce(200)
    files = OpenFiles(local.screen.pid)
    for _ in range(10):
        other_settings().write()
        tell("010")
        local.screen.press(" ")
        Settings(snmp_ip=world.agent_address()).write()
        tell("010")
        local.screen.press(" ")
    assert OpenFiles(local.screen.pid) == files
    assert len([line for line in other.log() if line.startswith("get")]) >= 20
    local.turn("r")


def test_the_page_of_another_agent_is_drawn_by_r(local, agent, other):
    local.turn("m")
    other.set("sys_name", "the-other")
    other_settings().write()
    tell("010")
    local.screen.press(" ")
    local.compare()
    local.agent, local.answers["sys_name"] = other, "the-other"
    local.turn("r")


# --- changing the way of reaching the UPS --------------------------------------------------------


def test_the_serial_display_takes_over_and_gives_back(local, agent):
    put_serial_files("A UPS")
    files = OpenFiles(local.screen.pid)
    counts = []
    for _ in range(2):
        local.take_settings(Settings(snmp_ip=world.agent_address(), comm_mode=0))
        tell("010")
        local.screen.press(" ")
        assert serial_is_shown(local.screen)
        agent.clear_log()
        local.screen.press(" ")
        assert agent.log() == [], "nobody asks the agent meanwhile"
        local.take_settings(Settings(snmp_ip=world.agent_address()))
        tell("010")
        local.painter.connected = False  # nothing stays of the serial display
        local.show()
        counts.append(OpenFiles(local.screen.pid))
    assert counts[0] == counts[1] <= files + 1, "one more for the daemon's status file"
    local.show("r")


def test_a_screen_that_began_serial_opens_its_session_later(agent, start):
    put_serial_files("A UPS")
    local = open_local(start, agent, Settings(snmp_ip=world.agent_address(), comm_mode=0).write())
    assert serial_is_shown(local.screen)
    assert agent.log() == []
    local.take_settings(Settings(snmp_ip=world.agent_address()))
    tell("010")
    local.screen.press("r")
    local.painter.clear()
    local.show("r")
    assert local.screen.cells(0, 56, 24) == " " * 24


def test_the_model_text_is_blanked_when_the_serial_display_comes_back(agent, start):
    long_model = "".join(chr(ord("A") + at % 26) for at in range(37))
    put_serial_files(long_model)
    chosen = Settings(snmp_ip=world.agent_address(), comm_mode=0).write()
    screen = open_local(start, agent, chosen).screen
    assert screen.cells(0, 42, 38) == long_model + " "
    Settings(snmp_ip=world.agent_address()).write()
    tell("010")
    screen.press(" ")
    assert screen.cells(0, 42, 38) == "Screen, Ver. 3.4"[-14:] + long_model[14:] + " "
    put_serial_files("Short")
    chosen.write()
    tell("010")
    screen.press(" ")
    assert screen.cells(0, 42, 38) == "Short" + "en, Ver. 3.4"[-9:] + " " * 24


def test_the_panels_open_after_the_serial_display_though_the_page_was_left(local):
    local.turn("m")
    put_serial_files("A UPS")
    Settings(snmp_ip=world.agent_address(), comm_mode=0).write()
    tell("010")
    local.screen.press(" ")
    assert serial_is_shown(local.screen)
    Settings(snmp_ip=world.agent_address()).write()
    tell("010")
    local.screen.press("x")
    local.show("r")


def test_going_to_and_fro_for_long_opens_no_more_files(agent, start):
    put_serial_files("A UPS")
    agent.missing("input_voltage")  # a pass without data needs no pause
    chosen = Settings(snmp_ip=world.agent_address()).write()
    local = open_local(start, agent, chosen)
    local.lost = True
    counts = set()
    for _ in range(12):
        for mode in (0, 1):
            Settings(snmp_ip=world.agent_address(), comm_mode=mode).write()
            tell("010")
            local.screen.press(" ")
        counts.add(OpenFiles(local.screen.pid))
    assert len(counts) == 1, counts
    agent.missing("input_voltage", False)
    announce()
    local.lost = False
    local.painter.clear()
    local.show("r")


def test_any_other_way_of_reaching_the_ups_paints_nothing(local):
    local.take_settings(Settings(snmp_ip=world.agent_address(), comm_mode=7))
    tell("010")
    local.screen.press(" ")
    blank = " " * 77
    assert [local.screen.cells(row, 1, 77) for row in range(3, 22)] == [blank] * 19
    local.take_settings(Settings(snmp_ip=world.agent_address()))
    tell("010")
    local.painter.clear()
    local.screen.press("r")
    local.show("r")
