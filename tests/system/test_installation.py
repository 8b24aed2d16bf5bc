"""cmake --install: everything below the prefix that is asked for, and the links below /etc."""

import os
import re
import shutil
import subprocess

import pytest

import world

PROGRAMS = ["wardenlink", "wardenlink-command", "wardenlink-help", "wardenlink-local",
            "wardenlink-monitor"]
PREFIX = "/run/prefix"


@pytest.fixture
def build():
    """The build folder behind a layer that takes what an installation writes there."""
    folder = os.path.dirname(world.bin("wardenlink"))
    for name in ("above", "work"):
        os.makedirs(f"/run/install/{name}")
    layers = f"lowerdir={folder},upperdir=/run/install/above,workdir=/run/install/work"
    mount = ["mount", "-t", "overlay", "overlay", folder, "-o"]
    # In an ordinary user's world the layer keeps its marks in another way.
    if subprocess.run([*mount, layers], check=False, stderr=subprocess.DEVNULL).returncode != 0:
        subprocess.run([*mount, layers + ",userxattr"], check=True)
    yield folder
    subprocess.run(["umount", "-l", folder], check=True)
    for path in ("/run/install", PREFIX, "/run/root"):
        shutil.rmtree(path, ignore_errors=True)


def install(build, prefix, root=""):
    subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": root})


def check_tree(prefix, root):
    """All is there, and every link leads to where it will be."""
    there = root + prefix

    def Link(path):
        return os.readlink(root + path)
    for name in PROGRAMS:
        assert os.access(f"{there}/bin/{name}", os.X_OK)
    assert os.access(f"{there}/sbin/tolvd", os.X_OK)
    for page in ("man8/wardenlink.8", "man8/tolvd.8", "man8/wardenlink-screens.8",
                 "man5/wardenlink.cfg.5"):
        assert os.path.isfile(f"{there}/share/man/{page}")
    for name in PROGRAMS[1:]:
        assert Link(f"{prefix}/share/man/man8/{name}.8") == "wardenlink-screens.8"
        assert Link(f"{prefix}/share/bash-completion/completions/{name}") == "wardenlink"
    with open(f"{there}/lib/systemd/system/wardenlink.service", encoding="ascii") as unit:
        assert re.search(rf"^ExecStart={prefix}/sbin/tolvd --foreground$", unit.read(), re.M)
    assert len(os.listdir(f"{there}/share/wardenlink/help")) == 25
    assert os.path.isfile(f"{there}/share/doc/wardenlink/help/textroot.txt")
    assert os.path.isfile(f"{there}/share/doc/wardenlink/docs/screens.md")
    assert Link("/etc/wardenlink/help") == f"{prefix}/share/wardenlink/help"
    assert Link("/etc/wardenlink/daemon") == f"{prefix}/sbin/tolvd"


def test_the_prefix_is_that_of_the_installation(build):
    before = sorted(os.listdir("/usr/local"))
    install(build, PREFIX)
    check_tree(PREFIX, "")
    assert os.path.isfile("/etc/wardenlink/help/textroot.txt"), "the viewer finds its pages"
    assert sorted(os.listdir("/usr/local")) == before
    assert sorted(os.listdir("/etc/wardenlink")) == ["daemon", "help"], "and no settings"


def test_a_root_of_its_own_takes_everything(build):
    install(build, "/usr", "/run/root")
    check_tree("/usr", "/run/root")
    assert os.listdir("/etc/wardenlink") == []


def test_an_installation_over_an_older_one_keeps_the_settings(build):
    os.makedirs("/etc/wardenlink/help")  # the pages themselves were there once
    with open("/etc/wardenlink/help/textroot.txt", "w", encoding="ascii") as target:
        target.write("old\n")
    with open("/etc/wardenlink/power.ini", "wb") as target:
        target.write(b"mine")
    install(build, PREFIX)
    install(build, PREFIX)
    check_tree(PREFIX, "")
    with open("/etc/wardenlink/power.ini", "rb") as source:
        assert source.read() == b"mine"
