"""tolvd asked from a command line: --check, --setup, --status, and what it refuses."""

import json
import os
import re
import stat
import time

import pytest

import queues
import settings as settings_file
import tolvd as daemon
import world
from process import OrdinaryUser
from settings import Settings
from tolvd import agent_settings, ask, leave_outage, serial_settings
from world import wait_until

TEXTS = ("power.ini", "wardenlink.cfg")


@pytest.fixture(autouse=True)
def safe():
    daemon.require_recorders()


def files():
    """The settings as they stand, and every other file under /etc/wardenlink."""
    found = {}
    for name in os.listdir(world.FOLDER):
        with open(os.path.join(world.FOLDER, name), "rb") as source:
            found[name] = source.read()
    return found


# --- words --------------------------------------------------------------------------------


def test_help_and_version_go_to_standard_output():
    for option, text in (("--help", "Usage: tolvd "), ("--version", "tolvd ")):
        shown = ask(option)
        assert (shown.returncode, shown.stderr) == (0, "")
        assert shown.stdout.startswith(text)
    for option in ("--foreground", "--dry-run", "--check", "--setup", "--status", "--json"):
        assert option in ask("--help").stdout


@pytest.mark.parametrize("words", [
    ["--bogus"], ["start"], [""], [" "], [" " * 11], [" " * 13], ["--check", "--json"],
    ["--status", "--bogus"], ["--json"], ["--setup"], ["--setup", "serial"],
    ["--setup", "serial", "/dev/ttyS0", "x"], ["--setup", "snmp"], ["--setup", "usb", "x"],
    ["--setup", "snmp", "192.0.2.1", "public", "x"], ["--help", "--version"],
    ["--foreground", "--bogus"], ["--foreground", "--check"], [" " * 12, "--foreground"],
], ids=str)
def test_anything_else_is_answered_with_the_usage(words):
    shown = ask(*words)
    assert (shown.returncode, shown.stdout) == (1, "")
    assert shown.stderr == ask("--help").stdout
    assert not os.path.exists(daemon.STATE)


@pytest.mark.parametrize("words", [[], ["--foreground"], ["--check"], ["--dry-run"],
                                   ["--setup", "snmp", "192.0.2.10"]], ids=str)
def test_an_ordinary_user_is_refused_with_one_line(words, everyones_tolvd):
    shown = daemon.subprocess.run([*OrdinaryUser(), everyones_tolvd, *words],
                                  capture_output=True, text=True, check=False, timeout=60)
    assert (shown.returncode, shown.stdout) == (1, "")
    assert shown.stderr == "tolvd: only the super-user can do this\n"
    assert files() == {}


def test_an_ordinary_user_may_ask_for_the_status(serial_ups, tolvd, everyones_tolvd):
    serial_settings()
    tolvd().wait_status(status=0)
    assert stat.S_IMODE(os.stat(daemon.STATUS).st_mode) == 0o644
    for words, status in ((["--status"], 0), (["--status", "--json"], 0), (["--help"], 0),
                          (["--version"], 0)):
        shown = daemon.subprocess.run([*OrdinaryUser(), everyones_tolvd, *words],
                                      capture_output=True, text=True, check=False, timeout=60)
        assert (shown.returncode, shown.stderr) == (status, ""), words


