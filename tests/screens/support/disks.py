"""Disks with no room, or that nobody may write, below a folder of the world."""

import contextlib
import os
import subprocess

from waiting import wait_until


@contextlib.contextmanager
def small_disk(folder):
    """A disk of its own for a folder. fill() leaves no room on it, clear() makes room again."""
    class Disk:
        filler = os.path.join(folder, "filler")
        held = contextlib.ExitStack()

        def fill(self):
            with open(self.filler, "wb", buffering=0) as target, contextlib.suppress(OSError):
                while True:
                    target.write(b"x" * 512)
            # What is removed while it is open makes no room either.
            for name in os.listdir(folder):
                self.held.enter_context(open(os.path.join(folder, name), "rb"))

        def clear(self):
            self.held.close()
            os.remove(self.filler)

    os.makedirs(folder, mode=0o755, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k,mode=755", "tmpfs", folder], check=True)
    try:
        yield Disk()
    finally:
        Disk.held.close()
        subprocess.run(["umount", "-l", folder], check=True)


@contextlib.contextmanager
def read_only(folder):
    """A folder that nobody may change meanwhile, root neither."""
    def IsReadOnly():
        return subprocess.run(["mount", "-o", "remount,ro,bind", folder], check=False,
                              stderr=subprocess.DEVNULL).returncode == 0
    subprocess.run(["mount", "--bind", folder, folder], check=True)
    try:
        wait_until(IsReadOnly, what="a moment in which nobody writes there")
        yield
    finally:
        subprocess.run(["umount", "-l", folder], check=True)
