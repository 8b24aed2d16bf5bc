"""docs/daemon-interface.md against the programs: queues, replies, status, events, start and end.

Messages and files are made and taken apart with the page's own tables (interface_page), so a number
that is wrong there, or a program that goes its own way, shows here.
"""

import contextlib
import json
import os
import re
import signal
import stat
import threading

import pytest

import interface_page as page
import tolvd as daemon
import world
from interface_page import (agent_settings, check_shown, open_screen, read, serial_settings, write,
                            write_settings)
from stopwatch import Stopwatch, check_time
from tolvd import ask, recorded, wait_recorded
from waiting import wait_until

TYPES = {"integer": r"-?\d+", "decimal, 1 digit": r"-?\d+\.\d", "decimal, 2 digits": r"-?\d+\.\d\d",
         "text": r'"[ -~]*"', "boolean": "true|false"}
MEMBERS = page.rows("status.json")


# --- what the tests share ---------------------------------------------------------------------


def reply_path(request):
    return f"{world.FOLDER}/{page.row('Reply files', request=request)['file']}"


def wait_file(path, data=None):
    """What stands in a file, waited for."""
    def IsThere():
        with contextlib.suppress(FileNotFoundError):
            return read(path) == data if data else read(path)
        return False
    wait_until(IsThere, what=f"{path} {data or ''}")
    return read(path)


@contextlib.contextmanager
def presence():
    """A daemon that the page describes: it lives, and does nothing else."""
    message = page.row("Messages", queue="2")
    ending = threading.Event()

    def Live():
        while not ending.wait(0.1):
            if page.state("2") is None or page.state("2")[-1] < 3:
                page.send("2", message["type"], message["text"])
    page.send("2", message["type"], message["text"])
    life = threading.Thread(target=Live)
    life.start()
    try:
        yield
    finally:
        ending.set()
        life.join()


# --- the queues -------------------------------------------------------------------------------


def test_the_queues_have_the_pages_keys_and_modes(start, serial_ups, tolvd):
    queues = page.rows("Message queues")
    serial_settings()
    with presence():
        open_screen(start, "wardenlink-command").press("sp")
    open_screen(start, "wardenlink-local")
    assert [page.state(queue["id"])[:3] for queue in queues] == [
        (int(queue["mode"], 8), 0, 0) for queue in queues]
    tolvd()
    assert [page.state(queue["id"])[:3] for queue in queues] == [
        (int(queue["daemon's mode"], 8), 0, 0) for queue in queues]


def test_presence_is_the_pages_message_every_second(tolvd):
    message = page.row("Messages", queue="2")
    left = page.number("Presence", r"until at most (\d+) are left")
    most = page.number("Presence", r"no more than (\d+) wait")
    for _ in range(most + 4):
        page.send("2", 7, "old")
    write_settings()
    tolvd(ready=False)
    found = page.drain("2")
    assert len(found) == most == left + 1
    assert (found[0], found[-1]) == ((7, "old", 3), page.as_sent(message))

    def TakeFour():
        page.drain("2")
        took = Stopwatch()
        wait_until(lambda: page.state("2")[-1] >= 4, what="presence")
        return took.passed()
    check_time(TakeFour, 2, 5)
    assert set(page.drain("2")) == {page.as_sent(message)}


def orders(queue):
    return [row for row in page.rows("Messages") if row["queue"] == queue]


def test_orders_of_the_page_are_obeyed_by_the_daemon(serial_ups, tolvd):
    serial_settings()
    running = tolvd()
    for text in ("001", "000", "xx1", "0"):
        page.send("3", 5, text)  # says nothing to the daemon
    page.send("3", 4, "100")  # is of another type
    end, again = orders("3")
    page.send("3", again["type"], again["text"])
    running.wait_log("the settings were read again")
    assert running.process.poll() is None
    page.send("3", end["type"], end["text"])
    status = page.row("Exit status", program="tolvd --foreground", status="0")
    assert running.wait_end() == int(status["status"])


def test_orders_of_the_page_are_obeyed_by_the_local_screen(start):
    values = serial_settings(acFailDelay=7)
    screen = open_screen(start, "wardenlink-local")
    again, anew = orders("4")
    write(page.CFG, page.build_text({**values, "acFailDelay": 9}).encode("ascii"))
    screen.press(" ")
    check_shown(screen, "ACfail Shutdown Delay: 7.0")
    page.send("4", again["type"], again["text"])
    screen.press(" ")
    check_shown(screen, "ACfail Shutdown Delay: 9.0")
    screen.broadcast(7, 5, "a message to all")
    screen.press(" ")
    assert screen.cells(7, 5, 16) == "a message to all"
    page.send("4", anew["type"], anew["text"])
    screen.press(" ")
    assert screen.cells(7, 5, 16) == " " * 16


