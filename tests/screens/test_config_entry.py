"""The text entry line of the settings editor: the device name, the community name and the
agent's address, typed in place."""

import pytest

import settings as files
from config_painter import (ADDRESS, COMMUNITY, DEVICE, ITEMS, edit)  # noqa: F401
from settings import Settings

# mode: the letter that begins the entry, communication mode, field, row.
ENTRIES = {
    DEVICE: ("c", 0, "com_port", 7),
    COMMUNITY: ("o", 1, "snmp_community", 7),
    ADDRESS: ("p", 1, "snmp_ip", 8),
}
EVERY_ENTRY = pytest.mark.parametrize("mode", ENTRIES)
FIRST = 33      # column of a field's first character
LONGEST = 29
PRINTABLE = "".join(map(chr, range(33, 127)))


class Entry:
    """An entry that has begun, and the text that the field is to hold."""

    def __init__(self, edit, mode, text):
        self.letter, comm_mode, self.field, self.row = ENTRIES[mode]
        self.mode = mode
        self.editor = edit(Settings(comm_mode=comm_mode, **{self.field: text}))
        self.begin()

    def begin(self):
        """The device name is extended; what is typed replaces a community or an address."""
        start = len(self.text()) if self.mode == DEVICE else 0
        self.editor.press(self.letter, at=(self.row, FIRST + start), mode=self.mode)

    def text(self):
        return getattr(self.editor.settings, self.field)

    def press(self, keys, text, at=None):
        """Types keys that leave text in the field, the cursor at an index, else behind it."""
        column = FIRST + (len(text) if at is None else at)
        self.editor.press(keys, at=(self.row, column), **{self.field: text})

    def leave(self, key, text):
        self.editor.press(key, at=(3, 63), mode=ITEMS, **{self.field: text})


def begin_empty(edit, mode):
    """An entry whose text was deleted: settings on disk must not be empty."""
    entry = Entry(edit, mode, "~")
    entry.press("\b" if mode == DEVICE else "~\b", "")
    return entry


# --- typing --------------------------------------------------------------------------------


def test_typing_extends_the_device_name(edit):
    entry = Entry(edit, DEVICE, "/dev/ttyS")
    entry.press("1", "/dev/ttyS1")
    entry.press("2", "/dev/ttyS12")
    entry.leave("\n", "/dev/ttyS12")
    entry.editor.asks()


@pytest.mark.parametrize("mode", [COMMUNITY, ADDRESS])
def test_the_first_character_typed_replaces_the_whole_text(edit, mode):
    entry = Entry(edit, mode, "192.0.2.10")
    entry.press("7", "7")
    entry.press(".", "7.")
    entry.leave("\r", "7.")
    entry.begin()
    entry.press("x", "x")
    entry.leave("\n", "x")


@EVERY_ENTRY
def test_every_printable_character_is_taken_and_nothing_else(edit, mode):
    entry = begin_empty(edit, mode)
    for at in range(0, len(PRINTABLE), LONGEST):
        part = PRINTABLE[at:at + LONGEST]
        entry.press(part, part)
        entry.press("\x7f" * len(part), "")
    others = bytes(byte for byte in [*range(1, 33), *range(128, 256)]
                   if byte not in (3, 8, 10, 13, 17, 19, 26, 27, 28))
    entry.press(b"[" + others[:80], "[")
    entry.press(others[80:] + b"]", "[]")


@EVERY_ENTRY
def test_a_text_ends_at_29_characters(edit, mode):
    entry = begin_empty(edit, mode)
    text = "0123456789abcdefghijklmnopqrs"
    entry.press(text[:28], text[:28])
    entry.press("s", text)
    entry.press("t", text)
    entry.press("uvw", text)
    entry.press("\b", text[:28])
    entry.press("XY", text[:28] + "X")
    entry.leave("\n", text[:28] + "X")


# --- deleting ------------------------------------------------------------------------------


@EVERY_ENTRY
@pytest.mark.parametrize("key", ["\b", "\x7f"])
def test_backspace_and_delete_take_the_character_left_of_the_cursor(edit, mode, key):
    entry = begin_empty(edit, mode)
    entry.press("abc", "abc")
    entry.press(key, "ab")
    entry.press(key, "a")
    entry.press(key, "")
    entry.press(key, "")
    entry.press("d" + key + "ef", "ef")


@pytest.mark.parametrize("mode", [COMMUNITY, ADDRESS])
def test_backspace_at_the_first_column_does_nothing(edit, mode):
    entry = Entry(edit, mode, "old")
    entry.press("\b", "old", at=0)
    entry.press("\x7f\x7f", "old", at=0)
    entry.leave("\n", "old")
    entry.editor.quit()


