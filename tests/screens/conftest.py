from fixtures import (agent, daemon, empty_world, everyones, pytest_runtest_makereport,  # noqa
                      settings, start, status)
