"""The mode of a terminal, as the program on it has set it."""

import termios


def modes(screen):
    """Which of echo and line editing are on."""
    return screen.termios()[3] & (termios.ECHO | termios.ICANON)


def read_timeout(screen):
    """The least number of bytes that a read waits for, and for how many tenths of a second."""
    special = screen.termios()[6]
    return special[termios.VMIN], special[termios.VTIME]
