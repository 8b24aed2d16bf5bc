"""The daemon and a UPS behind an agent: what it asks and when, what it keeps, what it says."""

from tolvd import agent_settings, serial_settings


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
