"""Answers to a program that asks its agent, from somebody else or long after they were asked for."""

import contextlib
import socket
import threading

import world
from waiting import LIMIT, wait_until


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


def encoded(identifier):
    """An object's identifier as it stands in a datagram, without its first two numbers."""
    data = b""
    for number in map(int, identifier.split(".")[3:]):
        part = bytes([number & 0x7F])
        while number := number >> 7:
            part = bytes([number & 0x7F | 0x80]) + part
        data += part
    return data


class Late:
    """Keeps back the answers to requests for one object, from wait_for(IDENTIFIER) to deliver()."""

    def __init__(self):
        self.object, self.kept = None, []

    def wait_for(self, identifier):
        self.object = encoded(identifier)

    def takes(self, request, *sending):
        """Whether this one is kept: sending is what sends its answer."""
        is_kept = self.object is not None and self.object in request
        if is_kept:
            self.kept.append(sending)
        return is_kept

    def deliver(self, least):
        """They all come now, when there are that many, and wait in the program's socket; how
        many."""
        wait_until(lambda: len(self.kept) >= least, what="the requests")
        self.object, kept = None, self.kept
        self.kept = []
        for send, answer, client in kept:
            send(answer, client)
        return len(kept)


@contextlib.contextmanager
def answered_by(*agents, late=None):
    """At the agent's address somebody hands each request on to these agents elsewhere, to one after
    the other; their answers come from there, but for those that are late. Gives the requests as
    they are handed on."""
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
                answer = other.recv(65536)
                if late is None or not late.takes(request, other.sendto, answer, client):
                    other.sendto(answer, client)

    thread = threading.Thread(target=HandOn)
    thread.start()
    try:
        yield handed
    finally:
        ended.set()
        thread.join()
        for end in (asked, *others):
            end.close()
