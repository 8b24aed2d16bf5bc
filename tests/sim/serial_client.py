"""A client of the simulated serial line, as a daemon would be one."""

import fcntl
import os
import select
import termios
import time

from waiting import LIMIT

DEVICE = "/run/wardenlink-sim-tty"


def set_raw(fd, speed=termios.B2400):
    """8 data bits, no parity, 1 stop bit, no echo, no flow control, no modem lines."""
    terms = termios.tcgetattr(fd)
    terms[0] = terms[1] = terms[3] = 0
    terms[2] = termios.CS8 | termios.CREAD | termios.CLOCAL
    terms[4] = terms[5] = speed
    terms[6][termios.VMIN], terms[6][termios.VTIME] = 1, 0
    termios.tcsetattr(fd, termios.TCSANOW, terms)


class Client:
    def __init__(self, path=DEVICE, lock=True):
        self.fd = os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        set_raw(self.fd)
        if lock:
            fcntl.ioctl(self.fd, termios.TIOCEXCL)
        self.rest = b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.fd >= 0:
            os.close(self.fd)
        self.fd = -1

    def send(self, data):
        assert os.write(self.fd, data) == len(data)

    def _take(self, until):
        """More bytes into `rest`; false when none came in time."""
        if not select.select([self.fd], [], [], max(0.0, until - time.monotonic()))[0]:
            return False
        data = os.read(self.fd, 4096)
        assert data, "the line hung up"
        self.rest += data
        return True

    def line(self, wait=LIMIT):
        """The next line with its CR, or None when it is not whole in time."""
        until = time.monotonic() + wait
        while b"\r" not in self.rest:
            if not self._take(until):
                return None
        line, end, self.rest = self.rest.partition(b"\r")
        return line + end

    def ask(self, request, wait=LIMIT):
        self.send(request + b"\r")
        return self.line(wait)

    def ask_for(self, request, count):
        """So many bytes of a reply, and what came with them."""
        until = time.monotonic() + LIMIT
        self.send(request + b"\r")
        while len(self.rest) < count and self._take(until):
            pass
        data, self.rest = self.rest, b""
        return data

    def listen(self, seconds):
        """All that comes within that time, whole lines or not."""
        until = time.monotonic() + seconds
        while self._take(until):
            pass
        data, self.rest = self.rest, b""
        return data

    def hung_up(self):
        poll = select.poll()
        poll.register(self.fd, select.POLLIN)
        return any(events & select.POLLHUP for _, events in poll.poll(0))
