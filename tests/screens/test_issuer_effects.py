"""What commands of the command center do to a UPS, as the status screen shows it."""

import pytest

import world
from issuer_watch import open_center
from remote_painter import Readings, Watch
from stopwatch import Stopwatch

OFF = dict(output_status=5, output_voltage=0, output_frequency=0, load=0)


@pytest.fixture
def beside(agent, settings, start, status):
    """A command center and, on a terminal of its own, the status screen of the same UPS."""
    return open_center(start, settings), Watch(status, agent, settings)


def wait_state(agent, **wanted):
    """Waits until the model is so, then holds it."""
    def Matches():
        return wanted.items() <= agent.state().items()
    world.wait_until(Matches, what=f"the UPS with {wanted}")
    agent.freeze()


def show_status(watch, **readings):
    """The status screen's whole picture; the battery is where the UPS has it."""
    for name in ("capacity", "time_on_battery"):
        readings[name] = watch.agent.get(name)
    watch.readings = Readings(**readings)
    watch.screen.press("r")
    watch.painter.clear()
    watch.check()


def test_a_ups_is_turned_off_after_twelve_seconds_and_on_again(beside, agent):
    center, watch = beside
    agent.freeze()
    center.press("s")
    center.press("p")
    assert agent.state()["output_on"] == "on", "the delay has just begun"
    agent.speed(8)
    agent.freeze(False)
    wait_state(agent, output_on="off")
    show_status(watch, **OFF)
    center.painter.output = False
    center.press("o")
    center.press("p")
    wait_state(agent, output_on="on")
    show_status(watch)


def test_a_ups_sleeps_for_its_minutes_and_wakes(beside, agent):
    center, watch = beside
    center.press("l")
    center.press("+")
    took = Stopwatch()
    center.press("p")
    wait_state(agent, output_on="off", sleeping="on")
    slow = took.passed()
    show_status(watch, **OFF)
    agent.speed(30)
    took = Stopwatch()
    agent.freeze(False)
    wait_state(agent, output_on="on", sleeping="off")
    assert slow + 30 * took.passed() > 120, "two minutes of the UPS's own"
    show_status(watch)


def test_a_simulated_failure_puts_the_ups_on_battery_and_back(beside, agent):
    center, watch = beside
    center.press("m")
    center.press("p")
    wait_state(agent, output_status="3")
    show_status(watch, output_status=3)
    center.press("c")
    center.press("p")
    agent.freeze(False)
    wait_state(agent, output_status="2", charge="100")
    show_status(watch)


def test_a_calibration_drains_the_battery_and_recovers(beside, agent):
    center, watch = beside
    center.press("t")
    center.press("p")
    wait_state(agent, output_status="3", test="calibration")
    show_status(watch, output_status=3)
    agent.battery(25)  # the end of the calibration is near, and full charge far from it
    agent.freeze(False)
    wait_state(agent, output_status="2")
    assert agent.get("capacity") < 60, "it was drained"
    agent.speed(20)
    agent.freeze(False)
    wait_state(agent, output_status="2", charge="100", test="none")
    show_status(watch)
