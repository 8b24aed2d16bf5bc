"""Screens that may open no file any more (EMFILE): what they show then, and that all of it comes
back when they may."""

import contextlib
import dataclasses
import resource

import pytest

import queues
import world
from canvas import MOST_LEAPT
from config_painter import edit, files_hold  # noqa: F401
from help_painter import CONTENTS, check, place_help
from issuer_watch import open_center
from local_watch import open_watch, watch  # noqa: F401
from process import FewestOpenFiles, Refused
from remote_painter import Watch, no_data_painter
from settings import Settings
from snmp_painter import open_local
from tolvd import preloaded

STREAMS = 3


@contextlib.contextmanager
def no_more_files(screen, most=None):
    """The program may have no more descriptors open than it has, or fewer."""
    before = resource.prlimit(screen.pid, resource.RLIMIT_NOFILE)
    screen.wait_key()  # an idle pass opens files, too
    most = FewestOpenFiles(screen.pid) if most is None else most
    resource.prlimit(screen.pid, resource.RLIMIT_NOFILE, (most, before[1]))
    yield
    with contextlib.suppress(ProcessLookupError):  # it may have ended of itself
        resource.prlimit(screen.pid, resource.RLIMIT_NOFILE, before)


# What is open already is the place of the status reply, which is opened anew in each pass.
@pytest.mark.parametrize("most, missing", [(None, {"rtg": None, "mdl": None}),
                                           (STREAMS, {"q1": None})])
def test_the_panels_of_a_line_lose_what_cannot_be_read(watch, most, missing):
    whole = watch.files
    with no_more_files(watch.screen, most):
        watch.files = dataclasses.replace(whole, **missing)
        Settings(comm_mode=0, countdown_on=0).write()
        watch.tell("010")  # in vain: the old settings stay
        watch.press("  ")
        watch.check()
    watch.files = whole
    watch.change(Settings(comm_mode=0, countdown_on=0))
    watch.press("  ")
    watch.check()


def test_panels_of_an_agent_go_on(start, agent, settings):
    screen = start([world.bin("wardenlink"), "status"], env=preloaded("short_waits"))
    screen.wait_key()
    for shown in (Watch(screen, agent, settings),
                  open_local(start, agent, settings, env=preloaded("short_waits"))):
        agent.unset("load")
        shown.painter.ahead = MOST_LEAPT
        shown.check()
        with no_more_files(shown.screen):
            shown.show(load=71)
        shown.show("r", load=35)


def test_an_agent_that_cannot_be_asked_is_shown_as_lost(start, agent, settings, weather):
    weather.lose(100)  # no session is open before an agent has answered
    screen = start([world.bin("wardenlink"), "status"], env=preloaded("short_waits"))
    screen.wait_key()
    with no_more_files(screen, STREAMS):
        screen.press(" ")
        weather.lose(0)
        agent.clear_log()
        screen.press(" ")
        lost = no_data_painter(screen, settings)
        lost.ahead = MOST_LEAPT
        lost.check(screen)
        assert agent.log() == []
    screen.press(" ")
    found = Watch(screen, agent, settings)
    found.painter.ahead = MOST_LEAPT
    found.show("r", load=71)


def test_a_session_that_could_not_be_opened_at_the_start_is_opened_in_a_pass(start, agent, settings):
    """No socket is to be had at first; the library may ask for two of its own before."""
    screen = start([*Refused("socket", "EMFILE", when="1..3"), "-D", world.bin("wardenlink"),
                    "status"])
    screen.wait_key()
    Watch(screen, agent, settings).show("r", load=71)


def test_the_command_center_goes_on(start, agent, settings):
    agent.freeze()
    center = open_center(start, settings)
    with no_more_files(center.screen):
        center.press("d")
        center.press("p")
    center.press("d")


def test_the_editor_shows_what_it_could_not_save_until_it_reads_the_files(edit):
    editor = edit(Settings())
    with no_more_files(editor.screen):
        editor.press("n", at=(9, 42), countdown_on=0)
        editor.press("s", at=(18, 42))
        assert not files_hold(Settings())
        assert all(map(queues.count, ("daemonControlQueue", "screenControlQueue")))
    editor.press("d", at=(3, 63), countdown_on=1)
    editor.press("ddddn", at=(9, 42), countdown_on=0)  # behind the passes that read the files
    editor.press("s", at=(18, 42))
    assert not files_hold(editor.settings)


def test_the_help_keeps_its_page(start):
    place_help()
    screen = start([world.bin("wardenlink-help")])
    screen.wait_key()
    with no_more_files(screen):
        screen.press("5")
        check(screen, CONTENTS)
    screen.press("5")
    check(screen, 20)


@pytest.mark.parametrize("choice, told", [("r", b"File /etc/wardenlink/power.ini Error!"),
                                          ("l", b"/etc/wardenlink/power.ini not found!")])
def test_the_opening_screen_leads_nowhere_and_leaves_the_settings_alone(start, choice, told):
    chosen = Settings(snmp_ip="127.0.0.1", ac_fail_delay=42).write()
    screen = start([world.bin("wardenlink-monitor")])
    screen.press(choice)
    picture = screen.lines()[2:]
    with no_more_files(screen, STREAMS):
        screen.press("lr" + choice)
        assert screen.lines()[2:] == picture
        screen.send("\n")
        screen.wait_exit()
    assert told in screen.raw
    assert not files_hold(chosen)
