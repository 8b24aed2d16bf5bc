"""Ordinary users of the world, and what they do that root would rather not have."""

import contextlib
import os
import signal

import pytest

import queues
from waiting import wait_until

ORDINARY_USER = 65534


def become_ordinary_user(groups=()):
    os.setgroups(groups)
    os.setresgid(ORDINARY_USER, ORDINARY_USER, ORDINARY_USER)
    os.setresuid(ORDINARY_USER, ORDINARY_USER, ORDINARY_USER)


def stay_root():
    pass


def spawn(*steps):
    """A process that takes the steps, one after the other, and ends; its id."""
    pid = os.fork()
    if pid:
        return pid
    status = 255
    try:
        for step in steps:
            step()
        status = 0
    except OSError as failure:
        status = failure.errno
    finally:
        os._exit(status)


def end(pid):
    os.kill(pid, signal.SIGKILL)
    os.waitpid(pid, 0)


def try_as_ordinary_user(step, *words, groups=()):
    """What comes of it: 0, or the number of the system's error."""
    pid = spawn(lambda: become_ordinary_user(groups), lambda: step(*words))
    return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])


@contextlib.contextmanager
def beside(first, last=lambda: None):
    """An ordinary user's process that has taken its first step, and takes its last in the end."""
    (seen, ready), (ended, end_it) = os.pipe(), os.pipe()
    user = spawn(become_ordinary_user, first, lambda: os.write(ready, b"x"),
                 lambda: os.read(ended, 1), last)
    os.close(ready)
    try:
        assert os.read(seen, 1) == b"x"
        yield user
    finally:
        os.write(end_it, b"x")
        assert os.waitpid(user, 0)[1] == 0
        for end_of_pipe in (seen, ended, end_it):
            os.close(end_of_pipe)


@pytest.fixture
def other_user():
    """Somebody else than root, whom a world may not know."""
    if try_as_ordinary_user(os.getpid) != 0:
        pytest.skip("this world knows one user only")


def is_full(name, text=b"x"):
    """Whether another message of that text has no room."""
    info = queues.info(name)
    return info.bytes + len(text) > info.most_bytes


@contextlib.contextmanager
def crowd(step, size, become=become_ordinary_user):
    """Processes of an ordinary user that are all at the same step; ended in the end."""
    running = [spawn(become, step) for _ in range(size)]
    try:
        yield running
    finally:
        for pid in running:
            end(pid)


@contextlib.contextmanager
def storm(name, kind=4, senders=32, text=b"x", become=become_ordinary_user):
    """Processes of an ordinary user that fill every gap of a full queue at once."""
    queues.open(name)
    with crowd(lambda: queues.flood(name, kind, text), senders, become):
        wait_until(lambda: is_full(name, text), what="a full queue")
        yield