def test_the_programs_send_the_pages_messages(start, serial_ups):
    end, again = orders("3")
    serial_settings()
    open_screen(start, "wardenlink", "config").press("s")
    assert page.drain("3") == [page.as_sent(again)]
    assert page.drain("4") == [page.as_sent(orders("4")[0])]
    ask("--setup", "serial", world.DEVICE)
    assert page.drain("3") == [page.as_sent(again)]
    assert page.drain("4") == [page.as_sent(orders("4")[0])]
    with presence():
        assert world.run("stop").returncode == 0
    assert page.drain("3") == [page.as_sent(end)]
    with presence():
        center = open_screen(start, "wardenlink-command")
    center.press("spbpnpapcp")
    kind = int(orders("5")[0]["type"])
    commands = [(kind, row["text"], int(row["length"])) for row in page.rows("UPS commands")]
    assert page.drain("5") == [command for command in commands if command[1] != "c10"]


def test_ups_commands_of_the_page_reach_the_line(serial_ups, tolvd):
    serial_settings()
    tolvd()
    serial_ups.clear_log()
    expected = []
    for command in page.rows("UPS commands"):
        assert len(command["text"]) == int(command["length"])
        page.send("5", orders("5")[0]["type"], command["text"])
        expected.append("serial " + command["order on the line"])
        requests = {"serial " + row["request"] for row in page.rows("Reply files")}
        wait_until(lambda: [line for line in serial_ups.log() if line not in requests] == expected,
                   what=expected[-1])


# --- the reply files --------------------------------------------------------------------------


def test_replies_are_kept_as_the_page_says(serial_ups, tolvd):
    sent = {"F": b"#220.0 013 24.00 60.0\r", "I": b"#MAKER          A-1500     7.3        \r"}
    for request, reply in sent.items():
        serial_ups.serial(f"reply {request} {reply.decode()[:-1]}\\r")
    serial_ups.freeze()
    serial_ups.input(2315)
    serial_ups.load(42)
    serial_settings()
    running = tolvd()
    for request, reply in sent.items():
        assert wait_file(reply_path(request)) == reply
        shortest, *longest = page.row("Reply files", request=request)["length"].split(" to ")
        assert int(shortest) <= len(reply) <= int((longest or [shortest])[0])
    status = wait_file(reply_path("Q1"))
    assert len(status) == int(page.row("Reply files", request="Q1")["length"])
    found = page.parse_reply("Status reply", status)
    model = serial_ups.state()
    for key, name in (("input_voltage", "input"), ("load", "load"), ("temperature", "temperature"),
                      ("input_frequency", "input_frequency")):
        assert float(found[key]) == float(model[name])
    assert (found["input_voltage"], found["load"]) == ("231.5", "042")
    told = running.wait_status(rated_current=13, model="MAKER          A-1500     7.3")
    for key, text in {**found, **page.parse_reply("Rating reply", sent["F"])}.items():
        assert told[key] == float(text), key
    for request in ("Q1", "F", "I"):
        path = reply_path(request)
        assert stat.S_IMODE(os.stat(path).st_mode) == int(page.row("Places", path=path)["mode"], 8)
    serial_ups.serial("silent on")
    wait_until(lambda: not any(os.path.exists(reply_path(row["request"]))
                               for row in page.rows("Reply files")), what="the removal")


def test_each_field_and_bit_of_a_status_reply_stands_where_the_page_says(serial_ups, tolvd):
    texts = ["101.1", "102.2", "103.3", "044", "55.5", "6.66", "17.7"]
    keys = [row["key"] for row in page.rows("Status reply") if row["key"]]
    serial_settings()
    running = tolvd()
    bits = page.rows("Status bits")
    first = int(bits[0]["offset"])
    # Every bit alone, then a field that is no number, which changes nothing else.
    places = range(len(bits))
    replies = [("".join("01"[at == one] for at in places), texts) for one in places]
    replies.append(("0" * len(bits), ["---.-", *texts[1:]]))
    for ones, fields in replies:
        reply = page.build_status_reply(fields, ones)
        serial_ups.serial(f"reply Q1 {reply.decode()[:-1]}\\r")
        wait_file(reply_path("Q1"), reply)
        expected = {key: None if "-" in text else float(text) for key, text in zip(keys, fields)}
        for bit in bits:
            one = chr(reply[int(bit["offset"])]) == "1"
            assert one == (ones[int(bit["offset"]) - first] == "1")
            if bit["key"]:
                assert bit["key"] not in expected, "told twice"
                word = bit["at 1"] if one else bit["at 0"]
                expected[bit["key"]] = {"true": True, "false": False}.get(word, word)
        running.wait_status(**expected)


