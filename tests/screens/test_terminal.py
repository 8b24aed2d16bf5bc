"""The remote screen as a program on a terminal: signals, job control, sizes, the end of its
input, who may run it, what it leaves behind."""

import os
import re
import shutil
import signal
import stat
import subprocess
import tempfile
import termios
import time

import pytest

import settings as files
import world
from process import MemoryKilobytes, OpenFiles, OrdinaryUser, Traced
from remote_painter import Watch, check_no_data, no_data_painter
from settings import Settings
from stopwatch import Stopwatch, check_time, seconds_of_pass
from terminal_mode import modes, read_timeout
from waiting import wait_until

FOUR_SIGNALS = (signal.SIGINT, signal.SIGHUP, signal.SIGTERM, signal.SIGQUIT)
POWER_INI = "/etc/wardenlink/power.ini"


@pytest.fixture
def no_agent():
    """Settings without an agent: each pass is over at once, but for its wait for a key."""
    return Settings().write()


@pytest.fixture
def watch(status, agent, settings):
    """The remote screen with its first pass painted."""
    return Watch(status, agent, settings)


def command(redirection=""):
    """The status command, with a redirection of the shell's kind."""
    return ["/bin/sh", "-c", f"exec {world.bin('wardenlink')} status {redirection}"]


def processor_seconds(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as source:
        fields = source.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


# --- signals and job control ---------------------------------------------------------------------


@pytest.mark.parametrize("number", FOUR_SIGNALS)
def test_a_signal_leaves_the_screen_running(start, no_agent, number):
    screen = start(command())
    screen.wait_key()
    for _ in range(3):
        screen.signal(number)
    screen.press(" ")
    check_no_data(screen, no_agent)
    screen.send("q")
    assert screen.wait_exit() == 0


def test_signals_during_the_pause_and_the_wait_leave_the_picture_right(watch):
    for number in FOUR_SIGNALS:
        watch.screen.signal(number)
    watch.screen.press(" ")
    took = Stopwatch()
    watch.screen.send(" ")
    watch.screen.wait_pause()
    for number in FOUR_SIGNALS:
        watch.screen.signal(number)
    watch.screen.wait_key()
    assert took.passed() > 2.95, "a signal does not cut the pause short"
    watch.show(load=71, battery_status=3)
    watch.screen.send("q")
    assert watch.screen.wait_exit() == 0


def test_signals_during_a_request_leave_the_next_picture_right(watch):
    watch.agent.delay(300)
    watch.screen.send(" ")
    for number in FOUR_SIGNALS:
        watch.screen.wait_request()
        watch.screen.signal(number)
    watch.screen.wait_paint()
    watch.agent.delay(0)
    watch.show("r", capacity=55)


def test_the_keys_of_interrupt_and_quit_do_nothing(start, no_agent):
    screen = start(command())
    screen.wait_key()
    screen.press("\x03\x1c\x03\x1c")
    screen.wait_paint()
    assert screen.alive()
    check_no_data(screen, no_agent)
    screen.send("q")
    assert screen.wait_exit() == 0


def test_stopped_from_the_keyboard_it_comes_back_with_fg(start, no_agent):
    screen = start(f"{world.bin('wardenlink')} status", shell=True)
    screen.wait_text(23, 41, "Type 'r'")
    screen.wait_key()
    check_no_data(screen, no_agent)
    screen.clear_raw()
    screen.send("\x1a")
    screen.wait_raw(b"Stopped")
    screen.wait_prompt()
    assert modes(screen) == termios.ECHO | termios.ICANON
    screen.clear_raw()
    screen.send("echo a''b\n")
    screen.wait_raw(b"ab\r\n")
    screen.send("fg\n")
    screen.wait_text(23, 41, "Type 'r'")
    screen.wait_key()
    check_no_data(screen, no_agent)
    assert read_timeout(screen) == (0, 20)
    check_time(lambda: seconds_of_pass(screen), 3.25, 4.2)
    check_no_data(screen, no_agent)
    screen.clear_raw()
    screen.send("q")
    screen.wait_prompt()


def key_waits(log):
    """The limits of the waits for a first byte, in a trace; the library polls while it paints."""
    with open(log, encoding="ascii") as source:
        found = re.findall(r"select6?\(1, \[0\], NULL, NULL, {tv_sec=(\d+), tv_([nu])sec=(\d+)}",
                           source.read())
    limits = [int(whole) + int(part) / {"n": 1e9, "u": 1e6}[unit] for whole, unit, part in found]
    return [limit for limit in limits if limit]


def test_a_pass_waits_1_3_seconds_for_a_key_before_the_terminal_is_read(start, no_agent):
    log = "/run/waits"
    screen = start([*Traced("select,pselect6", log), world.bin("wardenlink"), "status"])
    wait_until(lambda: os.path.exists(log) and len(key_waits(log)) >= 2, what="two passes")
    screen.send("q")
    assert screen.wait_exit() == 0
    assert set(key_waits(log)) == {1.3}


# --- the terminal --------------------------------------------------------------------------------


def test_the_terminal_is_given_back_as_it_was(start, no_agent):
    screen = start("", shell=True)
    before = screen.termios()
    screen.send(f"{world.bin('wardenlink')} status; echo status=$?\n")
    screen.wait_text(23, 41, "Type 'r'")
    screen.wait_key()
    assert modes(screen) == 0 and screen.termios()[3] & termios.ISIG
    assert read_timeout(screen) == (0, 20)
    screen.send("q")
    screen.wait_raw(b"status=0\r\n")
    screen.wait_prompt()
    assert screen.termios() == before
    screen.clear_raw()
    screen.send("echo so''und\n")
    screen.wait_raw(b"sound\r\n")
    assert b"echo so''und" in screen.raw, "what is typed is echoed again"


def test_a_terminal_of_24_rows_shows_all_but_the_empty_last_row(agent, settings, start):
    screen = start(command(), rows=24)
    screen.wait_key()
    watch = Watch(screen, agent, settings)
    watch.check()
    watch.show(battery_status=3, load=20)
    watch.silence()
    watch.show()


@pytest.mark.parametrize("rows, cols", [(10, 20), (20, 10)])
def test_a_terminal_made_small_and_large_again_recovers(start, no_agent, rows, cols):
    screen = start(command())
    screen.wait_key()
    screen.resize(rows, cols)
    screen.wait_paint()
    screen.wait_paint()
    screen.resize(25, 80)
    screen.wait_paint()
    screen.wait_for(lambda: not no_data_painter(screen, no_agent).differences(screen),
                    what="the whole picture")
    screen.press(" ")
    check_no_data(screen, no_agent)


def test_the_values_come_back_after_a_resize_too(watch):
    watch.show(battery_status=3)
    watch.screen.resize(10, 20)
    watch.screen.wait_paint()
    watch.screen.resize(25, 80)
    watch.screen.wait_paint()
    watch.painter.clear()
    watch.show()


def test_a_larger_terminal_shows_the_same_picture_in_its_corner(start, no_agent):
    screen = start(command(), rows=40, cols=120)
    screen.wait_key()
    check_no_data(screen, no_agent)
    assert screen.cursor == (24, 79)


# --- the end of its input ------------------------------------------------------------------------


@pytest.mark.parametrize("agent_address", [None, "127.0.0.1"])
def test_without_input_it_takes_its_idle_time_and_does_not_spin(start, agent, agent_address):
    Settings(snmp_ip=agent_address or world.agent_address()).write()
    screens = [start(command("</dev/null"), quit_keys=""), start(command("<&-"), quit_keys=""),
               start(command(), quit_keys="")]
    for screen in screens:
        screen.wait_text(3, 23, agent_address or world.agent_address())
    screens[2].close_master()
    paused = [(screen, screen.wait_pause()) for screen in screens]
    took = Stopwatch()
    before = [processor_seconds(screen.pid) for screen in screens]
    agent.clear_log()
    time.sleep(10)
    used = [processor_seconds(screen.pid) - start for screen, start in zip(screens, before)]
    log, passed = agent.log(), took.passed()
    assert all(screen.alive() for screen in screens)
    for screen, pause in paused:
        screen.wait_pause(after=pause)  # it still makes its passes
    assert max(used) < 0.03 * passed, used
    # Three programs, each a pass of 6.3 s, of 11 requests or so.
    assert len(log) <= (0 if agent_address else 3 * (passed / 6.25 + 1) * 12)


def test_without_a_terminal_on_its_input_the_picture_is_right_all_the_same(start, no_agent):
    screen = start(command("</dev/null"), quit_keys="")
    first = screen.wait_pause()
    check_no_data(screen, no_agent)
    screen.wait_pause(after=first)
    check_no_data(screen, no_agent)


# --- its settings and its user -------------------------------------------------------------------


def test_without_settings_the_defaults_are_written_and_used(start):
    assert os.listdir("/etc/wardenlink") == []
    screen = start(command())
    screen.wait_key()
    check_no_data(screen, Settings())
    assert screen.cells(3, 23, 14) == "127.0.0.1     "
    assert screen.cells(4, 23, 14) == "public        "
    assert sorted(os.listdir("/etc/wardenlink")) == ["power.ini", "wardenlink.cfg"]
    assert files.read() == Settings()
    with open("/etc/wardenlink/wardenlink.cfg", encoding="ascii") as source:
        assert source.read() == Settings().text()


def test_a_missing_text_file_is_written_from_the_record(start):
    chosen = Settings(ac_fail_delay=17, snmp_ip="127.1.2.3", snmp_community="site").write()
    os.remove("/etc/wardenlink/wardenlink.cfg")
    screen = start(command())
    screen.wait_key()
    check_no_data(screen, chosen)
    assert files.read_text()["snmp_community"] == "site"


def check_settings_error(screen):
    assert screen.wait_exit() >= 0
    shown = screen.raw.replace(b"\r\n", b"\n")
    assert shown.count(b"File /etc/wardenlink/power.ini Error!\n") == 1
    assert b"Ip Address" not in shown, "the screen was never painted"
    assert modes(screen) == termios.ECHO | termios.ICANON


def test_a_missing_folder_is_an_error(start):
    shutil.rmtree("/etc/wardenlink")
    try:
        check_settings_error(start(command()))
        assert not os.path.exists("/etc/wardenlink")
    finally:
        os.makedirs("/etc/wardenlink", 0o755, exist_ok=True)


def test_a_folder_in_the_place_of_the_file_is_an_error(start):
    os.makedirs(POWER_INI + "/inside")
    check_settings_error(start(command()))
    assert os.listdir("/etc/wardenlink") == ["power.ini"], "no temporary file is left"


@pytest.fixture
def powerless(everyones):
    """The status command for which /etc/wardenlink is read-only."""
    if os.environ["WARDENLINK_WORLD"] != "private":
        yield OrdinaryUser() + [everyones, "status"]
        return
    subprocess.run(["mount", "--bind", "/etc/wardenlink", "/etc/wardenlink"], check=True)
    subprocess.run(["mount", "-o", "remount,ro,bind", "/etc/wardenlink"], check=True)
    yield [world.bin("wardenlink"), "status"]
    subprocess.run(["umount", "--lazy", "/etc/wardenlink"], check=True)


def test_missing_settings_in_a_read_only_folder_are_an_error(start, powerless):
    check_settings_error(start(powerless))
    assert os.listdir("/etc/wardenlink") == []


def test_settings_in_a_read_only_folder_are_used(no_agent, powerless, start):
    screen = start(powerless)
    screen.wait_key()
    check_no_data(screen, no_agent)


def test_an_ordinary_user_may_watch(agent, settings, start, everyones):
    screen = start(OrdinaryUser() + [everyones, "status"])
    screen.wait_key()
    watch = Watch(screen, agent, settings)
    watch.check()
    assert subprocess.run(OrdinaryUser() + ["id", "-u"], capture_output=True, check=True,
                          text=True).stdout == "65534\n"
    watch.show(load=12)
    screen.send("q")
    assert screen.wait_exit() == 0


def test_an_ordinary_user_cannot_make_missing_settings(start, everyones):
    os.chmod("/etc/wardenlink", 0o555)  # whoever owns the folder in this world
    try:
        check_settings_error(start(OrdinaryUser() + [everyones, "status"]))
        assert os.listdir("/etc/wardenlink") == []
    finally:
        os.chmod("/etc/wardenlink", 0o755)


# --- what it leaves behind -----------------------------------------------------------------------


def test_ten_passes_open_no_further_file(watch):
    watch.show()
    before = OpenFiles(watch.screen.pid)
    for _ in range(10):
        watch.screen.press(" ")
    assert OpenFiles(watch.screen.pid) == before
    watch.check()


def test_many_passes_without_an_agent_open_no_file_and_take_no_memory(start, no_agent):
    screen = start(command())
    screen.wait_key()

    def pass_many(count):
        for _ in range(count):
            screen.press(" ")

    pass_many(40)
    files_before, memory_before = OpenFiles(screen.pid), MemoryKilobytes(screen.pid)
    pass_many(150)
    assert OpenFiles(screen.pid) == files_before
    if "ASAN_OPTIONS" not in os.environ:  # the sanitizer keeps what was freed for a while
        assert MemoryKilobytes(screen.pid) - memory_before < 100  # 1 KB a pass would be seen
    check_no_data(screen, no_agent)


@pytest.fixture
def own_devices():
    """A /dev of the test's own, with all that is in the machine's."""
    if os.environ["WARDENLINK_WORLD"] != "private":
        yield  # the machine's own: there is one test at a time
        return
    upper, work, pts = (tempfile.mkdtemp(dir="/run") for _ in range(3))
    os.chmod(upper, 0o755)
    for words in (["--bind", "/dev/pts", pts],
                  ["-t", "overlay", "-o", f"lowerdir=/dev,upperdir={upper},workdir={work}",
                   "overlay", "/dev"],
                  ["--bind", pts, "/dev/pts"]):
        subprocess.run(["mount", *words], check=True)
    yield
    for place in ("/dev/pts", "/dev", pts):
        subprocess.run(["umount", "--lazy", place], check=True)


def check_devices_stay(start):
    """A screen opens, and leaves alone what devices there are and are not."""
    def Kinds():
        return [stat.S_IFMT(os.lstat(path).st_mode) if os.path.lexists(path) else None
                for path in ("/dev/ttyv0", "/dev/console")]

    before = Kinds()
    screen = start(command())
    screen.wait_key()
    screen.send("q")
    assert screen.wait_exit() == 0
    assert Kinds() == before


def test_no_device_comes_into_being(start, no_agent, own_devices):
    check_devices_stay(start)


def test_a_device_that_nobody_reads_holds_nothing_up(start, no_agent, own_devices):
    os.mkfifo("/dev/ttyv0")  # it opens for writing only once somebody reads
    try:
        check_devices_stay(start)
    finally:
        os.remove("/dev/ttyv0")
