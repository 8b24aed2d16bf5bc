"""The check of the include lines, on small trees of its own: it lets the rules pass, and no
breach of one."""

import os
import shutil
import subprocess

import pytest

from world import ROOT

GOOD = {
    "base/text.h": "#pragma once\n",
    "base/text.cpp": '#include "base/text.h"\n\n#include <cstring>\n',
    "settings/tolv_lib.h": '#include "base/text.h" // copies\n',
    "ipc/tolvipc.h": '#include "settings/tolv_lib.h"\n',
    "snmp/snmplib.h": '#include "base/text.h"\n',
    "screen/frame.cpp": '#include "settings/tolv_lib.h"\n#include <curses.h>\n',
    "screen/frame.h": '#include "base/text.h"\n',
    "status/status.cpp": '#include "ipc/tolvipc.h"\n#include "screen/frame.h"\n'
                         '#include "snmp/snmplib.h"\n',
    "config/config.cpp": '#include "ipc/tolvipc.h"\n#include "screen/frame.h"\n',
    "config/config.h": "#pragma once\n",
    "front/main.cpp": '#include "config/config.h"\n\nint main(int argc, char** argv)\n{\n}\n',
    "front/one_main.cpp": '#include "front/program.h"\n\nint main(int argc, char** argv)\n{\n}\n',
    "front/program.h": "#pragma once\n",
    "daemon/main.cpp": '#include "ipc/tolvipc.h"\n\nint main()\n{\n}\n',
    "sim/driver.cpp": '#include "config/config.h"\n#include <curses.h>\n\nint main()\n{\n}\n',
}

BREACHES = {
    "upwards": ("base/system.cpp", '#include "settings/tolv_lib.h"'),
    "links beside each other": ("ipc/tolvipc.cpp", '#include "snmp/snmplib.h"'),
    "a link to the screen": ("snmp/snmplib.cpp", '#include "screen/frame.h"'),
    "the editor to the agent": ("config/config.cpp", '#include "snmp/snmplib.h"'),
    "the help to the queues": ("help/help.cpp", '#include "ipc/tolvipc.h"'),
    "a screen to another": ("status/status.cpp", '#include "config/config.h"'),
    "a screen to the front": ("status/status.cpp", '#include "front/tolvan.h"'),
    "the front to the daemon": ("front/main.cpp", '#include "daemon/policy.h"'),
    "the daemon to the screen": ("daemon/main.cpp", '#include "screen/frame.h"'),
    "the product to the simulator": ("front/main.cpp", '#include "sim/model.h"'),
    "curses on the ground": ("base/text.h", "#include <curses.h>"),
    "curses in other words": ("snmp/snmplib.cpp", "#  include <ncurses/ncurses.h>"),
    "curses in the daemon": ("daemon/main.cpp", "#include <term.h>"),
    "from the folder itself": ("base/text.cpp", '#include "text.h"'),
    "by way of a parent": ("ipc/tolvipc.h", '#include "../base/text.h"'),
    "a file that is not there": ("settings/tolv_lib.h", '#include "base/texts.h"'),
    "ours as the system's": ("ipc/tolvipc.h", "#include <base/text.h>"),
    "a name hidden in a macro": ("base/text.h", "#include HEADER"),
    "two headers in a circle": ("base/text.h", '#include "base/round.h"'),
    "two sources in a circle": ("base/text.cpp", '#include "base/round.h"'),
    "a second main": ("front/tolvan.cpp", "int main()"),
    "a main on the ground": ("base/text.cpp", "int main(int argc, char** argv)"),
    "a folder of its own": ("other/file.cpp", ""),
}
# Files that a breach leads to; each keeps the rules by itself.
TARGETS = {
    "front/tolvan.h": "",
    "daemon/policy.h": "",
    "sim/model.h": "",
    "base/round.h": '#include "base/text.h"\n',
}


def lint(folder, files):
    for name in ("lint-includes", "list-files"):
        os.makedirs(folder / "tools", exist_ok=True)
        shutil.copy(os.path.join(ROOT, "tools", name), folder / "tools")
    for name, text in files.items():
        path = folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
    return subprocess.run([folder / "tools" / "lint-includes"], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, check=False)


def test_what_keeps_the_rules_passes(tmp_path):
    result = lint(tmp_path, {**GOOD, **TARGETS})
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")


@pytest.mark.parametrize("breach", BREACHES)
def test_a_breach_is_told_with_its_file(tmp_path, breach):
    name, line = BREACHES[breach]
    files = {**GOOD, **TARGETS}
    files[name] = files.get(name, "") + line + "\n"
    result = lint(tmp_path, files)
    assert (result.returncode, result.stderr) == (1, "")
    assert len(result.stdout.splitlines()) == 1
    assert os.path.splitext(name)[0] in result.stdout


def test_the_front_end_has_a_main(tmp_path):
    result = lint(tmp_path, {name: text for name, text in GOOD.items() if "front" not in name})
    assert (result.returncode, result.stdout) == (1, "front/main.cpp has no main\n")
