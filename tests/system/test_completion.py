"""What bash offers after each program's words, as its tabulator key would."""

import os
import re
import subprocess

import pytest

import world

FOLDER = os.path.join(world.ROOT, "completion")
SCREENS = ["wardenlink-command", "wardenlink-help", "wardenlink-local", "wardenlink-monitor"]
OPTIONS = ["--foreground", "--dry-run", "--check", "--setup", "--status", "--help", "--version"]


def offered(*words):
    """What is offered for the last word, which may be empty."""
    program = f"""
. {FOLDER}/wardenlink
. {FOLDER}/tolvd
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
call=$(complete -p "$1") && call=${{call#*-F }} && ${{call%% *}} "$1" "${{@: -1}}" "${{@: -2:1}}"
printf '%s\\n' "${{COMPREPLY[@]}}"
"""
    result = subprocess.run(["bash", "--norc", "-c", program, "bash", *words], text=True,
                            capture_output=True, check=True)
    assert result.stderr == ""
    return result.stdout.split()


@pytest.mark.parametrize("words, expected", [
    (["wardenlink", ""], ["start", "stop", "config", "status"]),
    (["wardenlink", "sta"], ["start", "status"]),
    (["wardenlink", "x"], []),
    (["wardenlink", "start", ""], []),
    (["tolvd", ""], OPTIONS),
    (["tolvd", "--s"], ["--setup", "--status"]),
    (["tolvd", "--foreground", ""], ["--dry-run"]),
    (["tolvd", "--dry-run", ""], ["--foreground"]),
    (["tolvd", "--status", ""], ["--json"]),
    (["tolvd", "--setup", ""], ["serial", "snmp"]),
    (["tolvd", "--setup", "snmp", ""], []),
    (["tolvd", "--check", ""], []),
])
def test_words_that_can_follow(words, expected):
    assert offered(*words) == expected


@pytest.mark.parametrize("program", SCREENS)
def test_options_of_the_programs_of_one_screen(program):
    assert offered(program, "") == ["--help", "--version"]
    assert offered(program, "--help", "") == []


def test_a_device_is_completed_from_the_files_that_are_there():
    assert "/dev/tty" in offered("tolvd", "--setup", "serial", "")
    assert offered("tolvd", "--setup", "serial", "/dev/nul") == ["/dev/null"]


def test_every_option_that_is_offered_is_one_that_the_usage_names():
    usage = subprocess.run([world.bin("tolvd"), "--help"], capture_output=True, text=True,
                           check=True).stdout
    assert set(re.findall(r"--[a-z-]+", usage)) == {*OPTIONS, "--json"}
    for program in SCREENS:
        usage = subprocess.run([world.bin(program), "--help"], capture_output=True, text=True,
                               check=True).stdout
        assert set(re.findall(r"--[a-z-]+", usage)) == {"--help", "--version"}
