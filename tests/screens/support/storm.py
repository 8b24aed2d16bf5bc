"""Storms: far more of something than anybody needs, as fast as this machine can."""

import contextlib
import json
import os
import random
import re
import select
import socket
import struct
import subprocess
import sys
import time

from waiting import LIMIT

COUNT = 50000

# A storm of datagrams goes at this pace. Who was kept from sending makes up for no more than the
# slack, and is held up for the rest: a slow machine, or one that does other things.
PACE = 60000  # a second
BATCH = 50
SLACK = 0.01  # seconds
BATCHES_PER_LOOK = 20  # at the process's sockets, and at whether it is to end
LITTLE = 0.1  # of a second; who was held up no longer has sent COUNT in it


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


def strange_datagrams(chance):
    """Some that are no answer, and some that are well-formed answers to nobody's request."""
    value = bytes.fromhex("300f060b2b060104018727010101030201020100")
    for size in (0, 1, 2, 484, 2000):
        yield chance.randbytes(size)
    for _ in range(20):
        pdu = b"\x02\x04" + struct.pack(">I", chance.getrandbits(31)) + b"\2\1\0\2\1\0\x30\x14"
        whole = b"\2\1\0\4\6public\xa2" + bytes([len(pdu) + len(value)]) + pdu + value
        yield b"\x30" + bytes([len(whole)]) + whole


def send_datagrams(pid, address, count=COUNT):
    """So many strange datagrams from this address to all the sockets of a process; how many."""
    chance = random.Random(3)
    datagrams = list(strange_datagrams(chance))
    ports = udp_ports(pid)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.bind((address, 0))
        for number in range(count if ports else 0):
            sender.sendto(datagrams[number % len(datagrams)],
                          (address, ports[number % len(ports)]))
    return count if ports else 0


def datagrams_sent():
    """By all processes of this world so far."""
    with open("/proc/net/snmp", encoding="ascii") as source:
        names, numbers = [line.split() for line in source if line.startswith("Udp:")]
    return int(numbers[names.index("OutDatagrams")])


class Sender:
    """The process behind a DatagramStorm."""

    def __init__(self, pid, addresses):
        self.pid = pid
        self.sockets = [socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in addresses]
        for sender, address in zip(self.sockets, addresses):
            sender.bind((address, 0))
        self.datagrams = list(strange_datagrams(random.Random(3)))
        self.ports, self.sent = [], 0
        self.seconds = []  # of each: datagrams a second, and seconds in which it was held up

    def look(self):
        """Whether the process has a socket, or had one: a session that is lost is opened anew."""
        self.ports = udp_ports(self.pid) or self.ports
        return self.ports != []

    def send_batch(self):
        for number in range(self.sent, self.sent + BATCH):
            sender = self.sockets[number % len(self.sockets)]
            sender.sendto(self.datagrams[number % len(self.datagrams)],
                          (sender.getsockname()[0], self.ports[number % len(self.ports)]))
            self.sent += 1

    def send_second(self):
        began, held_up, before = time.monotonic(), 0, self.sent
        due = now = began
        while now < began + 1:
            self.look()
            for _ in range(BATCHES_PER_LOOK):
                self.send_batch()
                due, now = due + BATCH / PACE, time.monotonic()
                if now > due + SLACK:
                    held_up, due = held_up + now - due, now
                time.sleep(max(0, due - now))
        self.seconds.append(((self.sent - before) / (now - began), held_up))

    def run(self):
        """Tells that it has begun; ends after the second in which its input ends."""
        if not self.look():
            sys.exit("the process has no socket")
        print("begun", flush=True)
        while not select.select([sys.stdin], [], [], 0)[0]:
            self.send_second()
        print(json.dumps(self.seconds), flush=True)


class DatagramStorm:
    """Strange datagrams from these addresses to all sockets of a process, as long as a block of a
    with statement goes on and for whole seconds."""

    def __init__(self, pid, *addresses):
        self.words = [sys.executable, __file__, str(pid), *addresses]

    def __enter__(self):
        self.process = subprocess.Popen(
            self.words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
        assert self.process.stdout.readline() == "begun\n"
        return self

    def __exit__(self, *unused):
        """Looks at its seconds, too: those that were not held up had all that was wanted."""
        assert self.process.poll() is None, "it has ended early"
        seconds = json.loads(self.process.communicate(timeout=LIMIT)[0])
        print("datagrams a second, and seconds held up:", seconds)
        assert all(rate >= COUNT for rate, held_up in seconds if held_up < LITTLE), seconds


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


if __name__ == "__main__":
    Sender(int(sys.argv[1]), sys.argv[2:]).run()
