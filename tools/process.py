"""What a running program waits for and holds, as the kernel tells it; and whose it is."""

import collections
import contextlib
import os
import platform
import re
import subprocess
import time

# How a program waits for a key. `fresh` is the first step of a wait (a select on the standard
# input alone), otherwise it is the read that follows; `switches` counts the waits of any kind
# since the program's start. The library polls that input while it paints: no wait for a key.
KeyWait = collections.namedtuple("KeyWait", "fresh switches")

# What a number of a call means, by machine.
CALLS = {
    "x86_64": {0: "read", 1: "write", 23: "select", 270: "select", 230: "sleep"},
    "aarch64": {63: "read", 64: "write", 72: "select", 115: "sleep"},
}
NAMES = CALLS.get(platform.machine(), {})


def ReadCall(pid):
    """The call that pid is blocked in and its first argument, or None."""
    try:
        with open(f"/proc/{pid}/syscall", encoding="ascii") as source:
            fields = source.read().split()
    except OSError:
        return None
    if len(fields) < 4 or int(fields[0]) < 0:
        return None
    return NAMES.get(int(fields[0])), int(fields[1], 16)


def ReadStatus(pid, name, base=10):
    """A number of pid's state by its name; None when pid has ended."""
    try:
        with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as source:
            found = re.search(rf"^{name}:\s*(\w+)", source.read(), re.M)
    except OSError:
        return None
    return int(found.group(1), base) if found else None


def ReadSwitches(pid):
    return ReadStatus(pid, "voluntary_ctxt_switches")


def IsKeyWait(call):
    return call in (("select", 1), ("read", 0))


def FindKeyWait(pid):
    """The wait for a key that pid is in, or None when it does anything else."""
    if not IsKeyWait(ReadCall(pid)):
        return None
    before = ReadSwitches(pid)
    call = ReadCall(pid)
    if not IsKeyWait(call) or ReadSwitches(pid) != before:
        return None
    return KeyWait(call[0] == "select", before)


def IsPausing(pid):
    """Whether pid sleeps for a time of its own."""
    call = ReadCall(pid)
    return call is not None and call[0] == "sleep"


def IsHeldUpByOutput(pid):
    """Whether pid waits until somebody takes what it writes."""
    return ReadCall(pid) == ("write", 1)


def IsWaitingForAnswer(pid):
    """Whether pid waits for another descriptor than its standard input."""
    call = ReadCall(pid)
    return call is not None and call[0] == "select" and call[1] > 1


def IsStopped(pid):
    """Whether pid stands still, as after SIGSTOP."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as source:
        return source.read().rsplit(")", 1)[1].split()[0] == "T"


def IsPending(pid, number):
    """Whether a signal was sent to pid and not taken yet."""
    waiting = [ReadStatus(pid, name, 16) or 0 for name in ("SigPnd", "ShdPnd")]
    return bool((waiting[0] | waiting[1]) >> (number - 1) & 1)


def RunningFrom(path):
    """The ids of this world's processes that run the program at path, oldest first."""
    found = []
    # Without a process table of our own, other worlds' processes are seen as well.
    world = os.readlink("/proc/self/ns/mnt")
    for name in os.listdir("/proc"):
        if not name.isdigit():
            continue
        try:
            if (os.readlink(f"/proc/{name}/ns/mnt") == world and
                    os.readlink(f"/proc/{name}/exe").removesuffix(" (deleted)") == path):
                found.append(int(name))
        except OSError:
            pass
    return sorted(found)


def Children(pid):
    """The processes that pid started and has not collected."""
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as source:
        return [int(child) for child in source.read().split()]


def MemoryKilobytes(pid):
    """Resident memory."""
    return ReadStatus(pid, "VmRSS")


def OpenFiles(pid):
    """Number of open descriptors."""
    return len(os.listdir(f"/proc/{pid}/fd"))


def FilesOf(pid):
    """What is open, by the descriptors; without those that are closed just now."""
    found = {}
    for name in os.listdir(f"/proc/{pid}/fd"):
        with contextlib.suppress(FileNotFoundError):
            found[name] = os.readlink(f"/proc/{pid}/fd/{name}")
    return found


def FewestOpenFiles(pid, looks=50):
    """The same of one that opens a file now and then: the fewest of some looks, over a second, since
    a busy machine may hold it up just then."""
    fewest = OpenFiles(pid)
    for _ in range(looks):
        time.sleep(0.02)
        fewest = min(fewest, OpenFiles(pid))
    return fewest


def OrdinaryUser():
    """The words before a command that make an ordinary user, number 65534, run it."""
    words = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    if subprocess.run([*words, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        return words
    # Root of a world that knows one user only: in an empty world nobody is left.
    return ["unshare", "--user"]


def Traced(calls, log):
    """The words before a command whose use of these calls is written into the file log."""
    # A sanitizer cannot look for leaks in a program that is traced.
    sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    return ["env", "ASAN_OPTIONS=" + sanitizer, "strace", "-o", log, "-e", f"trace={calls}"]


def Refused(calls, error, when="1+", log="/dev/null"):
    """The words before a command some of whose uses of these calls are refused, such as the third
    and all later ones, "3+", or the first two, "1..2"."""
    return [*Traced(calls, log), "-e", f"inject={calls}:error={error}:when={when}"]
