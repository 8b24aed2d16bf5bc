"""Storms: far more of something than anybody needs, as fast as this machine can."""

import contextlib
import os
import random
import re
import socket
import struct

COUNT = 50000


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
