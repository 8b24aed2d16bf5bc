"""What the checks speak with: the simulator's programs, their control channel, and SNMP version 1
encoded by hand, so that the agent is not checked by its own library.
"""

import contextlib
import os
import socket
import subprocess

from waiting import LIMIT, wait_until

ADDRESS = os.environ.get("WARDENLINK_AGENT", "192.0.2.10")
CONTROL = "/run/wardenlink-sim.sock"
UPS = "1.3.6.1.4.1.935.1.1.1."
NULL = bytes([5, 0])


def program(name):
    return os.path.join(os.environ["WARDENLINK_BIN_DIR"], "sim", name)


@contextlib.contextmanager
def launched(name, *words, **options):
    """A program of the simulator that does not outlive its test, however that ends."""
    with subprocess.Popen([program(name), *words], stdout=subprocess.PIPE, text=True,
                          **options) as process:
        try:
            yield process
        finally:
            if process.poll() is None:
                process.kill()


def field(tag, content):
    size = len(content)
    length = bytes([size]) if size < 128 else bytes([0x82, size >> 8, size & 255])
    return bytes([tag]) + length + content


def integer(number):
    size = max(1, (number.bit_length() + 8) // 8)
    return field(2, number.to_bytes(size, "big", signed=True))


def object_id(dotted):
    numbers = [int(part) for part in dotted.strip(".").split(".")]
    content = bytes([numbers[0] * 40 + numbers[1]])
    for number in numbers[2:]:
        chunk = [number & 127]
        while number > 127:
            number >>= 7
            chunk.insert(0, (number & 127) | 128)
        content += bytes(chunk)
    return field(6, content)


def request(oid, value=NULL, pdu=0xA0, number=7, community=b"public", version=0):
    binding = field(0x30, object_id(oid) + value)
    body = integer(number) + integer(0) + integer(0) + field(0x30, binding)
    return field(0x30, integer(version) + field(4, community) + field(pdu, body))


def take(data):
    """(tag, content, rest) of the first field."""
    size, start = data[1], 2
    if size & 128:
        start = 2 + (size & 127)
        size = int.from_bytes(data[2:start], "big")
    return data[0], data[start:start + size], data[start + size:]


def parse(datagram):
    """(request number, error status, error index, value tag, value) of an answer."""
    _, message, _ = take(datagram)
    _, _, rest = take(message)
    _, _, rest = take(rest)
    tag, pdu, _ = take(rest)
    assert tag == 0xA2
    numbers = []
    for _ in range(3):
        _, content, pdu = take(pdu)
        numbers.append(int.from_bytes(content, "big", signed=True))
    _, bindings, _ = take(pdu)
    _, binding, _ = take(bindings)
    _, _, value = take(binding)
    value_tag, content, _ = take(value)
    return (*numbers, value_tag, content)


def open_socket():
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.settimeout(LIMIT)
    sock.connect((ADDRESS, 161))
    return sock


def ask(oid, wait=LIMIT, **how):
    """The parsed answer, or None when none comes in time."""
    with open_socket() as sock:
        sock.settimeout(wait)
        sock.send(request(oid, **how))
        try:
            return parse(sock.recv(4096))
        except socket.timeout:
            return None


def is_silent_to(datagram, oid):
    """Whether the datagram gets no answer before the object oid does, asked after it."""
    with open_socket() as sock:
        sock.send(datagram)
        sock.send(request(oid, number=99))
        return parse(sock.recv(4096))[0] == 99


def write(oid, value):
    return ask(oid, value=value, pdu=0xA3)


def number(oid):
    _, status, _, tag, content = ask(oid)
    assert (status, tag) == (0, 2)
    return int.from_bytes(content, "big", signed=True)


class Control:
    def __init__(self, path=CONTROL):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(LIMIT)
        self.sock.connect(path)
        self.file = self.sock.makefile("r")

    def __call__(self, line):
        """The value lines of the reply and its last line."""
        self.sock.sendall(line.encode() + b"\n")
        lines = []
        while True:
            reply = self.file.readline().rstrip("\n")
            assert reply, "the channel was closed"
            if not reply.startswith("  "):
                return lines, reply
            lines.append(reply[2:])

    def do(self, line):
        lines, last = self(line)
        assert last == "ok", f"{line}: {last}"
        return lines

    def state(self):
        return dict(line.split(" ", 1) for line in self.do("state"))

    def wait_seconds(self, count):
        """Waits until so many seconds of the model's time have passed."""
        until = int(self.do("time")[0]) + count
        wait_until(lambda: int(self.do("time")[0]) >= until, what=f"{count} model seconds")

    def wait_for(self, key, value):
        wait_until(lambda: self.state()[key] == value, what=f"{key} {value}")
