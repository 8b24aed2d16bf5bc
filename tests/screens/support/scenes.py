"""What docs/pictures shows: for each picture what is started, what happens, which keys are typed.

The UPS of a scene stands still unless the scene moves it, so a scene looks the same every time.
"""

import collections
import contextlib
import os

import queues
import svg
import tolvd
import world
from fixtures import close_and_check
from help_painter import place_help
from screens import COMMANDS
from settings import Settings
from terminal import Terminal
from waiting import LIMIT, wait_until

LINE = "/run/ttyUPS"  # short enough for the screen's field

WARNING = "<<System is About to Shut Down>>"


class Stage(contextlib.ExitStack):
    """Everything that a scene has started; all of it ends with the scene."""

    replies = ()  # what the daemon has written once it has heard all that its UPS tells

    def agent(self):
        """A UPS behind an agent, at rest."""
        ups = world.Agent()
        self.callback(ups.stop)
        ups.freeze()
        return ups

    def serial(self):
        """A UPS on a serial line, at rest. An off-line type: its battery shows on the screen."""
        ups = world.Serial(device=LINE)
        self.callback(ups.stop)
        ups.command("standby on")
        ups.freeze()
        self.replies = tolvd.REPLIES
        return ups

    def settings(self, **changes):
        Settings(**{"snmp_ip": world.agent_address(), "com_port": LINE, **changes}).write()

    def daemon(self, *options):
        """The daemon, which has heard from its UPS and has shown its presence."""
        tolvd.require_recorders()
        running = tolvd.Tolvd(*options)
        self.callback(tolvd.end_last_deed)
        self.callback(running.close)
        running.wait_ready()
        wait_until(lambda: all(map(os.path.exists, self.replies)), what="the UPS's replies")
        wait_until(lambda: queues.count("heartbeatQueue"), what="the daemon's presence")
        return running

    def screen(self, name, keys="", quit_keys="q"):
        """A screen by its name of screens.py, with these keys typed one after the other."""
        program, *words = COMMANDS[name]
        screen = Terminal([world.bin(program), *words])
        self.callback(close_and_check, screen, quit_keys)
        screen.wait_key()
        for key in keys:
            screen.press(key)
        return screen


# --- what a frame has to show ---------------------------------------------------------------


def shows(*texts):
    """Whether a frame holds all these texts."""
    return lambda frame: all(any(text in row for row in frame.rows) for text in texts)


def is_lit(frame, text):
    """Whether this text is there, in standout."""
    places = [(row, shown.find(text)) for row, shown in enumerate(frame.rows) if text in shown]
    return any(set(range(at, at + len(text))) <= frame.standout[row] for row, at in places)


def lights(*texts):
    """Whether a frame holds all these texts in standout: alarms are so in every second pass."""
    return lambda frame: all(is_lit(frame, text) for text in texts)


def take(screen, holds=lambda frame: True, key="r"):
    """The first frame that holds what it has to, each further pass called forth by the key."""
    def Take():
        frame = svg.ReadFrame(screen)
        if holds(frame):
            return frame
        screen.press(key)
        return None
    return svg.SetAside(wait_until(Take, LIMIT, "what the picture has to show", screen.picture))


def take_local(screen, holds):
    """The same for the serial mode's local screen, which looks for the daemon in every pass."""
    def Holds(frame):
        if holds(frame):
            return True
        wait_until(lambda: queues.count("heartbeatQueue"), what="the daemon's presence")
        return False
    return take(screen, Holds)


# --- the scenes -----------------------------------------------------------------------------


def remote_rest(stage):
    stage.agent()
    stage.settings()
    return take(stage.screen("status"), shows("100%"))


def remote_failed(stage):
    ups = stage.agent()
    ups.mains("fail")
    ups.battery(62)
    ups.set("time_on_battery", 28)
    stage.settings()
    return take(stage.screen("status"), lights("AC FAILS"))


def local_rest(stage):
    stage.serial()
    stage.settings(comm_mode=0)
    stage.daemon()
    return take(stage.screen("local"), shows("100%"))


def local_failed(stage):
    ups = stage.serial()
    ups.mains("fail")
    ups.battery(18)
    stage.settings(comm_mode=0)
    stage.daemon()
    return take_local(stage.screen("local"), lights("AC FAILS", "BAT. LOW", WARNING))


def local_agent(stage):
    ups = stage.agent()
    ups.mains("fail")
    ups.battery(62)
    ups.set("time_on_battery", 28)
    stage.settings()
    stage.daemon()
    return take(stage.screen("local"), lights("AC FAILS", WARNING))


def information(stage):
    stage.agent()
    stage.settings()
    stage.daemon()
    return take(stage.screen("local"), shows("System Contact", "Calib. Date"), key="m")


def opening(stage):
    stage.settings()
    return take(stage.screen("opening"))


def editor(stage):
    stage.settings(comm_mode=0)
    return take(stage.screen("config", "d+", quit_keys="qq"), shows(" 6.0 Min."))