def test_a_second_daemon_is_refused(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    for words in ([], ["--foreground"], [" " * 12], ["--dry-run"]):
        second = ask(*words)
        assert (second.returncode, second.stdout) == (1, "")
        assert second.stderr == "tolvd: another tolvd is running\n"
    assert running.wait_status(status=0)
    running.kill()
    tolvd().wait_status(status=0)


# --- --status -----------------------------------------------------------------------------


def status_of(*words):
    shown = ask("--status", *words)
    return shown.returncode, shown.stdout


def test_without_a_daemon_nothing_is_known(serial_ups, tolvd):
    assert status_of() == (1, "no daemon is running\n")
    assert status_of("--json") == (1, "{}\n")
    serial_settings()
    running = tolvd()
    running.wait_status(status=0)
    running.kill()
    assert os.path.exists(daemon.STATUS)
    assert status_of()[0] == 1, "a status that nobody keeps up is none"


def test_a_status_counts_for_ten_seconds():
    os.makedirs(daemon.STATE, exist_ok=True)
    for age, counts in ((0, True), (10, False), (1000, False), (-1000, False)):
        with open(daemon.STATUS, "w", encoding="ascii") as target:
            target.write(f'{{\n  "status": 0,\n  "pid": {os.getpid()},\n'
                         f'  "boot_milliseconds": {int((daemon.boot_now() - age) * 1000)}\n}}\n')
        assert status_of()[0] == (0 if counts else 1), age


def test_a_status_that_does_not_say_how_it_is_counts_as_not_known():
    os.makedirs(daemon.STATE, exist_ok=True)
    for status, code in (("0", 0), ("2", 2), ("3", 3), ("4", 1), ("256", 1), ("-1", 1),
                         ("null", 1), ('""', 1)):
        with open(daemon.STATUS, "w", encoding="ascii") as target:
            target.write(f'{{\n  "status": {status},\n  "pid": {os.getpid()},\n'
                         f'  "boot_milliseconds": {int(daemon.boot_now() * 1000)}\n}}\n')
        assert status_of()[0] == code, status


def test_the_exit_status_says_how_it_is(serial_ups, tolvd):
    serial_settings(ac_fail_delay=10, batt_low_delay=10)
    serial_ups.freeze()
    running = tolvd()
    running.wait_status(status=0)
    code, text = status_of()
    assert code == 0 and "mains              good\n" in text
    serial_ups.serial("silent on")
    running.wait_status(timeout=120, ups="lost")
    assert status_of()[0] == 1
    serial_ups.serial("silent off")
    serial_ups.mains("fail")
    running.wait_status(status=2)
    code, text = status_of()
    assert code == 2 and "mains              failed\n" in text and "shutdown in" in text
    serial_ups.serial("silent on")
    running.wait_status(timeout=120, ups="lost")
    assert status_of()[0] == 2, "an outage goes on in silence"
    serial_ups.serial("silent off")
    serial_ups.battery("low")
    running.wait_status(timeout=120, status=3)
    assert status_of()[0] == 3
    code, text = status_of("--json")
    assert code == 3
    assert json.loads(text).items() >= {"mains": "failed", "battery": "low", "status": 3,
                                        "pid": running.pid}.items()


SERIAL_LINES = {"UPS fault": "no", "testing": "no", "boost or buck": "no", "off-line type": "yes",
                "fault voltage": "140 V", "rated voltage": "220 V", "rated current": "4 A",
                "rated battery": "24 V", "rated frequency": "60 Hz"}


def as_lines(text):
    """Label and value of each line of a report."""
    return {line[:18].rstrip(): line[19:] for line in text.splitlines()}


def tell_all(ups):
    ups.serial("reply Q1 (228.0 140.0 229.0 035 50.0 13.6 25.0 00001000\\r")
    ups.serial("reply F #220.0 004 24.00 60.0\\r")


def check_lines(text, expected):
    """The report holds these lines; numbers may show decimals that say nothing."""
    found = as_lines(text)
    for label, value in expected.items():
        assert re.sub(r"\.0+(?= |$)", "", found.get(label, "none")) == value, label


def test_everything_that_a_line_tells_is_shown(serial_ups, tolvd):
    serial_settings()
    tell_all(serial_ups)
    check_lines(ask("--check").stdout, SERIAL_LINES)
    tolvd().wait_status(rated_frequency=60.0, standby=True)
    check_lines(status_of()[1], SERIAL_LINES)
    assert "time on battery" not in as_lines(status_of()[1])
    serial_ups.serial("reply Q1 (228.0 140.0 229.0 035 50.0 13.6 25.0 00110100\\r")
    wait_until(lambda: daemon.read_status()["testing"], what="the test")
    check_lines(status_of()[1], {"UPS fault": "yes", "testing": "yes", "boost or buck": "yes",
                                 "off-line type": "no"})


def test_what_an_agent_does_not_tell_has_no_line(agent, tolvd):
    agent_settings()
    agent.set("time_on_battery", 7)
    shown = as_lines(ask("--check").stdout)
    tolvd().wait_status(time_on_battery=7)
    for lines in (shown, as_lines(status_of()[1])):
        assert lines["time on battery"] == "7 s"
        assert not set(SERIAL_LINES) & set(lines)


def test_the_status_shows_the_next_scheduled_shutdown_as_a_date(serial_ups, tolvd):
    settings = serial_settings(schedule_on=1)
    assert "scheduled for" not in status_of()[1]
    settings.schedule = [[-1, -1, 23, 59] for _ in range(7)]
    settings.write()
    at = tolvd().wait_status(pending="schedule")["scheduled_at"]
    shown = as_lines(status_of()[1])["scheduled for"]
    assert shown == time.strftime("%Y-%m-%d 23:59", time.localtime(at))


def test_the_status_says_that_the_shutdown_has_begun(serial_ups, tolvd):
    serial_settings()
    serial_ups.mains("fail")
    leave_outage(58)
    running = tolvd("--dry-run")
    running.wait_status(status=3, pending="shutdown")
    code, text = status_of()
    assert code == 3 and "pending            shutdown\n" in text


# --- --check ------------------------------------------------------------------------------


def check():
    before = files()
    existing = [name for name in queues.NAMES if queues.exists(name)]
    shown = ask("--check")
    assert files() == before, "it touches no files"
    assert [name for name in queues.NAMES if queues.exists(name)] == existing, "nor queues"
    assert shown.stderr == ""
    return shown.returncode, shown.stdout


def test_a_check_shows_a_ups_on_a_line_and_the_settings_in_words(serial_ups):
    serial_settings(ac_fail_delay=5, batt_low_delay=2)
    code, text = check()
    assert code == 0
    for words in (f"The UPS is on the serial line {world.DEVICE}.\n",
                  "After a power failure of 5 minutes the system is shut down,\n"
                  "or 2 minutes after the battery was first low in it, whichever is sooner.\n",
                  "The UPS is told to turn off 3.0 minutes later, and to come back.\n",
                  "Users are told of a coming shutdown.\n", "The weekly schedule is off.\n",
                  "mains              good\n", "battery            normal\n",
                  "input voltage      230 V\n", "load               35 %\n"):
        assert words in text
    assert not os.path.exists(daemon.STATE)
    asked = [line for line in serial_ups.log() if line.startswith("serial")]
    assert list(dict.fromkeys(asked))[:3] == ["serial Q1", "serial F", "serial I"]


def test_a_check_counts_the_replies_that_were_garbled(serial_ups):
    serial_settings()

    def AreCounted():
        """A busy machine may pass one of them over."""
        serial_ups.serial("garble 2")
        return "2 replies were garbled.\n" in ask("--check").stdout
    assert any(AreCounted() for _ in range(3))


def test_a_check_shows_a_ups_behind_an_agent(agent):
    agent_settings(turn_off_ups=0, countdown_on=0)
    agent.mains("fail")
    code, text = check()
    assert code == 0
    for words in (f"The UPS is behind the SNMP agent {world.agent_address()}.\n",
                  "The UPS stays on.\n", "Users are not told of a coming shutdown.\n",
                  "mains              failed\n"):
        assert words in text
    assert not [line for line in agent.log() if line.startswith("set ")]


def test_a_check_fails_when_no_ups_answers(serial_ups):
    serial_settings()
    serial_ups.serial("silent on")
    code, text = check()
    assert code == 1 and "The UPS does not answer on" in text
    serial_settings(com_port="/dev/no-such-line")
    code, text = check()
    assert code == 1 and "cannot be opened: No such file or directory.\n" in text
    agent_settings(snmp_ip="192.0.2.11")
    code, text = check()
    assert code == 1 and "does not answer" in text
    Settings(snmp_ip="127.0.0.1").write()
    code, text = check()
    assert code == 1 and "nothing is protected" in text


def test_a_check_does_not_ask_a_line_that_the_daemon_holds(serial_ups, tolvd):
    serial_settings()
    tolvd().wait_status(load=35)
    serial_ups.clear_log()
    shown = ask("--check")
    assert shown.returncode == 0
    assert "The running daemon holds the line. Its last reading:\n" in shown.stdout
    assert "load               35 %\n" in shown.stdout
    serial_settings(com_port=os.path.realpath(world.DEVICE))  # the same line by its other name
    assert ask("--check").stdout.count("The running daemon holds the line.") == 1
    assert "line opened" not in serial_ups.log()
    serial_ups.serial("silent on")
    wait_until(lambda: daemon.read_status()["ups"] == "lost", 40, "a silent UPS")
    assert ask("--check").returncode == 1


@pytest.mark.parametrize("words", [["--status"], ["--check"], ["--setup", "serial", world.DEVICE]])
def test_one_descriptor_is_enough_for_a_question(serial_ups, tolvd, words):
    """With none no program of these libraries starts."""
    serial_settings()
    tolvd().wait_status(status=0)
    told = ask(*words, prefix=["prlimit", "--nofile=4"])
    assert (told.returncode, told.stderr) == (0, "") and "mains              good\n" in told.stdout


def test_a_line_of_an_odd_name_is_the_daemons_all_the_same(serial_ups, tolvd):
    name = '/run/a"b\\c'
    os.symlink(world.DEVICE, name)
    serial_settings(com_port=name)
    tolvd().wait_status(load=35, device=name)
    shown = ask("--check")
    assert shown.returncode == 0
    assert "The running daemon holds the line. Its last reading:\n" in shown.stdout
    assert all(f"device             {name}\n" in text for text in (shown.stdout, ask("--status").stdout))


def test_a_check_without_settings_says_that_it_shows_defaults():
    code, text = check()
    assert code == 1
    assert text.startswith("The settings cannot be read whole: what is missing has its default.\n")


# --- --setup ------------------------------------------------------------------------------


def test_setting_up_a_line_keeps_everything_else(serial_ups):
    kept = Settings(ac_fail_delay=17, batt_low_delay=4, ups_off_delay=2.0, countdown_on=0,
                    snmp_community="secret", schedule_on=1)
    kept.schedule[3] = [8, 15, 17, 30]
    kept.write()
    shown = ask("--setup", "serial", world.DEVICE)
    assert (shown.returncode, shown.stderr) == (0, "")
    assert "mains              good\n" in shown.stdout, "the check follows"
    written = settings_file.read()
    kept.comm_mode, kept.com_port = 0, world.DEVICE
    assert written == kept
    assert settings_file.read_text()["comm_mode"] == "0"
    assert settings_file.read_text()["com_port"] == world.DEVICE


def test_setting_up_an_agent_keeps_the_community_unless_told(agent):
    Settings(comm_mode=0, snmp_community="public", ac_fail_delay=9).write()
    assert ask("--setup", "snmp", world.agent_address()).returncode == 0
    found = settings_file.read()
    assert (found.comm_mode, found.snmp_ip, found.snmp_community, found.ac_fail_delay) == (
        1, world.agent_address(), "public", 9)
    for length in (8, 29):
        shown = ask("--setup", "snmp", world.agent_address(), "x" * length)
        assert shown.returncode == 1 and settings_file.read().snmp_community == "x" * length
        is_noted = "Note: the settings editor cuts a community name to 8" in shown.stdout
        assert is_noted == (length > 8)


def test_setting_up_tells_the_running_daemon_and_the_screen(serial_ups, tolvd):
    Settings(comm_mode=7).write()
    running = tolvd(ready=False)
    shown = ask("--setup", "serial", world.DEVICE)
    assert queues.drain("screenControlQueue")
    running.wait_log("the settings were read again")
    running.wait_status(source="serial", ups="heard")
    assert shown.returncode in (0, 1), "whoever takes the line first asks"


@pytest.mark.parametrize("words", [
    ["serial", "/dev/null"], ["serial", "/dev/no-such-line"], ["serial", "/run"],
    ["serial", ""], ["serial", "x" * 30], ["serial", "/dev/tty S0"], ["serial", "/dev/[tty]"],
    ["snmp", "127.0.0.1"], ["snmp", "localhost"], ["snmp", "192.0.2"], ["snmp", "192.0.2.256"],
    ["snmp", ""], ["snmp", "192.0.2.10", ""], ["snmp", "192.0.2.10", "two words"],
    ["snmp", "192.0.2.10", "x" * 30], ["snmp", "192.0.2.10", "a]b"], ["snmp", "::1"],
], ids=str)
def test_what_the_settings_cannot_hold_is_refused(words):
    Settings(ac_fail_delay=9).write()
    before = files()
    shown = ask("--setup", *words)
    assert shown.returncode == 1 and shown.stdout == ""
    assert shown.stderr.startswith("tolvd: ") and shown.stderr.count("\n") == 1
    assert files() == before


def test_a_line_is_named_from_the_root_on(serial_ups):
    """The daemon stands in another folder than whoever sets it up."""
    Settings().write()
    before = files()
    folder, name = os.path.split(world.DEVICE)
    shown = ask("--setup", "serial", name, cwd=folder)
    assert shown.returncode == 1 and "a line is a path from / on" in shown.stderr
    assert files() == before


@pytest.mark.parametrize("name", TEXTS)
@pytest.mark.parametrize("words", [["serial", world.DEVICE], ["snmp", "192.0.2.11"]], ids=str)
def test_settings_that_cannot_be_read_are_not_replaced(serial_ups, name, words):
    Settings().write()
    path = os.path.join(world.FOLDER, name)
    os.remove(path)
    os.symlink("/run", path)  # which is there, and no file to read
    shown = ask("--setup", *words)
    assert shown.returncode == 1 and "the settings that are there cannot be read" in shown.stderr
    assert os.path.islink(path)
