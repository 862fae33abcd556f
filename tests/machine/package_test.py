#!/usr/bin/env python3
"""The packages and the service, on a whole machine.

    package_test.py SOURCE CACHE [DEBS]

Builds both packages from the files that git knows (or takes those in DEBS), looks at them with
lintian, and installs them in a bare Debian that runs in a container with its own systemd and bus.
The simulator plays the two services there. The tests run in the order of their names: install,
service, upgrade, purge.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import sys
import tempfile
import time
import unittest

import machine

SOURCE, CACHE = map(pathlib.Path, sys.argv[1:3])
DEBS = pathlib.Path(sys.argv[3]) if len(sys.argv) > 3 else None

UNIT = "kov_hwinv.service"
NAME = "com.vexa.kesto.kovdSupportService"
PLATFORM = "com.vexa.bmc.kovd"
SMBIOS = "xyz.openbmc_project.Smbios.MDRV2"
ROOTS = ("/xyz/openbmc_project/inventory/system/board",
         "/xyz/openbmc_project/inventory/system/chassis")
ASSOCIATIONS = "xyz.openbmc_project.Association.Definitions"

# From the moment of the kill: RestartSec=5 and the start itself.
BACK_WITHIN = 6
PATIENCE = 40

# Both services are played by one process, since the simulator has one remote control on a bus.
SERVICES = {
    f"etc/systemd/system/{PLATFORM}.service": f"""
[Service]
Type=dbus
BusName={PLATFORM}
ExecStart=/usr/bin/hwinv_sim --system serve --inventory two-socket-2u
Restart=always
RestartSec=1
""",
    f"etc/systemd/system/{SMBIOS}.service": f"""
[Unit]
Requires={PLATFORM}.service
After={PLATFORM}.service
[Service]
Type=oneshot
RemainAfterExit=yes
ExecStart=/bin/true
""",
    "etc/dbus-1/system.d/services.conf": f"""<busconfig>
  <policy user="root">
    <allow own="{PLATFORM}"/>
    <allow own="{SMBIOS}"/>
    <allow own="com.vexa.hwinv.Simulator"/>
    <allow send_destination="{PLATFORM}"/>
    <allow send_destination="{SMBIOS}"/>
    <allow send_destination="com.vexa.hwinv.Simulator"/>
  </policy>
