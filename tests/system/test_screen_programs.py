"""The programs of one screen: their options, who may run them, and the terminal they leave."""

import os
import shutil
import subprocess
import tempfile

import pytest

import world
from help_painter import place_help
from issuer_watch import presence
from process import OrdinaryUser
from settings import Settings
from terminal import Terminal
from waiting import LIMIT

SCREENS = ["wardenlink-command", "wardenlink-help", "wardenlink-local", "wardenlink-monitor"]


def run(*words, prefix=()):
    return subprocess.run([*prefix, *words], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=LIMIT, check=False)


@pytest.fixture
def everyones_programs():
    """A folder with copies of the programs that ordinary users can reach."""
    folder = tempfile.mkdtemp(dir="/tmp")
    os.chmod(folder, 0o755)
    for name in SCREENS:
        os.chmod(shutil.copy(world.bin(name), folder), 0o755)
    yield folder
    shutil.rmtree(folder)


@pytest.mark.parametrize("name", SCREENS)
def test_options(name):
    result = run(world.bin(name), "--version")
    assert (result.returncode, result.stdout, result.stderr) == (0, f"{name} 3.4\n", "")
    result = run(world.bin(name), "--help")
    usage, purpose = result.stdout.splitlines()
    assert usage == f"Usage: {name} [--help | --version]" and purpose.endswith(".")
    assert (result.returncode, result.stderr) == (0, "")
    for wrong in (["--check"], ["status"], [""], ["--help", "--help"]):
        refusal = run(world.bin(name), *wrong)
        assert (refusal.returncode, refusal.stdout) == (1, "")
        assert refusal.stderr == result.stdout


@pytest.mark.parametrize("name", SCREENS)
def test_the_terminal_gets_its_mode_back(name):
    """Whatever the screen does to it, and whoever ends the process."""
    Settings(comm_mode=0).write()
    place_help()
    with presence(), Terminal([world.bin(name)], shell=True) as screen:
        screen.wait_for(screen.key_wait, what="the screen waiting for a key")
        inside = screen.termios()
        screen.send("q")
        screen.wait_prompt()
        screen.send("stty -a\n")
        screen.wait_for(lambda: b"icanon" in screen.raw, what="the mode")
        outside = screen.termios()
        assert b"-icanon" not in screen.raw and b"-echo " not in screen.raw
    assert inside[3] != outside[3]


def test_only_the_command_center_needs_the_super_user(everyones_programs):
    user = OrdinaryUser()
    for name in SCREENS:
        result = run(os.path.join(everyones_programs, name), prefix=user)
        refused = "Sorry. You must login as super-user" in result.stderr
        assert refused == (name == "wardenlink-command"), (name, result)
    assert run(os.path.join(everyones_programs, SCREENS[0]), prefix=user).returncode == 1


def test_a_screen_without_its_files_says_so():
    result = run(world.bin("wardenlink-local"))
    assert (result.returncode, result.stdout) == (1, "/etc/wardenlink/power.ini not found!\n")
    result = run(world.bin("wardenlink-help"))
    assert result.stdout == "\nerror.....exiting\n"


def test_an_opening_screen_that_can_neither_read_nor_write_settings_says_so(everyones_programs):
    opening = os.path.join(everyones_programs, "wardenlink-monitor")
    result = run(opening, prefix=OrdinaryUser())
    assert (result.returncode, result.stdout) == (1, "File /etc/wardenlink/power.ini Error!\n")


@pytest.mark.parametrize("name", ["wardenlink-command", "wardenlink-local"])
def test_no_socket_takes_the_place_of_a_closed_stream(agent, settings, name):
    """The agent's datagrams would count as keys."""
    closed = ["/bin/sh", "-c", 'exec "$0" <&- >&- 2>&-', world.bin(name)]
    with presence(), subprocess.Popen(closed, env={**os.environ, "TERM": "linux"}) as process:
        try:
            world.wait_until(agent.log, what="a request")
            streams = [os.readlink(f"/proc/{process.pid}/fd/{number}") for number in range(3)]
        finally:
            process.kill()
    assert streams == ["/dev/null"] * 3


def test_the_refusal_comes_before_the_look_at_the_terminal(everyones_programs):
    command = os.path.join(everyones_programs, "wardenlink-command")
    result = run(command, prefix=[*OrdinaryUser(), "env", "-u", "TERM"])
    assert "Sorry. You must login as super-user" in result.stderr
    assert "terminal" not in result.stderr
