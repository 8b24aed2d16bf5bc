"""A program on a pseudo-terminal of its own, and what its screen shows.

Rows and columns count from 0. A thread takes in everything the program writes, so that the
program never waits for its terminal, whatever the test does meanwhile.
"""

import contextlib
import fcntl
import os
import select
import signal as signals
import termios
import threading
import time

import pexpect
import pyte

from process import FindKeyWait, IsPausing, IsPending, IsWaitingForAnswer, ReadSwitches
from waiting import LIMIT, wait_until

TIOCGPTPEER = 0x5441  # opens the terminal that belongs to a master

LIVE = []  # terminals not yet closed, for the report of a failed test


class Stream(pyte.Stream):
    """With two sequences more: xterm repeats a character, and keeps the title of its window."""

    csi = {**pyte.Stream.csi, "b": "repeat_character", "t": "change_window"}
    events = pyte.Stream.events | {"repeat_character", "change_window"}


class LinuxScreen(pyte.Screen):
    """pyte's screen with the Linux console's own ways, and a list of what it did not know."""

    def __init__(self, columns, lines):
        self.unknown = []
        self._last = ""
        super().__init__(columns, lines)

    def draw(self, data):
        super().draw(data)
        self._last = data[-1:]

    def repeat_character(self, count=1):
        super().draw(self._last * (count or 1))

    def change_window(self, *unused):
        pass

    def debug(self, *args, **kwargs):
        self.unknown.append((args, kwargs))

    def select_graphic_rendition(self, *attrs, **kwargs):
        # 10, 11 and 12 choose the console's fonts; they have no rendition here.
        super().select_graphic_rendition(*[a for a in attrs if a not in (10, 11, 12)] or [0])

    def erase_in_line(self, how=0, private=False):
        self._end_pending_wrap()
        super().erase_in_line(how, private)

    def erase_in_display(self, how=0, *args, **kwargs):
        self._end_pending_wrap()
        super().erase_in_display(how, *args, **kwargs)

    def _end_pending_wrap(self):
        # After the last column was written the console's cursor still stands on it.
        self.cursor.x = min(self.cursor.x, self.columns - 1)


