"""The remote screen without an agent: lost, back, never there, refusing, not asked for."""

import pytest

import world
from remote_painter import NA, NO_DATA_PROMPT, PROMPT, Watch, check_no_data
from settings import Settings
from stopwatch import Stopwatch, check_time, seconds_of, seconds_of_pass


@pytest.fixture
def watch(status, agent, settings):
    """The remote screen with its first pass painted."""
    return Watch(status, agent, settings)


def open_status(start):
    return start([world.bin("wardenlink"), "status"])


def test_a_lost_agent_takes_every_value_away_and_gives_it_back(watch):
    watch.show(output_status=3, time_on_battery=125, input_voltage=3000)
    watch.silence()
    # Five requests a second apart, and no pause.
    check_time(lambda: seconds_of(watch.show), 4.95, 6)
    assert watch.screen.cells(23, 41, 37) == NO_DATA_PROMPT
    assert watch.screen.cells(7, 25, 12) == NA
    assert watch.screen.cursor == (24, 79)
    watch.set(output_status=2)
    watch.silence(False)
    watch.show(input_voltage=2300)
    assert watch.screen.cells(23, 41, 37) == " " * 10 + PROMPT
    assert watch.screen.cells(7, 25, 11) == " " * 11, "the panels were blanked"
    assert watch.screen.standout(4) == set(range(43, 69)), "of the long bar nothing is left"


def test_the_picture_stands_while_the_agent_stays_away(watch):
    watch.silence()
    watch.show()
    watch.screen.wait_paint()
    watch.check()


def test_r_redraws_the_picture_without_data(watch):
    watch.silence()
    watch.show()
    watch.screen.broadcast(12, 49, "noise")
    watch.show("r")


def test_q_ends_the_screen_while_the_agent_is_away(watch):
    watch.silence()
    watch.show()
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0


def test_an_agent_that_ends_and_starts_again_is_found_again(settings, start):
    first = world.Agent()
    screen = open_status(start)
    screen.wait_key()
    watch = Watch(screen, first, settings)
    watch.check()
    first.stop()
    watch.lost = True
    watch.show()
    second = world.Agent()
    try:
        watch.agent, watch.lost = second, False
        watch.show(capacity=42)
        watch.show(battery_status=1)
    finally:
        second.stop()


def test_an_input_voltage_that_the_agent_lacks_counts_as_no_agent(watch):
    watch.show(output_status=3, time_on_battery=3)
    watch.lost = True
    watch.set(input_voltage=None)
    watch.show()
    watch.lost = False
    watch.show(input_voltage=2290)


def test_no_agent_at_all_shows_no_data_until_one_starts(settings, start):
    took = Stopwatch()
    screen = open_status(start)
    screen.wait_key()
    # The session is tried once at the start and again in the first pass, 5 s each.
    assert took.passed() > 9.9
    check_no_data(screen, settings)
    agent = world.Agent()
    try:
        watch = Watch(screen, agent, settings)
        watch.painter.paint_lost()
        watch.show()
    finally:
        assert agent.stop() == 0


def test_an_agent_that_wants_another_community_counts_as_none(agent, start):
    chosen = Settings(snmp_ip=world.agent_address(), snmp_community="Public").write()
    screen = open_status(start)
    screen.wait_key()
    check_no_data(screen, chosen)
    assert set(agent.log()) == {"refused"}


def test_an_agent_of_another_community_is_read_with_the_right_one(start):
    chosen = Settings(snmp_ip=world.agent_address(), snmp_community="server-room").write()
    agent = world.Agent(community="server-room")
    try:
        screen = open_status(start)
        screen.wait_key()
        Watch(screen, agent, chosen).check()
    finally:
        assert agent.stop() == 0


@pytest.mark.parametrize("address", ["127.0.0.1", "127.250.1.1", "1279.nowhere"])
def test_an_address_that_begins_with_127_shows_no_data_at_once(start, address):
    chosen = Settings(snmp_ip=address).write()

    def Open():
        screen = open_status(start)
        screen.wait_key()
        check_no_data(screen, chosen)
        assert screen.cells(3, 23, 14) == address.ljust(14)
    check_time(lambda: seconds_of(Open), 0, 4.5)


def test_a_loopback_agent_is_never_asked(start):
    chosen = Settings(snmp_ip="127.0.0.1").write()
    agent = world.Agent(address="127.0.0.1")
    try:
        screen = open_status(start)
        screen.wait_key()
        for _ in range(3):
            screen.press(" ")
        check_no_data(screen, chosen)
        assert agent.log() == []
    finally:
        assert agent.stop() == 0


def test_a_pass_without_an_agent_has_no_pause(start):
    Settings().write()
    screen = open_status(start)
    check_time(lambda: seconds_of_pass(screen), 3.25, 4.2)
    check_time(lambda: seconds_of(lambda: screen.press(" ")), 0, 1)


def test_the_delays_stay_on_the_screen_without_an_agent(start):
    chosen = Settings(ac_fail_delay=90, ups_off_delay=0.2).write()
    screen = open_status(start)
    screen.wait_key()
    check_no_data(screen, chosen)
    assert screen.cells(8, 3, 32) == "ACfail Shutdown Delay: 90   Min."
    assert screen.cells(9, 3, 32) == "UPS Turn Off Delay   : 0.2  Min."
