"""The five System V message queues, read and written independently of the product."""

import contextlib
import ctypes
import errno
import os

FOLDER = b"/etc/wardenlink"
NAMES = {
    "dataQueue": "1",
    "heartbeatQueue": "2",
    "daemonControlQueue": "3",
    "screenControlQueue": "4",
    "commandQueue": "5",
}
IPC_CREAT, IPC_NOWAIT, MSG_NOERROR, IPC_RMID, IPC_SET, IPC_STAT = 0o1000, 0o4000, 0o10000, 0, 1, 2

_libc = ctypes.CDLL(None, use_errno=True)
_libc.msgrcv.restype = ctypes.c_ssize_t
_libc.msgrcv.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_long,
                         ctypes.c_int]
_libc.msgsnd.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int]
_libc.msgctl.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_void_p]


class _Message(ctypes.Structure):
    _fields_ = [("type", ctypes.c_long), ("text", ctypes.c_char * 8192)]


class _Info(ctypes.Structure):
    # struct msqid_ds of 64-bit Linux.
    _fields_ = [("key", ctypes.c_int), ("uid", ctypes.c_uint), ("gid", ctypes.c_uint),
                ("cuid", ctypes.c_uint), ("cgid", ctypes.c_uint), ("mode", ctypes.c_uint),
                ("seq", ctypes.c_ushort), ("_pad", ctypes.c_ushort * 3),
                ("_reserved", ctypes.c_ulong * 2), ("stime", ctypes.c_long),
                ("rtime", ctypes.c_long), ("ctime", ctypes.c_long), ("bytes", ctypes.c_ulong),
                ("count", ctypes.c_ulong), ("most_bytes", ctypes.c_ulong),
                ("last_sender", ctypes.c_int), ("last_reader", ctypes.c_int),
                ("_reserved2", ctypes.c_ulong * 2)]


def _check(result):
    if result < 0:
        number = ctypes.get_errno()
        raise OSError(number, os.strerror(number))
    return result


def key(name):
    """The key of a queue, by its name or its id ("1" to "5")."""
    return _check_key(_libc.ftok(FOLDER, ord(NAMES.get(name, name))))


def _check_key(value):
    # A key may be negative as an int: only -1 is a failure.
    if value == -1:
        _check(-1)
    return value


def open(name):
    """The queue's identifier; the queue is made when nobody has yet."""
    return _check(_libc.msgget(key(name), IPC_CREAT | 0o666))


def exists(name):
    """Whether somebody has made the queue; does not make it."""
    if _libc.msgget(key(name), 0) >= 0:
        return True
    assert ctypes.get_errno() == errno.ENOENT
    return False


def send(name, kind, text):
    """Puts a message of type kind on the queue: text (or bytes) without a terminator."""
    data = text if isinstance(text, bytes) else text.encode("latin-1")
    message = _Message(kind)
    ctypes.memmove(ctypes.addressof(message) + _Message.text.offset, data, len(data))
    _check(_libc.msgsnd(open(name), ctypes.byref(message), len(data), IPC_NOWAIT))


def flood(name, kind, text=b"x"):
    """Sends one message after the other for ever; rests only while the queue is full."""
    queue, message = open(name), ctypes.byref(_Message(kind, text))
    size = ctypes.c_size_t(len(text))
    while _libc.msgsnd(queue, message, size, 0) == 0:
        pass


def hoard(name):
    """Takes one message after the other for ever, each as it comes."""
    queue, message = open(name), ctypes.byref(_Message())
    while _libc.msgrcv(queue, message, _Message.text.size, 0, MSG_NOERROR) >= 0:
        pass


def fill(name, kind):
    """Leaves no room, by messages as long and as few as can be."""
    drain(name)
    while left := info(name).most_bytes - info(name).bytes:
        with contextlib.suppress(BlockingIOError):  # somebody else was faster
            send(name, kind, "x" * min(left, 8192))


def receive(name, kind=0):
    """Takes the oldest message (of that type): (type, bytes), or None when there is none."""
    message = _Message()
    size = _libc.msgrcv(open(name), ctypes.byref(message), 8192, kind, IPC_NOWAIT | MSG_NOERROR)
    if size < 0:
        if ctypes.get_errno() == errno.ENOMSG:
            return None
        _check(-1)
    at = ctypes.addressof(message) + _Message.text.offset
    return message.type, ctypes.string_at(at, size)


def drain(name):
    """Takes every waiting message: a list of (type, bytes), oldest first."""
    return list(iter(lambda: receive(name), None))


def info(name):
    """Counts and permissions: .count, .bytes, .mode, .last_sender, ..."""
    found = _Info()
    while _libc.msgctl(open(name), IPC_STAT, ctypes.byref(found)) != 0:
        assert ctypes.get_errno() in (errno.EINVAL, errno.EIDRM), "it was not removed just now"
    return found


def limit(name, most_bytes):
    """Lets the queue hold so many bytes; only its owner and its maker may."""
    wanted = info(name)
    wanted.most_bytes = most_bytes
    _check(_libc.msgctl(open(name), IPC_SET, ctypes.byref(wanted)))


def count(name):
    """Number of waiting messages; 0 also for a queue nobody has made."""
    return info(name).count if exists(name) else 0


def give(name, user):
    """Makes somebody else the queue's owner; its maker keeps his rights."""
    wanted = info(name)
    wanted.uid = user
    _check(_libc.msgctl(open(name), IPC_SET, ctypes.byref(wanted)))


def make_private():
    """A queue without a key: its identifier, or None when the system has no more to give."""
    queue = _libc.msgget(0, 0o600)
    if queue < 0 and ctypes.get_errno() == errno.ENOSPC:
        return None
    return _check(queue)


def remove_number(queue):
    """Removes a queue by its identifier."""
    _check(_libc.msgctl(queue, IPC_RMID, None))


def remove(name):
    """Removes the queue if there is one."""
    if exists(name):
        remove_number(open(name))
