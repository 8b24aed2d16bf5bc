"""What a running program waits for and holds, as the kernel tells it; and whose it is."""

import collections
import os
import platform
import re
import subprocess

# How a program waits for a key. `fresh` is the first step of a wait (a select on the standard
# input alone), otherwise it is the read that follows; `switches` counts the waits of any kind
# since the program's start. The library polls that input while it paints: no wait for a key.
KeyWait = collections.namedtuple("KeyWait", "fresh switches")

# Number of the call by machine: plain reads, and the kinds of select.
CALLS = {
    "x86_64": {"read": 0, "select": 23, "pselect": 270},
    "aarch64": {"read": 63, "pselect": 72},
}
NAMES = {number: name for name, number in CALLS.get(platform.machine(), {}).items()}


def ReadCall(pid):
    """The call that pid is blocked in and its first argument, or None."""
    with open(f"/proc/{pid}/syscall", encoding="ascii") as source:
        fields = source.read().split()
    if len(fields) < 4 or int(fields[0]) < 0:
        return None
    return NAMES.get(int(fields[0])), int(fields[1], 16)


def ReadSwitches(pid):
    with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as source:
        return int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", source.read(), re.M).group(1))


def FindKeyWait(pid):
    """The wait for a key that pid is in, or None when it does anything else."""
    try:
        before = ReadSwitches(pid)
        call = ReadCall(pid)
        if call is None or ReadSwitches(pid) != before:
            return None
    except (OSError, AttributeError, ValueError):
        return None
    name, first = call
    if name in ("select", "pselect") and first == 1:
        return KeyWait(True, before)
    if name == "read" and first == 0:
        return KeyWait(False, before)
    return None


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


def MemoryKilobytes(pid):
    """Resident memory."""
    with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as source:
        return int(re.search(r"^VmRSS:\s*(\d+)", source.read(), re.M).group(1))


def OpenFiles(pid):
    """Number of open descriptors."""
    return len(os.listdir(f"/proc/{pid}/fd"))


def OrdinaryUser():
    """The words before a command that make an ordinary user, number 65534, run it."""
    words = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    if subprocess.run([*words, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        return words
    # Root of a world that knows one user only: in an empty world nobody is left.
    return ["unshare", "--user"]


def Refused(calls, error, when=1):
    """The words before a command whose when-th and later use of these calls is refused."""
    # A sanitizer cannot look for leaks in a program that is traced.
    sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    return ["env", "ASAN_OPTIONS=" + sanitizer, "strace", "-o", "/dev/null",
            "-e", f"inject={calls}:error={error}:when={when}+"]
