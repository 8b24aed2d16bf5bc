"""The command center in front of a UPS behind an SNMP agent: every key up to its effect."""

import termios

import pytest

import world
from issuer_painter import ACCEPTED, DESCRIPTIONS, ESCAPE, REFUSED, SNMP
from issuer_watch import (COMMANDS, DRIVER, Center, center, open_center, presence,  # noqa: F401
                          put, shown_passes)
from notice import wall_clock
from process import OpenFiles
from stopwatch import check_time, seconds_of_pass

PICTURE = """\
 (wardenlink Power Management Software for Linux) UPS COMMAND CENTER, Ver. 3.4

+-----------------------------------------------------------------------------+
|     [s]  Shut Down UPS                    [f]  Flash and Beep               |
|     [c]  Cancel Shut Down Command         [i]  Test Indicators              |
|     [o]  Turn On UPS                                                        |
|                                                                             |
|     [u]  Reboot UPS                                                         |
|     [l]  Put UPS to Sleep                                                   |
|     [m]  Simulate Power Fail                                                |
|     [b]  Conserve Battery                                                   |
|                                                                             |
|     [d]  Diagnostic Self Test              [r]  Redraw                      |
|     [t]  Test Run Time Calibration         [q]  Quit                        |
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


# --- the idle screen -----------------------------------------------------------------------------


def test_it_opens_with_its_menu_and_asks_the_ups_nothing(center, agent):
    center.check_picture(PICTURE)
    center.screen.wait_paint()
    center.check()
    assert agent.log() == []


def test_keys_without_a_meaning_change_nothing(center, agent):
    meant = set(DESCRIPTIONS[SNMP]) | set("rq")
    others = "".join(chr(code) for code in range(32, 256) if chr(code) not in meant)
    center.press(others + ESCAPE + "\r\n\t\x01\x08")
    assert agent.log() == []


def test_an_idle_pass_takes_the_wait_for_a_key(center):
    check_time(lambda: seconds_of_pass(center.screen), 3.25, 4.2)


# --- every command -------------------------------------------------------------------------------


def test_every_key_shows_its_command_and_p_carries_it_out(center, agent):
    assert set(COMMANDS) == set(DESCRIPTIONS[SNMP])
    for key, datagrams in COMMANDS.items():
        agent.clear_log()
        center.press(key)
        count, rest = shown_passes(agent, key)
        assert count >= 1 and rest == [], f"{key} only shown: {agent.log()}"
        agent.clear_log()
        center.press("p", ACCEPTED)
        assert shown_passes(agent, key)[1] == datagrams, f"{key} confirmed"
        assert center.screen.cells(22, 15, 23) == "Last Command Successful"


def test_the_outcome_stays_until_the_next_command_is_shown(center):
    center.press("dp")
    center.press("x")
    center.screen.wait_paint()
    center.check()
    assert center.screen.cells(22, 15, 23) == "Last Command Successful"
    center.press("u")
    assert center.screen.cells(22, 1, 77).strip() == "Press [p] to proceed, [Esc] to cancel"


def test_escape_cancels_each_command_and_nothing_is_written(center, agent):
    for key in COMMANDS:
        agent.clear_log()
        center.press(key)
        center.press(ESCAPE)
        assert [center.screen.cells(row, 1, 77).strip() for row in range(17, 23)] == [""] * 6
        center.press("p")
        center.press(ESCAPE)
        assert shown_passes(agent, key)[1] == [], f"{key} was pending no more"


def test_an_arrow_key_cancels_as_escape_does(center, agent):
    center.press("d")
    center.press("\x1b[D")
    center.press("p")
    assert shown_passes(agent, "d")[1] == []


def test_no_other_command_can_be_chosen_while_one_is_pending(center, agent):
    center.press("u")
    center.press("smlfcobdit+-xSUP")
    agent.clear_log()
    center.press("p")
    assert shown_passes(agent, "u")[1] == [put("6.2.2")]


def test_p_and_escape_with_nothing_pending_do_nothing(center, agent):
    center.press("dp")  # its outcome stands on the screen: a command without an answer wipes it
    agent.clear_log()
    center.press("p")
    center.press(ESCAPE)
    center.press("pp" + ESCAPE)
    assert center.screen.cells(22, 15, 23) == "Last Command Successful"
    assert agent.log() == []


@pytest.mark.parametrize("key", ["", "s", "l"])
def test_q_ends_it_also_while_a_command_is_pending(agent, settings, start, key):
    agent.freeze()
    center = open_center(start, settings)
    agent.clear_log()
    if key:
        center.press(key)
    assert center.quit() == 0
    assert shown_passes(agent, key)[1] == []


# --- turning off ---------------------------------------------------------------------------------


def test_the_delay_is_armed_at_every_redisplay_and_the_off_command_waits_for_p(center, agent):
    center.press("s")
    agent.clear_log()
    for key in ("x", "+", "r"):
        center.press(key)
    count, rest = shown_passes(agent, "s")
    assert count >= 3 and rest == []
    center.screen.wait_paint()
    center.screen.wait_paint()
    assert shown_passes(agent, "s")[0] >= count + 2, "also without any key"
    assert agent.get("off_delay") == 12 and agent.get("turn_off") == 1
    center.press("p")
    assert agent.get("turn_off") == 2


def test_cancelling_leaves_the_delay_armed_and_the_ups_on(center, agent):
    assert agent.get("off_delay") == 1
    center.press("s")
    assert agent.get("off_delay") == 12
    center.press(ESCAPE)
    agent.clear_log()
    center.screen.wait_paint()
    assert agent.log() == [] and agent.get("turn_off") == 1


@pytest.mark.parametrize("status", ["genErr", "noSuchName"])
def test_an_agent_that_refuses_the_delay_hinders_nothing(center, agent, status):
    agent.error("off_delay", status)
    center.press("s", check=False)
    # The absence of an object ends a write with an empty line, wherever the cursor stands.
    center.press("r")
    center.screen.wait_key()
    center.press("p", check=False)
    assert center.screen.cells(22, 15, 23) == "Last Command Successful"
    assert agent.get("turn_off") == 2


# --- sleep ---------------------------------------------------------------------------------------


def test_the_sleep_time_goes_out_before_the_sleep_command(center, agent):
    center.press("l")
    center.press("+")
    center.press("+")
    center.press("+")
    assert center.screen.cells(17, 33, 10) == "04 Minutes"
    agent.clear_log()
    center.press("p")
    assert shown_passes(agent, "l")[1] == [put("5.2.11", 4), put("6.2.3", 2)]


def test_the_sleep_time_stops_at_both_ends(center, agent):
    center.press("l")
    center.press("--")
    assert center.screen.cells(17, 33, 10) == "01 Minutes"
    center.press("+" * 9)
    assert center.screen.cells(17, 33, 10) == "10 Minutes"
    center.press("+" * 88)
    assert center.screen.cells(17, 33, 10) == "98 Minutes"
    center.press("+")
    center.press("+++")
    assert center.screen.cells(17, 33, 10) == "99 Minutes"
    center.press("p")
    assert agent.get("sleep_minutes") == 99
    center.press("l")
    center.press("-")
    assert center.screen.cells(17, 33, 10) == "98 Minutes", "one step from the end, not four"
    center.press("-" * 97)
    assert center.screen.cells(17, 33, 10) == "01 Minutes"
    center.press("--p")
    assert agent.get("sleep_minutes") == 1


def test_the_sleep_time_is_kept_between_uses(center, agent):
    center.press("l")
    center.press("++++")
    center.press(ESCAPE)
    center.press("+++")
    center.press("d")
    center.press("++-")
    center.press(ESCAPE)
    center.press("l")
    assert center.screen.cells(17, 33, 2) == "05", "only its own panel changes it"
    center.press("r")
    center.press("p")
    assert agent.get("sleep_minutes") == 5


def test_the_outcome_of_a_sleep_is_that_of_its_second_write(center, agent):
    agent.error("sleep_minutes", "genErr")
    center.press("l")
    center.press("p", ACCEPTED)
    agent.error("sleep_minutes", "off")
    agent.error("sleep", "badValue")
    center.press("l")
    center.press("p", REFUSED)
    assert shown_passes(agent, "l")[1][:2] == [put("5.2.11", 1), put("6.2.3")]


# --- redrawing -----------------------------------------------------------------------------------


def test_r_redraws_what_another_program_wrote_over_and_keeps_the_command(center, agent):
    center.press("b")
    center.screen.broadcast(5, 29, "Broadcast message")
    center.screen.broadcast(16, 4, "from root")
    center.press("x", check=False)
    assert center.screen.cells(5, 29, 9) == "Broadcast"
    center.press("r")
    agent.clear_log()
    center.press("p")
    assert shown_passes(agent, "b")[1] == COMMANDS["b"]
    center.press("r")
    assert center.screen.cells(22, 15, 23) == " " * 23, "the outcome goes with the old picture"


# --- the terminal --------------------------------------------------------------------------------


def test_on_24_rows_all_but_the_empty_last_row_is_shown(agent, settings, start):
    agent.freeze()
    center = open_center(start, settings, rows=24)
    center.check()
    for keys in ("l", "+", ESCAPE, "b", "r", "p"):
        center.press(keys)


def test_the_terminal_is_given_back_as_it_was(agent, settings, start):
    screen = start("", shell=True)
    before = screen.termios()
    since = wall_clock()
    with presence():
        screen.send(f"{world.bin(DRIVER)}; echo status=$?\n")
        screen.wait_text(16, 8, "Press the letter")
        screen.wait_key()
    center = Center(screen, settings, since)
    center.check()
    assert screen.termios()[3] & (termios.ECHO | termios.ICANON) == 0
    center.press("s")
    screen.send("q")
    screen.wait_raw(b"status=0\r\n")
    screen.wait_prompt()
    assert screen.termios() == before


def test_signals_and_the_interrupt_key_do_not_end_it(center):
    center.press("d")
    for number in (1, 2, 3, 15):
        center.screen.signal(number)
    center.screen.press("\x03\x1c")
    center.screen.wait_paint()
    center.check()
    center.press("p")


def test_many_passes_open_no_further_file(center):
    center.press("s")
    before = OpenFiles(center.screen.pid)
    for _ in range(20):
        center.press("x")
    center.press("p")
    center.press("lp")
    assert OpenFiles(center.screen.pid) == before
