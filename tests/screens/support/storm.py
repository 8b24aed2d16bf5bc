"""Storms: far more of something than anybody needs, as fast as this machine can."""

import contextlib
import mmap
import os
import random
import re
import socket
import struct
import time

from stopwatch import Stopwatch
from users import end, spawn
from waiting import wait_until

COUNT = 50000

# A storm of datagrams that goes on has this pace, on a machine that is fast enough: answers are to
# come through now and then.
PACE = 60000  # a second
BATCH = 50
SLACK = 0.01  # seconds by which it may lag behind
LOOK = 1000  # after so many it looks for the process's sockets


def udp_ports(pid):
    """The ports of a process's datagram sockets; none once it has ended."""
    inodes = set()
    with contextlib.suppress(OSError):  # a file that was closed meanwhile
        for name in os.listdir(f"/proc/{pid}/fd"):
            found = re.match(r"socket:\[(\d+)\]", os.readlink(f"/proc/{pid}/fd/{name}"))
            if found:
                inodes.add(found[1])
    with open("/proc/net/udp", encoding="ascii") as source:
        lines = [line.split() for line in list(source)[1:]]
    return [int(line[1].split(":")[1], 16) for line in lines if line[9] in inodes]


def arrived_datagrams():
    """How many came to a socket of this world so far: those that were read, and those that had no
    room to wait in."""
    with open("/proc/net/snmp", encoding="ascii") as source:
        names, numbers = [line.split()[1:] for line in source if line.startswith("Udp:")]
    counts = dict(zip(names, map(int, numbers)))
    return counts["InDatagrams"] + counts["RcvbufErrors"]


def strange_datagrams(chance):
    """Some that are no answer, and some that are well-formed answers to nobody's request."""
    value = bytes.fromhex("300f060b2b060104018727010101030201020100")
    for size in (0, 1, 2, 484, 2000):
        yield chance.randbytes(size)
    for _ in range(20):
        pdu = b"\x02\x04" + struct.pack(">I", chance.getrandbits(31)) + b"\2\1\0\2\1\0\x30\x14"
        whole = b"\2\1\0\4\6public\xa2" + bytes([len(pdu) + len(value)]) + pdu + value
        yield b"\x30" + bytes([len(whole)]) + whole


class Sender:
    """Strange datagrams from these addresses, in turn, to all sockets of a process."""

    def __init__(self, pid, *addresses):
        self.pid, self.sent = pid, 0
        self.ports = wait_until(lambda: udp_ports(pid), what="a socket of the process")
        self.sockets = [socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in addresses]
        for sender, address in zip(self.sockets, addresses):
            sender.bind((address, 0))
        self.datagrams = list(strange_datagrams(random.Random(3)))

    def send(self, count):
        """So many, as fast as can be; to new sockets, too, for a lost session is opened anew."""
        for number in range(self.sent, self.sent + count):
            if number % LOOK == 0:
                self.ports = udp_ports(self.pid) or self.ports
            sender = self.sockets[number % len(self.sockets)]
            sender.sendto(self.datagrams[number % len(self.datagrams)],
                          (sender.getsockname()[0], self.ports[number % len(self.ports)]))
        self.sent += count

    def send_for_ever(self, shown):
        """At the pace, or slower: who was held up does not make up for it. shown: a place for the
        number of those that were sent."""
        due = time.monotonic()
        while True:
            self.send(BATCH)
            struct.pack_into("q", shown, 0, self.sent)
            due = max(due + BATCH / PACE, time.monotonic() - SLACK)
            time.sleep(max(0, due - time.monotonic()))


@contextlib.contextmanager
def looked_after(sent):
    """In such a block sent() grows. Tells how fast it did, for that is the machine's, and sees that
    most of those datagrams arrived."""
    arrived, took = arrived_datagrams(), Stopwatch()
    yield
    arrived, count = arrived_datagrams() - arrived, sent()
    print(f"{count} datagrams, {count / took.passed():.0f} a second; {arrived} arrived")
    assert arrived > count / 2, "the others may have come to a session that was over"


@contextlib.contextmanager
def datagram_storm(pid, *addresses):
    """Strange datagrams by a process of its own, as long as a block of a with statement goes on.
    Gives a function that tells how many were sent so far."""
    shown = mmap.mmap(-1, mmap.PAGESIZE)  # with the process

    def sent():
        return struct.unpack_from("q", shown)[0]
    sender = spawn(lambda: Sender(pid, *addresses).send_for_ever(shown))
    try:
        with looked_after(sent):
            yield sent
    finally:
        end(sender)
        shown.close()


def send_signals(pid, signals, count=COUNT):
    for number in range(count):
        os.kill(pid, signals[number % len(signals)])


def fill(path):
    """Leaves no room in a datagram socket for anybody's next message."""
    with contextlib.suppress(BlockingIOError):
        while True:
            with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                sender.setblocking(False)
                sender.sendto(b"x", path)
