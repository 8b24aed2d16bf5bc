import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "screens"))

from fixtures import (agent, daemon, everyones, pytest_runtest_makereport, settings,  # noqa
                      start, status)
