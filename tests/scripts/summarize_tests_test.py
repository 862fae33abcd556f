#!/usr/bin/env python3
"""Tests of scripts/summarize_tests.py: what counts as passed, and what as failed."""

import json
import subprocess
import sys
import tempfile
import unittest

SCRIPT = sys.argv.pop()


def run(name, stdout="", result="OK", returncode=0, stderr=""):
    return {
        "name": name,
        "stdout": stdout,
        "stderr": stderr,
        "result": result,
        "returncode": returncode,
    }


def passed(case):
    return f"[ RUN      ] {case}\n[       OK ] {case} (0 ms)\n"


def failed(case):
    return f"[ RUN      ] {case}\nreason of {case}\n[  FAILED  ] {case} (1 ms)\n"


class SummarizeTests(unittest.TestCase):
    def summarize(self, *runs):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as log:
            log.writelines(json.dumps(each) + "\n" for each in runs)
            log.flush()
            done = subprocess.run([SCRIPT, log.name], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout

    def expect(self, runs, last_line, *texts):
        status, output = self.summarize(*runs)
        self.assertEqual(output.splitlines()[-1], last_line)
        self.assertEqual(status, 0 if last_line.endswith(", 0 failed") else 1)
        for text in texts:
            self.assertIn(text, output)

    def test_counts_cases(self):
        self.expect([run("a", passed("A.x") + passed("A.y")), run("b", passed("B.x"))],
                    "3 passed, 0 failed")

    def test_counts_another_kind_of_program_as_one(self):
        self.expect([run("a", "anything"), run("b")], "2 passed, 0 failed")

    def test_shows_why_a_case_failed(self):
        self.expect([run("a", passed("A.x") + failed("A.y") + passed("A.z"), "FAIL", 1)],
                    "2 passed, 1 failed", "FAILED: a", "A.y", "reason of A.y")

    def test_counts_a_failed_case_with_a_parameter_once(self):
        text = ("[ RUN      ] A.y/0\n[  FAILED  ] A.y/0, where GetParam() = 4 (0 ms)\n"
                "[  FAILED  ] 1 test, listed below:\n[  FAILED  ] A.y/0, where GetParam() = 4\n")
        self.expect([run("a", text, "FAIL", 1)], "0 passed, 1 failed", "A.y/0")

    def test_names_the_case_that_crashed(self):
        text = passed("A.x") + "[ RUN      ] A.y\n"
        self.expect([run("a", text, "FAIL", -11, "what it said")],
                    "1 passed, 1 failed", "A.y: fail, exit status -11", "what it said")

    def test_counts_a_time_out(self):
        self.expect([run("a", "[ RUN      ] A.y\n", "TIMEOUT", -9)],
                    "0 passed, 1 failed", "A.y: timeout")

    def test_counts_a_failure_after_the_last_case(self):
        self.expect([run("a", passed("A.x"), "FAIL", 1, "leak")],
                    "1 passed, 1 failed", "leak")

    def test_counts_another_kind_of_program_that_failed(self):
        self.expect([run("a", "", "FAIL", 3)], "0 passed, 1 failed", "a: fail, exit status 3")

    def test_no_case_at_all_is_a_failure(self):
        status, output = self.summarize()
        self.assertEqual(output.splitlines()[-1], "0 passed, 0 failed")
        self.assertEqual(status, 1)


if __name__ == "__main__":
    unittest.main()
