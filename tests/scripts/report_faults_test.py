#!/usr/bin/env python3
"""Tests of scripts/report_faults.py: the line of each fault, and what counts."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = sys.argv.pop()


def log_of(folder, bus, stdout, result="OK"):
    run = {"name": "bus_faults", "stdout": stdout, "stderr": "", "result": result, "returncode": 0}
    path = pathlib.Path(folder) / f"{bus}.json"
    path.write_text(json.dumps(run) + "\n", encoding="utf-8")
    return f"{bus}={path}"


def case(name, ending, text=""):
    return f"[ RUN      ] {name}\n{text}{ending} {name} (12 ms)\n"


PASSED, FAILED, SKIPPED = "[       OK ]", "[  FAILED  ]", "[  SKIPPED ]"


class ReportFaults(unittest.TestCase):
    def report(self, **outputs):
        with tempfile.TemporaryDirectory() as folder:
            logs = [
                log_of(folder, bus.replace("_", "-"), text, "FAIL" if FAILED in text else "OK")
                for bus, text in outputs.items()
            ]
            done = subprocess.run([SCRIPT, *logs], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout.splitlines()

    def test_a_line_has_the_figures(self):
        text = "[ MEASURED ] 0.4 ms\n[ MEASURED ] 6 threads\n"
        status, lines = self.report(dbus_daemon=case("BusFaults.B3BusKilledWhileIdle", PASSED, text))
        self.assertEqual(
            lines,
            ["B3   dbus-daemon  passed   bus killed while idle: 0.4 ms, 6 threads", "", "1 passed, 0 failed"],
        )
        self.assertEqual(status, 0)

    def test_lines_follow_the_catalogue_and_then_the_buses(self):
        text = case("ServiceFaults.S2A", PASSED) + case("BusFaults.B11A", PASSED) + case("BusFaults.B2A", PASSED)
        _, lines = self.report(dbus_daemon=text, dbus_broker=text)
        self.assertEqual([line.split()[0] for line in lines[:6]], ["B2", "B2", "B11", "B11", "S2", "S2"])
        self.assertEqual([line.split()[1] for line in lines[:2]], ["dbus-daemon", "dbus-broker"])
        self.assertEqual(lines[-1], "6 passed, 0 failed")

    def test_a_failed_case_is_shown_before(self):
        status, lines = self.report(dbus_broker=case("BusFaults.B1NoSocket", FAILED, "the reason\n"))
        self.assertIn("    the reason", lines)
        self.assertIn("B1   dbus-broker  FAILED   no socket", lines)
        self.assertEqual(lines[-1], "0 passed, 1 failed")
        self.assertEqual(status, 1)

    def test_what_a_bus_cannot_have_counts_as_neither(self):
        text = "some_test.cpp:7: Skipped\nit has no such limit\n\n"
        status, lines = self.report(
            dbus_broker=case("BusFaults.B10FewRules", SKIPPED, text) + case("BusFaults.B1A", PASSED)
        )
        self.assertIn("B10  dbus-broker  not here few rules: it has no such limit", lines)
        self.assertEqual(lines[-1], "1 passed, 0 failed")
        self.assertEqual(status, 0)

    def test_names_with_numbers_and_shorthand_are_read(self):
        _, lines = self.report(dbus_daemon=case("On/ServiceFaults.S5TwentySetsAndSIGINT/0", PASSED))
        self.assertEqual(lines[0], "S5   dbus-daemon  passed   twenty sets and SIGINT")

    def test_what_a_case_is_tried_with_is_told(self):
        _, lines = self.report(dbus_daemon=case("Of/Services.S1Missing/SmbiosOnly", PASSED))
        self.assertEqual(lines[0], "S1   dbus-daemon  passed   missing (smbios only)")


if __name__ == "__main__":
    unittest.main()
