"""The local screen under settings that somebody else changes, and under control messages."""

import dataclasses
import os
import random

import pytest

import queues
import snmp_painter
import world
from local_painter import Files, put_file
from local_watch import open_watch, watch  # noqa: F401
from remote_painter import Readings
from settings import Settings

SERIAL = Settings(comm_mode=0)


def test_told_changes_of_the_settings_show_at_once(watch):
    watch.change(dataclasses.replace(SERIAL, com_port="/dev/ttyS9", ac_fail_delay=77,
                                     ups_off_delay=7.0, countdown_on=0, schedule_on=1,
                                     schedule=[[7, 30, 18, 5]] * 7))
    watch.show()
    assert watch.screen.cells(8, 26, 12) == "/dev/ttyS9  "
    assert watch.screen.cells(20, 26, 4) == " 77 "
    assert watch.screen.cells(18, 29, 5) == "18:05" and watch.screen.cells(19, 29, 5) == "07:30"


def test_untold_changes_show_after_every_twelfth_pass(watch):
    for port in ("/dev/ttyS2", "/dev/ttyS3"):
        changed = dataclasses.replace(SERIAL, com_port=port)
        watch.change(changed, told=False)
        for _ in range(11):
            watch.show()
        assert watch.screen.cells(8, 26, 10) != port
        watch.painter.follow(changed)
        watch.show()
        assert watch.screen.cells(8, 26, 10) == port


def test_a_message_does_not_put_off_the_twelfth_pass(watch):
    for _ in range(5):
        watch.show()
    watch.change(SERIAL)
    for _ in range(6):
        watch.show()
    changed = dataclasses.replace(SERIAL, com_port="/dev/ttyS4")
    watch.change(changed, told=False)
    watch.painter.follow(changed)
    watch.show()
    assert watch.screen.cells(8, 26, 10) == "/dev/ttyS4"


def test_the_redraw_message_clears_and_repaints(watch):
    watch.show(input="300.0")
    watch.show(input="184.0")
    assert watch.screen.standout(4) == {43, 44, 45, 76, 77, 79}
    watch.screen.broadcast(13, 29, "Broadcast message")
    watch.tell("001")
    watch.painter.clear()
    watch.show()
    assert watch.screen.standout(4) == {43, 44, 45}


@pytest.mark.parametrize("text", ["000", "100", "110", "x", "00", "0001", "1", b"\0\0\0"])
def test_other_messages_change_nothing(watch, text):
    watch.show(input="300.0")
    watch.show(input="184.0")
    watch.change(dataclasses.replace(SERIAL, com_port="/dev/ttyS8"), told=False)
    watch.tell(text)
    watch.show()
    assert queues.count("screenControlQueue") == 0, "it is taken all the same"
    watch.show()


def test_messages_of_another_type_stay_where_they_are(watch):
    watch.change(dataclasses.replace(SERIAL, com_port="/dev/ttyS8"), told=False)
    for kind in (1, 4, 9):
        watch.tell("010", kind)
    watch.show()
    watch.show()
    assert queues.drain("screenControlQueue") == [(1, b"010"), (4, b"010"), (9, b"010")]


def test_each_pass_takes_one_message(watch):
    for _ in range(3):
        watch.tell("000")
    for left in (2, 1, 0, 0):
        watch.show()
        assert queues.count("screenControlQueue") == left


@pytest.mark.parametrize("text", ["011", "010000", "01"])
def test_the_first_1_of_a_message_decides(watch, text):
    changed = dataclasses.replace(SERIAL, com_port="/dev/ttyS6")
    watch.change(changed, told=False)
    watch.tell(text)
    watch.painter.follow(changed)
    watch.show()
    assert watch.screen.cells(8, 26, 10) == "/dev/ttyS6"


@pytest.mark.parametrize("name", ["power.ini", "wardenlink.cfg"])
def test_settings_that_vanish_change_nothing_on_the_screen(watch, name):
    os.remove(os.path.join(world.FOLDER, name))
    watch.tell("010")
    watch.show()
    watch.show("r")
    assert not os.path.exists(os.path.join(world.FOLDER, name)), "a status screen only reads"
    watch.change(dataclasses.replace(SERIAL, com_port="/dev/ttyS5"))
    watch.show()


def test_damaged_settings_are_survived(watch):
    for data in (b"", b"\xff" * 232, random.Random(5).randbytes(5000), b"[" * 100000, b"[x] " * 11):
        put_file("power.ini", data)
        put_file("wardenlink.cfg", data)
        watch.tell("010")
        watch.press()
        assert watch.screen.alive()
    watch.change(SERIAL)
    watch.press()
    watch.painter.follow(SERIAL)
    watch.show("r")


# --- from the serial port to the agent and back ----------------------------------------------


def follow_mode(watch, settings):
    """The pass after a change of the way to the UPS, with the daemon present all the while."""
    watch.change(settings)
    queues.drain("heartbeatQueue")
    snmp_painter.announce(5)
    watch.screen.press(" ")


def check_agent_panels(watch):
    watch.painter.paint(Readings(), False)
    watch.painter.check(watch.screen)


def test_the_screen_changes_to_the_agent_and_back(agent, open_watch):
    files = Files(bits="10110100", input="300.0")
    snmp_painter.announce(1)  # what the caller of the screen saw of the daemon
    watch = open_watch(files=files)
    watch.check()
    by_agent = Settings(comm_mode=1, snmp_ip=world.agent_address())
    for _ in range(2):
        follow_mode(watch, by_agent)
        watch.painter.leave_serial()
        check_agent_panels(watch)
        assert watch.screen.cells(5, 25, 8) == "Normal  "
        assert watch.screen.cells(23, 41, 30) == " " * 10 + "[r]-Redraw, [q]-Quit"
        queues.drain("heartbeatQueue")
        watch.change(SERIAL)
        watch.painter.enter_serial()
        watch.show(present=True, mdl=None)
        assert watch.screen.cells(0, 57, 23) == " " * 23, "the model went with the change"
        assert watch.screen.cells(23, 41, 8) == "Type 'r'"
        watch.show("r", mdl=Files.mdl)


def test_a_screen_begun_with_the_agent_changes_to_the_serial_port(agent, open_watch):
    files = Files()
    by_agent = Settings(comm_mode=1, snmp_ip=world.agent_address())
    snmp_painter.announce(1)
    watch = open_watch(by_agent, files)
    check_agent_panels(watch)
    assert watch.screen.cells(0, 57, 20) == " " * 20
    watch.change(SERIAL)
    watch.painter.enter_serial()
    watch.show()
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0


def test_an_unknown_way_to_the_ups_blanks_the_panels_until_another_one_comes(watch):
    watch.check()
    watch.change(dataclasses.replace(SERIAL, comm_mode=2))
    watch.press()
    watch.painter.blank_panels()
    for _ in range(2):
        watch.painter.check(watch.screen)
        watch.press()
    watch.change(SERIAL)
    watch.painter.enter_serial()
    watch.show()
