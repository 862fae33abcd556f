#!/usr/bin/env python3
"""scripts/install on a bare Debian: everything from nothing, and nothing left afterwards.

    install_test.py SOURCE CACHE

Needs the network, since scripts/install fetches the compiler and the libraries. A second machine
state is compared with the first: with the packages that were fetched, but before the installation.
"""

import pathlib
import shutil
import sys
import tempfile
import unittest

import machine

SOURCE, CACHE = map(pathlib.Path, sys.argv[1:3])

UNIT = "kov_hwinv.service"


class Install(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = pathlib.Path(tempfile.mkdtemp(prefix="install-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        cls.root = machine.bare_root(cls.scratch / "root", CACHE)
        source = cls.root / "opt/source"
        source.mkdir()
        for name in machine.run("git", "-C", SOURCE, "ls-files").splitlines():
            (source / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(SOURCE / name, source / name)
        shutil.copy("/etc/resolv.conf", cls.root / "etc/resolv.conf")
        cls.chroot("/opt/source/scripts/bootstrap", "--install")

    @classmethod
    def chroot(cls, *command, check=True):
        # A machine of its own as far as processes and mounts go, but not booted.
        return machine.run("systemd-nspawn", "--quiet", "--register=no", "--keep-unit", "-D",
                           cls.root, "--console=pipe", *command, check=check)

    def files(self):
        backups = {"etc/passwd-", "etc/group-", "etc/shadow-", "etc/gshadow-", "etc/.pwd.lock"}
        own = {path for path in machine.files_of(self.root) if path.startswith("opt/source/")}
        return machine.files_of(self.root) - backups - own

    def test_installs_runs_and_leaves_nothing(self):
        before = self.files()
        for _ in range(2):  # a second time over the first
            said = self.chroot("/opt/source/scripts/install")
            self.assertIn("Installed", said)
        self.chroot("/usr/local/bin/hwinv_demo")
        self.chroot("id", "kov_hwinv")
        self.chroot("systemctl", "is-enabled", UNIT)
        self.assertNotEqual(self.files(), before)

        # Without the build folder, as after a long time.
        shutil.rmtree(self.root / "opt/source/build-install")
        self.chroot("/opt/source/scripts/install", "--remove")
        self.assertEqual(self.files(), before)
        self.assertNotEqual(self.chroot("id", "kov_hwinv", check=False).returncode, 0)


if __name__ == "__main__":
    missing = machine.requirement("debootstrap", "systemd-nspawn", "git")
    if missing:
        print(f"skipped: {missing}")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
