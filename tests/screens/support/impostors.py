"""Answers to a program that asks its agent, from somebody else."""

import contextlib
import socket
import threading

import world
from waiting import LIMIT


@contextlib.contextmanager
def agent_at(address):
    """A simulated UPS at another address than the agent's."""
    agent = world.Agent(address, control=f"/run/wardenlink-sim-{address}.sock")
    try:
        yield agent
    finally:
        agent.stop()


def bound_to(address, port, timeout):
    end = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    end.bind((address, port))
    end.settimeout(timeout)
    return end


@contextlib.contextmanager
def answered_by(*agents):
    """At the agent's address somebody hands each request on to these agents elsewhere, to one after
    the other; their answers come from there. Gives the requests as they are handed on."""
    handed, ended = [], threading.Event()
    asked = bound_to(world.agent_address(), 161, 0.1)
    others = [bound_to(agent.address, 0, LIMIT) for agent in agents]

    def HandOn():
        while not ended.is_set():
            try:
                request, client = asked.recvfrom(65536)
            except TimeoutError:
                continue
            handed.append(request)
            for other, agent in zip(others, agents):
                other.sendto(request, (agent.address, 161))
                other.sendto(other.recv(65536), client)

    thread = threading.Thread(target=HandOn)
    thread.start()
    try:
        yield handed
    finally:
        ended.set()
        thread.join()
        for end in (asked, *others):
            end.close()
