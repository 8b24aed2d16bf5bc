"""Checks of the simulated UPS on its serial line.

They run inside a world; WARDENLINK_BIN_DIR names the build folder.
"""

import contextlib
import os
import re
import signal
import subprocess
import termios
import time

import pytest

from channels import CONTROL, Control, launched, program
from serial_client import DEVICE, Client
from waiting import LIMIT, wait_until

STATUS = rb"\(\d{3}\.\d \d{3}\.\d \d{3}\.\d \d{3} \d\d\.\d \d\d\.\d \d\d\.\d [01]{8}\r"
RATING = rb"#\d{3}\.\d \d{3} \d\d\.\d\d \d\d\.\d\r"
OTHER_DEVICE = "/run/other-tty"
OTHER_CONTROL = "/run/other.sock"
AT_REST = b"(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r"
SOURCES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "sim")


@pytest.fixture(scope="module")
def ups():
    with launched("ups_serial") as process:
        assert process.stdout.readline() == "ready\n"
        yield process
        process.send_signal(signal.SIGTERM)
        assert process.wait(LIMIT) == 0
        assert not os.path.lexists(DEVICE) and not os.path.exists(CONTROL)


@pytest.fixture
def control(ups):
    channel = Control()
    channel.do("reset")
    return channel


@contextlib.contextmanager
def another_ups(*words, device=OTHER_DEVICE):
    """A simulator of the test's own, beside the one that all share."""
    with launched("ups_serial", "--device", device, "--control", OTHER_CONTROL, *words) as process:
        assert process.stdout.readline() == "ready\n"
        yield process
        process.terminate()
        assert process.wait(LIMIT) == 0


@pytest.fixture
def client(control):
    with Client() as line:
        yield line


def requests(control):
    """What the log has of requests."""
    return [line for line in control.do("log") if line.startswith("serial")]


def wait_for_requests(control, count):
    wait_until(lambda: len(requests(control)) >= count, what=f"{count} requests")
    return requests(control)


def hear(control, client, *texts):
    """Sends requests that have no reply; back when the UPS has heard them."""
    count = len(requests(control)) + len(texts)
    client.send(b"".join(text.encode() + b"\r" for text in texts))
    wait_for_requests(control, count)


# --- what a UPS says ----------------------------------------------------------------------


def test_the_three_replies_have_their_shape(client):
    assert client.ask(b"Q1") == AT_REST and re.fullmatch(STATUS, AT_REST)
    rating, model = client.ask(b"F"), client.ask(b"I")
    assert re.fullmatch(RATING, rating) and len(rating) == 22
    assert re.fullmatch(rb"#[ -~]{37}\r", model)


@pytest.mark.parametrize("commands, bits", [
    (("mains fail",), b"10000000"),
    (("battery low",), b"01000000"),
    (("mains fail", "battery low"), b"11000000"),
    (("input 1990",), b"00100000"),
    (("input 2600",), b"00100000"),
    (("input 2400",), b"00000000"),
    (("failed on",), b"00010000"),
    (("standby on",), b"00001000"),
])
def test_the_status_bits_follow_the_model(control, client, commands, bits):
    control.do("freeze on")
    for command in commands:
        control.do(command)
    reply = client.ask(b"Q1")
    assert re.fullmatch(STATUS, reply) and reply[38:46] == bits


@pytest.mark.parametrize("request_, bits", [("T", b"00000100"), ("S.2", b"00000010")])
def test_the_status_bits_tell_of_a_test_and_of_a_shutdown(control, client, request_, bits):
    control.do("freeze on")
    hear(control, client, request_)
    assert client.ask(b"Q1")[38:46] == bits


