"""The command center in front of a UPS on a serial port."""

import pytest

import queues
import world
from issuer_painter import DESCRIPTIONS, ESCAPE, SERIAL
from issuer_watch import COMMAND, open_center  # noqa: F401
from settings import Settings
from tolvd import serial_settings

# Key: the text that goes to the daemon.
COMMANDS = {"s": b"a", "b": b"b", "n": b"d", "a": b"e", "c": b"f"}

PICTURE = """\
 (wardenlink Power Management Software for Linux) UPS COMMAND CENTER, Ver. 3.4

+-----------------------------------------------------------------------------+
|     [s]  10 Seconds Test                                                    |
|     [b]  Test until Battery Low                                             |
|                                                                             |
|     [c]  Cancel Test Command                                                |
|                                                                             |
|     [n]  Shut Down UPS                                                      |
|     [a]  Cancel Shut Down Command                                           |
|                                                                             |
|     [r]  Redraw                                                             |
|     [q]  Quit                                                               |
|                                                                             |
+-----------------------------------------------------------------------------+
+-----------------------------------------------------------------------------+
|       Press the letter of your choice.                                      |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
|                                                                             |
+-----------------------------------------------------------------------------+
"""


@pytest.fixture
def center(start):
    """The command center in serial mode, idle."""
    settings = Settings(comm_mode=SERIAL, snmp_ip=world.agent_address()).write()
    return open_center(start, settings)


def sent():
    """The commands that wait for the daemon; takes them."""
    return queues.drain("commandQueue")


# --- the screen ----------------------------------------------------------------------------------


def test_it_opens_with_its_menu(center):
    center.check_picture(PICTURE)
    center.screen.wait_paint()
    center.check()


def test_every_key_shows_its_command_and_p_sends_it(center):
    assert set(COMMANDS) == set(DESCRIPTIONS[SERIAL])
    for key, text in COMMANDS.items():
        center.press(key)
        assert center.screen.cells(22, 15, 37) == "Press [p] to proceed, [Esc] to cancel"
        assert sent() == [], f"{key} only shown"
        center.press("p")
        assert sent() == [(COMMAND, text)], key
        assert center.screen.cells(22, 1, 77) == " " * 77, "nobody tells how it ended"


def test_escape_cancels_each_command_and_nothing_is_sent(center):
    for key in COMMANDS:
        center.press(key)
        center.press(ESCAPE)
        center.press("p")
        center.press(ESCAPE)
        assert sent() == [], key


def test_no_key_chooses_the_timed_test_or_anything_else(center):
    meant = set(COMMANDS) | set("rq")
    for code in range(256):
        if chr(code) not in meant and code not in (3, 26, 28, 17, 19, 22, 15, 18, 4, 21):
            center.screen.send(bytes([code]))
    center.press("+-p")
    assert center.screen.cells(16, 8, 32) == "Press the letter of your choice."
    assert sent() == []


def test_no_other_command_can_be_chosen_while_one_is_pending(center):
    center.press("b")
    center.press("snacSNA+-3")
    center.press("p")
    assert sent() == [(COMMAND, b"b")]


def test_r_redraws_and_keeps_the_command(center):
    center.press("n")
    center.screen.broadcast(5, 29, "Broadcast message")
    center.press("x", check=False)
    assert center.screen.cells(5, 29, 9) == "Broadcast"
    center.press("r")
    center.press("p")
    assert sent() == [(COMMAND, b"d")]
    center.press("r")
    assert sent() == []


def test_q_ends_it_while_a_command_is_pending_and_sends_nothing(center):
    center.press("n")
    assert center.quit() == 0
    assert sent() == []


def test_on_24_rows_all_but_the_empty_last_row_is_shown(start):
    center = open_center(start, Settings(comm_mode=SERIAL).write(), rows=24)
    center.check()
    for key in "arp":
        center.press(key)
    assert sent() == [(COMMAND, b"e")]


# --- the queue -----------------------------------------------------------------------------------


def test_commands_wait_in_order_and_push_nothing_out(center):
    queues.send("commandQueue", 5, "other")
    for _ in range(20):
        queues.send("commandQueue", COMMAND, "earlier")
    center.press("spnpap")
    waiting = sent()
    assert waiting[:21] == [(5, b"other")] + [(COMMAND, b"earlier")] * 20
    assert waiting[21:] == [(COMMAND, b"a"), (COMMAND, b"d"), (COMMAND, b"e")]


def test_a_full_queue_takes_no_command_and_holds_nothing_up(center):
    filled = 0
    with pytest.raises(BlockingIOError):
        while True:
            queues.send("commandQueue", COMMAND, "F" * (8000 if filled < 2 else 1))
            filled += 1
    center.press("n")
    center.press("p")
    assert queues.count("commandQueue") == filled
    assert (COMMAND, b"d") not in sent()
    center.press("ap")
    assert sent() == [(COMMAND, b"e")]


def test_the_network_is_not_asked_anything(agent, start):
    settings = Settings(comm_mode=SERIAL, snmp_ip=world.agent_address()).write()
    center = open_center(start, settings)
    for key in COMMANDS:
        center.press(key + "p")
    assert center.quit() == 0
    assert agent.log() == []


def test_the_daemon_has_the_ups_carry_each_command_out(serial_ups, tolvd, start):
    settings = serial_settings()
    tolvd()
    center = open_center(start, settings)

    def Press(keys, **outcome):
        center.press(keys + "p")
        world.wait_until(lambda: outcome.items() <= serial_ups.state().items(), what=str(outcome))

    serial_ups.freeze()
    Press("s", test="self-test")
    Press("c", test="none")
    Press("b", test="until-low")
    Press("c", test="none")
    Press("n", pending="off")
    serial_ups.freeze(False)
    serial_ups.speed(10)
    world.wait_until(lambda: serial_ups.state()["output_on"] == "off", what="the output off")
    Press("a", output_on="on")
