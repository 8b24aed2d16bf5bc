"""The opening screen: the choice between the local and the remote UPS, and its two fields."""

import os

import pytest

import queues
import world
from canvas import Canvas
from remote_painter import TITLE
from settings import FOLDER, Settings

LOCAL_LINE = "<<< [l]  M O N I T O R   L O C A L     U  P  S   >>>"
REMOTE_LINE = "<<< [r]  M O N I T O R   R E M O T E   U  P  S   >>>"
LOCAL, REMOTE = (6, 12), (9, 12)
ADDRESS, COMMUNITY = (15, 31), (16, 31)
PROMPT_COLUMN = 10
HELP_ROW, HELP_COLUMN = 19, 2

HELP = {
    LOCAL[0]: (
        "  \t<< Monitor a UPS which provides your computer's power >> \t",
        "  \t<< UPS may be connected to the NETWORK or to the SERIAL PORT >> ",
        "\tPress [enter]-Proceed, [r]-monitor Remote UPS, [q]-Quit\t\t"),
    REMOTE[0]: (
        "\t<< Monitor a UPS situated far your computer. >>\t\t\t",
        "\tPress  [i] to enter the IP Address, [c] for the Community Name, ",
        "\tthen press [enter] to Proceed or [q] to Quit.\t\t\t"),
    ADDRESS[0]: (
        "\t<<  The IP Address of the SNMP Agent connected to the UPS. >>\t",
        "\tEnter the IP Address of the SNMP Agent.\t\t\t\t",
        "\tPress [BKSP] to delete a character, press [enter] when through.\t"),
    COMMUNITY[0]: (
        "\t<<  The Community Name of the SNMP Agent connected to the UPS.>>",
        "\tEnter the Community Name of the SNMP Agent.\t\t\t",
        "\tPress [BKSP] to delete a character, press [enter] when through.\t"),
}


class Opening:
    """An opening screen and what it ought to show."""

    def __init__(self, screen, settings):
        self.screen, self.settings = screen, settings
        self.address, self.community = settings.snmp_ip, settings.snmp_community

    def paint(self, cursor, choices=True):
        canvas = Canvas(self.screen.rows, self.screen.cols)
        canvas.cursor = cursor
        local = cursor == LOCAL
        canvas.draw_box(2, 22)
        canvas.write(0, 1, TITLE)
        canvas.write(23, 1, f"System: {os.uname().sysname}[{os.uname().nodename}]")
        if choices:
            canvas.write(*LOCAL, LOCAL_LINE, local)
            canvas.write(*REMOTE, REMOTE_LINE)
        if choices and not local:
            canvas.write(ADDRESS[0], PROMPT_COLUMN, "[i] IP Address     : ")
            canvas.write(COMMUNITY[0], PROMPT_COLUMN, "[c] Community Name : ")
        if not local:
            canvas.write(*ADDRESS, self.address)
            canvas.write(*COMMUNITY, self.community)
        for line, text in enumerate(HELP[cursor[0]]):
            canvas.write_tabbed(HELP_ROW + line, HELP_COLUMN, text)
        return canvas

    def check(self, cursor, choices=True):
        """The whole picture with the cursor there; its row tells which help belongs to it."""
        self.paint(cursor, choices).check(self.screen)

    def type(self, keys, cursor, **changes):
        """Types keys, then compares; changes are the address and community shown after it."""
        self.address = changes.get("address", self.address)
        self.community = changes.get("community", self.community)
        self.screen.press(keys)
        self.check(cursor)


def place_after(field, text):
    return field[0], field[1] + len(text)


def open_screen(start, settings):
    screen = start([world.bin("wardenlink-monitor")])
    screen.wait_key()
    return Opening(screen, settings)


@pytest.fixture
def opening(start):
    return open_screen(start, Settings(snmp_ip="198.51.100.7", snmp_community="rack4").write())


# --- the two choices -----------------------------------------------------------------------------


def test_it_opens_with_the_remote_ups_chosen(opening):
    opening.check(REMOTE)
    assert opening.screen.cells(15, 10, 33) == "[i] IP Address     : 198.51.100.7"
    assert opening.screen.cells(16, 10, 26) == "[c] Community Name : rack4"


def test_without_settings_the_defaults_are_written_and_shown(start):
    opening = open_screen(start, Settings(snmp_ip="127.0.0.1", snmp_community="public"))
    opening.check(REMOTE)
    assert os.path.getsize(f"{FOLDER}/power.ini") == 232


def test_the_local_choice_stands_out_and_hides_the_prompts(opening):
    opening.type("l", LOCAL)
    assert opening.screen.standout(6) == set(range(12, 12 + len(LOCAL_LINE)))
    assert opening.screen.standout(9) == set()
    assert opening.screen.cells(15, 10, 52) == " " * 52
    assert opening.screen.cells(16, 10, 52) == " " * 52


