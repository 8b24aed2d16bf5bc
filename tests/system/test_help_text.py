"""The delivered help files keep the viewer's rules, and say what the program says and asks."""

import os
import re

import pytest

from help_painter import CONTENTS, MENUS, PAGE_LINES, PAGES, SOURCE, WINDOWS
from settings import LINES, Settings
from world import ROOT, run

PRODUCT = ("base", "front", "settings", "ipc", "snmp", "screen", "status", "config", "issuer", "help")
WIDEST = 72
GLOSSARY = "textapc.txt"
PREFIX = ".1.3.6.1.4.1.935.1.1.1"
# The one message that is not the program's own: it comes from the terminal library.
NO_TERMINAL = "Error opening terminal: ..."

FILES = [window.file for _, window in sorted(WINDOWS.items())]
# An entry of a menu: its key, its title, and the file for those who read with a pager.
KEY = re.compile(r"^  \[(\w+)\] (\S.*?)  +(text\w+\.txt)$")
QUOTED = re.compile(r'"([^"\n]+)"')
OBJECT = re.compile(r"(?<![\w.])(?:P|\.1\.3\.6\.1)(?:\.\d+){3,}(?![\w.])")
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
FORMAT = re.compile(r"%[-0-9.*]*l?[dsuxfc]")
# The calls that say something to whoever sits at the terminal, up to the end of the statement.
SAYING = re.compile(r"\b(?:printf|perror|fputs|fprintf|PrintBanner|Refuse|WriteStep)\(([^;]*);")
TO_A_FILE = re.compile(r"(?:^file\b|,\s*file\)$)")


def read(name):
    with open(os.path.join(SOURCE, name), "rb") as source:
        return source.read().decode("ascii")


def lines(name):
    return read(name).split("\n")[:-1]


def sources(suffixes=(".cpp", ".h")):
    """The product's own code, comments taken out."""
    for folder in PRODUCT:
        for name in sorted(os.listdir(os.path.join(ROOT, folder))):
            if name.endswith(suffixes):
                with open(os.path.join(ROOT, folder, name), encoding="ascii") as source:
                    yield re.sub(r"(?m)(^|\s)//.*$", "", source.read())


def unescape(text):
    return text.encode("ascii").decode("unicode_escape")


def trim(text):
    """Without the white space around it and the edge of a box that it stands in."""
    return text.strip(" \t\r\n|")


def as_pattern(literal):
    """A message of the sources with anything in place of what it fills in."""
    return re.compile(".+".join(re.escape(part) for part in FORMAT.split(literal)), re.DOTALL)


def literals():
    return {trim(unescape(text)) for code in sources() for text in LITERAL.findall(code)}


def said():
    """Every message that a call writes to the terminal, as the code holds it."""
    found = set()
    for code in sources((".cpp",)):
        for call in SAYING.findall(code):
            if not TO_A_FILE.search(call.strip()):
                found.update(trim(unescape(text)) for text in LITERAL.findall(call))
    return {text for text in found if re.search("[A-Za-z]{3}", FORMAT.sub("", text))}


def is_heading(line):
    """A line in capitals; its key and its quotes before, a remark behind do not count."""
    head = re.sub(r'^\[\w\] |^"[^"]*" ', "", line)
    head = re.split(r"  | \(| \[|, \d", head)[0]
    return len(head) > 3 and head.isupper() and not head.startswith(" ")


# --- form ----------------------------------------------------------------------------------


def test_every_window_has_its_file_and_no_file_is_left_over():
    assert sorted(FILES) == sorted(os.listdir(SOURCE))
    assert len(set(FILES)) == 25


def test_the_program_knows_these_files_in_this_order():
    file_name = re.compile(r'HELP_FILE\("([^"]+)"\)')
    assert [name for code in sources() for name in file_name.findall(code)] == FILES


@pytest.mark.parametrize("name", FILES)
def test_lines_are_plain_and_fit(name):
    text = read(name)
    assert text.endswith("\n")
    assert re.fullmatch(r"[ -~\n]*", text), "a tab or another byte that does not print"
    wrong = [line for line in lines(name) if len(line) > WIDEST or line != line.rstrip()]
    assert not wrong


@pytest.mark.parametrize("name", FILES)
def test_pages_begin_with_text_and_do_not_cut_it(name):
    found = lines(name)
    assert found[-1], "blank lines at the end"
    for at in range(PAGE_LINES, len(found), PAGE_LINES):
        assert found[at], f"line {at + 1}: a page begins with a blank line"
        assert found[at - 1] == "" or found[at - 1].endswith("."), f"line {at}: cut by the page"


@pytest.mark.parametrize("name", [name for name in FILES if name != GLOSSARY])
def test_a_heading_stands_below_a_blank_line_and_on_the_page_of_its_text(name):
    found = lines(name)
    for at, line in enumerate(found):
        if is_heading(line):
            page_end = at - at % PAGE_LINES + PAGE_LINES
            assert any(found[at + 1:page_end]), f"line {at + 1}: {line}"
            assert at % PAGE_LINES == 0 or not found[at - 1], f"line {at + 1}: {line}"


