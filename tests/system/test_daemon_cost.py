"""What the daemon's rounds cost, when nothing happens: their system calls, counted, for no machine
is too slow for that; of their time only what tells a loop that computes all the while."""

import contextlib
import re
import subprocess

import tolvd as daemon
import world
from process import Children
from tolvd import agent_settings, serial_settings, trace
from waiting import LIMIT, wait_until

PREFIX = ".1.3.6.1.4.1.935.1.1.1."
INPUT_VOLTAGE = PREFIX + "3.2.1.0"
MOST_CALLS = 40  # of a round on a line; up to 31 are counted
MOST_TIME = 50  # milliseconds of the processor a round; an idle machine takes less than one


def spent(pid):
    """Milliseconds of the processor that a process has had."""
    with open(f"/proc/{pid}/schedstat", encoding="ascii") as source:
        return int(source.read().split()[0]) / 1e6


class Rounds:
    """The calls of a process, each round from a call that a pattern tells to the next such call.
    A machine that stands still for a moment makes more of a round: one of them counts."""

    def __init__(self, pid, begin):
        self.pid, self.begin, self.log = pid, re.compile(begin), f"/run/calls-{pid}"
        self.before = spent(pid)
        # Memory is the sanitizers' matter.
        self.tracer = trace(pid, "-o", self.log, "-e", "trace=!%memory")

    def whole(self):
        """Those that have ended, each a list of lines."""
        found = [[]]
        with open(self.log, encoding="utf-8", errors="replace") as source:
            for line in source:
                if self.begin.match(line):
                    found.append([])
                found[-1].append(line)
        return found[1:-1]

    def fewest(self):
        return min(map(len, self.whole()), default=0)

    def check_time(self):
        cost = (spent(self.pid) - self.before) / len(self.whole())
        print(f"{self.fewest()} calls and {cost:.3f} ms a round, traced")
        assert cost < MOST_TIME

    def close(self):
        self.tracer.terminate()
        self.tracer.wait(LIMIT)


def looked_at(calls):
    """The files that a round's calls name, sorted: what is done each second may come before the
    reply or after it. The daemon's own status is left out: on a busy machine it is written once
    more before the reply is there."""
    named = [re.match(r'\w+\((?:AT_FDCWD, )?"([^"]+)"', call) for call in calls]
    return sorted(found[1] for found in named if found and not found[1].startswith(daemon.STATUS))


def test_a_round_on_a_line_looks_at_each_file_once(serial_ups, tolvd):
    serial_settings()
    rounds = Rounds(tolvd().pid, r'write\(\d+, "Q1\\r"')
    needed = [world.FOLDER, world.FOLDER + "/powerd.dbg", daemon.REPLIES[0]]

    def is_quiet(calls):
        return len(calls) <= MOST_CALLS and looked_at(calls) == sorted(needed)
    wait_until(lambda: any(map(is_quiet, rounds.whole())), what="a round without more than it needs",
               describe=lambda: "".join(rounds.whole()[-1]))
    rounds.check_time()
    rounds.close()


@contextlib.contextmanager
def bare_client(objects):
    """The same requests with nothing around them; its process."""
    with subprocess.Popen([world.bin("tests/bare_agent_client"), world.agent_address(), *objects],
                          stdin=subprocess.DEVNULL) as client:
        try:
            yield client.pid
        finally:
            client.kill()


def test_a_round_behind_an_agent_costs_two_calls_more_than_its_requests(agent, tolvd):
    """With which the worker tells the daemon what it heard."""
    agent_settings()
    running = tolvd()
    agent.clear_log()
    wait_until(lambda: agent.log().count(f"get {INPUT_VOLTAGE}") >= 3, what="two whole rounds")
    log = [line.split()[1] for line in agent.log()]
    first = log.index(INPUT_VOLTAGE)
    objects = log[first:log.index(INPUT_VOLTAGE, first + 1)]
    assert len(objects) == 9
    with bare_client(objects) as client:
        pause = r"clock_nanosleep\("
        worker, bare = Rounds(Children(running.pid)[0], pause), Rounds(client, pause)
        wait_until(lambda: 0 < worker.fewest() <= bare.fewest() + 2, what="no more calls",
                   describe=lambda: f"{worker.fewest()}, bare {bare.fewest()}")
        for rounds in (worker, bare):
            rounds.check_time()
            rounds.close()
