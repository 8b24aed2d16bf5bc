"""The daemon and a UPS behind an agent: what it asks and when, what it keeps, what it says."""

import world
from tolvd import agent_settings, serial_settings


def switch_trace_on():
    with open(world.FOLDER + "/powerd.dbg", "w", encoding="ascii") as target:
        target.write("debug\n")


# --- words --------------------------------------------------------------------------------


def test_only_an_agent_lets_a_failure_be_a_calibration(agent, tolvd):
    agent_settings()
    agent.freeze()
    agent.mains("fail")
    told = tolvd().wait_log("^the mains failed: ")
    assert told.priority == 1
    assert told.text.endswith(", or calibrates it (for that stop the daemon or use --dry-run first)")


def test_a_ups_on_a_line_says_for_itself_that_it_tests(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    told = tolvd().wait_log("^the mains failed: ")
    assert told.text == "the mains failed: the UPS runs on its battery"


def test_the_trace_shows_an_agent_that_was_never_heard(agent, tolvd):
    agent_settings()
    agent.silent()
    switch_trace_on()
    running = tolvd(ready=False)
    shown = running.wait_log("^agent, first question: no answer$", timeout=120, count=2)
    assert shown.priority == 7