def test_headings_are_recognised():
    yes = ("THE COMMANDS", "SNMP MODE: POWER", "[l] SCHEDULE SWITCH      on or off, default off",
           "THE STATUS LINE (wardenlink.q1), 46 characters and a carriage return", "STOPPING",
           "THE EDITOR TAKES NO KEY AFTER [t]", '"wardenlink start" PRINTS NOTHING')
    no = ("Contents", "A menu of commands", "  [1] Introduction", "", "P stands for .1.3",
          '  "FAILED"    The UPS', "SNMP version 1")
    assert [is_heading(line) for line in yes + no] == [True] * len(yes) + [False] * len(no)
    assert sum(is_heading(line) for name in FILES for line in lines(name)) > 50


def test_menus_are_one_page_and_topics_at_most_eight():
    for number, window in WINDOWS.items():
        allowed = 1 if number == CONTENTS or number in MENUS else PAGES
        assert 3 <= len(lines(window.file)) <= allowed * PAGE_LINES, window.file


# --- menus ---------------------------------------------------------------------------------


@pytest.mark.parametrize("number", [CONTENTS, *MENUS])
def test_a_menu_shows_the_keys_that_work_and_no_other(number):
    shown = [KEY.match(line).group(1) for line in lines(WINDOWS[number].file) if KEY.match(line)]
    assert shown == list(WINDOWS[number].keys)
    mentioned = set(re.findall(r"\[(\w+)\]", read(WINDOWS[number].file)))
    assert mentioned - set(shown) == {"Esc", "q"}


@pytest.mark.parametrize("number", [CONTENTS, *MENUS])
def test_what_a_menu_promises_is_the_title_of_the_file(number):
    entries = [KEY.match(line).groups() for line in lines(WINDOWS[number].file) if KEY.match(line)]
    assert entries
    for key, title, name in entries:
        assert name == WINDOWS[WINDOWS[number].keys[key]].file
        assert lines(name)[:2] == [title, ""]


def test_a_topic_that_is_referred_to_is_there():
    """"see [4] of Configuration" names a number of that menu."""
    menus = {title: WINDOWS[CONTENTS].keys[key] for key, title, _ in
             (KEY.match(line).groups() for line in lines("textroot.txt") if KEY.match(line))}
    found = 0
    for name in FILES:
        for key, menu in re.findall(r"\[(\d)\](?: and \[\d\])? of\s+([A-Z][a-z]+)", read(name)):
            assert key in WINDOWS[menus[menu]].keys, f"{name}: [{key}] of {menu}"
            found += 1
    assert found > 5


# --- what the program says -----------------------------------------------------------------


def test_every_message_that_the_help_quotes_is_in_the_sources():
    # What holds no words of its own, such as "%s", would match anything.
    patterns = [as_pattern(text) for text in literals() if text and
                (not FORMAT.search(text) or re.search("[A-Za-z]{3}", FORMAT.sub("", text)))]
    quoted = QUOTED.findall(read("text6.txt"))
    quoted.remove(NO_TERMINAL)
    assert len(quoted) > 50
    unknown = [text for text in quoted
               if not any(pattern.fullmatch(trim(text)) for pattern in patterns)]
    assert not unknown


@pytest.mark.parametrize("word", ["status", "config"])
def test_a_terminal_that_is_not_known_is_met_with_the_message_that_the_help_quotes(word):
    # The library ends the process itself and leaves its own memory as it is.
    options = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    result = run(word, env=dict(os.environ, TERM="no-such-terminal", ASAN_OPTIONS=options))
    assert result.stderr.strip() == NO_TERMINAL.replace("...", "no-such-terminal.")
    assert result.returncode == 1


def test_every_message_that_the_program_prints_is_explained():
    quoted = [trim(text) for text in QUOTED.findall(read("text6.txt"))]
    # The usage is explained as a whole; "Destination" is what a message is filled with.
    messages = {text for text in said() if not text.startswith(("Usage:", "[start|"))}
    messages.remove("Destination")
    assert len(messages) > 20
    missing = {text for text in messages
               if not any(as_pattern(text).fullmatch(known) for known in quoted)}
    assert not missing


def test_what_an_operator_meets_most_is_explained():
    met = ("One argument needed!", "Too many arguments!", "Argument error!", ")!!",
           "(Save Completed!)", "(Press [q] again to quit without saving!)",
           "(Turn Schedule Function ON first!)", "<<System is About to Shut Down>>", "AC FAILS",
           "BAT. LOW", "FAILED", "N/A", "Type 'r' to Redraw, Type 'q' to Quit.",
           "Last Command Successful", "Last Command Failed.", "Press the letter of your choice.",
           "Press [p] to proceed, [Esc] to cancel",
           "No Connection (check Ip Address and Community Name)",
           "(WARNING) UPS has to be turned on manually after issuing this command")
    quoted = QUOTED.findall(read("text6.txt"))
    assert [text for text in met if text not in quoted] == []


