"""docs/daemon-interface.md as data: its tables, and settings, replies and messages that are made
and taken apart by nothing but them."""

import ctypes
import errno
import os
import re
import struct

import world

PATH = os.path.join(world.ROOT, "docs", "daemon-interface.md")
NUMBERS = {"int16": struct.Struct("<h"), "int32": struct.Struct("<i"),
           "float32": struct.Struct("<f")}
IPC_NOWAIT, MSG_NOERROR = 0o4000, 0o10000
ROOM = 8192  # for the longest text of a message


# --- the page ---------------------------------------------------------------------------------


def _read():
    with open(PATH, encoding="ascii") as source:
        return source.read()


TEXT = _read()


def section(heading):
    """The lines under a heading, up to the next one."""
    found = re.search(rf"(?m)^#+ {re.escape(heading)}\n(.*?)(?=^#|\Z)", TEXT, re.DOTALL)
    assert found, f"no heading {heading!r}"
    return found[1]


def _cell(text):
    """What a cell says, without the marks around a word that stands for itself."""
    text = text.removeprefix(" ").removesuffix(" ")
    quoted = re.fullmatch(r"`([^`]*)`", text)
    return quoted[1] if quoted else text.strip()


def rows(heading, table=0):
    """The rows of a table under a heading: dictionaries by the names of the columns."""
    tables = re.findall(r"(?m)(?:^\|.*\|\n)+", section(heading))
    head, _, *lines = [[_cell(cell) for cell in line[1:-1].split("|")]
                       for line in tables[table].splitlines()]
    assert lines and all(len(line) == len(head) for line in lines), heading
    return [dict(zip(head, line)) for line in lines]


def row(heading, **cells):
    """The one row in which these columns hold these texts."""
    found = [row for row in rows(heading) if cells.items() <= row.items()]
    assert len(found) == 1, f"{cells} under {heading!r}"
    return found[0]


def number(heading, pattern):
    """The number that a sentence under a heading tells, broken over lines or not."""
    found = re.search(pattern, " ".join(section(heading).split()))
    assert found, f"{pattern!r} under {heading!r}"
    return int(found[1])


def words(cell):
    """The words of a cell that stand for themselves."""
    return re.findall(r"`([^`]*)`", cell) or [cell]


# --- the settings -----------------------------------------------------------------------------

FIELDS = rows("power.ini")
TIMES = rows("Schedule")
LINES = rows("wardenlink.cfg")
EXAMPLE = re.search(r"```\n(.*?)```", section("wardenlink.cfg"), re.DOTALL)[1]
SIZE = number("power.ini", r"The file has (\d+) bytes")
RECORD = number("power.ini", r"this record of (\d+)")
DAYS = range(7)
DAY_SIZE = number("Schedule", r"entries of (\d+) bytes")


def size_of(kind):
    """Bytes of a type of the page."""
    if kind in NUMBERS:
        return NUMBERS[kind].size
    return int(re.fullmatch(r"(?:text|pad)(\d+)", kind)[1])


def _put(data, at, kind, value):
    if kind in NUMBERS:
        NUMBERS[kind].pack_into(data, at, value)
    else:
        size = size_of(kind)
        raw = value if isinstance(value, bytes) else value.encode("ascii")
        data[at:at + size] = raw.ljust(size, b"\0")[:size]


def _get(data, at, kind):
    if kind in NUMBERS:
        return NUMBERS[kind].unpack_from(data, at)[0]
    raw = bytes(data[at:at + size_of(kind)])
    return raw if kind.startswith("pad") else raw.split(b"\0")[0].decode("ascii")


def typed(kind, text):
    """The value that a cell of the page shows for a setting of this type."""
    if kind in NUMBERS:
        return float(text) if kind == "float32" else int(text)
    return b"" if kind.startswith("pad") else text


def field_names():
    return [field["field"] for field in FIELDS if field["field"]]


def defaults():
    """Every setting by its name, and the schedule: a dictionary for each day."""
    values = {field["field"]: typed(field["type"], field["default"]) for field in FIELDS
              if field["field"]}
    values["schedule"] = [{time["field"]: int(time["default"]) for time in TIMES} for _ in DAYS]
    return values


def build_record(values, padding=b""):
    """The bytes of power.ini."""
    data = bytearray(SIZE)
    for field in FIELDS:
        value = values[field["field"]] if field["field"] else padding
        _put(data, int(field["offset"]), field["type"], value)
    for day in DAYS:
        for time in TIMES:
            _put(data, RECORD + DAY_SIZE * day + int(time["offset"]), time["type"],
                 values["schedule"][day][time["field"]])
    return bytes(data)


def parse_record(data):
    """Settings as power.ini holds them, what has no meaning under the name ""."""
    assert len(data) == SIZE, f"{len(data)} bytes"
    values = {field["field"]: _get(data, int(field["offset"]), field["type"]) for field in FIELDS}
    values["schedule"] = [
        {time["field"]: _get(data, RECORD + DAY_SIZE * day + int(time["offset"]), time["type"])
         for time in TIMES} for day in DAYS]
    return values


def labels():
    return [line[:line.index("[")] for line in EXAMPLE.splitlines()]


def build_text(values, **changes):
    """The text of wardenlink.cfg; a change stands in the brackets as it is."""
    lines = []
    for label, line in zip(labels(), LINES, strict=True):
        value = changes.get(line["field"], line["written"] % values[line["field"]])
        lines.append(f"{label}[{value}]\n")
    return "".join(lines)


