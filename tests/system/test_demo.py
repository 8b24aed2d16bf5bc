"""The demo inside its world, on this build's programs; and `ups`, which moves its UPS."""

import os
import re
import signal
import subprocess
import tempfile

import pytest

import tolvd as daemon
import world
from process import RunningFrom
from tolvd import recorded
from world import CONTROL, ROOT, wait_until

DEMO = os.path.join(ROOT, "demo")
UPS = os.path.join(ROOT, "sim", "ups")


def built(name=""):
    return os.path.join(os.path.dirname(world.bin("wardenlink")), name)


def run(*words, folder=None, **options):
    """Runs a command without a terminal to its end; its output as text."""
    # Files, not pipes: the demo's simulators keep its output open.
    with tempfile.TemporaryFile("w+") as out, tempfile.TemporaryFile("w+") as err:
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("timeout", 90)
        result = subprocess.run(words, stdout=out, stderr=err, check=False,
                                env=dict(os.environ, WARDENLINK_BIN_DIR=folder or built()),
                                **options)
        out.seek(0)
        err.seek(0)
        result.stdout, result.stderr = out.read(), err.read()
        return result


def demo(*words, **options):
    return run(DEMO, "--inside", *words, **options)


@pytest.fixture(autouse=True)
def no_traces():
    """Nothing is left of an outage that another demo in this world showed."""
    daemon.require_recorders()
    daemon.empty_the_world()


@pytest.fixture
def product(tmp_path):
    """product(SCRIPT): a build folder with this shell script for the program."""
    def Make(script):
        for name in ("sim", "tolvd"):
            os.symlink(built(name), tmp_path / name)
        path = tmp_path / "wardenlink"
        path.write_text("#!/bin/bash\n" + script)
        path.chmod(0o755)
        return str(tmp_path)
    return Make


# --- pictures ----------------------------------------------------------------------------

def test_a_picture_shows_the_bars_as_number_signs():
    shown = demo("status")
    assert (shown.returncode, shown.stderr) == (0, "")
    lines = shown.stdout.splitlines()
    at = next(row for row, line in enumerate(lines) if "UPS Input Voltage: 2" in line)
    # The mains of the scenario waver around 230 V.
    assert re.search(r"\|   #{24,28}[-|]{5,9}--  \|$", lines[at + 1])
    assert all(line == line.rstrip() for line in lines)


def test_a_picture_keeps_the_words_in_standout(product):
    paint = r"printf 'one\n\033[7m  two words \033[0m|\033[7m   \033[0m\nthree\n'; read -rsn1"
    assert demo("status", folder=product(paint)).stdout == "one\n##two words#|###\nthree\n"


@pytest.mark.parametrize("script, status", [
    ("echo 'cannot start' >&2; exit 3\n", 3),
    ("echo done\n", 1),
    ("kill -SEGV $$\n", 139),
    ("printf 'one\\ntwo\\nthree\\n'; read -rsn1; exit 4\n", 4),
], ids=["before a picture", "without a picture", "killed", "after the picture"])
def test_a_failure_is_the_status_without_a_terminal_too(product, script, status):
    assert demo("status", folder=product(script)).returncode == status


def test_what_a_program_says_instead_of_a_picture_is_shown(product):
    shown = demo("config", folder=product("echo 'cannot start'; exit 3\n"))
    assert shown.stdout == ""
    assert shown.stderr.splitlines()[0] == "cannot start"


def test_a_simulator_that_is_missing_fails_the_demo(tmp_path):
    assert demo("status", folder=str(tmp_path)).returncode == 1


# --- the daemon --------------------------------------------------------------------------

def daemons():
    return RunningFrom(os.path.realpath(daemon.program()))


def test_start_and_stop_tell_what_became_of_the_daemon():
    shown = demo("stop")
    assert (shown.returncode, shown.stderr) == (0, "")
    lines = shown.stdout.splitlines()
    assert lines[0] == "No daemon runs."
    assert lines[1] == "$ wardenlink start"
    assert re.fullmatch(r"The daemon runs: process \d+\.", lines[2])
    assert {"reached by         snmp", "mains              good"} <= set(lines)
    assert lines[lines.index("$ wardenlink stop") + 1:][-1] == "No daemon runs."
    assert daemons() == []


def test_no_daemon_outlives_the_demo():
    assert demo("start").returncode == 0
    wait_until(lambda: daemons() == [], what="the end of the daemon")


def test_config_ends_with_what_the_daemon_said():
    shown = demo("config")
    assert (shown.returncode, shown.stderr) == (0, "")
    said = [line for line in shown.stdout.splitlines() if line.startswith("The daemon: ")]
    assert f"The daemon: watching the UPS behind the agent {world.agent_address()}" in said


def test_local_shows_what_the_daemon_hears_on_the_serial_line():
    shown = demo("local")
    assert (shown.returncode, shown.stderr) == (0, "")
    lines = shown.stdout.splitlines()
    assert lines[0].endswith("ScWardenLink Lab  SIM-1000   1.20")
    assert any("Communication Port:    /run/ttyUPS " in line for line in lines)
    assert any("Input AC Power :    Normal" in line for line in lines)


