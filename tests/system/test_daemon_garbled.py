"""Answers that are garbled, by the thousand: hours of a noisy line in seconds."""

import pytest

import tolvd as daemon
from process import FewestOpenFiles
from tolvd import preloaded, recorded, serial_settings
from waiting import wait_until

ANSWERS = 6000
LOST = "does not answer"
MINUTE = 60000  # milliseconds of the daemon's clock


def asked(ups):
    return ups.log().count("serial Q1")


@pytest.mark.parametrize("mains", ["restore", "fail"])
def test_they_are_neither_a_failure_nor_its_end(serial_ups, tolvd, mains):
    serial_settings(ac_fail_delay=1440, countdown_on=0)
    serial_ups.freeze()
    serial_ups.mains(mains)
    running = tolvd(env=preloaded("short_waits"))
    began = running.wait_status(mains="failed" if mains == "fail" else "good")
    files, memory = FewestOpenFiles(running.pid), daemon.memory_of(running)
    # What the UPS means is the contrary now, and is never to be read out of the noise.
    serial_ups.serial("garble on")
    losses = len(running.lines(LOST))
    serial_ups.mains("restore" if mains == "fail" else "fail")
    serial_ups.clear_log()
    wait_until(lambda: asked(serial_ups) >= ANSWERS, 200, f"{ANSWERS} answers")
    running.wait_status(ups="lost")
    garbled = len(running.lines("were garbled"))
    status = running.wait_status(ups="lost")
    assert status["pending"] == began["pending"] and recorded("shutdown") == []
    assert len(running.lines("the mains failed")) == (1 if mains == "fail" else 0)
    assert len(running.lines(LOST)) <= losses + 1 and not running.lines("mains are back")
    # Told of at most once a minute.
    minutes = (status["boot_milliseconds"] - began["boot_milliseconds"]) / MINUTE
    assert 0 < garbled <= minutes + 2
    wait_until(lambda: FewestOpenFiles(running.pid) <= files, what="no more files than before")
    assert daemon.memory_of(running) <= memory + 256
    serial_ups.serial("garble off")
    running.wait_log("the UPS answers again")
