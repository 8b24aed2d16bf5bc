from fixtures import (agent, empty_world, everyones, pytest_runtest_makereport,  # noqa
                      settings, start, status)
from tolvd import serial_ups, tolvd  # noqa
from weather import weather  # noqa