@pytest.mark.parametrize("word, status, said", [
    ("start", 1, "demo: start needs a private world, "),
    ("stop", 1, "demo: stop needs a private world, "),
    ("local", 1, "demo: local needs a private world, "),
    ("outage", 1, "demo: outage needs a private world, "),
    ("shell", 1, "demo: shell needs a private world, "),
    ("status", 0, "demo: no daemon runs here: "),
])
def test_no_daemon_is_started_where_it_could_turn_the_machine_off(word, status, said):
    harmful = 'mount --bind /bin/true /sbin/shutdown && exec "$@"'
    shown = run("unshare", "--mount", "bash", "-c", harmful, "bash", DEMO, "--inside", word)
    assert (shown.returncode, shown.stderr.startswith(said)) == (status, True), shown.stderr
    assert not os.path.lexists(world.DAEMON)
    assert not os.path.exists(daemon.STATUS)


# --- the outage --------------------------------------------------------------------------

def test_outage_prints_the_log_and_three_pictures_until_the_system_would_go_down():
    shown = demo("outage", timeout=200)
    assert (shown.returncode, shown.stderr.count("\n")) == (0, 1)
    texts = ["Input AC Power :    Normal", " the mains failed: ",
             " to all users: UPS: the system will be shut down in 1 minute (power failure).",
             "Input AC Power :    AC FAILS", " shutdown in 10 seconds, by the power failure",
             " the UPS was told S03R0003", " called: /sbin/shutdown -h now\n",
             "Input AC Power :    AC FAILS", "\nHere the system would go down: "]
    at = 0
    for text in texts:
        found = shown.stdout.find(text, at)
        assert found >= 0, f"{text!r} is not in its place:\n{shown.stdout}"
        at = found + len(text)
    assert [record.words for record in recorded("shutdown")] == ["-h now"]


@pytest.mark.parametrize("rows, head", [(25, 16), (40, 24)])
def test_outage_on_a_terminal_shows_the_screen_above_the_log(start, rows, head):
    screen = start([DEMO, "--inside", "outage"], quit_keys="", rows=rows,
                   env={"WARDENLINK_BIN_DIR": built()})
    screen.wait_for(lambda: "mains failed, battery normal, shutdown in" in screen.row(head),
                    what="the daemon's state")
    screen.wait_for(lambda: any("AC FAILS" in line for line in screen.lines()[:head]),
                    what="the outage on the screen")
    assert any("the mains failed: " in line for line in screen.lines()[head + 1:])
    assert screen.standout(head) == set(range(80))
    screen.send("q")
    assert screen.wait_exit() == 0
    assert recorded("shutdown") == []


def test_outage_fails_when_the_daemon_ends_before():
    with tempfile.TemporaryFile("w+") as out:
        shown = subprocess.Popen([DEMO, "--inside", "outage"], stdin=subprocess.DEVNULL, stdout=out,
                                 stderr=out, env=dict(os.environ, WARDENLINK_BIN_DIR=built()))

        def Output():
            out.seek(0)
            return out.read()
        wait_until(lambda: "watching the UPS" in Output(), what="the log")
        os.kill(daemons()[0], signal.SIGKILL)
        assert shown.wait(60) == 1
        assert "outage_view.py: the daemon does not run any more\n" in Output()


# --- the shell ---------------------------------------------------------------------------

def test_the_shell_says_how_to_cut_the_mains_and_does_it_when_told():
    session = "ups state | grep mains; ups mains fail; ups state | grep mains; exit 7"
    with tempfile.TemporaryFile("w+") as source:
        source.write(session)
        source.seek(0)
        shown = demo("shell", stdin=source)
    assert "  ups mains fail " in shown.stderr
    assert (shown.returncode, shown.stdout) == (7, "mains on\nok\nmains off\n")


def test_the_shell_on_a_terminal_shows_the_screen_with_the_mains_cut(start):
    screen = start([DEMO, "--inside", "shell"], quit_keys="",
                   env={"WARDENLINK_BIN_DIR": built(), "HOME": "/run"})
    screen.wait_for(lambda: b"# " in screen.raw or b"$ " in screen.raw, what="the prompt")
    screen.send("ups mains fail && exec wardenlink status\n")
    screen.wait_text(3, 62, "0.0  ")
    screen.send("q")
    assert screen.wait_exit() == 0


# --- ups ---------------------------------------------------------------------------------

def test_ups_prints_values_bare_and_the_verdict(agent):
    agent.load(42)
    answered = run(UPS, "get", "load")
    assert (answered.returncode, answered.stdout) == (0, "integer 42\nok\n")
    assert run(UPS, "set", "sys_name", "string", "a name").stdout == "ok\n"
    assert agent.get("sys_name") == "a name"


@pytest.mark.parametrize("words, text", [
    (["mains", "vanish"], "error fail or restore expected\n"),
    (["bogus"], "error unknown command\n"),
])
def test_ups_fails_when_the_ups_does_not_obey(agent, words, text):
    refused = run(UPS, *words)
    assert (refused.returncode, refused.stdout, refused.stderr) == (1, "", text)


def test_ups_says_that_there_is_no_simulated_ups():
    failed = run(UPS, "state")
    assert failed.returncode == 1
    assert failed.stderr == f"ups: no simulated UPS at {CONTROL}: No such file or directory\n"


def test_ups_alone_prints_how_it_is_used():
    alone, asked = run(UPS), run(UPS, "--help")
    assert (alone.returncode, alone.stdout) == (1, "")
    assert (asked.returncode, asked.stderr) == (0, "")
    assert alone.stderr == asked.stdout
    assert "  ups mains fail " in alone.stderr