def test_the_readings_follow_the_model(control, client):
    for command in ("freeze on", "input 2381", "load 7", "frequency 497", "temperature 31"):
        control.do(command)
    assert client.ask(b"Q1") == b"(238.1 230.0 230.0 007 49.7 13.6 31.0 00000000\r"
    control.do("mains fail")
    assert client.ask(b"Q1") == b"(000.0 000.0 230.0 007 00.0 13.6 31.0 10000000\r"
    control.do("load 999")
    control.do("battery 0")
    assert client.ask(b"Q1") == b"(000.0 000.0 230.0 999 00.0 10.5 31.0 11000000\r"


def test_what_is_no_request_is_logged_and_gets_no_answer(control, client):
    for text in (b"", b"q1", b"Q2", b"Q1 ", b"\nQ1", b"D", b"T5", b"T100", b"TX1", b"S", b"S.1",
                 b"S.0", b"S00", b"S5", b"S-5", b"S03R", b"S03R3", b"S03R00003", b"S03X0003",
                 b"S03R-003", b"CC", b"\x00\xff\\"):
        control.do("log clear")
        before = control.state()
        client.send(text + b"\r")
        assert client.ask(b"Q1") == AT_REST, "the answer to this one comes first"
        printed = text.replace(b"\\", b"\\\\").replace(b"\n", b"\\n")
        printed = printed.replace(b"\x00", b"\\x00").replace(b"\xff", b"\\xff").decode()
        assert control.do("log") == ["serial? " + printed, "serial Q1"]
        assert control.state() == before


def test_bytes_without_an_end_do_not_pile_up(control, client):
    client.send(b"x" * 200)
    assert wait_for_requests(control, 3) == ["serial? " + "x" * 64] * 3
    assert client.ask(b"yQ1", wait=0.2) is None
    assert requests(control)[3:] == ["serial? " + "x" * 8 + "yQ1"]
    assert client.ask(b"Q1") == AT_REST


# --- what a UPS does ----------------------------------------------------------------------


@pytest.mark.parametrize("request_, expected", [
    ("T", {"test": "self-test"}),
    ("TL", {"test": "until-low"}),
    ("T05", {"test": "timed"}),
    ("S.2", {"pending": "off", "pending_left": "12", "pending_sleep": "0"}),
    ("S.9", {"pending": "off", "pending_left": "54", "pending_sleep": "0"}),
    ("S01", {"pending": "off", "pending_left": "60", "pending_sleep": "0"}),
    ("S99", {"pending": "off", "pending_left": "5940", "pending_sleep": "0"}),
    ("S.3R0003", {"pending": "sleep", "pending_left": "18", "pending_sleep": "180"}),
    ("S10R9999", {"pending": "sleep", "pending_left": "600", "pending_sleep": "599940"}),
    ("S.5R0000", {"pending": "off", "pending_left": "30", "pending_sleep": "0"}),
])
def test_a_command_acts_and_has_no_reply(control, client, request_, expected):
    control.do("freeze on")
    hear(control, client, request_)
    assert expected.items() <= control.state().items()
    assert client.listen(0.1) == b""
    assert requests(control) == ["serial " + request_]


def test_tests_end_by_themselves_and_on_request(control, client):
    hear(control, client, "TL")
    assert client.ask(b"Q1")[38:46] == b"00000100"
    hear(control, client, "C")
    assert control.state()["test"] == "until-low", "that is for a shutdown"
    hear(control, client, "CT")
    assert control.state()["test"] == "none"
    hear(control, client, "T02")
    control.do("speed 100")
    control.wait_for("test", "none")
    assert control.state()["output_status"] == "2"


def test_the_output_goes_off_and_comes_back_in_their_times(control, client):
    control.do("speed 8")
    began = time.monotonic()
    hear(control, client, "S.2R0001")
    control.wait_for("output_on", "off")
    assert time.monotonic() - began > 1.45, "12 s, eight times as fast"
    assert control.state()["off_reason"] == "sleeping"
    assert client.ask(b"Q1")[13:38] == b"000.0 000 50.0 13.6 25.0 "
    assert client.ask(b"Q1")[38:46] == b"00000010"
    control.wait_for("output_on", "on")
    assert time.monotonic() - began > 8.9, "another 60 s"
    assert client.ask(b"Q1") == AT_REST


