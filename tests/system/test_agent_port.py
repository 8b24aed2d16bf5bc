"""Which port of the agent is asked."""

import contextlib
import os

import pytest

import world
from settings import Settings

SERVICES = "/etc/services"


def replace(text):
    """A new file in the old one's place: a world's own root may not write to the old one."""
    if os.path.exists(SERVICES):
        os.remove(SERVICES)
    if text is not None:
        with open(SERVICES, "w", encoding="utf-8") as target:
            target.write(text)


@contextlib.contextmanager
def services(text):
    """The services database for a while; the machine gets its own back."""
    old = None
    if os.path.exists(SERVICES):
        with open(SERVICES, encoding="utf-8") as source:
            old = source.read()
    try:
        replace(text)
        yield
    finally:
        replace(old)


@pytest.mark.parametrize("text, port", [
    ("snmp 1161/udp\n", 1161),
    ("snmp 1161/tcp\n", 161),
    ("", 161),
])
def test_the_services_database_names_the_port_of_the_agent(start, text, port):
    Settings(snmp_ip=world.agent_address()).write()
    agent = world.Agent(f"{world.agent_address()}:{port}")
    with services(text):
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_text(3, 62, "230.0")
    agent.stop()


def test_an_address_with_a_port_of_its_own_is_asked_there(start):
    Settings(snmp_ip=f"{world.agent_address()}:1161").write()
    agent = world.Agent(f"{world.agent_address()}:1161")
    screen = start([world.bin("wardenlink"), "status"])
    screen.wait_text(3, 62, "230.0")
    agent.stop()
