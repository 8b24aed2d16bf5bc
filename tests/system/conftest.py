import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path[:0] = [os.path.join(ROOT, "tests", "screens", "support"), os.path.join(ROOT, "tools")]

from fixtures import (agent, daemon, empty_world, everyones, pytest_runtest_makereport,  # noqa
                      settings, start, status)
