#!/usr/bin/env python3
"""The built daemon carries what makes an exploited fault harder.

    hardening_test.py DAEMON
"""

import re
import subprocess
import sys
import unittest

DAEMON = sys.argv.pop(1)


def readelf(*options):
    command = ["readelf", "--wide", *options, DAEMON]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Hardening(unittest.TestCase):
    def test_it_is_loaded_at_any_address(self):
        self.assertRegex(readelf("--file-header"), r"Type: +DYN \(Position-Independent Executable")
        self.assertRegex(readelf("--dynamic"), r"\(FLAGS_1\).*\bPIE\b")

    def test_what_the_loader_fills_in_is_read_only_afterwards(self):
        self.assertIn("GNU_RELRO", readelf("--program-headers"))
        self.assertRegex(readelf("--dynamic"), r"\(FLAGS_1\).*\bNOW\b")

    def test_no_memory_is_both_written_and_executed(self):
        segments = re.findall(r"^  (\w+) .* ([R ][W ][E ]) +0x", readelf("--program-headers"), re.MULTILINE)
        self.assertIn("GNU_STACK", dict(segments))
        self.assertEqual([segment for segment in segments if "WE" in segment[1]], [])
        self.assertNotIn("TEXTREL", readelf("--dynamic"))

    def test_functions_with_buffers_guard_their_return(self):
        self.assertIn("__stack_chk_fail", readelf("--dyn-syms"))

    def test_the_c_library_checks_the_size_of_buffers(self):
        self.assertRegex(readelf("--dyn-syms"), r"\b__\w+_chk@")


if __name__ == "__main__":
    unittest.main()