class Terminal:
    """Starts command (a list, or a text for the shell's line when shell=True)."""

    def __init__(self, command, rows=25, cols=80, env=None, cwd=None, shell=False, term="linux"):
        self.rows, self.cols = rows, cols
        self.raw = b""
        self.shell = shell
        self._lock = threading.RLock()
        self._ending = os.eventfd(0)
        self._gone = False
        self._screen = LinuxScreen(cols, rows)
        self._stream = Stream(self._screen)
        environment = dict(os.environ, TERM=term, LANG="C", LC_ALL="C", HISTFILE="/dev/null")
        environment.pop("LINES", None)
        environment.pop("COLUMNS", None)
        environment.update(env or {})
        argv = list(command)
        if shell:
            environment["PS1"] = "$ "
            argv = ["/bin/bash", "--norc", "--noprofile", "--noediting", "-i"]
        self._child = pexpect.spawn(argv[0], argv[1:], dimensions=(rows, cols), env=environment,
                                    cwd=cwd)
        self._child.delaybeforesend = None
        self.pid = self._child.pid
        self._thread = threading.Thread(target=self._take_in, daemon=True)
        self._thread.start()
        LIVE.append(self)
        if shell:
            self.wait_for(lambda: b"$ " in self.raw, what="the shell's prompt")
            if command:
                line = command if isinstance(command, str) else " ".join(command)
                self.send(line + "\n")

    # --- taking in ---------------------------------------------------------------------

    def _take_in(self):
        while not self._gone:
            if self._ending in select.select([self._child.child_fd, self._ending], [], [])[0]:
                return
            self._take_in_all()

    def _take_in_all(self):
        """Takes in what the program has written up to now."""
        fd = self._child.child_fd
        with self._lock:
            while not self._gone and select.select([fd], [], [], 0)[0]:
                try:
                    data = os.read(fd, 65536)
                except OSError:
                    data = b""
                if not data:
                    self._gone = True
                    return
                self.raw += data
                # One byte is one cell: no character set is in use on these screens.
                self._stream.feed(data.decode("latin-1"))

    def clear_raw(self):
        """Forgets the bytes received so far (the screen stays); returns them."""
        with self._lock:
            data, self.raw = self.raw, b""
            return data

    # --- looking -----------------------------------------------------------------------

    def lines(self):
        """All rows, each exactly as wide as the screen."""
        with self._lock:
            return [self.row(r) for r in range(self.rows)]

    def row(self, r):
        return self.cells(r, 0, self.cols)

    def cells(self, r, c, n):
        """n cells of row r from column c."""
        with self._lock:
            row = self._screen.buffer[r]
            return "".join(row[i].data for i in range(c, c + n))

    def standout(self, r):
        """The columns of row r that are shown in reverse, blanks included."""
        with self._lock:
            row = self._screen.buffer[r]
            # Where TERM is screen's, the italics are its standout.
            return {c for c in range(self.cols) if row[c].reverse or row[c].italics}

    def standout_cells(self, r, c0, c1):
        """Whether the cells c0 to c1, both included, are all shown in reverse."""
        return set(range(c0, c1 + 1)) <= self.standout(r)

    @property
    def cursor(self):
        with self._lock:
            return self._screen.cursor.y, min(self._screen.cursor.x, self.cols - 1)

    @property
    def unknown(self):
        """Control sequences that were not understood; the screen may then be wrong."""
        return list(self._screen.unknown)

    def picture(self):
        """The whole screen as text, reverse cells underlined by '~', for messages."""
        with self._lock:
            shown = []
            for r, text in enumerate(self.lines()):
                shown.append(f"{r:2} |{text}|")
                marks = self.standout(r)
                if marks:
                    under = "".join("~" if c in marks else " " for c in range(self.cols))
                    shown.append("   |" + under + "|")
            state = "running" if self.alive() else "ended"
            return "\n".join(shown + [f"cursor {self.cursor}, {state}"])

    # --- waiting -----------------------------------------------------------------------

    def wait_for(self, predicate, timeout=LIMIT, what="the condition"):
        """Waits until predicate() is true and returns its value."""
        return wait_until(predicate, timeout, what, self.picture)

    def wait_text(self, r, c, text, timeout=LIMIT):
        """Waits until text stands at (r, c)."""
        self.wait_for(lambda: self.cells(r, c, len(text)) == text, timeout,
                      f"{text!r} at ({r}, {c})")

    def wait_raw(self, data, timeout=LIMIT):
        """Waits until the bytes data were written since the start (or since clear_raw)."""
        self.wait_for(lambda: data in self.raw, timeout, f"output {data!r}")

    def wait_prompt(self, timeout=LIMIT):
        """Waits until the shell that was started with shell=True has written its prompt last."""
        self.wait_for(lambda: self.raw.endswith(b"$ "), timeout, "the shell's prompt")

    def key_wait(self):
        """How the program waits for a key just now: see process.FindKeyWait."""
        program = self._program()
        return FindKeyWait(program) if program else None

    def _program(self):
        """The program's process, or None while the shell has not started it or has it back."""
        if not self.shell:
            return self.pid
        foreground = self._foreground()
        return foreground if foreground != self.pid else None

    def wait_key(self, timeout=LIMIT):
        """Waits until the program waits for a key: all it had to paint is painted."""
        return self._wait_until_waiting(lambda wait: True, timeout, "the program waiting for a key")

    def wait_paint(self, timeout=LIMIT):
        """Waits for a whole pass that began after this call and is painted to its end.

        A pass that changes no cell writes nothing, so the program's own waiting is watched,
        not its output: a new wait for a key has begun since the one that is on now. Returns a
        moment of time.monotonic(), the last one at which that wait was seen not to have begun.
        """
        looks = [time.monotonic()]
        before = self.wait_key(timeout)

        def IsNew(wait):
            # From the select of one wait its own read comes next: that is no new wait yet.
            return wait.switches > before.switches and (wait.fresh or not before.fresh)
        self._wait_until_waiting(IsNew, timeout, "a whole pass", looks)
        return looks[-2]

    def wait_pause(self, after=-1, timeout=LIMIT):
        """Waits until the program is in a pause of its own, which no key ends.

        Returns a number for `after`, which then means a later pause.
        """
        def FindPause():
            switches = ReadSwitches(self.pid) or -1
            return switches if switches > after and IsPausing(self.pid) else None
        found = self.wait_for(FindPause, timeout, "the program's pause")
        self._take_in_all()
        return found

    def wait_request(self, timeout=LIMIT):
        """Waits until the program waits for an agent's answer."""
        self.wait_for(lambda: IsWaitingForAnswer(self.pid), timeout, "a request")

    def press(self, keys, timeout=LIMIT):
        """Types keys and waits until the pass that took the last of them is painted."""
        self.wait_key(timeout)
        self.send(keys)
        self._wait_taken(timeout)
        self.wait_key(timeout)

    def _wait_taken(self, timeout):
        """Waits until the program has read every key typed up to now."""
        with self._peer() as peer:
            # Asking the terminal also delivers what is still on its way through the kernel.
            self.wait_for(lambda: not select.select([peer], [], [], 0)[0], timeout,
                          "the program reading its keys")

    @contextlib.contextmanager
    def _peer(self):
        """The terminal as the program has it."""
        peer = fcntl.ioctl(self._child.child_fd, TIOCGPTPEER,
                           os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        try:
            yield peer
        finally:
            os.close(peer)

    def _wait_until_waiting(self, is_wanted, timeout, what, looks=None):
        """Waits for such a wait for a key; each look at the program adds its moment to looks."""
        def FindWanted():
            if looks is not None:
                looks.append(time.monotonic())
            now = self.key_wait()
            if now and is_wanted(now):
                return now
            if not self.alive():
                raise AssertionError("the program ended\n" + self.picture())
            return None
        found = self.wait_for(FindWanted, timeout, what)
        self._take_in_all()
        return found

    # --- acting ------------------------------------------------------------------------

    def send(self, keys):
        """Types keys (text or bytes)."""
        data = keys if isinstance(keys, bytes) else keys.encode("latin-1")
        while data:
            data = data[os.write(self._child.child_fd, data):]

    def broadcast(self, r, c, text):
        """Writes text at (r, c) as another program would, behind the back of the one watched."""
        with open(f"/proc/{self.pid}/fd/1", "w", encoding="ascii") as terminal:
            terminal.write(f"\x1b[{r + 1};{c + 1}H{text}\x1b[25;80H")
        self.wait_text(r, c, text)

    def resize(self, rows, cols):
        with self._lock:
            self.rows, self.cols = rows, cols
            self._screen.resize(rows, cols)
            self._child.setwinsize(rows, cols)

    def hold_output(self, on=True):
        """What the program writes is taken by nobody from now on, or it flows again."""
        with self._peer() as peer:
            termios.tcflow(peer, termios.TCOOFF if on else termios.TCOON)

    def signal(self, sig):
        """Sends sig to the program itself and waits until it was delivered there; with shell=True
        to the foreground group, and waits for nothing."""
        if self.shell:
            os.killpg(self._foreground(), sig)
            return
        os.kill(self.pid, sig)
        self.wait_for(lambda: not IsPending(self.pid, sig) or not self.alive(),
                      what=f"signal {sig} taken")

    def termios(self):
        """The terminal's attributes, as termios.tcgetattr gives them."""
        return termios.tcgetattr(self._child.child_fd)

    def alive(self):
        # ptyprocess calls a child that somebody else reaped an error: it has ended, too.
        try:
            return self._child.isalive()
        except pexpect.ExceptionPexpect:
            return False

    def wait_exit(self, timeout=LIMIT):
        """Waits for the end: the exit status, or minus the signal's number."""
        self.wait_for(lambda: not self.alive(), timeout, "the end of the program")
        # The terminal is hung up with its first program: what was written comes to an end, too.
        self._thread.join(LIMIT)
        assert not self._thread.is_alive(), "its terminal is still in use"
        if self._child.signalstatus is not None:
            return -self._child.signalstatus
        return self._child.exitstatus

    def close_master(self):
        """The terminal goes away, as when a connection is lost; the program may live on."""
        if self._child.child_fd < 0:
            return
        os.eventfd_write(self._ending, 1)
        self._thread.join()
        os.close(self._ending)
        self._gone = True
        self._child.ptyproc.fileobj.close()
        self._child.child_fd = self._child.ptyproc.fd = -1

    def close(self):
        """Ends the program, whatever it does, and gives the terminal back."""
        if self in LIVE:
            LIVE.remove(self)
        if self.alive():
            for group in {self.pid, self._foreground()} - {None}:
                try:
                    os.killpg(group, signals.SIGKILL)
                except OSError:
                    pass
            self.wait_exit()
        self.close_master()

    def _foreground(self):
        try:
            return os.tcgetpgrp(self._child.child_fd) or None
        except OSError:
            return None

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()
