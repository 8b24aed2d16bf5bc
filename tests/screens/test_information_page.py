"""The information page of the local screen: the objects that the agent answers, to the cell."""

import pytest

import queues
from remote_painter import GEN_ERR, NO_DATA_PROMPT
from settings import Settings
from snmp_painter import LABELS, NAMES, OBJECTS, announce, open_local

PROBE = "get .1.3.6.1.4.1.935.1.1.1.3.2.1.0"


@pytest.fixture
def local(agent, settings, start):
    """The local screen with its SNMP panels painted."""
    return open_local(start, agent, settings)


@pytest.fixture
def page(local):
    """The same with the information page opened."""
    local.turn("m")
    return local


def panels_are_shown(screen):
    return screen.cells(3, 3, 10) == "Ip Address"


# --- what stands where ---------------------------------------------------------------------------


def test_m_opens_the_page_with_all_objects(local):
    local.check()
    local.turn("m")
    assert local.screen.cells(3, 2, 42) == 'System Contact    : "operator@example.net"'
    assert local.screen.cells(21, 2, 21) == "Min. Ret. Cap.    : 1"
    assert local.screen.cells(7, 42, 21) == "Sensitivity       : 2"
    assert local.screen.cells(13, 42, 36).rstrip() == 'Calib. Date       : "2026-09-14"'


def test_the_objects_are_asked_once_each_in_the_order_of_the_page(local, agent):
    agent.clear_log()
    local.turn("m")
    asked = [line for line in agent.log() if line != PROBE]
    assert asked == [f"get {oid}" for _, oid, _ in OBJECTS]


def test_the_box_is_drawn_over_the_fourth_object(page):
    assert page.screen.row(6) == "+" + "-" * 77 + "+ "
    assert LABELS["firmware"] not in "".join(page.screen.lines())
    page.turn("r", sys_contact=None)
    assert page.screen.cells(5, 2, 20) == LABELS["firmware"]
    assert LABELS["date_made"] not in "".join(page.screen.lines())


@pytest.mark.parametrize("missing", [NAMES[:6], NAMES[20:], NAMES[3:26:4]])
def test_the_twentieth_that_answers_stands_on_the_right(page, missing):
    gone = list(missing)[:6]
    page.turn("r", **{name: None for name in gone})
    shown = [name for name in NAMES if name not in gone]
    assert len(shown) == 20
    assert page.screen.cells(21, 2, 20) == LABELS[shown[18]]
    assert page.screen.cells(7, 42, 20) == LABELS[shown[19]]
    value = page.answers[shown[19]]
    wanted = f'"{value}"' if isinstance(value, str) else f"{value}"
    assert page.screen.cells(7, 62, 16).rstrip() == wanted
    assert page.screen.cells(8, 42, 36) == " " * 36


def test_any_number_of_objects_closes_up_without_gaps(page):
    for count in (19, 18, 1, 0):
        page.turn("r", **{name: None for name in NAMES[count:]})
    assert not any(label in line for label in LABELS.values() for line in page.screen.lines())
    page.turn("r", **{name: 7 for name in NAMES[20:]})
    page.turn("r", **{name: 7 for name in NAMES[:20]})


def test_an_object_that_keeps_silent_is_left_out(page, agent):
    agent.silent(True, "sys_name")
    page.answers["sys_name"] = None
    page.turn("r")
    assert page.screen.cells(4, 2, 20) == LABELS["sys_location"]


def test_an_object_answered_with_an_error_keeps_its_place_without_a_value(page):
    page.turn("r", sys_name=GEN_ERR, return_delay=GEN_ERR)
    assert page.screen.cells(4, 2, 74).rstrip() == LABELS["sys_name"].rstrip()


# --- texts ---------------------------------------------------------------------------------------


def test_a_text_ends_after_its_49th_character(page):
    text = "0123456789" * 12
    page.turn("r", sys_contact=text, sys_name=text[:47], sys_location=text[:48])
    assert page.screen.cells(3, 22, 50) == '"' + text[:48] + " "
    assert page.screen.cells(4, 22, 50) == '"' + text[:47] + '" '
    assert page.screen.cells(5, 22, 50) == '"' + text[:48] + " "
    page.turn("r", **{name: text * 4 for name in NAMES[:19]})


def test_a_long_text_on_the_left_ends_under_a_label_on_the_right(page):
    page.turn("r", agent_revision="x" * 60)
    assert page.screen.cells(9, 22, 20) == '"' + "x" * 19
    assert page.screen.cells(9, 42, 20) == LABELS["return_delay"]


def test_a_long_text_on_the_right_does_not_run_into_the_next_row(page):
    page.turn("r", sensitivity="y" * 60, calibration_date="z" * 60)
    assert page.screen.cells(7, 62, 18) == '"' + "y" * 15 + "|y"
    assert page.screen.cells(8, 0, 3) == "| S"