</busconfig>
""",
}


def copy_source(target):
    """The files that git knows: no build folder, nothing forgotten."""
    target.mkdir()
    names = machine.run("git", "-C", SOURCE, "ls-files").splitlines()
    for name in names:
        (target / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(SOURCE / name, target / name)
    return target


def build_packages(folder):
    source = copy_source(folder / "source")
    machine.run("dpkg-buildpackage", "-us", "-uc", "-b", cwd=source,
                env={**os.environ, "DEB_BUILD_OPTIONS": f"parallel={os.cpu_count()}"})
    return folder


def newer(package, folder):
    """The same package with a higher version."""
    tree = folder / package.stem
    machine.run("dpkg-deb", "-R", package, tree)
    control = tree / "DEBIAN/control"
    text = re.sub(r"(?m)^Version: (.*)$", r"Version: \1+next", control.read_text())
    control.write_text(text)
    target = folder / f"{package.stem}+next.deb"
    machine.run("dpkg-deb", "--root-owner-group", "-b", tree, target)
    return target


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = pathlib.Path(tempfile.mkdtemp(prefix="package-test-"))
        cls.box = None
        cls.addClassCleanup(cls.clean)
        cls.debs = DEBS or build_packages(cls.scratch)
        cls.root = machine.bare_root(cls.scratch / "root", CACHE)
        for name, text in SERVICES.items():
            (cls.root / name).write_text(text)
        cls.before = machine.files_of(cls.root)
        cls.box = machine.Container(cls.root)
        # What a boot leaves behind belongs to no package.
        cls.before |= machine.files_of(cls.root)

    @classmethod
    def clean(cls):
        if cls.box is not None:
            cls.box.poweroff()
        shutil.rmtree(cls.scratch)

    # ---- what the tests ask ----

    def packages(self):
        return sorted(file for file in self.debs.glob("*.deb") if "dbgsym" not in file.name)

    def put(self, files):
        for file in files:
            shutil.copy(file, self.root / "root")
        return [f"/root/{file.name}" for file in files]

    def pid(self):
        return int(self.box.property(UNIT, "MainPID"))

    def owner(self):
        answer = self.box.run("busctl", "--json=short", "call", "org.freedesktop.DBus",
                              "/org/freedesktop/DBus", "org.freedesktop.DBus",
                              "GetConnectionUnixProcessID", "s", NAME, check=False)
        return json.loads(answer.stdout)["data"][0] if answer.returncode == 0 else None

    def running(self):
        return (self.box.property(UNIT, "ActiveState") == "active"
                and self.owner() not in (None, 0))

    def wait_until_running(self, former=None, limit=PATIENCE):
        def back():
            return self.running() and self.owner() != former
        try:
            return machine.wait_for(back, limit, f"{UNIT} active with its name")
        except AssertionError as late:
            state = self.box.run("systemctl", "status", "--no-pager", UNIT, check=False).stdout
            raise AssertionError(f"{late}\n{state}") from None

    def lists(self):
        """What stands on the platform's objects; nothing before their service is there."""
        found = {}
        owned = self.box.run("busctl", "status", PLATFORM, check=False).returncode == 0
        if not owned:
            return found
        for root in ROOTS:
            text = self.box.run("busctl", "--json=short", "call", PLATFORM, root,
                                "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
            for path, interfaces in json.loads(text)["data"][0].items():
                value = interfaces.get(ASSOCIATIONS, {}).get("Associations", {}).get("data")
                if value:
                    found[path] = value
        return found

    def wait_until_paired(self):
        text = (SOURCE / "share/inventories/two-socket-2u/expected.json").read_text()
        expected = json.loads(text)
        wanted = expected["pcie"] | expected["processors"]
        machine.wait_for(lambda: self.lists() == wanted, PATIENCE, "all associations written")

    # ---- the tests, in order ----

    def test_1_lintian_finds_no_error(self):
        changes = sorted(self.debs.glob("*.changes"))
        self.assertEqual(len(changes), 1)
        found = machine.run("lintian", "--fail-on", "error", "--allow-root", changes[0], check=False)
        self.assertEqual(found.returncode, 0, found.stdout)

    def test_2_install_starts_the_service(self):
        self.box.run("dpkg", "-i", *self.put(self.packages()))
        self.wait_until_running()
        self.assertEqual(self.box.property(UNIT, "User"), "kov_hwinv")
        self.assertEqual(self.owner(), self.pid())
        owner_of = os.stat(f"/proc/{self.box.leader}/root/proc/{self.pid()}").st_uid
        self.assertNotEqual(owner_of, 0)
        self.wait_until_paired()
        self.box.run("systemd-analyze", "verify", "--man=no", f"/lib/systemd/system/{UNIT}")

    def test_3_log_is_in_the_journal(self):
        lines = self.box.run("journalctl", "--no-pager", "-o", "cat", "-u", UNIT, "DLOG_LEVEL=1")
        self.assertIn("starting new process", lines)

    def test_3_comes_back_after_a_kill(self):
        former = self.pid()
        self.box.run("systemctl", "kill", "--signal=KILL", UNIT)
        took = self.wait_until_running(former)
        print(f"\nback after a kill: {took:.2f} s")
        self.assertLess(took, BACK_WITHIN)

    def test_3_stop_is_clean_and_stays(self):
        begin = time.monotonic()
        self.box.run("systemctl", "stop", UNIT)
        print(f"\nstopped in {time.monotonic() - begin:.2f} s")
        self.assertEqual(self.box.property(UNIT, "ActiveState"), "inactive")
        self.assertEqual(self.box.property(UNIT, "Result"), "success")
        self.assertEqual(self.box.property(UNIT, "ExecMainStatus"), str(int(signal.SIGTERM)))
        self.box.run("systemctl", "start", UNIT)
        self.assertTrue(self.running())

    def test_3_start_that_fails_is_repeated(self):
        policy = self.root / f"usr/share/dbus-1/system.d/{NAME}.conf"
        aside = policy.with_suffix(".aside")
        policy.rename(aside)
        self.box.run("systemctl", "reload", "dbus.service")
        # An end with status 0 passes for a good start; that it is tried again is what counts.
        self.box.run("systemctl", "restart", UNIT)
        machine.wait_for(lambda: self.box.property(UNIT, "SubState") == "auto-restart", PATIENCE,
                         "the first failed start")
        self.assertEqual(self.box.property(UNIT, "ExecMainStatus"), "0")
        wanted = int(self.box.property(UNIT, "NRestarts")) + 3
        machine.wait_for(lambda: int(self.box.property(UNIT, "NRestarts")) >= wanted, PATIENCE,
                         "three more attempts")
        aside.rename(policy)
        self.box.run("systemctl", "reload", "dbus.service")
        took = self.wait_until_running()
        print(f"\nback after the name may be owned: {took:.2f} s")

    def test_3_lost_bus_brings_another_daemon(self):
        former = self.pid()
        self.box.run("systemctl", "kill", "--signal=KILL", "dbus.service")
        machine.wait_for(lambda: self.box.run("busctl", "status", check=False).returncode == 0,
                         PATIENCE, "another bus")
        took = self.wait_until_running(former)
        print(f"\nback after the bus: {took:.2f} s")
        self.wait_until_paired()

    def test_3_platform_restart_with_the_drop_in(self):
        folder = self.root / f"etc/systemd/system/{UNIT}.d"
        folder.mkdir()
        shutil.copy(self.root / "usr/share/doc/kov-hwinv/examples/restart-with-platform.conf",
                    folder)
        self.box.run("systemctl", "daemon-reload")
        self.box.run("systemctl", "reenable", UNIT)
        for command in (("systemctl", "restart", PLATFORM),
                        ("systemctl", "kill", "--signal=KILL", f"{PLATFORM}.service")):
            former = self.pid()
            self.box.run(*command)
            self.wait_until_running(former)
            self.wait_until_paired()
        self.box.run("systemctl", "stop", PLATFORM)
        self.box.run("systemctl", "start", PLATFORM)
        self.wait_until_running()
        self.wait_until_paired()
        shutil.rmtree(folder)
        self.box.run("systemctl", "daemon-reload")
        self.box.run("systemctl", "reenable", UNIT)

    def test_4_upgrade_starts_the_new_daemon(self):
        former = self.pid()
        packages = [newer(package, self.scratch) for package in self.packages()]
        self.box.run("dpkg", "-i", *self.put(packages))
        self.wait_until_running(former)
        self.wait_until_paired()

    def test_5_purge_leaves_nothing(self):
        self.box.run("systemctl", "stop", PLATFORM)
        self.box.run("dpkg", "--purge", "kov-hwinv", "kov-hwinv-tools")
        self.assertEqual(self.box.property(UNIT, "LoadState"), "not-found")
        self.assertNotEqual(self.box.run("id", "kov_hwinv", check=False).returncode, 0)
        backups = {"etc/passwd-", "etc/group-", "etc/shadow-", "etc/gshadow-", "etc/.pwd.lock"}
        self.assertEqual(machine.files_of(self.root) - self.before - backups, set())


if __name__ == "__main__":
    missing = machine.requirement("debootstrap", "systemd-nspawn", "dpkg-buildpackage", "dh",
                                  "lintian", "git")
    if missing:
        print(f"skipped: {missing}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], failfast=True, verbosity=2)
