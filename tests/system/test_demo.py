"""The demo inside its world, on this build's programs; and `ups`, which moves its UPS."""

import os
import re
import subprocess
import tempfile

import pytest

import world
from world import CONTROL, ROOT

DEMO = os.path.join(ROOT, "demo")
UPS = os.path.join(ROOT, "sim", "ups")


def built(name=""):
    return os.path.join(os.path.dirname(world.bin("wardenlink")), name)


def run(*words, folder=None, **options):
    """Runs a command without a terminal to its end; its output as text."""
    # Files, not pipes: the demo's simulators keep its output open.
    with tempfile.TemporaryFile("w+") as out, tempfile.TemporaryFile("w+") as err:
        options.setdefault("stdin", subprocess.DEVNULL)
        result = subprocess.run(words, stdout=out, stderr=err, timeout=90, check=False,
                                env=dict(os.environ, WARDENLINK_BIN_DIR=folder or built()),
                                **options)
        out.seek(0)
        err.seek(0)
        result.stdout, result.stderr = out.read(), err.read()
        return result


def demo(*words, **options):
    return run(DEMO, "--inside", *words, **options)


@pytest.fixture
def product(tmp_path):
    """product(SCRIPT): a build folder with this shell script for the program."""
    def Make(script):
        os.symlink(built("sim"), tmp_path / "sim")
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