def test_without_mains_the_output_comes_back_with_them(control, client):
    control.do("mains fail")
    control.do("speed 200")
    hear(control, client, "S.2R0001")
    control.wait_for("output_on", "off")
    control.wait_for("off_left", "0")
    control.wait_seconds(60)
    assert control.state()["off_reason"] == "sleeping", "a model minute past its time"
    control.do("mains restore")
    control.wait_for("output_on", "on")


def test_mains_that_return_in_time_do_not_call_a_shutdown_off(control, client):
    control.do("mains fail")
    hear(control, client, "S.9R0001")
    control.do("mains restore")
    control.do("speed 10")
    control.wait_for("output_on", "off")
    control.wait_for("output_on", "on")


def test_an_output_that_is_to_stay_off_waits_to_be_turned_on(control, client):
    control.do("speed 500")
    for request in ("S.2R0000", "S.2"):
        hear(control, client, request)
        control.wait_for("output_on", "off")
        control.wait_seconds(120)
        assert control.state()["off_reason"] == "command", "two model minutes later"
        hear(control, client, "C")
        assert control.state()["output_on"] == "on"


def test_a_shutdown_is_replaced_by_a_later_one_and_cancelled(control, client):
    control.do("freeze on")
    hear(control, client, "S10", "S.3R0003", "CT")
    assert control.state()["pending_left"] == "18", "the last one, and no test's end ends it"
    hear(control, client, "C")
    state = control.state()
    assert (state["pending"], state["pending_left"]) == ("none", "0")
    assert requests(control) == ["serial S10", "serial S.3R0003", "serial CT", "serial C"]


def test_the_outage_of_the_scenario_shows_on_the_line():
    with another_ups("--scenario", "outage"), Client(OTHER_DEVICE) as client:
        channel = Control(OTHER_CONTROL)
        channel.do("reset")
        assert client.ask(b"Q1")[38:39] == b"0"
        channel.do("speed 8")
        wait_until(lambda: client.ask(b"Q1")[38:39] == b"1")
        wait_until(lambda: client.ask(b"Q1")[38:40] == b"11")


# --- what is wrong with it ----------------------------------------------------------------


def test_a_silent_ups_hears_and_does_nothing(control, client):
    control.do("serial silent on")
    assert client.ask(b"Q1", wait=0.3) is None
    hear(control, client, "TL")
    assert control.state()["test"] == "none"
    assert requests(control) == ["serial Q1", "serial TL"]
    control.do("serial silent off")
    assert client.ask(b"Q1") == AT_REST


def test_some_replies_are_garbled_and_the_next_is_good(control, client):
    control.do("serial garble 5")
    for _ in range(5):
        client.send(b"Q1\r")
        assert not re.fullmatch(STATUS, client.line())
    assert client.ask(b"Q1") == AT_REST


def test_no_garbled_reply_has_the_right_shape_and_they_are_of_every_kind(control, client):
    control.do("serial garble on")
    replies = [client.ask(b"Q1") for _ in range(300)]
    assert not any(re.fullmatch(STATUS, reply) for reply in replies)
    assert not any(re.fullmatch(RATING, client.ask(b"F")) for _ in range(100))
    assert sum(len(reply) < len(AT_REST) for reply in replies) > 30, "without its head"
    assert sum(max(reply) > 127 for reply in replies) > 30, "not ASCII"
    assert sum(any(byte < 32 for byte in reply[:-1]) for reply in replies) > 30, "controls"
    control.do("reset")
    control.do("serial garble on")
    assert [client.ask(b"Q1") for _ in range(300)] == replies, "the same from every start"
    control.do("serial garble off")
    assert client.ask(b"Q1") == AT_REST


