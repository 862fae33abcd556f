#!/usr/bin/env python3
"""What the build option static-runtime does to the daemon's link, and where it is refused.

    static_runtime_test.py SOURCE_FOLDER

Nothing is built: what counts is how the daemon would be linked.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1))
DAEMON = "src/kov-plugins/hwinv/kov_hwinv"
RUNTIME = {"-static-libstdc++", "-static-libgcc"}


class StaticRuntime(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="static-runtime-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def run_tool(self, *command, **environment):
        return subprocess.run(
            command,
            env=dict(os.environ, **environment),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )

    def configure(self, *options, **environment):
        programs = ["-Dtests=disabled", "-Dtools=disabled"]
        build = self.folder / "build"
        return self.run_tool("meson", "setup", build, SOURCE, *programs, *options, **environment)

    def link_of_daemon(self, *options):
        """The arguments of the linker."""
        run = self.configure("--force-fallback-for=sdbus-compat", *options)
        self.assertEqual(run.returncode, 0, run.stdout)
        run = self.run_tool("ninja", "-C", self.folder / "build", "-t", "commands", DAEMON)
        link = run.stdout.strip().splitlines()[-1].split()
        self.assertIn(DAEMON, link)
        return set(link)

    def test_is_off_by_default(self):
        self.assertEqual(self.link_of_daemon() & RUNTIME, set())

    def test_links_the_runtime_into_the_daemon(self):
        self.assertEqual(self.link_of_daemon("-Dstatic-runtime=true") & RUNTIME, RUNTIME)

    def test_is_refused_with_an_installed_binding(self):
        for library, half in {"sdbusplus": "bus", "sdeventplus": "event"}.items():
            headers = SOURCE / "subprojects/sdbus-compat" / half
            (self.folder / f"{library}.pc").write_text(
                f"Name: {library}\nDescription: {library}\nVersion: 1.0.0\n"
                f"Requires: libsystemd\nCflags: -I{headers}\n"
            )
        run = self.configure("-Dstatic-runtime=true", PKG_CONFIG_PATH=str(self.folder))
        self.assertNotEqual(run.returncode, 0, run.stdout)
        self.assertIn("static-runtime needs the subset", run.stdout)


if __name__ == "__main__":
    unittest.main()
