"""No byte from outside reaches the terminal raw: looked for in the bytes that each screen writes,
on a terminal type that has no control byte but those of three sequences of its own."""

import contextlib
import socket

import pytest

import queues
import tolvd
import world
from help_painter import place_help
from issuer_watch import presence
from local_painter import Files, put_file
from outside import check_stream, pieces, plain_terminal, printable
from screens import COMMANDS
from settings import Settings
from snmp_painter import NAMES, announce

# What the panels ask of the agent besides the objects of its page.
PANEL_OBJECTS = ("input_voltage", "output_status", "battery_status", "time_on_battery",
                 "output_voltage", "output_frequency", "load", "capacity", "input_frequency",
                 "ident_1", "ident_2")
# The library shows a text in digits unless all of it prints; white space it hands on as it is.
BLANKS = [b"a\vb\fc", b"a\tb\rc\nd"]


@pytest.fixture
def show(start):
    """show(NAME, KEY, ...) opens that screen, types the keys and looks over all it has written."""
    def Show(name, *keys):
        program, *words = COMMANDS[name]
        with presence() if name == "issuer" else contextlib.nullcontext():
            screen = start([world.bin(program), *words], quit_keys="qq", **plain_terminal())
            screen.wait_key()
        for key in keys:
            screen.press(key)
        check_stream(screen.raw)
        return screen
    return Show


def picture(screen):
    return "\n".join(screen.lines())


# --- the agent -----------------------------------------------------------------------------


def misname(agent, offset):
    """Each object another text: together they hold all bytes, and white space alone first."""
    texts = pieces(24) if offset else BLANKS
    for at, name in enumerate(NAMES + PANEL_OBJECTS):
        agent.set(name, texts[at % len(texts)])


def follow_agent(screen, agent):
    """Passes of a screen over an agent that answers other texts in each."""
    for offset in range(2):
        misname(agent, offset)
        agent.clear_log()
        screen.press("r")
        assert len(agent.log()) >= 9, "the panels or the page were painted"
        check_stream(screen.raw)


def test_an_agents_objects_on_both_status_screens(agent, settings, show):
    misname(agent, 0)
    remote = show("status")
    follow_agent(remote, agent)
    announce(1)
    local = show("local")
    announce()
    follow_agent(local, agent)
    local.press("m")
    follow_agent(local, agent)
    assert 'System Contact    : "01 02 03' in picture(local)


def test_an_agents_objects_in_the_command_center(agent, settings, show):
    misname(agent, 1)
    center = show("issuer", *"s\x1bl\x1bt\x1b")
    assert "get" in " ".join(agent.log()) and "Press the letter" in picture(center)


# --- the files -----------------------------------------------------------------------------


def cut_reply(head, sizes, text):
    """A reply whose fields have these sizes, filled with a text's bytes."""
    fields = [text[sum(sizes[:at]):][:size].ljust(size, b"x") for at, size in enumerate(sizes)]
    return head + b" ".join(fields) + b"\r"


def test_the_daemons_files_and_the_trace_on_the_local_screen(show):
    Settings(comm_mode=0).write()
    Files().write()
    put_file("status.dbg", b"debug\n")
    screen = show("local")
    status, rating = (5, 5, 5, 3, 4, 4, 4, 8), (5, 3, 5, 4)
    for text in pieces(sum(rating), without=b" \r\n(#"):
        put_file("wardenlink.q1", cut_reply(b"(", status, text * 3))
        put_file("wardenlink.rtg", cut_reply(b"#", rating, text))
        put_file("wardenlink.mdl", b"#" + text * 2)
        screen.clear_raw()
        screen.press("r")
        written = screen.clear_raw()
        assert b"<STATUS DEBUG> (" in written
        check_stream(written)
    assert "?" in screen.cells(0, 42, 37), "the model"


def settings_with(source, **texts):
    """These texts in one of the two files; what the other one says of them does not count."""
    wanted = Settings(**{name: text.decode("latin-1") for name, text in texts.items()},
                      comm_mode=0 if "com_port" in texts else 1).write()
    if source == "power.ini":
        put_file("wardenlink.cfg", b"")
    return wanted


@pytest.mark.parametrize("source", ["power.ini", "wardenlink.cfg"])
def test_a_device_of_the_settings_on_the_local_screen(show, source):
    texts = pieces(9, without=b" []")
    settings_with(source, com_port=texts[0])
    screen = show("local")
    shown = ""
    for text in texts:
        settings_with(source, com_port=text)
        queues.send("screenControlQueue", 5, "010")
        screen.press(" ")
        screen.press(" ")
        shown += screen.cells(8, 26, 10)
        check_stream(screen.clear_raw())
    assert shown.count("?") > 120, shown


@pytest.mark.parametrize("name", ["status", "local", "opening", "config"])
def test_address_and_community_of_the_settings(show, name):
    texts = pieces(28, without=b"\0 []")  # which ends a text, and nothing of it would be seen
    for at in range(0, len(texts), 2):
        settings_with("wardenlink.cfg" if at % 4 else "power.ini",
                      snmp_ip=texts[at], snmp_community=texts[(at + 1) % len(texts)])
        screen = show(name, *{"opening": "ic", "config": "p\n"}.get(name, ""))
        assert picture(screen).count("?") > 5
        screen.close()


def test_a_device_of_the_settings_in_the_editor(show):
    for text in pieces(28, without=b" []"):
        settings_with("wardenlink.cfg", com_port=text)
        screen = show("config", "o")
        assert screen.cells(7, 33, 28) == printable(text).ljust(28)
        screen.close()


def test_help_files(show):
    text = b"\n".join(pieces(60)) + b"\n"
    place_help(textroot=text, text5=text * 6)
    screen = show("help")
    assert picture(screen).count("?") > 120
    for key in "5nnp":
        screen.press(key)
        check_stream(screen.clear_raw())


# --- the queues and the machine's name -----------------------------------------------------


def test_messages_on_every_queue(show):
    Settings(comm_mode=0).write()
    Files().write()
    screen = show("local")
    screen.clear_raw()
    for text in pieces(90):
        for name, kind in (("dataQueue", 1), ("heartbeatQueue", 4), ("screenControlQueue", 5),
                           ("daemonControlQueue", 5), ("commandQueue", 9)):
            queues.send(name, kind, text)
        screen.press("r")
        assert queues.count("screenControlQueue") == 0 and queues.count("heartbeatQueue") == 0
        check_stream(screen.clear_raw())
        for name in queues.NAMES:
            queues.drain(name)


def test_the_machines_name(show):
    tolvd.require_recorders()  # so the name is this world's own
    Settings(comm_mode=0).write()
    before = socket.gethostname()
    try:
        for text in pieces(60, without=b"\0"):
            socket.sethostname(text)
            assert show("local").cells(23, 15, 26) == printable(text)[:26].ljust(26)
    finally:
        socket.sethostname(before)