def test_half_a_reply_has_no_end(control, client):
    control.do("serial half on")
    assert client.ask_for(b"Q1", 23) == AT_REST[:23]
    control.do("serial half off")
    assert client.ask(b"Q1") == AT_REST


def test_a_slow_reply_comes_late_and_whole(control, client):
    control.do("serial slow 400")
    began = time.monotonic()
    assert client.ask(b"Q1") == AT_REST
    assert time.monotonic() - began > 0.38
    control.do("serial slow 0")
    assert client.ask(b"Q1") == AT_REST


def test_a_slow_ups_replies_byte_by_byte_and_in_order(control, client):
    control.do("serial slow 10 byte")
    began = time.monotonic()
    client.send(b"Q1\rF\r")
    assert client.line() == AT_REST
    assert 0.46 < time.monotonic() - began
    assert re.fullmatch(RATING, client.line())
    assert 0.68 < time.monotonic() - began


def test_an_echo_comes_before_the_reply(control, client):
    control.do("serial echo on")
    assert client.ask(b"Q1") == b"Q1\r"
    assert client.line() == AT_REST
    assert client.ask(b"T") == b"T\r"
    assert client.ask(b"nothing") == b"nothing\r"
    assert client.listen(0.1) == b""


def test_a_ups_need_not_know_every_request(control, client):
    control.do("serial knows F off")
    control.do("serial knows I off")
    client.send(b"F\rI\r")
    assert client.ask(b"Q1") == AT_REST
    assert requests(control) == ["serial F", "serial I", "serial Q1"]
    control.do("serial knows F on")
    assert re.fullmatch(RATING, client.ask(b"F"))


def test_a_reply_can_be_any_bytes(control, client):
    control.do(r"serial reply Q1 (\x1b[2J \\ \n\xff\x00 )\r")
    assert client.ask(b"Q1") == b"(\x1b[2J \\ \n\xff\x00 )\r"
    control.do(r"serial reply I #short\r")
    assert client.ask(b"I") == b"#short\r"
    control.do("serial reply F #no end")
    assert client.ask_for(b"F", len("#no end")) == b"#no end"
    for word in ("Q1", "F", "I"):
        control.do("serial reply " + word)
    assert client.ask(b"Q1") == AT_REST
    assert len(client.ask(b"F")) == 22 and len(client.ask(b"I")) == 39


def test_the_line_can_speak_unasked(control, client):
    wait_until(lambda: "line opened" in control.do("log"))
    control.do(r"serial send noise\x07\r")
    assert client.line() == b"noise\x07\r"


def test_a_client_that_reads_nothing_holds_up_nobody(control, client):
    for count in range(50):
        client.send(b"Q1\r" * 100)
        wait_for_requests(control, 100 * count + 100)
    assert control.state()["mains"] == "on"
    assert all(client.line() == AT_REST for _ in range(100))
    while client.listen(1):
        pass
    hear(control, client, "TL")
    client.send(b"Q1\r")
    wait_until(lambda: client.line()[38:46] == b"00000100", what="the reply behind those unread")


# --- the line itself ----------------------------------------------------------------------


def terms(control):
    return dict(line.split(" ", 1) for line in control.do("line"))


def test_the_terms_of_the_line_are_those_that_its_client_has_set(control):
    with Client() as client:
        set_by_client = terms(control)
        assert set_by_client == {
            "device": DEVICE, "present": "on", "open": "on", "pty": os.readlink(DEVICE),
            "speed": "2400", "stop_bits": "1", "raw": "on", "echo": "off", "local": "on",
            "receiver": "on", "hang_up": "off", "hardware_flow": "off", "software_flow": "off",
            "exclusive": "on"}
        fcntl_off = termios.tcgetattr(client.fd)
        fcntl_off[0] |= termios.IXON
        fcntl_off[2] |= termios.CSTOPB | termios.CRTSCTS | termios.HUPCL
        fcntl_off[3] |= termios.ECHO
        fcntl_off[4] = fcntl_off[5] = termios.B9600
        termios.tcsetattr(client.fd, termios.TCSANOW, fcntl_off)
        changed = terms(control)
    assert {key for key in changed if changed[key] != set_by_client[key]} == {
        "speed", "stop_bits", "raw", "echo", "hang_up", "hardware_flow", "software_flow"}
    assert changed["speed"] == "9600"


