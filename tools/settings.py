"""The two settings files, built and taken apart independently of the product."""

import argparse
import dataclasses
import os
import re
import struct

FOLDER = "/etc/wardenlink"
RECORD = struct.Struct("<hhff30s30s30shh2xiii")
SCHEDULE = struct.Struct("<28i")
assert RECORD.size == 120 and SCHEDULE.size == 112

# The lines of the text file: label up to the bracket, format of the value, field.
LINES = (
    ("AC Fail Delay         ( 1 ... 1440 min. )  : ", "%d", "ac_fail_delay"),
    ("Batt Low Delay        ( 1 ... 10 min.   )  : ", "%d", "batt_low_delay"),
    ("Turn Off UPS Delay    ( 0.2 ... 10 min. )  : ", "%2.1f", "ups_off_delay"),
    ("Battery Rating        ( 12.0 ... 96.0 v )  : ", "%2.1f", "battery_rating"),
    ("UPS Comport           ( /dev/xxttyxx    )  : ", "%s", "com_port"),
    ("Turn Off UPS?         ( 0 - no, 1 - yes )  : ", "%d", "turn_off_ups"),
    ("Schedule Function     ( 0 - off, 1 - on )  : ", "%d", "schedule_on"),
    ("Countdown Function    ( 0 - off, 1 - on )  : ", "%d", "countdown_on"),
    ("Communication Mode    ( 0-Port, 1-SNMP  )  : ", "%d", "comm_mode"),
    ("SNMP IP Address       ( xxx.xxx.xxx.xxx )  : ", "%s", "snmp_ip"),
    ("SNMP Community Name   ( e.g. public     )  : ", "%s", "snmp_community"),
)


@dataclasses.dataclass
class Settings:
    """Every field of both files; the schedule is seven lists of start hour and minute,
    shutdown hour and minute, Sunday first, -1 for no event."""

    ac_fail_delay: int = 5
    batt_low_delay: int = 1
    ups_off_delay: float = 3.0
    battery_rating: float = 0.0
    com_port: str = "/dev/ttyS1"
    snmp_ip: str = "127.0.0.1"
    snmp_community: str = "public"
    schedule_on: int = 0
    countdown_on: int = 1
    comm_mode: int = 1
    turn_off_ups: int = 1
    reserved: int = 0
    schedule: list = dataclasses.field(default_factory=lambda: [[-1] * 4 for _ in range(7)])

    def record(self):
        """The 232 bytes of power.ini."""
        texts = [t.encode("latin-1") for t in (self.com_port, self.snmp_ip, self.snmp_community)]
        return RECORD.pack(
            self.ac_fail_delay, self.batt_low_delay, self.ups_off_delay, self.battery_rating,
            *texts, self.schedule_on, self.countdown_on, self.comm_mode, self.turn_off_ups,
            self.reserved) + SCHEDULE.pack(*[number for day in self.schedule for number in day])

    def text(self):
        """The eleven lines of wardenlink.cfg."""
        return "".join(f"{label}[{form % getattr(self, field)}]\n"
                       for label, form, field in LINES)

    def write(self, folder=FOLDER):
        """Writes both files; returns self."""
        for name, data in (("power.ini", self.record()),
                           ("wardenlink.cfg", self.text().encode("latin-1"))):
            with open(os.path.join(folder, name), "wb") as target:
                target.write(data)
        return self


def parse_record(data):
    """Settings from the bytes of power.ini, which must be exactly as long as they ought to."""
    assert len(data) == RECORD.size + SCHEDULE.size, f"power.ini has {len(data)} bytes"
    fields = list(RECORD.unpack(data[:RECORD.size]))
    fields[4:7] = [text.split(b"\0")[0].decode("latin-1") for text in fields[4:7]]
    numbers = SCHEDULE.unpack(data[RECORD.size:])
    return Settings(*fields, [list(numbers[at:at + 4]) for at in range(0, 28, 4)])


def parse_text(text):
    """The values of wardenlink.cfg as texts by field; every byte of it must be in its place."""
    lines = text.split("\n")
    assert lines.pop() == "" and len(lines) == len(LINES), f"{len(lines)} lines"
    values = {}
    for line, (label, _, field) in zip(lines, LINES):
        found = re.fullmatch(re.escape(label) + r"\[([^\[\]]*)\]", line)
        assert found, f"line of {field}: {line!r}"
        values[field] = found.group(1)
    return values


def read(folder=FOLDER):
    """Settings as power.ini in folder holds them."""
    with open(os.path.join(folder, "power.ini"), "rb") as source:
        return parse_record(source.read())


def read_text(folder=FOLDER):
    """The values of wardenlink.cfg in folder as texts by field."""
    with open(os.path.join(folder, "wardenlink.cfg"), encoding="latin-1") as source:
        return parse_text(source.read())


def main():
    parser = argparse.ArgumentParser(description="Writes both settings files.")
    parser.add_argument("--folder", default=FOLDER)
    for field in dataclasses.fields(Settings):
        if field.name != "schedule":
            parser.add_argument("--" + field.name.replace("_", "-"), type=field.type,
                                default=field.default)
    words = vars(parser.parse_args())
    folder = words.pop("folder")
    Settings(**words).write(folder)


if __name__ == "__main__":
    main()
