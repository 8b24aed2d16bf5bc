"""Every screen of the program, without an agent: each pass is over at once, but for its wait."""

import contextlib

import world
from help_painter import place_help
from issuer_watch import presence
from settings import Settings

COMMANDS = {
    "status": ("wardenlink", "status"),
    "config": ("wardenlink", "config"),
    "local": ("wardenlink-local",),
    "opening": ("wardenlink-monitor",),
    "issuer": ("wardenlink-command",),
    "help": ("wardenlink-help",),
}


# Python ignores these two, and its children with it; a shell's do not.
USUAL_SIGNALS = ["env", "--default-signal=PIPE,XFSZ"]


def open_screen(start, name, shell=False, **options):
    """The screen of that name, waiting for its first key; on a shell's terminal if so wished."""
    Settings(comm_mode=0).write()
    place_help()
    program, *words = COMMANDS[name]
    command = [*USUAL_SIGNALS, world.bin(program), *words]
    with presence() if name == "issuer" else contextlib.nullcontext():
        screen = start(command, shell=shell, **options)
        screen.wait_for(screen.key_wait, what="the screen waiting for a key")
    return screen
