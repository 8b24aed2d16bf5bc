"""The five bars of the remote screen and the scales under them, counted in cells."""

import pytest

from remote_painter import GEN_ERR, HIGH_SCALE, LOW_SCALE, RULE, Answer, Watch

FIRST = 43
INPUT, OUTPUT, LOAD, BATTERY, FREQUENCY = 4, 8, 12, 16, 20

# Tenths of a volt, cells of the bar, whether the scale of high voltages is shown. One cell for
# the lower end of the scale and one more for each 2 V; the ends are 70 V, and 180 V above 134 V.
VOLTAGES = (
    (0, 0, False), (680, 0, False), (690, 1, False), (699, 1, False), (700, 1, False),
    (719, 1, False), (720, 2, False), (1000, 16, False), (1339, 32, False), (1340, 33, False),
    (1349, 33, False), (1350, 0, False), (1359, 0, False), (1360, 0, True), (1780, 0, True),
    (1790, 1, True), (1800, 1, True), (2300, 26, True), (2459, 33, True), (2460, 34, True),
)
# The longest bars: cut at the last column of the screen. Five characters are kept of a voltage:
# what has no point among them any more is no decimal number.
LONG_VOLTAGES = ((2500, 36), (2520, 37), (2540, 37), (3000, 37), (9999, 37), (99999, 37),
                 (100000, 0), (2147483647, 0))
# Percent and cells: one for each 4 % begun, none below 0, at most 32 (125 %).
PERCENTAGES = ((-1, 0), (0, 1), (3, 1), (4, 2), (99, 25), (100, 26), (119, 30), (120, 31),
               (124, 32), (125, 32), (130, 32), (999, 32))
# Tenths of a hertz and cells: 4 Hz a cell, at most 27 (105 Hz), four characters are kept.
FREQUENCIES = ((-10, 0), (0, 1), (39, 1), (40, 2), (500, 13), (600, 16), (999, 25), (1000, 26),
               (1039, 26), (1040, 27), (9999, 27), (10000, 0))


@pytest.fixture
def watch(status, agent, settings):
    """The remote screen with its first pass painted."""
    return Watch(status, agent, settings)


def bar(length):
    return set(range(FIRST, FIRST + length))


def check_voltages(watch, table):
    """Both voltages run through the table, the output one place behind the input."""
    for at, (volts, length, high) in enumerate(table):
        other, other_length, other_high = table[at - 1]
        watch.show("r", input_voltage=volts, output_voltage=other)
        assert watch.screen.standout(INPUT) == bar(length), volts
        assert watch.screen.standout(OUTPUT) == bar(other_length), other
        for row, is_high in ((5, high), (9, other_high)):
            assert watch.screen.cells(row, 42, 33) == (HIGH_SCALE if is_high else LOW_SCALE)


def test_voltages_below_the_change_of_scales(watch):
    check_voltages(watch, VOLTAGES[:10])


def test_voltages_about_and_above_the_change_of_scales(watch):
    check_voltages(watch, VOLTAGES[10:])


def test_long_bars_are_cut_at_the_last_column(watch):
    for volts, length in LONG_VOLTAGES:
        watch.show("r", input_voltage=volts, output_voltage=volts)
        assert watch.screen.standout(INPUT) == bar(length), volts
        assert watch.screen.standout(OUTPUT) == bar(length), volts
        for row in (INPUT + 1, OUTPUT + 1):
            assert watch.screen.standout(row) == set()
            assert watch.screen.cells(row, 0, 2) == "| ", "nothing wraps onto the next row"


def test_load_battery_and_frequency_at_their_ends_and_beyond(watch):
    for (percent, length), (hertz, frequency_length) in zip(PERCENTAGES, FREQUENCIES):
        watch.show("r", load=percent, capacity=percent, input_frequency=hertz)
        assert watch.screen.standout(LOAD) == bar(length), percent
        assert watch.screen.standout(BATTERY) == bar(length), percent
        assert watch.screen.standout(FREQUENCY) == bar(frequency_length), hertz


def test_a_load_too_long_for_its_field_is_cut_but_a_level_is_not(watch):
    watch.show(load=1000, capacity=1000)
    assert watch.screen.standout(LOAD) == bar(26)
    assert watch.screen.standout(BATTERY) == bar(32)


def test_shorter_bars_give_the_rule_back_up_to_its_own_length(watch):
    watch.show(input_voltage=3000, load=130, capacity=130, input_frequency=1050)
    watch.show(input_voltage=700, load=0, capacity=0, input_frequency=0)
    for row in (LOAD, BATTERY, FREQUENCY):
        assert watch.screen.standout(row) == bar(1)
        assert watch.screen.cells(row, FIRST + 1, 32) == RULE[2:]
    # The rule is 34 characters long and the frame has column 78: the rest stays.
    assert watch.screen.standout(INPUT) == bar(1) | {76, 77, 79}
    watch.show("r")
    assert watch.screen.standout(INPUT) == bar(1)


def test_scales_change_with_the_voltage_and_back(watch):
    watch.show(input_voltage=1150, output_voltage=2300)
    assert watch.screen.cells(5, 42, 33) == LOW_SCALE
    assert watch.screen.cells(9, 42, 33) == HIGH_SCALE
    watch.show(input_voltage=2300, output_voltage=1150)
    assert watch.screen.cells(5, 42, 33) == HIGH_SCALE
    assert watch.screen.cells(9, 42, 33) == LOW_SCALE


def test_no_output_shows_no_voltage_and_no_bar_but_keeps_the_scale(watch):
    watch.show(output_frequency=0)
    assert watch.screen.cells(7, 63, 5) == "0.0  "
    assert watch.screen.standout(OUTPUT) == set()
    assert watch.screen.cells(9, 42, 33) == HIGH_SCALE
    watch.show(output_frequency=1)
    assert watch.screen.cells(7, 63, 5) == "230.0"
    assert watch.screen.standout(OUTPUT) == bar(26)
    watch.show(output_frequency=-1)
    assert watch.screen.standout(OUTPUT) == bar(26)


def test_values_without_answer_have_no_bar_but_the_battery_has_one_cell(watch):
    watch.show(output_voltage=None, load=None, capacity=None, input_frequency=None)
    for row in (OUTPUT, LOAD, FREQUENCY):
        assert watch.screen.standout(row) == set()
    assert watch.screen.standout(BATTERY) == bar(1)
    assert watch.screen.cells(9, 42, 33) == LOW_SCALE


def test_empty_answers_are_zeros_with_their_bars(watch):
    watch.show(input_voltage=GEN_ERR, output_voltage=Answer("string", "2300"), load=GEN_ERR,
               capacity=GEN_ERR, input_frequency=GEN_ERR)
    for row in (INPUT, OUTPUT):
        assert watch.screen.standout(row) == set()
    for row in (LOAD, BATTERY, FREQUENCY):
        assert watch.screen.standout(row) == bar(1)


def test_bars_never_blink_nor_leave_their_rows(watch):
    watch.show(output_status=3, battery_status=3, load=100, capacity=5)
    for _ in range(2):
        watch.show()
        for row in set(range(25)) - {5, 6, INPUT, OUTPUT, LOAD, BATTERY, FREQUENCY}:
            assert watch.screen.standout(row) == set()
        assert watch.screen.standout(LOAD) == bar(26)
