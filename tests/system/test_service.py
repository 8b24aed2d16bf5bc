"""The unit file: systemd can load it, and its hardening stands."""

import os
import re
import subprocess

BIN = os.environ["WARDENLINK_BIN_DIR"]


def analyze(folder, *words):
    """What systemd-analyze says of the unit; the program need not be installed for it."""
    with open(os.path.join(BIN, "wardenlink.service")) as built:
        text = re.sub(r"(?m)^ExecStart=\S+", "ExecStart=/bin/true", built.read())
    unit = folder / "wardenlink.service"
    unit.write_text(text)
    return subprocess.run(["systemd-analyze", *words, str(unit)], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=60)


def test_loads(tmp_path):
    done = analyze(tmp_path, "verify", "--man=no")
    assert (done.returncode, done.stdout) == (0, "")


def test_refuses_a_broken_one(tmp_path):
    """The check itself sees a layout that systemd does not read."""
    broken = tmp_path / "broken.service"
    broken.write_text("[Service] Type = notify ExecStart = /bin/true\n")
    done = subprocess.run(["systemd-analyze", "verify", "--man=no", str(broken)],
                          capture_output=True, text=True, timeout=60)
    assert done.returncode != 0 or done.stderr != ""


def settings():
    with open(os.path.join(BIN, "wardenlink.service")) as built:
        return re.findall(r"(?m)^(\w+)=(.*)$", built.read())


def test_no_rule_brings_a_list_of_devices():
    """One without the serial lines keeps the UPS away."""
    for name, _ in settings():
        assert name not in ("ProtectClock", "PrivateDevices", "DevicePolicy", "DeviceAllow")
    assert dict(settings())["CapabilityBoundingSet"].count("CAP_SYS_TIME") == 0


def test_starts_after_the_network_and_waits_for_nothing_else():
    assert set(dict(settings())["After"].split()) == {"network-online.target", "network.target"}


def test_is_hardened(tmp_path):
    done = analyze(tmp_path, "security", "--offline=true")
    level = re.search(r"exposure level for wardenlink.service: ([\d.]+)", done.stdout)
    assert level, done.stdout
    print(level[0])
    assert float(level[1]) <= 3.0