@pytest.mark.parametrize("key", ["r", "x", "L", "I", "\x1b", " ", "\x7f"])
def test_every_other_key_chooses_the_remote_ups_again(opening, key):
    opening.type("l", LOCAL)
    opening.type(key, REMOTE)
    assert opening.screen.standout(6) == set()


def test_the_help_texts_fill_the_same_columns_whatever_was_there_before(opening):
    for keys, cursor in (("l", LOCAL), ("r", REMOTE), ("i", ADDRESS), ("\n", REMOTE),
                         ("c", COMMUNITY), ("\n", REMOTE), ("l", LOCAL)):
        opening.type(keys, cursor)
        for row in (19, 20, 21):
            assert opening.screen.cells(row, 0, 8) == "|" + " " * 7
            assert opening.screen.cells(row, 8, 1) != " "
            assert opening.screen.cells(row, 72, 8) == " " * 6 + "| "


@pytest.mark.parametrize("key", ["i", "c"])
def test_the_fields_are_closed_while_the_local_ups_is_chosen(opening, key):
    opening.type("l", LOCAL)
    opening.type(key, LOCAL)
    opening.type("5", REMOTE)  # a key of the choice, not of a field


def test_e_clears_the_choices_until_one_is_made(opening):
    opening.screen.press("e")
    opening.check(REMOTE, choices=False)
    opening.type("r", REMOTE)


def test_without_a_key_nothing_changes(opening):
    opening.type("l", LOCAL)
    opening.screen.wait_paint()
    opening.check(LOCAL)


def test_q_quits(opening):
    before = open(f"{FOLDER}/power.ini", "rb").read()
    opening.screen.send("q")
    assert opening.screen.wait_exit() == 0
    assert open(f"{FOLDER}/power.ini", "rb").read() == before


# --- the address ---------------------------------------------------------------------------------


def test_typing_an_address_replaces_the_old_one_from_its_first_character(opening):
    opening.type("i", ADDRESS)
    opening.type("2", place_after(ADDRESS, "2"), address="2")
    opening.type("03.0.113.9", place_after(ADDRESS, "203.0.113.9"), address="203.0.113.9")
    opening.type("\n", REMOTE)
    opening.type("i", ADDRESS)
    opening.type("1", place_after(ADDRESS, "1"), address="1")


@pytest.mark.parametrize("key", ["\n", "\r"])
def test_an_address_left_without_typing_stays(opening, key):
    opening.type("i", ADDRESS)
    opening.type(key, REMOTE)


def test_the_twentieth_character_of_an_address_is_refused(opening):
    text = "1234567890.23456789"
    opening.type("i", ADDRESS)
    opening.type(text, place_after(ADDRESS, text), address=text)
    opening.type("X", place_after(ADDRESS, text))
    opening.type("\b", place_after(ADDRESS, text[:18]), address=text[:18])
    opening.type("YZ", place_after(ADDRESS, text), address=text[:18] + "Y")


def test_backspace_takes_back_what_was_typed_and_no_more(opening):
    opening.type("i", ADDRESS)
    opening.type("\b", ADDRESS)
    opening.type("\x7f", ADDRESS)
    opening.type("19\b", place_after(ADDRESS, "1"), address="1")
    opening.type("\x7f", ADDRESS, address="")
    opening.type("\b\b", ADDRESS)
    opening.type("7", place_after(ADDRESS, "7"), address="7")


@pytest.mark.parametrize("typed, left", [("localhost", "127.0.0.1"), (".1", "127.0.0.1"),
                                         ("1\b", "127.0.0.1"), ("1a", "1a"), ("9", "9")])
def test_an_address_must_begin_with_a_digit(opening, typed, left):
    opening.screen.press("i" + typed)
    opening.type("\n", REMOTE, address=left)


def test_a_name_from_the_settings_is_replaced_when_its_field_is_left(start):
    opening = open_screen(start, Settings(snmp_ip="agent.example").write())
    opening.check(REMOTE)
    opening.type("c\n", REMOTE)
    opening.type("i", ADDRESS)
    opening.type("\n", REMOTE, address="127.0.0.1")


def test_letters_of_the_menu_are_characters_inside_a_field(opening):
    opening.type("i", ADDRESS)
    opening.type("1qlrceix", place_after(ADDRESS, "1qlrceix"), address="1qlrceix")


@pytest.mark.parametrize("field, name, key", [(ADDRESS, "address", "i"),
                                              (COMMUNITY, "community", "c")])
def test_blanks_and_bytes_that_do_not_print_are_refused(opening, field, name, key):
    opening.type(key, field)
    opening.type(" \t\x01\x1b\x7f\xe9\x80", field)
    opening.type("4 5\x1b[A", place_after(field, "45[A"), **{name: "45[A"})


# --- the community -------------------------------------------------------------------------------