# --- status.json ------------------------------------------------------------------------------


def status_faults(told, pending):
    """What is not as the page says in the status as it stands."""
    lines = read(daemon.STATUS).decode("ascii").splitlines()
    found = [re.fullmatch(r'  "(\w+)": (.*?),?', line).groups() for line in lines[1:-1]]
    names = [name for name, _ in found]
    if (lines[0], lines[-1]) != ("{", "}") or names != [member["key"] for member in MEMBERS]:
        return names
    values = {row["key"]: page.words(row["values"]) for row in page.rows("status.json", 1)}
    faults = []
    for (name, text), member in zip(found, MEMBERS):
        is_told = member["told by"] in told or name in pending
        is_typed = re.fullmatch(TYPES[member["type"]] if is_told else "null", text)
        if not is_typed or (name in values and json.loads(text) not in values[name]):
            faults.append(f"{name}: {text}")
    return faults


def check_status(told, pending=()):
    """Every member of the page is there, in its order and of its type, and no other one; null where
    nobody tells it: told are the tellers, pending the keys of what is to come. Waited for, as a
    UPS that is slow for once is lost for a while."""
    wait_until(lambda: not status_faults(told, pending), what="the page's status",
               describe=lambda: str(status_faults(told, pending)))


def test_the_status_of_a_serial_ups(serial_ups, tolvd):
    serial_settings(scheduleOn=1, schedule=[
        {"startHour": 7, "startMinute": 0, "shutdownHour": 12, "shutdownMinute": 0}] * 7)
    running = tolvd()
    heard = ("daemon", "both", "serial", "rating")
    wait_until(lambda: running.status().get("rated_voltage"), what="the rating")
    check_status(heard, ("shutdown_in", "scheduled_at"))
    serial_settings()
    running.reload()
    running.wait_status(pending="none")
    check_status(heard)
    serial_ups.freeze()
    serial_ups.mains("fail")
    running.wait_status(pending="outage")
    check_status(heard, ("shutdown_in", "outage_seconds"))
    serial_ups.serial("silent on")
    running.wait_status(ups="lost")
    check_status(("daemon", "rating"), ("shutdown_in", "outage_seconds"))


def test_the_status_of_an_agent_and_of_no_ups(agent, tolvd):
    agent.freeze()
    agent_settings()
    running = tolvd("--dry-run")
    wait_until(lambda: running.status().get("battery_charge"), what="all that an agent tells")
    check_status(("daemon", "both", "agent"))
    assert running.status()["dry_run"] is True
    assert running.status()["input_voltage"] == agent.get("input_voltage") / 10
    assert running.status()["load"] == agent.get("load")
    write_settings(commMode=1)
    running.reload()
    running.wait_status(ups="none", status=1)
    check_status(("daemon",))
    printed = json.loads(ask("--status", "--json").stdout)
    assert printed.keys() == {member["key"] for member in MEMBERS}
    assert ask("--status").returncode == printed["status"] == 1


def test_the_exit_status_of_status_is_the_pages(serial_ups, tolvd):
    serial_settings()
    meanings = {row["status"]: row["when"] for row in page.rows("Exit status")
                if row["program"] == "tolvd --status"}
    seen = {str(ask("--status").returncode): "no daemon"}
    assert ask("--status", "--json").stdout == "{}\n"
    running = tolvd()
    serial_ups.freeze()
    for act, words, members in (
            (lambda: None, "mains are good", {"mains": "good"}),
            (lambda: serial_ups.mains("fail"), "power failure", {"mains": "failed"}),
            (lambda: serial_ups.battery("low"), "battery is low", {"battery": "low"})):
        act()
        code = running.wait_status(**members)["status"]
        wait_until(lambda code=code: ask("--status").returncode == code, what=f"status {code}")
        seen[str(code)] = words
    assert seen.keys() == meanings.keys()
    assert all(words in meanings[code] for code, words in seen.items())


def test_files_of_the_running_daemon_have_the_pages_modes(serial_ups, tolvd):
    # While this program runs the shutdown is under way.
    daemon.put_program(f"{daemon.EVENT_FOLDER}/wait", '[ "$1" != shutdown ] || sleep 5\n')
    serial_settings(acFailDelay=1)
    serial_ups.freeze()
    serial_ups.mains("fail")
    daemon.leave_outage(90)
    tolvd()
    wait_until(lambda: os.path.exists(daemon.LAST_DEED), what="the shutdown")
    places = {row["path"]: int(row["mode"], 8) for row in page.rows("Places")
              if row["path"].startswith("/run/")}
    found = {path: stat.S_IMODE(os.stat(path).st_mode) for path in
             [daemon.STATE, *(f"{daemon.STATE}/{name}" for name in os.listdir(daemon.STATE)
                              if not name.endswith(".new"))]}
    assert found == places


