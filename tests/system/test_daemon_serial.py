"""The daemon on a serial line: what it asks, what it keeps of the replies, what goes wrong."""

import fcntl
import os
import random

import pytest

import queues
import tolvd as daemon
import world
from tolvd import (REPLIES, Tolvd, leave_outage, record_events, recorded, serial_settings,
                   wait_recorded)
from world import bin as built, wait_until

STATUS_FILE, RATING_FILE, MODEL_FILE = REPLIES


def contents(path):
    with open(path, "rb") as source:
        return source.read()


def wait_replies():
    wait_until(lambda: all(map(os.path.exists, REPLIES)), what="the three reply files")


def asked(ups, request):
    return ups.log().count("serial " + request)


def wait_rounds(ups, count=5):
    """Waits until the status was asked so often; the log of the UPS holds what came from now on."""
    ups.clear_log()
    wait_until(lambda: asked(ups, "Q1") >= count, 120, "more rounds")


# --- the line and what is asked -----------------------------------------------------------


def test_the_line_is_set_and_locked(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    terms = dict(line.split(" ", 1) for line in serial_ups.command("line"))
    assert terms.items() >= {
        "open": "on", "speed": "2400", "stop_bits": "1", "raw": "on", "echo": "off",
        "local": "on", "receiver": "on", "hardware_flow": "off", "software_flow": "off",
        "exclusive": "on"}.items()
    with open(f"/proc/{running.pid}/stat", encoding="ascii") as source:
        terminal = source.read().rsplit(")", 1)[1].split()[4]
    assert int(terminal) != os.stat(world.DEVICE).st_rdev, "no controlling terminal"


def test_the_status_is_asked_for_every_second_and_the_rest_once(serial_ups, tolvd):
    serial_settings()
    began = daemon.boot_now()
    tolvd()
    wait_until(lambda: asked(serial_ups, "Q1") >= 10, what="ten rounds")
    moments = daemon.request_times(serial_ups, "serial Q1")
    periods = [later - earlier for earlier, later in zip(moments, moments[1:])]
    # One that comes late shortens the next period; all together last as long as they have to.
    assert moments[9] - began > 0.75 * 9 and sorted(periods)[len(periods) // 2] < 1.3
    assert serial_ups.log()[1] == "serial Q1", "the status comes first"
    wait_replies()
    wait_rounds(serial_ups)
    assert asked(serial_ups, "F") == asked(serial_ups, "I") == 0, "they were answered"


def test_the_readings_stand_in_the_status(serial_ups, tolvd):
    serial_settings()
    serial_ups.load(42)
    serial_ups.temperature(31)
    running = tolvd()
    status = running.wait_status(load=42, temperature=31.0)
    assert status.items() >= {
        "source": "serial", "device": world.DEVICE, "ups": "heard", "mains": "good",
        "battery": "normal", "input_voltage": 230.0, "output_voltage": 230.0,
        "input_frequency": 50.0, "pending": "none", "shutdown_in": None, "dry_run": False,
        "battery_charge": None, "time_on_battery": None, "status": 0}.items()
    wait_until(lambda: running.status()["model"], what="the model")
    serial_ups.input(2153)
    running.wait_status(input_voltage=215.3)


def test_a_fault_of_the_ups_is_told_of_once(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    serial_ups.command("failed on")
    fault = "^the UPS reports a fault of its own$"
    assert running.wait_log(fault).priority == 4
    wait_rounds(serial_ups, 3)
    # Of a UPS that was lost meanwhile nothing is known any more.
    assert len(running.lines(fault)) <= 1 + len(running.lines("does not answer"))


# --- the reply files ----------------------------------------------------------------------


def test_the_replies_are_kept_byte_for_byte(serial_ups, tolvd):
    os.umask(0o077)
    serial_settings()
    status = b"(---.- 195.5 229.5 045 50.0 2.05 --.- 00001001\r"
    model = b"#odd ~ {model}\r"
    serial_ups.serial("reply Q1 " + status.decode().replace("\r", "\\r"))
    serial_ups.serial("reply I " + model.decode().replace("\r", "\\r"))
    tolvd()
    wait_replies()
    assert contents(STATUS_FILE) == status
    assert contents(MODEL_FILE) == model
    assert contents(RATING_FILE) == b"#230.0 004 12.00 50.0\r"
    for path in REPLIES:
        found = os.stat(path)
        assert (found.st_mode & 0o7777, found.st_uid) == (0o644, 0)
    assert not [name for name in os.listdir(world.FOLDER) if name.endswith(".new")]
    os.umask(0o022)


def test_the_reply_files_go_with_a_silent_ups_and_come_back(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    wait_replies()
    losses = len(running.lines("does not answer"))
    serial_ups.serial("silent on")
    running.wait_log("does not answer", count=losses + 1)
    running.wait_status(timeout=120, ups="lost")
    assert not any(map(os.path.exists, REPLIES))
    wait_rounds(serial_ups)
    assert len(running.lines("does not answer")) == losses + 1
    serial_ups.clear_log()
    serial_ups.serial("silent off")
    wait_replies()
    assert asked(serial_ups, "F") and asked(serial_ups, "I"), "another UPS may stand there"


def test_old_reply_files_go_at_the_start(serial_ups, tolvd):
    serial_settings()
    serial_ups.serial("silent on")
    for path in REPLIES:
        with open(path, "wb") as target:
            target.write(b"(old")
    tolvd(ready=False)
    assert not any(map(os.path.exists, REPLIES))


def test_a_ups_that_knows_the_status_only_is_no_fault(serial_ups, tolvd):
    serial_settings()
    serial_ups.serial("knows F off")
    serial_ups.serial("knows I off")
    running = tolvd()
    wait_until(lambda: min(asked(serial_ups, "F"), asked(serial_ups, "I")) >= 3, 120, "three tries")
    wait_rounds(serial_ups)
    assert asked(serial_ups, "F") == asked(serial_ups, "I") == 0, "three are enough"
    running.wait_status(ups="heard", status=0)
    assert [line for line in running.log if line.priority < 5] == []
    assert os.path.exists(STATUS_FILE)
    assert not os.path.exists(RATING_FILE) and not os.path.exists(MODEL_FILE)


# --- what goes wrong on the line ----------------------------------------------------------


@pytest.mark.parametrize("fault", ["garble 2", "slow 700", "echo on", "slow 10 byte"])
def test_what_is_wrong_now_and_then_loses_nobody(serial_ups, tolvd, fault):
    serial_settings()
    running = tolvd()

    def IsTold(load):
        """A machine that stands still may lose its UPS indeed: it has more tries."""
        before = len(running.log)
        serial_ups.serial(fault)
        wait_rounds(serial_ups, 7)
        serial_ups.load(load)
        running.wait_status(ups="heard", load=load)
        return any(line.priority < 5 for line in running.log[before:])
    assert not all(map(IsTold, (77, 78, 79)))


@pytest.mark.parametrize("fault", ["garble on", "half on"])
def test_replies_that_are_none_are_as_silence(serial_ups, tolvd, fault):
    serial_settings()
    running = tolvd()
    serial_ups.serial(fault)
    running.wait_log("the UPS does not answer$", timeout=120)
    running.wait_status(ups="lost", pending="none")
    serial_ups.serial(fault.split()[0] + " off")
    running.wait_status(timeout=120, ups="heard", mains="good")


def test_a_flood_of_garbled_lines_is_borne(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    before = daemon.memory_of(running)
    chance = random.Random(7)
    for _ in range(5000):
        data = bytes(chance.choice(b"(#01. \r\n\x1b\xff\0-9") for _ in range(40))
        serial_ups.serial("send " + "".join(f"\\x{byte:02x}" for byte in data) + "\\r")
    serial_ups.load(78)
    running.wait_status(timeout=120, ups="heard", load=78, pending="none")
    assert "outage" not in daemon.events()
    assert len(running.log) < 12, running.report()
    assert daemon.memory_of(running) < before + 1024


def test_thousands_of_replies_that_are_garbled_are_told_of_once(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    for text in (r"(000.0 000.0 000.0 000 00.0 00.0 00.0 1000000\r",
                 r"(000.0 000.0 000.0 000 00.0 00.0 00.0 100000000\r",
                 r"(000.0 000.0 000.0 000 00.0 00.0 00.0 1000000x\r",
                 r"000.0 000.0 000.0 000 00.0 00.0 00.0 10000000\r",
                 "(" + "9" * 4000 + r"\r",
                 r"\r\r\r\r\r\r(\r(\r(\r"):
        serial_ups.serial("reply Q1 " + text)
        serial_ups.clear_log()
        wait_until(lambda: asked(serial_ups, "Q1") >= 4, 120, "four questions")
    assert len(running.lines("garbled")) <= 2
    assert not running.lines("mains failed") and recorded("shutdown") == []
    serial_ups.serial("reply Q1")
    running.wait_status(timeout=120, ups="heard", mains="good")


def test_a_device_that_vanishes_is_opened_again(serial_ups, tolvd):
    record_events()
    serial_settings()
    running = tolvd()
    daemon.wait_event("start")
    for count in (1, 2):
        serial_ups.serial("vanish")
        running.wait_log("the line .* cannot be opened: No such file", count=count)
        running.wait_status(timeout=120, ups="lost", status=1)
        daemon.wait_event("ups-lost", count)
        assert not os.path.exists(STATUS_FILE)
        serial_ups.clear_log()
        serial_ups.serial("return")
        running.wait_log("the line .* is open", count=count + 1)
        running.wait_status(ups="heard", status=0)
        daemon.wait_event("ups-back", count)
        wait_replies()
        assert asked(serial_ups, "F") and asked(serial_ups, "I")
    wait_until(lambda: daemon.events() == ["start"] + ["ups-lost", "ups-back"] * 2,
               what="the events")
    assert len(running.lines("cannot be opened")) == 2


def test_a_device_that_comes_after_the_start_is_opened(tolvd):
    serial_settings()
    running = tolvd(ready=False)
    running.wait_log("the line .* cannot be opened: No such file")
    running.wait_log("the UPS does not answer$", timeout=120)
    ups = world.Serial()
    running.wait_status(ups="heard")
    running.stop()
    ups.stop()


@pytest.mark.parametrize("device", ["/dev/null", "/run", "/etc/hostname"])
def test_a_device_that_is_no_line_is_told_of(tolvd, device):
    serial_settings(com_port=device)
    running = tolvd(ready=False)
    running.wait_log(f"the line {device} cannot be opened: ")
    running.wait_log("the UPS does not answer$", timeout=120)
    assert len(running.lines("cannot be opened")) == 1


def test_a_daemon_that_stood_still_has_not_lost_its_ups(serial_ups, tolvd):
    serial_settings()
    running = tolvd()

    def HasLostIt(load):
        """A single question that is answered late is a loss then: a busy machine has more tries."""
        losses = len(running.lines("does not answer"))
        os.kill(running.pid, daemon.signal.SIGSTOP)
        began = daemon.boot_now()
        wait_until(lambda: daemon.boot_now() - began > 8, what="eight seconds")
        os.kill(running.pid, daemon.signal.SIGCONT)
        serial_ups.load(load)
        running.wait_status(load=load)
        return len(running.lines("does not answer")) > losses
    assert not all(map(HasLostIt, (77, 78, 79)))


def test_another_program_on_the_line_is_told_of(serial_ups, tolvd):
    serial_settings()
    with open(world.DEVICE, "r+b", buffering=0) as line:
        fcntl.flock(line, fcntl.LOCK_EX)
        running = tolvd()
    running.wait_log(f"^another program holds the line {world.DEVICE} as well$")


# --- the trace ----------------------------------------------------------------------------


def test_the_trace_is_switched_on_and_off_while_it_runs(serial_ups, tolvd):
    path = world.FOLDER + "/powerd.dbg"
    serial_settings()
    running = tolvd()
    assert [line for line in running.log if line.priority == 7] == []
    with open(path, "w", encoding="ascii") as target:
        target.write("debug\n")
    running.wait_log("^to the UPS: Q1$")
    running.wait_log(r"^from the UPS: \(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000")
    assert {line.priority for line in running.lines("(to|from) the UPS")} == {7}
    with open(path, "w", encoding="ascii") as target:
        target.write("nodebug\n")
    # The switch is read every second: wait until a round left no line.
    def IsQuiet():
        before = len(running.lines("to the UPS"))
        serial_ups.clear_log()
        wait_until(lambda: asked(serial_ups, "Q1") >= 2, what="two rounds")
        return len(running.lines("to the UPS")) == before
    wait_until(IsQuiet, what="no more lines")


def test_what_others_write_cannot_forge_a_line_of_the_log(serial_ups, tolvd):
    serial_settings(com_port="/dev/tty\x1b\x07\xff")
    running = tolvd(ready=False)
    running.wait_log("cannot be opened")
    queues.send("commandQueue", 9, "a\n<0>the system is on fire\x07\xff")
    running.wait_log("is dropped: it is none")
    assert not running.lines("^the system is on fire") and running.strange == []


@pytest.mark.parametrize("closed", ["2>&-", "<&- >&-", "<&- >&- 2>&-"])
def test_a_daemon_whose_streams_are_closed_goes_on(serial_ups, tolvd, closed):
    """None of its files takes the place of one."""
    serial_settings()
    running = Tolvd(prefix=["sh", "-c", f'exec "$0" "$@" {closed}'])
    try:
        running.wait_ready()
        serial_ups.load(80)
        running.wait_status(load=80)
    finally:
        running.close()


def test_the_replies_are_gone_five_seconds_after_the_last_of_them(serial_ups, tolvd):
    serial_settings()
    serial_ups.freeze()
    serial_ups.mains("fail")
    leave_outage(52)
    tolvd().wait_log("the system goes down now", timeout=120)
    wait_recorded("shutdown", "-h now")
    wait_until(lambda: not any(map(os.path.exists, REPLIES)), what="the end of the replies")


def test_a_rating_and_a_model_are_written_when_there_is_room_again(serial_ups, tolvd):
    serial_settings()
    for path in REPLIES:
        os.makedirs(path + ".new")
    running = tolvd()
    running.wait_log("the UPS's replies cannot be written")
    wait_until(lambda: running.status()["model"] and running.status().get("rated_voltage"),
               what="the answers to both")
    serial_ups.clear_log()
    for path in REPLIES:
        os.rmdir(path + ".new")
    wait_replies()
    assert asked(serial_ups, "F") == asked(serial_ups, "I") == 0, "they are still known"


# --- an adapter that is broken ------------------------------------------------------------


@pytest.fixture
def slow_line():
    """The environment of a daemon whose line takes two minutes to open."""
    return {"LD_PRELOAD": built("tests/libslow_line.so"), "SLOW_LINE": world.DEVICE,
            "SLOW_LINE_SECONDS": "120", "ASAN_OPTIONS":
            os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}


def test_a_line_that_takes_long_to_open_holds_nothing_up(serial_ups, tolvd, slow_line):
    serial_settings()
    leave_outage(40)
    running = tolvd(ready=False, env=slow_line)
    told = running.wait_log(f"the line {world.DEVICE} cannot be opened: Connection timed out")
    opener = running.only_child()
    running.wait_log("the UPS does not answer: the delays of the power failure go on")
    running.reload()
    assert running.only_child() == opener, "one at a time"
    # The UPS that cannot be told holds it up by 15 s at the most.
    decided = running.wait_log("the system goes down now")
    assert told.at < decided.at, "after five of the twenty seconds that were left"
    assert wait_recorded("shutdown", "-h now").at - decided.at < 60
    running.stop()
    wait_until(lambda: not os.path.exists(f"/proc/{opener}"), what="its end")


def test_what_opens_a_line_ends_with_a_daemon_that_is_killed(serial_ups, tolvd, slow_line):
    serial_settings()
    running = tolvd(ready=False, env=slow_line)
    opener = running.only_child()
    running.kill()
    wait_until(lambda: not os.path.exists(f"/proc/{opener}"), what="its end")