def parse_text(text):
    """What stands in the brackets, by the name of the field; every byte has to be in its place."""
    lines = text.splitlines()
    assert text.endswith("\n") and len(lines) == len(LINES)
    for line, label in zip(lines, labels(), strict=True):
        assert line.startswith(label + "[") and line.endswith("]"), line
    return {line["field"]: text[len(label) + 1:-1]
            for line, label, text in zip(LINES, labels(), lines, strict=True)}


# --- the programs and their files -------------------------------------------------------------

INI, CFG = (place["path"] for place in rows("Places")[1:3])
PADDING = b"\x5a\xa5"  # where the record has no meaning


def read(path):
    with open(path, "rb") as source:
        return source.read()


def write(path, data):
    with open(path, "wb") as target:
        target.write(data)


def write_settings(in_text=None, **changes):
    """Both files as the page has them: the defaults and these changes. in_text gives what stands
    in brackets, by the field, whatever it is."""
    values = {**defaults(), **changes}
    write(INI, build_record(values, PADDING))
    write(CFG, build_text(values, **(in_text or {})).encode("ascii"))
    return values


def serial_settings(**changes):
    return write_settings(
        **{"commMode": 0, "comPort": world.DEVICE, "acFailDelay": 1440, **changes})


def agent_settings(**changes):
    return write_settings(**{"commMode": 1, "snmpIp": world.agent_address(), **changes})


def open_screen(start, *command):
    screen = start([world.bin(command[0]), *command[1:]])
    screen.wait_key()
    return screen


def check_shown(screen, *texts):
    """These texts stand on the screen, however many blanks part their words."""
    cells = " ".join(" ".join(screen.lines()).split())
    assert not [text for text in texts if text not in cells], screen.picture()


# --- replies ----------------------------------------------------------------------------------


def parse_reply(heading, data):
    """The fields of a reply by their keys; whatever has no key has to be what the page says."""
    end, found = 0, {}
    for field in rows(heading):
        at, width = int(field["offset"]), int(field["length"])
        assert data[end:at] == b" " * (at - end), f"{data!r} at {end}"
        text = data[at:at + width].decode("ascii")
        end = at + width
        if field["key"]:
            found[field["key"]] = text
        elif width == 1:
            assert text == ("\r" if field["field"] == "CR" else field["field"]), f"{data!r} at {at}"
    assert end == len(data)
    return found


def build_status_reply(texts, bits="00000000"):
    """A status reply of these texts, one for each field that has a key."""
    data = bytearray(b" " * int(row("Reply files", request="Q1")["length"]))
    texts = iter(texts)
    for field in rows("Status reply"):
        text = {"(": "(", "CR": "\r", "status bits": bits}.get(field["field"]) or next(texts)
        assert len(text) == int(field["length"])
        at = int(field["offset"])
        data[at:at + len(text)] = text.encode("ascii")
    return bytes(data)


# --- queues, by system calls ------------------------------------------------------------------

_libc = ctypes.CDLL(None, use_errno=True)
_libc.msgrcv.restype = ctypes.c_ssize_t


class _Message(ctypes.Structure):
    _fields_ = [("type", ctypes.c_long), ("text", ctypes.c_char * ROOM)]


def _check(result):
    if result < 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))
    return result


def key(queue):
    """The key of a queue by its id."""
    folder = os.stat(rows("Places")[0]["path"])
    byte = int(row("Message queues", id=queue)["byte"], 16)
    return byte << 24 | (folder.st_dev & 0xff) << 16 | folder.st_ino & 0xffff


def open_queue(queue):
    """Its identifier; made as the front-end does."""
    mode = int(row("Message queues", id=queue)["mode"], 8)
    return _check(_libc.msgget(ctypes.c_int(key(queue)), 0o1000 | mode))


def state(queue):
    """Mode, owner, maker and number of messages, or None where nobody has made the queue."""
    with open("/proc/sysvipc/msg", encoding="ascii") as source:
        names, *lines = [line.split() for line in source]
    for line in lines:
        found = dict(zip(names, line))
        if int(found["key"]) == key(queue):
            return int(found["perms"], 8), int(found["uid"]), int(found["cuid"]), int(found["qnum"])
    return None


def send(queue, kind, text):
    """Puts a message on a queue."""
    data = text.encode("ascii")
    message = _Message(int(kind), data)
    _check(_libc.msgsnd(open_queue(queue), ctypes.byref(message), ctypes.c_size_t(len(data)),
                        IPC_NOWAIT))


def receive(queue):
    """Takes the oldest message, as (type, text, length); None when there is none."""
    message = _Message()
    length = _libc.msgrcv(open_queue(queue), ctypes.byref(message), ctypes.c_size_t(ROOM),
                          ctypes.c_long(0), IPC_NOWAIT | MSG_NOERROR)
    if length < 0 and ctypes.get_errno() == errno.ENOMSG:
        return None
    at = ctypes.addressof(message) + _Message.text.offset
    return message.type, ctypes.string_at(at, _check(length)).decode("ascii"), length


def drain(queue):
    """Takes all that wait, oldest first."""
    return list(iter(lambda: receive(queue), None))


def as_sent(message):
    """What a row of a table of messages looks like when it is received."""
    return int(message["type"]), message["text"], int(message["length"])
