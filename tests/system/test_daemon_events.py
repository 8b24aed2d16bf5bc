"""The administrator's own programs in event.d."""

import os
import signal

import pytest

import queues
import tolvd as daemon
import world
from process import Children, OrdinaryUser
from stopwatch import Stopwatch
from tolvd import (EVENT_FOLDER, agent_settings, boot_now, event_environment, events, put_program,
                   record_events, recorded, serial_settings, wait_event)
from waiting import LIMIT
from world import wait_until


def record_name(name, mode=0o755):
    """A program that records its own name at each event."""
    path = put_program(f"{EVENT_FOLDER}/{name}",
                       f'echo "$(cut -d" " -f1 /proc/uptime) ran ${{0##*/}}" >>{daemon.RECORDED}\n')
    os.chmod(path, mode)
    return path


def ran():
    return [record.words for record in recorded("ran")]


# --- what they are told -------------------------------------------------------------------


def test_every_event_has_its_name_and_the_reading(serial_ups, tolvd):
    record_events()
    serial_settings(ac_fail_delay=10, batt_low_delay=5)
    serial_ups.freeze()
    running = tolvd()
    wait_event("start")
    running.reload()
    wait_event("settings")
    serial_ups.mains("fail")
    wait_event("outage")
    serial_ups.battery("low")
    wait_event("battery-low")
    serial_ups.serial("silent on")
    wait_event("ups-lost")
    serial_ups.recover()
    serial_ups.serial("silent off")
    wait_event("ups-back")
    wait_event("mains-back")
    running.stop()
    wait_event("stop")
    assert events() == ["start", "settings", "outage", "battery-low", "ups-lost", "ups-back",
                        "mains-back", "stop"]
    outage = event_environment("outage")
    assert outage["PATH"] == "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
    assert outage["LANG"] == "C"
    told = {name: value for name, value in outage.items() if name.startswith("UPS_")}
    assert told.items() >= {
        "UPS_MAINS": "failed", "UPS_BATTERY": "normal", "UPS_UPS": "heard", "UPS_STATUS": "2",
        "UPS_SOURCE": "serial", "UPS_DEVICE": world.DEVICE, "UPS_INPUT_VOLTAGE": "0.0",
        "UPS_OUTPUT_VOLTAGE": "230.0", "UPS_LOAD": "35", "UPS_PENDING": "outage",
        "UPS_DRY_RUN": "false", "UPS_BATTERY_CHARGE": "", "UPS_PID": str(running.pid)}.items()
    assert 590 <= int(told["UPS_SHUTDOWN_IN"]) <= 600
    assert set(outage) - set(told) <= {"PATH", "LANG", "PWD", "SHLVL", "_", "OLDPWD"}
    assert event_environment("battery-low")["UPS_BATTERY"] == "low"
    lost = event_environment("ups-lost")
    assert (lost["UPS_UPS"], lost["UPS_MAINS"], lost["UPS_PENDING"]) == (
        "lost", "unknown", "outage")
    assert event_environment("mains-back")["UPS_MAINS"] == "good"
    # The variables are the members of the status.
    assert set(told) == {"UPS_" + name.upper() for name in tolvd().status()}


# --- which of them run --------------------------------------------------------------------


def test_programs_run_in_the_order_of_their_names(serial_ups, tolvd):
    names = ["20_b", "10-a", "Zz", "a", "0", "_x"]
    for name in names:
        record_name(name)
    for name in ("a.sh", "b~", ".c", "d e", "#f", "g.dpkg-new"):
        record_name(name)
    record_name("off", 0o644)
    serial_settings()
    running = tolvd()
    wait_until(lambda: len(ran()) == len(names), what="all programs")
    assert ran() == sorted(names)
    assert running.lines("does not run|event") == [], "nothing was wrong"


def test_programs_that_others_could_have_written_do_not_run(serial_ups, tolvd):
    record_name("group", 0o775)
    record_name("world", 0o757)
    outside = put_program("/run/outside", f'echo "0 ran outside" >>{daemon.RECORDED}\n')
    os.symlink(outside, f"{EVENT_FOLDER}/link")
    os.mkdir(f"{EVENT_FOLDER}/folder")
    os.mkfifo(f"{EVENT_FOLDER}/pipe", 0o755)
    os.chmod(f"{EVENT_FOLDER}/pipe", 0o755)
    wrong = ["folder", "group", "link", "pipe", "world"]
    if OrdinaryUser()[0] == "setpriv":
        os.chown(record_name("owned"), 65534, 0)
        wrong.append("owned")
    record_name("zz")
    serial_settings()
    running = tolvd()
    wait_until(ran, what="the good program")
    assert ran() == ["zz"]
    for name in wrong:
        running.wait_log(f"event.d/{name} does not run: it is no plain file of root's alone")


def check_left_alone(tolvd, folder):
    """No program runs, because of this folder."""
    serial_settings()
    running = tolvd()
    running.reload()
    running.wait_log(f"no event programs run: {folder} is not a folder of root's alone", count=2)
    assert ran() == []


@pytest.mark.parametrize("folder", [EVENT_FOLDER, world.FOLDER])
@pytest.mark.parametrize("mode", [0o775, 0o757])
def test_a_folder_that_others_could_have_filled_is_left_alone(serial_ups, tolvd, folder, mode):
    record_name("a")
    os.chmod(folder, mode)
    try:
        check_left_alone(tolvd, folder)
    finally:
        os.chmod(folder, 0o755)


