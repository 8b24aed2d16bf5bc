import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from fixtures import agent, daemon, pytest_runtest_makereport, settings, start, status  # noqa
