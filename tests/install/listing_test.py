#!/usr/bin/env python3
"""What an installation consists of, and where it goes under three prefixes.

    listing_test.py SOURCE BUILD

The built folder is installed below a folder of its own (DESTDIR) and compared file by file with
expected.txt. For /usr and for a private prefix the folders that Meson would use are enough, and a
configured folder tells them. The unit that results must score 0.3 or less.
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).parent
SOURCE, BUILD = map(pathlib.Path, sys.argv[1:3])

# Tenths of what systemd-analyze calls exposure: 0 is the safest, 100 the least safe.
MOST_EXPOSURE = 3


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def options(build):
    listed = json.loads(run("meson", "introspect", "--buildoptions", str(build)))
    return {option["name"]: option["value"] for option in listed}


def folders(build, unitdir, sysusersdir):
    chosen = options(build)
    prefix = pathlib.Path(chosen["prefix"])
    names = ("bindir", "libexecdir", "datadir", "mandir")
    found = {name: str(prefix / chosen[name]) for name in names}
    return found | {"unitdir": unitdir, "sysusersdir": sysusersdir}


def expected(places):
    """Path to mode, the private folders filled in."""
    lines = (HERE / "expected.txt").read_text().splitlines()
    pairs = (line.split() for line in lines if not line.startswith("#"))
    return {path.format(**places): mode for mode, path in pairs}


def planned(build):
    """Where a configured folder would install to, without having built anything."""
    chosen = options(build)
    plan = json.loads(run("meson", "introspect", "--install-plan", str(build)))
    paths = set()
    for kind in plan.values():
        for entry in kind.values():
            places = {name: chosen[name] for name in chosen if name.endswith("dir")}
            places |= {"prefix": chosen["prefix"]}
            path = re.sub(r"\{(\w+?)(_\w+)?\}", lambda m: places[m[1]], entry["destination"])
            paths.add(str(pathlib.Path(chosen["prefix"]) / path))
    return paths


class Listing(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="install-test-")
        cls.root = pathlib.Path(cls.scratch.name) / "root"
        run("meson", "install", "-C", str(BUILD), "--no-rebuild", "--destdir", str(cls.root))
        cls.prefix = options(BUILD)["prefix"]
        cls.places = folders(
            BUILD, f"{cls.prefix}/lib/systemd/system", f"{cls.prefix}/lib/sysusers.d"
        )

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def installed(self, place):
        return pathlib.Path(str(self.root) + place.format(**self.places))

    def configured(self, prefix):
        build = pathlib.Path(self.scratch.name) / prefix.strip("/").replace("/", "-")
        run("meson", "setup", str(build), str(SOURCE), f"--prefix={prefix}", "-Dtests=disabled")
        return build

    def test_is_exactly_as_expected(self):
        files = (file for file in self.root.rglob("*") if not file.is_dir())
        found = {
            "/" + str(file.relative_to(self.root)): format(file.stat().st_mode & 0o7777, "o")
            for file in files
        }
        self.assertEqual(found, expected(self.places))

    def test_has_every_place_filled_in(self):
        for place in (
            "{unitdir}/kov_hwinv.service",
            "{sysusersdir}/kov_hwinv.conf",
            "{datadir}/dbus-1/system.d/com.vexa.kesto.kovdSupportService.conf",
            "{datadir}/doc/kov_hwinv/examples/restart-with-platform.conf",
        ):
            text = self.installed(place).read_text()
            self.assertNotRegex(text, r"@[A-Z_]+@", place)

    def test_unit_runs_the_installed_daemon(self):
        unit = self.installed("{unitdir}/kov_hwinv.service").read_text()
        self.assertIn("\nExecStart={libexecdir}/kov_hwinv/kov_hwinv\n".format(**self.places), unit)

    def test_unit_is_hardened(self):
        unit = str(self.installed("{unitdir}/kov_hwinv.service"))
        verdict = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--no-pager",
             f"--threshold={MOST_EXPOSURE}", unit],
            capture_output=True, text=True, check=False,
        )
        self.assertIn("Overall exposure level", verdict.stdout)
        self.assertEqual(verdict.returncode, 0, verdict.stdout)

    def test_prefix_of_the_system_uses_the_systems_folders(self):
        build = self.configured("/usr")
        unitdir = run("pkg-config", "--variable=systemdsystemunitdir", "systemd").strip()
        places = folders(build, unitdir, "/usr/lib/sysusers.d")
        self.check_plan(build, places)

    def test_private_prefix_touches_nothing_else(self):
        build = self.configured("/opt/private")
        places = folders(
            build, "/opt/private/lib/systemd/system", "/opt/private/lib/sysusers.d"
        )
        self.check_plan(build, places)

    def check_plan(self, build, places):
        whole_folder = "/kov_hwinv/inventories"
        files = {path for path in expected(places) if whole_folder not in path}
        self.assertEqual(planned(build), files | {places["datadir"] + whole_folder})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