def test_a_line_without_a_lock_says_so(control):
    with Client(lock=False):
        assert (terms(control)["open"], terms(control)["exclusive"]) == ("on", "off")


def test_nothing_of_one_client_is_left_for_the_next(control, client):
    control.do(r"serial reply Q1 (left behind\r")
    client.send(b"Q1\r")
    wait_for_requests(control, 1)
    client.close()
    wait_until(lambda: "line closed" in control.do("log"))
    wait_until(lambda: terms(control)["open"] == "off")
    fresh = terms(control)
    assert (fresh["exclusive"], fresh["raw"]) == ("off", "off")
    with Client() as other:
        assert other.listen(0.2) == b""
        assert other.ask(b"I")[:1] == b"#"


def test_the_last_words_of_a_client_are_heard(control):
    for count in range(20):
        with Client() as client:
            client.send(b"S99\rQ")
        wait_until(lambda expected=count + 1: control.do("log").count("line closed") == expected)
    assert control.do("log") == ["line opened", "serial S99", "serial? Q", "line closed"] * 20


def test_the_log_has_the_times(control, client):
    client.ask(b"Q1")
    between = time.monotonic()
    time.sleep(0.05)
    client.ask(b"F")
    lines = [line.split(" ", 1) for line in control.do("log times")]
    assert [text for _, text in lines] == ["line opened", "serial Q1", "serial F"]
    assert float(lines[1][0]) <= between < float(lines[2][0]) <= time.monotonic()


def test_a_line_that_vanishes_hangs_up_and_returns_elsewhere(control, client):
    assert client.ask(b"Q1") == AT_REST and not client.hung_up()
    control.do("serial vanish")
    assert not os.path.lexists(DEVICE) and client.hung_up()
    assert os.read(client.fd, 1) == b"", "the end of the line"
    assert terms(control) == {"device": DEVICE, "present": "off", "open": "off"}
    control.do("serial vanish")
    control.do("serial return")
    assert os.readlink(DEVICE).startswith("/dev/pts/")
    with Client() as again:
        assert again.ask(b"Q1") == AT_REST
        control.do("serial return")
        assert again.ask(b"Q1") == AT_REST, "it was there, nothing happens"
    assert client.hung_up()


def test_a_reset_brings_everything_back(control):
    for command in ("serial vanish", "serial silent on", "serial garble on", "serial half on",
                    "serial echo on", "serial slow 100", "serial knows Q1 off", "failed on"):
        control.do(command)
    control.do("reset")
    with Client() as client:
        assert client.ask(b"Q1") == AT_REST


def test_time_passes_for_the_model_while_the_line_is_away(control):
    control.do("serial vanish")
    control.do("mains fail")
    control.do("speed 100")
    control.wait_for("output_status", "5")


def test_clients_and_lines_that_come_and_go_leave_nothing_behind(ups, control):
    def descriptors():
        return len(os.listdir(f"/proc/{ups.pid}/fd"))
    before = descriptors()
    for _ in range(20):
        with Client() as client:
            assert client.ask(b"Q1") == AT_REST
        control.do("serial vanish")
        control.do("serial return")
        terms(control)
    assert descriptors() == before


