"""Answers that come after their requests were given up, or from somebody else than the agent: what
the screens take for true."""

import dataclasses

import pytest

import world
from canvas import MOST_LEAPT
from impostors import Late, agent_at, answered_by
from issuer_painter import ACCEPTED, REFUSED, UNANSWERED
from issuer_watch import open_center
from remote_painter import Watch
from snmp_painter import open_local
from tolvd import preloaded

TRIES = 5  # datagrams of a request that nobody answers
LOAD = ".1.3.6.1.4.1.935.1.1.1.4.2.3.0"
INPUT_VOLTAGE = ".1.3.6.1.4.1.935.1.1.1.3.2.1.0"
SELF_TEST = ".1.3.6.1.4.1.935.1.1.1.7.2.2.0"
TRUTH, LIAR = "192.0.2.11", "127.0.0.2"


def open_remote(start, agent, settings, **options):
    screen = start([world.bin("wardenlink"), "status"], **options)
    screen.wait_key()
    return Watch(screen, agent, settings)


def with_short_waits(opened, *words):
    """A screen that leaps over its pauses, with its first pass painted."""
    shown = opened(*words, env=preloaded("short_waits"))
    shown.painter.ahead = MOST_LEAPT
    return shown


@pytest.fixture
def truth():
    """The UPS, which stands still, at another address than the settings name."""
    with agent_at(TRUTH) as agent:
        agent.freeze()
        yield agent


@pytest.fixture
def late(truth):
    """What keeps answers of the UPS back."""
    with answered_by(truth, late=(kept := Late())):
        yield kept


@pytest.fixture
def liar(truth):
    """Another UPS, which is always the first to answer."""
    with agent_at(LIAR) as agent, answered_by(agent, truth):
        agent.freeze()
        yield agent


def expect(watch, key=" ", **readings):
    """A pass that shows these, whatever the UPS says, and all else as before."""
    watch.readings = dataclasses.replace(watch.readings, **readings)
    watch.show(key)


# --- late ----------------------------------------------------------------------------------------


@pytest.mark.parametrize("opened", [open_remote, open_local])
def test_a_value_that_comes_after_its_request_was_given_up_is_none(start, truth, late, settings,
                                                                   opened):
    """Its answers are the first that the next pass finds: none stands there for another value."""
    watch = with_short_waits(opened, start, truth, settings)
    truth.set("load", 93)
    late.wait_for(LOAD)
    expect(watch, load=None)
    truth.set("load", 71)
    late.deliver(TRIES)
    expect(watch, load=71)
    watch.show("r", load=35)


def test_a_late_answer_is_no_condition_and_no_outcome_of_the_command_center(start, truth, late,
                                                                            settings):
    center = with_short_waits(open_center, start, settings)
    truth.set("input_voltage", 0)
    late.wait_for(INPUT_VOLTAGE)
    center.painter.connected = False
    center.press("d")
    truth.unset("input_voltage")
    late.deliver(TRIES)
    center.painter.connected = True
    center.press("x")
    late.wait_for(SELF_TEST)
    center.press("p", UNANSWERED, check=False)  # beside the library's own line
    truth.error("self_test", "genErr")
    assert late.deliver(TRIES) == TRIES, "which say that it is done"
    center.press("r")
    center.press("d")
    center.press("p", REFUSED)


# --- forged --------------------------------------------------------------------------------------


@pytest.mark.parametrize("opened", [open_remote, open_local])
def test_an_answer_with_another_number_is_none(start, truth, liar, settings, opened):
    liar.other_id()
    liar.set("load", 93)
    watch = with_short_waits(opened, start, truth, settings)
    watch.check()
    watch.show(load=71)


def test_a_local_screen_believes_the_first_answer_with_the_right_number(start, liar, settings):
    """From whatever address it comes."""
    watch = with_short_waits(open_local, start, liar, settings)
    watch.check()
    watch.show(load=93)


def test_the_command_center_believes_no_answer_with_another_number(start, truth, liar, settings):
    liar.other_id()
    liar.set("input_voltage", 0)
    center = with_short_waits(open_center, start, settings)
    center.press("d")
    truth.error("self_test", "genErr")
    center.press("p", REFUSED)


def test_the_command_center_believes_who_accepts_first_with_the_right_number(start, truth, liar,
                                                                             settings):
    """And says that a command is done which the UPS has refused: who can read the requests on
    their way can do that."""
    liar.set("input_voltage", 0)
    truth.error("self_test", "genErr")
    center = with_short_waits(open_center, start, settings)
    center.painter.utility = False
    center.press("d")
    center.press("p", ACCEPTED)