def test_typing_a_community_replaces_the_old_one(opening):
    opening.type("c", COMMUNITY)
    opening.type("p", place_after(COMMUNITY, "p"), community="p")
    opening.type("ri-v@te!", place_after(COMMUNITY, "pri-v@te!"), community="pri-v@te!")
    opening.type("\n", REMOTE)
    opening.type("c", COMMUNITY)
    opening.type("Z", place_after(COMMUNITY, "Z"), community="Z")


def test_the_twentieth_character_of_a_community_is_refused(opening):
    text = "abcdefghijklmnopqrs"
    opening.type("c", COMMUNITY)
    opening.type(text + "tuv", place_after(COMMUNITY, text), community=text)
    opening.type("\b\b", place_after(COMMUNITY, text[:17]), community=text[:17])


def test_a_community_has_no_default(opening):
    opening.type("c\b", COMMUNITY)
    opening.type("x\b", COMMUNITY, community="")
    opening.type("\n", REMOTE)


def test_each_field_counts_its_own_characters(opening):
    opening.type("i", ADDRESS)
    opening.type("12", place_after(ADDRESS, "12"), address="12")
    opening.type("\n", REMOTE)
    opening.type("c", COMMUNITY)
    opening.type("\b", COMMUNITY)
    opening.type("ab", place_after(COMMUNITY, "ab"), community="ab")


def test_a_shorter_text_leaves_nothing_of_a_longer_one(start):
    opening = open_screen(start, Settings(snmp_ip="1" * 20, snmp_community="c" * 20).write())
    opening.check(REMOTE)
    opening.type("i", ADDRESS)
    opening.type("2\n", REMOTE, address="2")
    opening.type("cd\n", REMOTE, community="d")


def test_an_address_longer_than_its_field_is_hidden_as_a_whole(start):
    chosen = Settings(snmp_ip="1234567890" * 2 + "123456789", snmp_community="c" * 29).write()
    opening = open_screen(start, chosen)
    opening.check(REMOTE)
    opening.type("l", LOCAL)
    opening.type("r", REMOTE)


# --- going on ------------------------------------------------------------------------------------


def test_enter_opens_the_remote_screen_with_what_was_typed(start):
    saved = Settings(snmp_ip="198.51.100.7", snmp_community="rack4").write()
    before = open(f"{FOLDER}/power.ini", "rb").read()
    agent = world.Agent(community="typed")
    try:
        opening = open_screen(start, saved)
        opening.screen.press(f"i{agent.address}\nctyped\n")
        opening.screen.press("\n")
        screen = opening.screen
        assert screen.cells(3, 3, 20 + len(agent.address)) == f"Ip Address     :    {agent.address}"
        assert screen.cells(4, 3, 25) == "Community Name :    typed"
        assert screen.cells(3, 62, 5) == "230.0"
        screen.send("q")
        assert screen.wait_exit() == 0
    finally:
        agent.stop()
    assert open(f"{FOLDER}/power.ini", "rb").read() == before, "nothing typed here is saved"


def test_enter_opens_the_remote_screen_with_the_settings(agent, settings, start):
    opening = open_screen(start, settings)
    opening.type("lr", REMOTE)
    opening.screen.press("\n")
    assert opening.screen.cells(3, 23, len(agent.address)) == agent.address
    assert opening.screen.cells(5, 25, 6) == "Normal"
    opening.screen.send("q")
    assert opening.screen.wait_exit() == 0


def test_a_name_typed_as_address_opens_the_remote_screen_without_an_agent(opening):
    opening.screen.press("iups\n\n")
    assert opening.screen.cells(3, 23, 9) == "127.0.0.1"
    assert opening.screen.cells(5, 25, 3) == "N/A"


def test_enter_on_the_local_choice_opens_the_local_screen(start):
    opening = open_screen(start, Settings(comm_mode=0).write())
    opening.type("l", LOCAL)
    opening.screen.press("\n")
    assert opening.screen.cells(3, 3, 19) == "UPS Type          :"
    assert opening.screen.cells(8, 3, 33) == "Communication Port:    /dev/ttyS1"
    assert opening.screen.standout(6) == set()
    opening.screen.send("q")
    assert opening.screen.wait_exit() == 0


def test_enter_on_the_local_choice_may_open_the_snmp_panels(agent, settings, start):
    opening = open_screen(start, settings)
    queues.send("heartbeatQueue", 4, "alive")
    opening.type("l", LOCAL)
    assert queues.count("heartbeatQueue") == 0, "the daemon was looked for already"
    queues.send("heartbeatQueue", 4, "alive")
    opening.screen.press("\n")
    assert opening.screen.cells(3, 23, len(agent.address)) == agent.address
    assert opening.screen.cells(3, 62, 5) == "230.0", "the daemon was seen on the way"
    assert opening.screen.cells(8, 26, 4) == " 5.0"


def test_the_status_command_passes_the_opening_screen_by(status):
    assert status.cells(3, 62, 5) == "230.0"
    assert b"M O N I T O R" not in status.raw
