"""What is an address of an agent, and which port is asked there."""

import contextlib
import os

import pytest

import world
from settings import Settings


def replace(path, text):
    """A new file in the old one's place: a world's own root may not write to the old one."""
    if os.path.exists(path):
        os.remove(path)
    if text is not None:
        with open(path, "w", encoding="utf-8") as target:
            target.write(text)


@contextlib.contextmanager
def replaced(path, text):
    """Another text in a file of the system for a while; the machine gets its own back."""
    old = None
    if os.path.exists(path):
        with open(path, encoding="utf-8") as source:
            old = source.read()
    try:
        replace(path, text)
        yield
    finally:
        replace(path, old)


@pytest.mark.parametrize("text, port", [
    ("snmp 1161/udp\n", 1161),
    ("snmp 1161/tcp\n", 161),
    ("", 161),
])
def test_the_services_database_names_the_port_of_the_agent(start, text, port):
    Settings(snmp_ip=world.agent_address()).write()
    agent = world.Agent(f"{world.agent_address()}:{port}")
    with replaced("/etc/services", text):
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_text(3, 62, "230.0")
    agent.stop()


# Names that the machine itself knows, and other ways to write the agent's address.
@pytest.mark.parametrize("form", ["testagent", "{}:161", "::ffff:{}", "{}.", "{}x"])
def test_only_a_dotted_number_is_an_address(start, form):
    address = world.agent_address()
    Settings(snmp_ip=form.format(address)).write()
    agent = world.Agent()
    with replaced("/etc/hosts", f"{address} testagent\n"):
        screen = start([world.bin("wardenlink"), "status"])
        screen.wait_text(23, 41, "Type 'r' to Redraw, Type 'q' to Quit.")
        screen.press(" ")
        assert screen.cells(5, 25, 3) == "N/A"
    assert agent.log() == []
    agent.stop()
