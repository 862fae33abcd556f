#!/usr/bin/env python3
"""Which binding Meson takes: the installed one whole, or the in-tree subset whole.

    binding_choice_test.py SOURCE_FOLDER

Installed halves are stood for by pkg-config files that point at copies of the subset's headers, and
those that the machine may have are hidden; what counts is where the compiler is told to look.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1))
SUBSET = SOURCE / "subprojects/sdbus-compat"
HALVES = {"sdbusplus": "bus", "sdeventplus": "event"}


def installed_packages():
    """The pkg-config files of this machine but those of the binding; the first of a name wins."""
    command = ["pkg-config", "--variable", "pc_path", "pkg-config"]
    path = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    found = {}
    for folder in os.environ.get("PKG_CONFIG_PATH", "").split(":") + path.split(":"):
        for file in pathlib.Path(folder).glob("*.pc") if folder else []:
            found.setdefault(file.name, file)
    return [file for file in found.values() if file.stem not in HALVES]


class BindingChoice(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="binding-choice-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.pkgconfig = self.folder / "pkgconfig"
        self.pkgconfig.mkdir()
        for file in installed_packages():
            (self.pkgconfig / file.name).symlink_to(file)

    def install(self, library):
        headers = self.folder / "include" / HALVES[library]
        shutil.copytree(SUBSET / HALVES[library], headers)
        (self.pkgconfig / f"{library}.pc").write_text(
            f"Name: {library}\nDescription: {library}\nVersion: 1.0.0\n"
            f"Requires: libsystemd\nCflags: -I{headers}\n"
        )

    def configure(self, *options):
        """Ends with Meson's status; what it wrote goes into self.output."""
        environment = dict(os.environ, PKG_CONFIG_LIBDIR=str(self.pkgconfig), PKG_CONFIG_PATH="")
        build = self.folder / "build"
        run = subprocess.run(
            ["meson", "setup", build, SOURCE, "-Dtests=disabled", "-Dtools=disabled", *options],
            env=environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        self.output = run.stdout
        return run.returncode

    def origins(self, *options):
        """Where the daemon's sources find the headers of the two halves."""
        self.assertEqual(self.configure(*options), 0, self.output)
        commands = json.loads((self.folder / "build/compile_commands.json").read_text())
        command = next(c["command"] for c in commands if c["file"].endswith("intake/signals.cpp"))
        found = {}
        for library, half in HALVES.items():
            installed = str(self.folder / "include" / half) in command
            subset = f"sdbus-compat/{half}" in command
            self.assertNotEqual(installed, subset, f"{library} of both origins, or of none")
            found[library] = "installed" if installed else "subset"
        return found

    def expect(self, origin, *options):
        self.assertEqual(self.origins(*options), dict.fromkeys(HALVES, origin))

    def test_takes_the_subset_where_nothing_is_installed(self):
        self.expect("subset")

    def test_takes_what_is_installed(self):
        self.install("sdbusplus")
        self.install("sdeventplus")
        self.expect("installed", "--wrap-mode=nofallback")

    def test_takes_the_subset_when_only_sdbusplus_is_installed(self):
        self.install("sdbusplus")
        self.expect("subset")

    def test_takes_the_subset_when_only_sdeventplus_is_installed(self):
        self.install("sdeventplus")
        self.expect("subset")

    def test_takes_the_subset_for_both_when_it_is_forced_for_one(self):
        self.install("sdbusplus")
        self.install("sdeventplus")
        self.expect("subset", "--force-fallback-for=sdeventplus")

    def test_ends_where_a_half_is_missing_and_the_subset_is_not_allowed(self):
        self.install("sdbusplus")
        self.assertNotEqual(self.configure("--wrap-mode=nofallback"), 0)
        self.assertIn("sdbusplus and sdeventplus have to be installed", self.output)


if __name__ == "__main__":
    unittest.main()