def cpu_seconds(process):
    with open(f"/proc/{process.pid}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


@pytest.mark.parametrize("state", ["never open", "open", "closed", "vanished", "unread"])
def test_a_line_where_nothing_happens_costs_nothing(ups, control, state):
    client = None if state in ("never open", "vanished") else Client()
    if state == "closed":
        client.close()
    if state == "vanished":
        control.do("serial vanish")
    if state == "unread":
        for count in range(30):  # more than a pseudo-terminal holds
            client.send(b"Q1\r" * 100)
            wait_for_requests(control, 100 * count + 100)
    control.state()  # what was to be done is done when it answers
    before = cpu_seconds(ups)
    time.sleep(1)  # the second that is measured
    assert cpu_seconds(ups) - before < 0.1, "twenty looks a second"
    if client is not None:
        client.close()


def run_serial(*words):
    return subprocess.run([program("ups_serial"), *words], timeout=LIMIT, capture_output=True,
                          text=True, check=False)


def test_what_is_in_the_way_of_the_link_is_left_alone(tmp_path):
    path = tmp_path / "tty"
    path.write_text("a file of somebody's\n", encoding="ascii")
    result = run_serial("--device", str(path), "--control", OTHER_CONTROL)
    assert result.returncode == 1 and str(path) in result.stderr
    assert path.read_text(encoding="ascii") == "a file of somebody's\n"
    nowhere = str(tmp_path / "no" / "tty")
    assert run_serial("--device", nowhere, "--control", OTHER_CONTROL).returncode == 1
    assert not os.path.lexists(OTHER_CONTROL)
    assert run_serial("--scenario", "other").returncode == 2
    assert run_serial("--device").returncode == 2


def test_an_old_link_is_replaced_and_a_foreign_one_stays(tmp_path):
    path = tmp_path / "tty"
    path.symlink_to("/dev/pts/gone")
    with another_ups(device=str(path)):
        with Client(str(path)) as client:
            assert client.ask(b"Q1") == AT_REST
        wait_until(lambda: "line closed" in Control(OTHER_CONTROL).do("log"))
        path.unlink()
        path.symlink_to("/dev/null")
    assert os.readlink(path) == "/dev/null"


def test_a_second_one_gives_way(control, client):
    pty = os.readlink(DEVICE)
    result = run_serial()
    assert result.returncode == 1 and CONTROL in result.stderr
    assert os.readlink(DEVICE) == pty and client.ask(b"Q1") == AT_REST


def test_the_end_of_the_simulator_hangs_the_line_up():
    with launched("ups_serial", "--device", OTHER_DEVICE, "--control", OTHER_CONTROL) as process:
        assert process.stdout.readline() == "ready\n"
        with Client(OTHER_DEVICE) as client:
            assert client.ask(b"Q1") == AT_REST
            process.kill()
            process.wait(LIMIT)
            assert client.hung_up() and os.path.islink(OTHER_DEVICE)
    with another_ups() as process, Client(OTHER_DEVICE) as client:
        assert client.ask(b"Q1") == AT_REST, "it has taken its old link over"
        process.terminate()
        assert process.wait(LIMIT) == 0
        assert client.hung_up() and not os.path.lexists(OTHER_DEVICE)


# --- the control channel ------------------------------------------------------------------


def test_what_is_not_understood_is_refused(control):
    for line in ("serial", "serial silent", "serial silent perhaps", "serial garble 0",
                 "serial garble some", "serial slow -1", "serial slow 5 bit", "serial knows T off",
                 "serial knows F", "serial reply T x", r"serial reply Q1 \q", r"serial send \x1",
                 "serial send", "serial return now", "line up", "standby perhaps", "silent on",
                 "get load", "delay 100"):
        lines, last = control(line)
        assert not lines and last.startswith("error "), line


def test_the_readme_lists_every_command_of_the_line():
    with open(os.path.join(SOURCES, "README.md"), encoding="utf-8") as file:
        rows = set(re.findall(r"^\| `(serial \w+|line)\b", file.read(), re.M))
    with open(os.path.join(SOURCES, "serial", "serial_verbs.cpp"), encoding="utf-8") as file:
        verbs = set(re.findall(r'\{"([a-z ]+)", \d', file.read()))
    assert verbs - {"reset"} == rows
