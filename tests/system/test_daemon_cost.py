"""What the daemon's rounds cost in processor time, when nothing happens."""

import contextlib
import os
import subprocess

import world
from process import Children
from stopwatch import check_time
from tolvd import agent_settings, serial_settings
from world import wait_until

SANITIZED = "ASAN_OPTIONS" in os.environ  # every access is looked at: what it costs says nothing

PREFIX = ".1.3.6.1.4.1.935.1.1.1."
INPUT_VOLTAGE = PREFIX + "3.2.1.0"


def spent(pid):
    """Milliseconds of the processor that a process has had."""
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as source:
        return int(source.read().split()[0]) / 1e6


def test_a_round_on_a_line_costs_next_to_nothing(serial_ups, tolvd):
    serial_settings()
    running = tolvd()

    def Count():
        return serial_ups.log().count("serial Q1")

    def Measure():
        first, began = Count(), spent(running.pid)
        wait_until(lambda: Count() >= first + 8, what="eight rounds")
        cost = (spent(running.pid) - began) / (Count() - first)
        print(f"{cost:.3f} ms a round")
        return cost
    # On an idle machine 0.4, of which a loop that only asks and reads takes 0.12; here others
    # compute beside it.
    check_time(Measure, 0, 20 if SANITIZED else 1)


@contextlib.contextmanager
def bare_client(objects):
    """The same requests with nothing around them; its process."""
    with subprocess.Popen([world.bin("tests/bare_agent_client"), world.agent_address(), *objects],
                          stdin=subprocess.DEVNULL) as client:
        try:
            yield client.pid
        finally:
            client.kill()


def test_a_round_behind_an_agent_costs_little_more_than_its_requests(agent, tolvd):
    """The worker and a bare client side by side: a busy machine slows both."""
    agent_settings()
    running = tolvd()
    agent.clear_log()
    wait_until(lambda: agent.log().count(f"get {INPUT_VOLTAGE}") >= 3, what="two whole rounds")
    log = [line.split()[1] for line in agent.log()]
    first = log.index(INPUT_VOLTAGE)
    objects = log[first:log.index(INPUT_VOLTAGE, first + 1)]
    assert len(objects) == 9
    worker = Children(running.pid)[0]
    with bare_client(objects) as bare:
        def WaitRounds():
            agent.clear_log()
            wait_until(lambda: agent.log().count(f"get {objects[-1]}") >= 10, what="ten rounds")
        WaitRounds()  # the first ones cost more

        def Measure():
            """Both have as many rounds in ten seconds, but for one at the edge."""
            began, bare_began = spent(worker), spent(bare)
            WaitRounds()
            cost, bare_cost = spent(worker) - began, spent(bare) - bare_began
            print(f"{cost / 5:.3f} ms a round of the worker, {bare_cost / 5:.3f} ms bare")
            return cost / bare_cost
        # On an idle machine, optimised, 1.07.
        check_time(Measure, 0, 20 if SANITIZED else 2, tries=12)