# --- events, switches, the start --------------------------------------------------------------


def test_events_and_their_environment_are_the_pages(serial_ups, tolvd):
    daemon.put_program(f"{daemon.EVENT_FOLDER}/10-record", f"""
cat /proc/$$/environ >"/run/event-$1"
echo "$(cut -d' ' -f1 /proc/uptime) event $*" >>{daemon.RECORDED}
""")
    serial_settings(battLowDelay=10)
    serial_ups.freeze()
    running = tolvd()
    running.reload()
    serial_ups.mains("fail")
    running.wait_status(status=2)
    serial_ups.battery("low")
    running.wait_status(battery="low")
    serial_ups.serial("silent on")
    running.wait_status(ups="lost")
    serial_ups.recover()
    serial_ups.serial("silent off")
    running.wait_log("the mains are back")
    running.stop()
    wait_recorded("event", "stop")
    serial_settings(acFailDelay=1)
    serial_ups.mains("fail")
    daemon.leave_outage(90)
    tolvd()
    wait_recorded("event", "shutdown")
    told = {record.words for record in recorded("event")}
    assert told == {row["event"] for row in page.rows("Events")}
    variables = {row["variable"]: row["value"] for row in page.rows("Events", 1)}
    for event, mains in (("outage", "failed"), ("ups-lost", "unknown"), ("mains-back", "good")):
        text = read(f"/run/event-{event}").decode("ascii")
        found = dict(line.split("=", 1) for line in text.split("\0")[:-1])
        assert {name: found.pop(name) for name in ("PATH", "LANG")}.items() <= variables.items()
        assert found.keys() == {"UPS_" + member["key"].upper() for member in MEMBERS}
        assert (found["UPS_MAINS"], found["UPS_BATTERY_CHARGE"]) == (mains, "")
        assert found["UPS_DRY_RUN"] == "false"


@pytest.mark.parametrize("word, is_on", [("debug", True), ("debugging", True), ("nodebug", False)])
def test_the_daemons_debug_switch_is_the_pages(serial_ups, tolvd, word, is_on):
    path = page.row("Debug switches", **{"read by": "daemon"})["file"]
    serial_settings()
    running = tolvd()
    write(path, word.encode("ascii"))
    if is_on:
        running.wait_log(r"^from the UPS: \(230\.0")
        running.wait_log("^to the UPS: Q1$")
    else:
        serial_ups.clear_log()
        wait_until(lambda: serial_ups.log().count("serial Q1") > 2, what="three more requests")
        assert not running.lines("the UPS: ")


def test_the_screens_debug_switch_is_the_pages(start):
    path = page.row("Debug switches", **{"read by": "local screen"})["file"]
    serial_settings()
    texts = ["230.0", "0.195", "229.0", "045", "50.0", "13.6", "25.0"]
    write(reply_path("Q1"), page.build_status_reply(texts))
    screen = open_screen(start, "wardenlink-local")
    screen.press(" ")
    assert b"STATUS DEBUG" not in screen.raw
    write(path, b"debug")
    screen.press(" ")
    screen.wait_raw(b"<STATUS DEBUG> (230.0 0.195 229.0 045")


def test_a_start_is_what_the_page_says():
    arguments = page.rows("Start and end")
    daemon.put_program(arguments[0]["value"], 'cat /proc/$$/cmdline >/run/words.new\n'
                                              'mv /run/words.new /run/words\n')
    # Of a daemon that died: a fresh one is looked for.
    page.send("2", page.row("Messages", queue="2")["type"], "left behind")
    tries = page.number("Presence", r"every second, (\d+) times at most")
    took = Stopwatch()
    assert world.run("start").returncode == 0
    assert took.passed() >= tries
    wait_until(lambda: os.path.exists("/run/words"), what="the daemon's start")
    words = read("/run/words").decode("ascii").split("\0")[:-1]
    assert words[-2:] == [argument["value"] for argument in arguments]
    assert words[-1] == " " * 12 and page.state("2")[-1] == 0


def test_signals_are_the_pages_orders(serial_ups, tolvd):
    serial_settings()
    effects = {row["order"]: page.words(row["signal"])[0].split(", ")
               for row in page.rows("Start and end", 1)}
    for name in effects["100"]:
        running = tolvd()
        for again in effects["010"]:
            running.process.send_signal(getattr(signal, again))
            running.wait_log("the settings were read again")
        wait_file(reply_path("Q1"))
        running.process.send_signal(getattr(signal, name))
        assert running.wait_end() == 0
        assert os.listdir(daemon.STATE) == ["tolvd.lock"]
        assert sorted(os.listdir(world.FOLDER)) == ["power.ini", "wardenlink.cfg"]
