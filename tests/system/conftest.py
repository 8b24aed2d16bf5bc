from fixtures import (agent, empty_world, everyones, pytest_runtest_makereport,  # noqa
                      settings, start, status)
from tolvd import everyones_tolvd, placed, serial_ups, tolvd  # noqa
from users import other_user  # noqa
from weather import weather  # noqa