def test_a_text_is_cut_after_its_second_quote(page):
    page.turn("r", sys_contact='The "big" one', sys_name='"', sys_location='a\\b',
              calibration_date='"quoted"')
    assert page.screen.cells(3, 22, 12) == '"The \\"     '
    assert page.screen.cells(4, 22, 5) == '"\\"  '
    assert page.screen.cells(5, 22, 7) == '"a\\\\b" '


def test_texts_of_blanks_stars_or_nothing_are_answers(page):
    page.turn("r", sys_contact="", sys_name="***", sys_location="   x", serial_number="%s%n%d")
    assert page.screen.cells(3, 22, 3) == '"" '
    assert page.screen.cells(4, 22, 6) == '"***" '


def test_control_bytes_do_not_move_anything(page):
    page.turn("r", sys_contact=b"one\ntwo\r\nthree", sys_name=b"\tat\tthe\tstops\v\f",
              serial_number=b"\r\n" * 20, calibration_date=b"2026\n09\t14")
    assert page.screen.cells(3, 22, 16) == '"one two  three"'


def test_bytes_that_do_not_print_are_shown_as_digits(page):
    page.turn("r", sys_contact=b"\x1b[2J\x07\x00", sys_name=bytes(range(128, 200)),
              sys_location=b"caf\xc3\xa9", calibration_results=b"\x00",
              calibration_date=b"\xff" * 9)
    assert page.screen.cells(3, 22, 20) == '"1B 5B 32 4A 07 00 "'
    assert page.screen.cells(13, 62, 18) == '"FF FF FF FF FF |F'


def test_numbers_of_every_size_and_kind_stand_bare(page, agent):
    page.turn("r", alarm_timer=-2147483648, sensitivity=2147483647, return_delay=0)
    for kind in ("gauge", "counter"):
        agent.set("input_phase", 4294967295, kind)
        page.answers["input_phase"] = 4294967295
        page.turn("r")
    assert page.screen.cells(13, 2, 31) == "Input Phase       : 4294967295 "


# --- opening and leaving -------------------------------------------------------------------------


def test_the_page_stands_still_until_r_draws_it_again(page, agent):
    page.answer(sys_name="renamed")
    agent.clear_log()
    page.screen.press("m" + " " + "M")
    assert agent.log() == [PROBE] * 2 * 3, "at the begin and at the end of each pass"
    assert page.screen.cells(4, 22, 8) == '"ups-1" '
    page.turn("r")
    assert page.screen.cells(4, 22, 10) == '"renamed" '


def test_keys_without_a_meaning_leave_the_page_as_it_is(page):
    announce(100)  # every one of these keys is a pass
    page.screen.press("".join(chr(code) for code in range(32, 127) if chr(code) not in "bqr"))
    page.screen.press("\x1b[A\n")
    page.compare()


def test_r_cleans_up_what_another_program_wrote_on_the_page(page):
    page.screen.broadcast(15, 29, "Broadcast message from root")
    page.screen.press(" ")
    assert page.screen.cells(15, 29, 9) == "Broadcast"
    page.turn("r")


def test_b_returns_to_the_panels(page):
    page.painter.blank_panels()
    page.show("b", load=44)
    assert page.screen.cursor == (24, 79)
    page.turn("m")
    page.painter.blank_panels()
    page.show("b")


def test_r_in_the_panels_does_not_open_the_page(local):
    local.show("r")
    local.show()
    assert panels_are_shown(local.screen)


def test_m_does_nothing_without_a_daemon(agent, settings, start):
    local = open_local(start, agent, settings, present=False)
    local.check()
    local.show("m")
    announce(1)
    local.lost = False
    local.show(" ")
    assert panels_are_shown(local.screen)


def test_m_does_nothing_without_an_agent_that_answers(local, agent):
    agent.missing("input_voltage")
    local.lost = True
    local.show("m")
    agent.missing("input_voltage", False)
    local.lost = False
    local.show()
    assert panels_are_shown(local.screen)


def test_m_does_nothing_without_a_session(agent, start):
    chosen = Settings(snmp_ip="127.0.0.1").write()
    local = open_local(start, agent, chosen)
    local.lost = True
    local.check()
    local.show("m")
    assert agent.log() == []


def test_a_daemon_that_goes_takes_the_page_with_it(page):
    queues.drain("heartbeatQueue")
    page.lost = True
    page.show()
    assert page.screen.cells(23, 41, 37) == NO_DATA_PROMPT
    announce()
    page.lost = False
    page.show()
    assert panels_are_shown(page.screen), "the page is not opened again by itself"
    page.turn("m")


def test_an_agent_that_stops_answering_takes_the_page_with_it(page, agent):
    agent.silent()
    page.lost = True
    page.show()
    agent.silent(False)
    page.lost = False
    page.show()
    assert panels_are_shown(page.screen), "the page is not opened again by itself"


def test_q_leaves_from_the_page(page):
    page.screen.send("q")
    assert page.screen.wait_exit() == 0
