"""The command center in front of an agent that refuses, is silent or lacks an object, and the
condition of the UPS as it is shown."""

from issuer_painter import ACCEPTED, ESCAPE, REFUSED, UNANSWERED
from issuer_watch import COMMANDS, NAMES, center, get, put, shown_passes  # noqa: F401

TRANSPORT_LINE = b"No Response from Destination\n"


# --- agents that will not ------------------------------------------------------------------------


def test_a_refused_command_is_told_for_every_key(center, agent):
    for name in set(NAMES.values()):
        agent.error(name, "genErr")
    for key in COMMANDS:
        agent.clear_log()
        center.press(key)
        center.press("p", REFUSED)
        # An error on reading is an answer, too: the command is tried.
        assert shown_passes(agent, key)[1] == COMMANDS[key], key
        assert center.screen.cells(22, 15, 20) == "Last Command Failed."


def test_a_command_whose_object_is_not_there_is_not_sent(center, agent):
    for key in ("f", "i", "t"):
        agent.missing(NAMES[key])
        center.press("dp")
        center.press(key)
        agent.clear_log()
        center.press("p", UNANSWERED)
        assert shown_passes(agent, key)[1] == COMMANDS[key][:1], "read, not written"
        assert center.screen.cells(22, 5, 72) == " " * 72
        agent.missing(NAMES[key], False)
        center.press(key)
        center.press("p", ACCEPTED)


def test_a_command_that_is_not_read_first_fails_without_its_object(center, agent):
    agent.missing("self_test")
    center.press("d")
    agent.clear_log()
    center.press("p", REFUSED, check=False)
    assert shown_passes(agent, "d")[1] == [put("7.2.2")]
    assert center.screen.cells(22, 15, 20) == "Last Command Failed."
    center.press("r")


def test_an_unanswered_command_leaves_no_outcome_but_the_transport_line(center, agent):
    agent.silent(True, "self_test")
    center.press("d")
    agent.clear_log()
    center.screen.clear_raw()
    center.press("p", UNANSWERED, check=False)
    assert center.screen.raw.count(TRANSPORT_LINE) == 1
    assert b"Last Command" not in center.screen.raw
    assert shown_passes(agent, "d")[1] == [put("7.2.2")] * 5, "asked five times"
    center.press("r")
    center.press("i")
    center.press("p", ACCEPTED)


def test_a_silent_reading_holds_a_command_back_without_a_word(center, agent):
    agent.silent(True, "flash_beep")
    center.press("f")
    agent.clear_log()
    center.screen.clear_raw()
    center.press("p", UNANSWERED)
    assert shown_passes(agent, "f")[1] == [get("6.2.5")] * 5
    assert b"No Response" not in center.screen.raw


def test_an_agent_that_goes_away_is_told_and_comes_back(center, agent):
    agent.silent()
    center.painter.connected = False
    center.press("d")
    assert center.screen.cells(21, 5, 51) == "No Connection (check Ip Address and Community Name)"
    agent.silent(False)
    center.painter.connected = True
    center.press("x")
    # The cell between two texts keeps what the longer line left there.
    assert center.screen.cells(21, 5, 32) == "UPS Status (nWith Utility power."
    center.press("p", ACCEPTED)


# --- the condition of the UPS --------------------------------------------------------------------


# What the UPS answers, and whether utility and output are seen in it.
CONDITIONS = [
    (dict(input_voltage=0), False, True),
    (dict(input_voltage=1), True, True),
    (dict(input_voltage=-5), True, True),
    (dict(output_status=5), True, False),
    (dict(output_status=3), True, True),
    (dict(output_frequency=0), True, False),
    (dict(output_frequency=-1), True, True),
    (dict(input_voltage=0, output_status=5, output_frequency=0), False, False),
    (dict(output_status=5, output_frequency=500), True, False),
]


def test_the_condition_line_follows_the_ups(center, agent):
    center.press("d")
    assert center.screen.cells(21, 5, 51) == "UPS Status ( With Utility power.With output power.)"
    for answers, utility, output in CONDITIONS:
        for name, number in answers.items():
            agent.set(name, number)
        center.painter.utility, center.painter.output = utility, output
        center.press("x")
        for name in answers:
            agent.unset(name)
    center.press(ESCAPE)
    assert center.screen.cells(21, 1, 77) == " " * 77


def test_an_object_without_an_answer_reads_as_zero(center, agent):
    center.press("d")
    for name, utility, output in (("output_status", True, True), ("output_frequency", True, False)):
        agent.missing(name)
        center.painter.utility, center.painter.output = utility, output
        center.press("x")
        agent.missing(name, False)
    # An error is an answer: there is a connection, and nothing to be read through it.
    agent.error("input_voltage", "genErr")
    center.painter.utility, center.painter.output = False, True
    center.press("x")


def test_no_condition_holds_a_command_back(center, agent):
    agent.missing("input_voltage")
    center.painter.connected = False
    center.press("u")
    center.press("p", ACCEPTED)
    assert agent.get("reboot") == 2
    agent.missing("input_voltage", False)
    agent.set("output_status", 5)
    agent.set("input_voltage", 0)
    center.painter.connected, center.painter.utility, center.painter.output = True, False, False
    center.press("m")
    center.press("p", ACCEPTED)
    assert agent.get("simulate_failure") == 2
