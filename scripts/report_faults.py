#!/usr/bin/env python3
"""Prints a line for each fault of the catalogue and each bus, from the logs of Meson test runs.

    report_faults.py BUS=BUILD/meson-logs/testlog.json...

A line has the fault's id, the bus, how it ended, what was done, and the figures that were measured:

    B3   dbus-daemon  passed  bus killed while idle: 0.4 ms of processor time in 3 s, 6 threads

What failed is shown before, as summarize_tests.py shows it. The last line is `N passed, N failed`; a
fault that a bus cannot have is told with its reason and counts as neither. Ends with status 1 when
anything failed or nothing ran.
"""

import json
import re
import sys

sys.dont_write_bytecode = True  # the folder is part of the source tree

from summarize_tests import block_of, cases, show

NAME = re.compile(r"(?:^|\.)([BSMCRX]\d+)([A-Z]\w*)(?:/([A-Z]\w*))?")
SKIPPED = re.compile(r"^\[  SKIPPED \] (\S+?),? .*\(\d+ ms\)$", re.MULTILINE)
MEASURED = re.compile(r"^\[ MEASURED \] (.*)$", re.MULTILINE)
REASON = re.compile(r"^.*: Skipped\n(.+)$", re.MULTILINE)


def words_of(name):
    """BusKilledWhileIdle: bus killed while idle. Words in capitals stay."""
    parts = re.findall(r"[A-Z]{2,}(?=[A-Z][a-z]|\d|$)|[A-Z]?[a-z]+|[A-Z]|\d+", name)
    return " ".join(part if part.isupper() and len(part) > 1 else part.lower() for part in parts)


def line_of(bus, case, ending, run):
    block = block_of(case, run["stdout"] or "")
    found = NAME.search(case.split(": ")[0])
    fault, what = (found[1], words_of(found[2])) if found else ("-", case)
    if found and found[3]:  # one of several that a case is tried with
        what += f" ({words_of(found[3])})"
    told = MEASURED.findall(block)
    if ending == "not here":
        told = REASON.findall(block)[:1]
    return f"{fault:<4} {bus:<12} {ending:<8} {what}" + (": " + ", ".join(told) if told else "")


def order_of(line):
    section, number = re.match(r"(\D)(\d*)", line).groups()
    return ("BSMCRX-".index(section), int(number or 0))


def main(arguments):
    lines, passed_count, failed_count = [], 0, 0
    for bus, path in (argument.split("=", 1) for argument in arguments):
        with open(path, encoding="utf-8", errors="replace") as log:
            for run in map(json.loads, log):
                passed, failed = cases(run)
                passed_count += len(passed)
                failed_count += len(failed)
                if failed:
                    show(run, failed)
                lines += [line_of(bus, case, "passed", run) for case in passed]
                lines += [line_of(bus, case, "FAILED", run) for case in failed]
                skipped = SKIPPED.findall(run["stdout"] or "")
                lines += [line_of(bus, case, "not here", run) for case in sorted(set(skipped))]
    print("\n".join(sorted(lines, key=order_of)))
    print(f"\n{passed_count} passed, {failed_count} failed")
    return 0 if failed_count == 0 and passed_count > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