def test_a_link_in_the_folders_place_is_left_alone(serial_ups, tolvd):
    record_name("a")
    os.rename(EVENT_FOLDER, EVENT_FOLDER + ".d")
    os.symlink(EVENT_FOLDER + ".d", EVENT_FOLDER)
    check_left_alone(tolvd, EVENT_FOLDER)


def test_no_folder_is_no_fault(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    running.reload()
    assert running.lines("event") == []


# --- how long they run --------------------------------------------------------------------


def is_alive(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as source:
            return source.read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def test_a_program_that_hangs_is_killed_with_all_that_it_started(serial_ups, tolvd):
    put_program(f"{EVENT_FOLDER}/10hang", """[ "$1" = start ] || exit 0
trap '' TERM INT HUP
sleep 300 &
echo $$ $! >/run/hanging
sleep 300
""")
    record_name("20after")
    serial_settings()
    began = boot_now()
    running = tolvd()
    wait_until(lambda: os.path.exists("/run/hanging") and os.path.getsize("/run/hanging"),
               what="the program")
    seen = boot_now()
    with open("/run/hanging", encoding="ascii") as source:
        hanging = [int(pid) for pid in source.read().split()]
    # Other events pass it by, and the daemon goes on.
    running.reload()
    wait_until(lambda: ran() == ["20after"], what="the next event")
    queues.drain("heartbeatQueue")
    watch = Stopwatch()
    wait_until(lambda: queues.count("heartbeatQueue") >= 5, what="presence")
    assert watch.below(40) and running.wait_status(status=0)
    killed = running.wait_log("event start: 10hang took longer than 30 seconds and was killed")
    assert 30 <= killed.at - began and killed.at - seen < 30 + LIMIT
    wait_until(lambda: not any(map(is_alive, hanging)), what="the end of the group")
    wait_until(lambda: ran() == ["20after"] * 2, what="the program behind it")
    os.remove("/run/hanging")


def test_beside_seventeen_others_an_event_is_dropped(tolvd):
    """That takes twenty orders at once: sixteen are obeyed before the first command, and the rest
    in the next second. Without a UPS there are no other events."""
    again = "the settings were read again"
    put_program(f"{EVENT_FOLDER}/10slow", '[ "$1" != settings ] || exec sleep 29\n')
    agent_settings(snmp_ip="127.0.0.1")
    running = tolvd(ready=False)
    wait_until(lambda: not Children(running.pid), what="the end of the first event")
    with daemon.standing_still(running.pid):
        queues.send("commandQueue", 9, "a")
        for _ in range(20):
            queues.send("daemonControlQueue", 5, "010")
    running.wait_log(again, count=20)
    dropped = "event settings is dropped: too many others are still at work"
    running.wait_log(dropped, count=3)
    texts = [line.text for line in running.log]
    first = texts.index(again)
    assert texts[first:first + 24] == [
        *[again] * 16, 'command "a" is dropped: there is no UPS on a serial line',
        again, *[again, dropped] * 3]


def test_a_program_that_fails_is_told_of_and_the_next_one_runs(serial_ups, tolvd):
    put_program(f"{EVENT_FOLDER}/10fails", "exit 7\n")
    put_program(f"{EVENT_FOLDER}/20killed", "kill -SEGV $$\n")
    with open(f"{EVENT_FOLDER}/30nothing", "wb") as target:
        target.write(b"\x7fELF no program")
    os.chmod(f"{EVENT_FOLDER}/30nothing", 0o755)
    record_name("40good")
    serial_settings()
    running = tolvd()
    wait_until(lambda: ran() == ["40good"], what="the last program")
    running.wait_log("event start: 10fails ended with status 7")
    running.wait_log(f"event start: 20killed was ended by signal {int(signal.SIGSEGV)}")
    running.wait_log("event start: 30nothing ended with status 127")


def test_a_program_gets_nothing_of_the_daemon(serial_ups, tolvd):
    put_program(f"{EVENT_FOLDER}/look", """[ "$1" = start ] || exit 0
for fd in /proc/$$/fd/*; do echo "fd ${fd##*/} $(readlink "$fd")"; done >/run/look.new
grep -E '^Sig(Blk|Ign):' /proc/self/status >>/run/look.new
echo "cwd $(readlink /proc/$$/cwd)" >>/run/look.new
echo "umask $(umask)" >>/run/look.new
echo "oom $(cat /proc/$$/oom_score_adj)" >>/run/look.new
mv /run/look.new /run/look
""")
    serial_settings()
    tolvd(prefix=["sh", "-c", 'umask 0; exec "$0" "$@"'])
    wait_until(lambda: os.path.exists("/run/look"), what="what the program saw")
    with open("/run/look", encoding="ascii") as source:
        lines = source.read().splitlines()
    os.remove("/run/look")
    files = {line.split(" ", 2)[1]: line.split(" ", 2)[2] for line in lines if line[:3] == "fd "}
    assert {files[name] for name in "012" if files[name] != "/run/look.new"} == {"/dev/null"}
    # The shell's own copy of its script may be open as 10, and of its output.
    assert not [name for name, target in files.items()
                if "wardenlink-sim" in target or "pts" in target or "lock" in target or
                "socket" in target or "signalfd" in target]
    assert "SigBlk:\t0000000000000000" in lines and "SigIgn:\t0000000000000000" in lines
    assert "cwd /" in lines and "umask 0022" in lines
    with open("/proc/self/oom_score_adj", encoding="ascii") as source:
        assert {"oom 0", "oom " + source.read().strip()} & set(lines)
