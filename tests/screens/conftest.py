import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from fixtures import (agent, daemon, everyones, pytest_runtest_makereport, settings,  # noqa
                      start, status)
