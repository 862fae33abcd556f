#!/usr/bin/env python3
"""One version: of the build, the package, the change log, and what the tools say.

    versions_test.py SOURCE_FOLDER VERSION TOOL...
"""

import pathlib
import re
import subprocess
import sys
import unittest

SOURCE, VERSION, TOOLS = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3:]
del sys.argv[1:]


class Versions(unittest.TestCase):
    def first(self, pattern, file):
        return re.search(pattern, (SOURCE / file).read_text(encoding="utf-8"), re.MULTILINE)[1]

    def test_the_package_has_it(self):
        self.assertEqual(self.first(r"^kov-hwinv \(([^)-]+)", "debian/changelog"), VERSION)

    def test_the_change_log_begins_with_it(self):
        self.assertEqual(self.first(r"^## (\S+)", "CHANGELOG.md"), VERSION)

    def test_the_tools_say_it(self):
        self.assertEqual(len(TOOLS), 3)
        for tool in TOOLS:
            said = subprocess.run([tool, "--version"], stdout=subprocess.PIPE, text=True, check=True)
            self.assertEqual(said.stdout, f"{pathlib.Path(tool).name} {VERSION}\n")


if __name__ == "__main__":
    unittest.main()