def test_the_labels_of_the_settings_editor_are_quoted_as_they_stand():
    known = literals()
    for label in ("System Shutdown Delay Time When AC Power Failed", "UPS Turn Off Delay Time",
                  "System Shutdown Delay Time When Battery Low", "Shutdown Count Down Display",
                  "Turn off UPS after System Shutdown", "Save Configuration", "Quit"):
        key = re.search(rf"\[(\w)\] {re.escape(label)}", read("text3_1.txt")).group(1)
        assert any(text.startswith(f"[{key}] {label}") for text in known), label


def test_the_text_file_is_shown_as_the_program_writes_it():
    defaults = Settings()
    for label, form, field in LINES:
        line = f"  {label}[{form % getattr(defaults, field)}]"
        assert line in lines("text3_5.txt")


def test_the_defaults_are_those_of_the_program():
    defaults, text = Settings(), read("text2_1.txt")
    for label, value in (("shutdown after an AC failure", f"{defaults.ac_fail_delay} minutes"),
                         ("shutdown after battery low", f"{defaults.batt_low_delay} minute"),
                         ("UPS turns off after shutdown", f"{defaults.ups_off_delay} minutes"),
                         ("battery rating", f"{defaults.battery_rating} (not set)"),
                         ("serial device", defaults.com_port),
                         ("address of the agent", f"{defaults.snmp_ip} (no agent)"),
                         ("community name", defaults.snmp_community)):
        assert re.search(rf"^  {label} +{re.escape(value)}$", text, re.MULTILINE), label


def test_the_command_center_keys_and_names_are_those_of_its_menus():
    menu = re.compile(r"char IS(?:SNMP|COMPORT)\[\w+\]\[\d+\] = \{(.*?)\};", re.DOTALL)
    menus = [found for code in sources() for found in menu.findall(code)]
    assert len(menus) == 2
    parts = read("text4_2.txt").split("SERIAL MODE\n")
    assert len(parts) == 2
    for menu, text in zip(menus, parts):
        entries = re.findall(r'(\[\w\])  ([^"\s]+(?: [^"\s]+)*)', menu.replace("\\t", "  "))
        assert len(entries) > 6
        for key, name in entries:
            if name in ("Redraw", "Quit"):
                assert key in parts[0]
            else:
                assert re.search(rf"^  {re.escape(key)}  {re.escape(name)}(?: |$)", text,
                                 re.MULTILINE), f"{key} {name}"


# --- what it says of the daemon ------------------------------------------------------------


def daemon(source):
    with open(os.path.join(ROOT, "daemon", source), encoding="ascii") as text:
        return text.read()


def test_every_option_of_the_daemon_that_the_help_names_is_one():
    usage = daemon("options.cpp").partition("const char USAGE_TEXT[] =")[2].partition(";")[0]
    known = set(re.findall(r"--[a-z-]+", usage))
    named = {option for name in FILES for option in re.findall(r"--[a-z][a-z-]+", read(name))}
    assert {"--check", "--dry-run", "--setup", "--status", "--foreground"} <= named
    assert named - {"--build", "--install", "--now"} <= known


def test_what_the_daemons_check_says_is_quoted_as_it_stands():
    part = read("text5.txt").partition("THE DAEMON DOES NOT HEAR THE UPS")[2].partition("A TOPIC")[0]
    quoted = re.findall(r'^  - "([^"]+)":', part, re.MULTILINE)
    assert len(quoted) == 3
    assert [text for text in quoted if text not in daemon("check.cpp")] == []


# --- objects and files ---------------------------------------------------------------------


def test_the_appendix_lists_the_agents_objects_and_no_other():
    used = {text for code in sources() for text in LITERAL.findall(code)
            if re.fullmatch(r"(\.\d+){8,}", text)}
    assert len(used) > 45
    listed = {PREFIX + text[1:] if text.startswith("P") else text
              for text in OBJECT.findall(read("textapb.txt"))} - {PREFIX}
    assert listed == used


def test_the_files_and_queues_of_the_appendix_are_those_of_the_program():
    text = read("textapa.txt")
    paths = {path for code in sources() for path in re.findall(r"/etc/wardenlink/([\w.]+)", code)}
    assert {"power.ini", "wardenlink.cfg", "daemon", "help"} <= paths
    assert [path for path in sorted(paths) if f"  {path}" not in text] == []
    for number, name in enumerate(("dataQueue", "heartbeatQueue", "daemonControlQueue",
                                   "screenControlQueue", "commandQueue"), 1):
        assert re.search(rf"^  {number}  {name} ", text, re.MULTILINE), name
