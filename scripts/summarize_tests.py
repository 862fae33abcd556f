#!/usr/bin/env python3
"""Counts the test cases of a Meson test run and shows what failed.

    summarize_tests.py BUILD/meson-logs/testlog.json

Prints, for each failed case, the end of what its program wrote meanwhile; the last line is
`N passed, N failed`. A program that is no GoogleTest program counts as one case. A program that
fails although all its cases passed (it crashed, hung, or a sanitizer found something at its end)
counts as one failed case more. Ends with status 1 when anything failed or nothing ran.
"""

import json
import re
import sys

TAIL_LINES = 40

PASSED = re.compile(r"^\[       OK \] (\S+)", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] (\S+?),? .*\(\d+ ms\)$", re.MULTILINE)
STARTED = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)


def cases(run):
    """The names of the cases of one program that passed, and of those that failed."""
    output = run["stdout"] or ""
    passed, failed = PASSED.findall(output), FAILED.findall(output)
    if not STARTED.search(output) and run["result"] == "OK":
        return [run["name"]], []
    if run["result"] in ("FAIL", "ERROR", "TIMEOUT", "INTERRUPT", "UNEXPECTEDPASS") and not failed:
        last = (STARTED.findall(output) or [run["name"]])[-1]
        failed = [f"{last}: {run['result'].lower()}, exit status {run['returncode']}"]
    return passed, failed


def block_of(case, output):
    """What the program wrote while the case ran; everything when it ran no such case."""
    begin = output.find(f"[ RUN      ] {case}\n")
    end = output.find("\n[ RUN ", begin + 1)
    return output[max(begin, 0) : end if end > 0 else len(output)]


def show(run, failed):
    output = run["stdout"] or ""
    print(f"\nFAILED: {run['name']}")
    for case in failed:
        print(f"  {case}")
        block = block_of(case.split(": ")[0], output).rstrip()
        print("\n".join("    " + line for line in block.splitlines()[-TAIL_LINES:]))
    for line in (run.get("stderr") or "").splitlines()[-TAIL_LINES:]:
        print("    | " + line)


def main(path):
    passed_count = failed_count = 0
    with open(path, encoding="utf-8", errors="replace") as log:
        for run in map(json.loads, log):
            passed, failed = cases(run)
            passed_count += len(passed)
            failed_count += len(failed)
            if failed:
                show(run, failed)
    print(f"\n{passed_count} passed, {failed_count} failed")
    return 0 if failed_count == 0 and passed_count > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
