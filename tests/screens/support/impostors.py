"""Answers to a program that asks its agent, from somebody else."""

import contextlib
import socket
import threading

import world


@contextlib.contextmanager
def answered_by_another():
    """At the agent's address somebody hands each request on to an agent elsewhere, whose answers
    come from there. Gives that agent, and the requests as they are handed on."""
    agent, handed, ended = world.Agent("192.0.2.11"), [], threading.Event()
    asked, other = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
    asked.bind((world.agent_address(), 161))
    other.bind((agent.address, 0))
    for end in (asked, other):
        end.settimeout(0.1)

    def HandOn():
        while not ended.is_set():
            with contextlib.suppress(TimeoutError):
                request, client = asked.recvfrom(65536)
                handed.append(request)
                other.sendto(request, (agent.address, 161))
                other.sendto(other.recv(65536), client)

    thread = threading.Thread(target=HandOn)
    thread.start()
    try:
        yield agent, handed
    finally:
        ended.set()
        agent.stop()
        thread.join()
        asked.close()
        other.close()
