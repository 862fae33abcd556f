#!/usr/bin/env python3
"""scripts/bench: what it says and how it ends, without installing, building or measuring.

    bench_test.py SOURCE_FOLDER

What it would call is replaced in a copy of the script's surroundings: the programs that it starts
there say what they were told.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1))
GROUPS = re.findall(r'Group\{"(\w+)"', (SOURCE / "bench/main.cpp").read_text(encoding="utf-8"))


def program(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("#!/bin/bash\n" + text + "\n", encoding="utf-8")
    path.chmod(0o755)


class Bench(unittest.TestCase):
    def setUp(self):
        self.tree = pathlib.Path(tempfile.mkdtemp(prefix="bench-"))
        self.addCleanup(shutil.rmtree, self.tree)
        (self.tree / "scripts").mkdir()
        for name in ("bench", "ccache_settings"):
            shutil.copy(SOURCE / "scripts" / name, self.tree / "scripts")
        program(self.tree / "scripts/bootstrap", 'echo "bootstrap $*" >>calls')
        for name in ("meson", "ninja"):
            program(self.tree / "bin" / name, f'echo "{name} $*" >>calls')
        program(self.tree / "build-bench/bench/hwinv_bench", 'echo "bench:$*"')
        program(self.tree / "build-bench/bench/micro/hwinv_micro", 'echo "micro:$*"')

    def bench(self, *arguments):
        return subprocess.run(
            [self.tree / "scripts/bench", *arguments],
            env=dict(os.environ, PATH=f"{self.tree / 'bin'}:{os.environ['PATH']}"),
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )

    def calls(self):
        file = self.tree / "calls"
        return file.read_text(encoding="utf-8").splitlines() if file.exists() else []

    def test_help_tells_every_option_and_group_and_builds_nothing(self):
        run = self.bench("--help")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for word in ["--json", "--only", "--check", "--update", "--document", "--micro", *GROUPS]:
            self.assertIn(word, run.stdout)
        self.assertEqual(self.calls(), [])

    def test_the_script_and_the_program_know_the_same_groups(self):
        self.assertGreater(len(GROUPS), 8)
        text = (SOURCE / "scripts/bench").read_text(encoding="utf-8")
        listed = re.search(r"^groups=\((.*)\)$", text, re.MULTILINE)[1].split()
        self.assertEqual(sorted(listed), sorted(GROUPS))

    def test_a_wrong_command_line_ends_with_2_and_builds_nothing(self):
        for arguments in (
            ("--fast",),
            ("figures",),
            ("--only",),
            ("--only", "everything"),
            ("--json", "--micro"),
            ("--json", "--document"),
        ):
            with self.subTest(arguments):
                run = self.bench(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertRegex(run.stderr, r"^bench: .*; see scripts/bench --help\n$")
                self.assertEqual(self.calls(), [])

    def test_it_builds_a_release_and_passes_its_options_on(self):
        run = self.bench("--only", "size", "--json")
        self.assertEqual((run.returncode, run.stdout), (0, "bench:--only size --json\n"))
        bootstrap, setup, ninja = self.calls()
        self.assertEqual(bootstrap, "bootstrap --bench")
        self.assertTrue(setup.startswith("meson setup build-bench --buildtype=release "), setup)
        self.assertTrue(ninja.startswith("ninja -C build-bench "), ninja)

    def test_it_starts_the_micro_benchmarks_with_their_own_options(self):
        run = self.bench("--micro", "--benchmark_filter=log")
        self.assertEqual((run.returncode, run.stdout), (0, "micro:--benchmark_filter=log\n"))

    def test_it_puts_the_table_into_the_document_and_leaves_the_rest(self):
        document = self.tree / "docs/PERFORMANCE.md"
        document.parent.mkdir()
        document.write_text("# Before\n\n```\nold 1\nold 2\n```\n\nAfter\n", encoding="utf-8")
        run = self.bench("--document")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(
            document.read_text(encoding="utf-8"), "# Before\n\n```\nbench:\n```\n\nAfter\n"
        )

    def test_a_failed_measurement_leaves_the_document_as_it_is(self):
        document = self.tree / "docs/PERFORMANCE.md"
        document.parent.mkdir()
        document.write_text("```\nold\n```\n", encoding="utf-8")
        program(self.tree / "build-bench/bench/hwinv_bench", "exit 1")
        self.assertEqual(self.bench("--document").returncode, 1)
        self.assertEqual(document.read_text(encoding="utf-8"), "```\nold\n```\n")

    def test_a_failed_build_shows_its_output_and_measures_nothing(self):
        program(self.tree / "bin/ninja", "echo 'no compiler'; exit 1")
        run = self.bench()
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("no compiler", run.stderr)

    def test_what_the_program_ends_with_is_the_end(self):
        program(self.tree / "build-bench/bench/hwinv_bench", "exit 1")
        self.assertEqual(self.bench("--check").returncode, 1)


if __name__ == "__main__":
    unittest.main()