# --- leaving -------------------------------------------------------------------------------


@EVERY_ENTRY
@pytest.mark.parametrize("enter", ["\n", "\r"])
def test_enter_after_a_change_keeps_it_and_counts_as_one(edit, mode, enter):
    entry = begin_empty(edit, mode)
    entry.press("new", "new")
    entry.leave(enter, "new")
    entry.editor.asks()
    entry.editor.quit()


@EVERY_ENTRY
def test_enter_without_a_change_is_none(edit, mode):
    entry = Entry(edit, mode, "same")
    entry.leave("\n", "same")
    entry.editor.quit()


@EVERY_ENTRY
def test_enter_after_typing_the_same_text_again_is_none(edit, mode):
    entry = Entry(edit, mode, "same")
    if mode == DEVICE:
        entry.press("x\b", "same")
    else:
        entry.press("samex\b", "same")
    entry.leave("\n", "same")
    entry.editor.quit()


@EVERY_ENTRY
def test_enter_without_a_change_leaves_an_earlier_one_counted(edit, mode):
    entry = Entry(edit, mode, "same")
    entry.leave("\x1b", "same")
    entry.editor.press("n", at=(9, 42), countdown_on=0)
    entry.begin()
    entry.leave("\n", "same")
    entry.editor.asks()


@EVERY_ENTRY
def test_escape_brings_back_the_text_and_is_no_change(edit, mode):
    entry = Entry(edit, mode, "the-old-one")
    if mode == DEVICE:
        entry.press("\b\b", "the-old-o")
    entry.press("12", "the-old-o12" if mode == DEVICE else "12")
    entry.leave("\x1b", "the-old-one")
    entry.editor.quit()


@EVERY_ENTRY
def test_escape_brings_back_what_the_entry_before_it_made(edit, mode):
    entry = begin_empty(edit, mode)
    entry.press("first", "first")
    entry.leave("\n", "first")
    entry.begin()
    entry.press("2", "first2" if mode == DEVICE else "2")
    entry.leave("\x1b", "first")
    entry.editor.asks()


@EVERY_ENTRY
@pytest.mark.parametrize("arrow", "ABCD")
def test_an_arrow_key_ends_the_entry_like_escape(edit, mode, arrow):
    entry = Entry(edit, mode, "old")
    entry.press("x", "oldx" if mode == DEVICE else "x")
    entry.leave("\x1b[" + arrow, "old")
    entry.editor.quit()


@EVERY_ENTRY
def test_a_key_after_escape_is_a_letter_of_the_item_selection(edit, mode):
    entry = Entry(edit, mode, "old")
    entry.editor.press("x\x1bb", at=(4, 63), mode=ITEMS)
    entry.editor.press("+", batt_low_delay=2)


# --- what the entry does to the record -----------------------------------------------------


@EVERY_ENTRY
def test_the_item_letters_are_text_while_an_entry_is_open(edit, mode):
    entry = begin_empty(edit, mode)
    entry.press("+-imdbuvanlcoptsqr", "+-imdbuvanlcoptsqr")
    entry.leave("\n", "+-imdbuvanlcoptsqr")
    assert files.read() == Settings(comm_mode=ENTRIES[mode][1], **{ENTRIES[mode][2]: "~"})


def test_a_pass_without_a_key_keeps_the_cursor_in_the_text(edit):
    entry = Entry(edit, COMMUNITY, "old")
    entry.press("ab", "ab")
    entry.editor.screen.wait_paint()
    entry.editor.screen.wait_paint()
    entry.editor.check()
    entry.press("c", "abc")


def test_a_name_of_29_characters_is_extended_by_nothing(edit):
    name = "/dev/serial/by-id/usb-ups-001"
    assert len(name) == LONGEST
    entry = Entry(edit, DEVICE, name)
    entry.press("2", name)
    entry.press("\b2", name[:-1] + "2")


@pytest.mark.parametrize("mode", [COMMUNITY, ADDRESS])
def test_an_unseen_entry_of_an_unknown_communication_mode_is_taken(edit, mode):
    letter, _, field, row = ENTRIES[mode]
    editor = edit(Settings(comm_mode=2))
    editor.press(letter, at=(row, FIRST), mode=mode)
    editor.press("77", at=(row, FIRST + 2), **{field: "77"})
    editor.press("\n", at=(3, 63), mode=ITEMS)
    editor.press("s", at=(18, 63))
    assert getattr(files.read(), field) == "77"