def editor_agent(stage):
    stage.settings()
    return take(stage.screen("config", "s"), lights("(Save Completed!)"))


def editor_schedule(stage):
    stage.settings(comm_mode=0, schedule_on=1)
    # The table takes no key, so nothing ends it but the end of its process.
    return take(stage.screen("config", "t", quit_keys=""), shows("to move cursor."))


def command_agent(stage):
    stage.agent()
    stage.settings()
    stage.daemon()
    return take(stage.screen("issuer"))


def command_serial(stage):
    stage.serial()
    stage.settings(comm_mode=0)
    stage.daemon()
    return take(stage.screen("issuer"))


def command_pending(stage):
    stage.agent()
    stage.settings()
    stage.daemon()
    return take(stage.screen("issuer", "l++++"), shows("Duration of Sleep  :  05 Minutes"))


def help_contents(stage):
    place_help()
    return take(stage.screen("help"))


def help_page(stage):
    place_help()
    return take(stage.screen("help", "14"), shows("When the power fails"))


# How a picture is made, and its words for those who do not see it.
Scene = collections.namedtuple("Scene", "draw title text")

SCENES = {
    "remote-rest": Scene(
        remote_rest, "wardenlink status, the mains are good",
        "The remote status screen. On the left the agent's address and community, Input AC Power "
        "Normal, Battery Status Normal and the two delays; on the right bars for input and output "
        "voltage, 230.0 volts each, power loading 35 percent, battery level 100 percent and input "
        "frequency 50.0 hertz."),
    "remote-failed": Scene(
        remote_failed, "wardenlink status, the mains have failed",
        "The remote status screen in a power failure: AC FAILS in standout, 28 seconds on "
        "battery, input voltage and frequency 0.0, battery level 62 percent."),
    "local-rest": Scene(
        local_rest, "wardenlink-local, a UPS on a serial port, the mains are good",
        "The local status screen of a UPS on a serial port: on the left its type, its ratings, "
        "the port, Input AC Power, Battery Status and UPS Functioning Normal, the switches and "
        "the delays; on the right the five bars."),
    "local-failed": Scene(
        local_failed, "wardenlink-local, a UPS on a serial port, the battery is nearly empty",
        "The local status screen in a power failure: AC FAILS, BAT. LOW and the warning System "
        "is About to Shut Down in standout, the battery's bar short."),
    "local-agent": Scene(
        local_agent, "wardenlink-local, a UPS behind an agent, the mains have failed",
        "The local status screen of a UPS behind an agent: AC FAILS and the warning System is "
        "About to Shut Down in standout, battery level 62 percent."),
    "information": Scene(
        information, "wardenlink-local, the information page",
        "The page of the key m: the objects of the agent by name and value, from the system's "
        "contact to the date of the last calibration, in two columns."),
    "opening": Scene(
        opening, "wardenlink-monitor, the opening screen",
        "The choice between the local and the remote UPS, with the address and the community "
        "name of the remote one, and three lines of help."),
    "editor": Scene(
        editor, "wardenlink config, a UPS on a serial port",
        "The settings editor: the three delays, the switches for the countdown display and for "
        "turning off the UPS, and the help lines. The shutdown delay was just raised to 6 "
        "minutes."),
    "editor-agent": Scene(
        editor_agent, "wardenlink config, a UPS behind an agent, just saved",
        "The settings editor with the agent's address and community name instead of the serial "
        "device, and the words Save Completed in standout."),
    "editor-schedule": Scene(
        editor_schedule, "wardenlink config, the page of the weekly schedule",
        "The settings editor after the key t while the schedule is on: its table is not shown, "
        "only the help lines are those of the table."),
    "command-agent": Scene(
        command_agent, "wardenlink-command, a UPS behind an agent",
        "The command center with eleven commands, among them Shut Down UPS, Turn On UPS, Put UPS "
        "to Sleep and Diagnostic Self Test, and below them: Press the letter of your choice."),
    "command-serial": Scene(
        command_serial, "wardenlink-command, a UPS on a serial port",
        "The command center with five commands, from 10 Seconds Test to Cancel Shut Down "
        "Command."),
    "command-pending": Scene(
        command_pending, "wardenlink-command, a command waits to be confirmed",
        "The command center with Put UPS to Sleep chosen: duration of sleep 05 minutes, the "
        "UPS's status with utility and output power, and: Press p to proceed, Esc to cancel."),
    "help-contents": Scene(
        help_contents, "wardenlink-help, the contents",
        "The help viewer with the list of topics, 1 to 7 and a to c."),
    "help-page": Scene(
        help_page, "wardenlink-help, a page",
        "The help viewer with the first page of the topic When the power fails."),
}


def paint(name):
    """The picture of a scene, from a run of its own."""
    tolvd.empty_the_world()
    scene = SCENES[name]
    with Stage() as stage:
        return svg.PaintStill(scene.draw(stage), scene.title, scene.text)
