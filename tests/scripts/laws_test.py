#!/usr/bin/env python3
"""Checks those laws of docs/TESTING.md that a script can check; each breach is one line.

    laws_test.py SOURCE_FOLDER
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
FLOORS = ROOT / "src/kov-plugins/hwinv"
UNIT = ROOT / "tests/unit"

# Where the sources lie that the tests of a folder belong to.
SOURCES = {
    **{
        floor: [FLOORS / floor]
        for floor in ("base", "store", "bus", "engines", "objects", "intake", "frame")
    },
    "platform": [ROOT / "src/platform/dlog", ROOT / "src/platform/infrautils"],
    "child": [ROOT / "tools/child"],
    "rig": [ROOT / "tools/rig"],
    "sim": [ROOT / "tools/sim", ROOT / "tools/hwinv_sim"],
    "demo": [ROOT / "tools/hwinv_demo"],
    "inspect": [ROOT / "tools/inspect"],
    "bench": [ROOT / "bench"],
}

# Tests of something else than a source: files, or folders.
OF_NO_SOURCE = {
    "model": "the whole daemon",
    "sim/hwinv_sim_test.cpp": "the program",
    "sim/shipped_inventories_test.cpp": "share/inventories",
}

# Sources without a test file of their own, and what covers them.
COVERED_ELSEWHERE = {
    "base/clock.cpp": "the slow suite; everything else takes a double in its place",
    "base/heap.cpp": "one call of the C library",
    "bus/connection.cpp": "the bus suite: it needs a bus",
    "intake/discovery.cpp": "the bus suite: it needs a bus with services",
    "objects/kept_properties.cpp": "the tests of the inserts, its only callers",
    "store/one_piece.cpp": "interleavings_test.cpp and workers_threads_test.cpp",
    "inspect/picture_page.cpp": "tests/scripts/page_test.py: it needs a browser",
}

# Folders each source of which has a test file, or is listed above.
TESTED_WHOLE = [
    FLOORS / floor
    for floor in ("base", "store", "bus", "engines", "objects", "intake", "frame")
] + [ROOT / "tools/inspect"]

SLEEP = re.compile(r"\b(sleep_for|sleep_until|usleep|nanosleep)\s*\(|\bsleep\(\s*\w|\bpoll\(nullptr, 0,")

STARTS = re.compile(r"\b(exec[lv]p?e?|posix_spawnp?|popen)\(")


def files(folder, *suffixes):
    return sorted(file for file in (ROOT / folder).rglob("*") if file.suffix in suffixes)


def name_of(file):
    return str(file.relative_to(ROOT))


def unexplained_sleeps():
    for file in files("bench", ".cpp") + files("tests", ".cpp", ".hpp") + files("tools", ".cpp", ".hpp"):
        before = ""
        for number, line in enumerate(file.read_text().splitlines(), 1):
            code, _, comment = line.partition("//")
            if SLEEP.search(code) and not comment and not before.strip().startswith("//"):
                yield f"{name_of(file)}:{number}: a sleep without a comment that says why"
            before = line


def programs_started_elsewhere():
    for file in files("tests", ".cpp", ".hpp") + files("tools", ".cpp", ".hpp"):
        if file.parent != ROOT / "tools/child" and STARTS.search(file.read_text()):
            yield f"{name_of(file)}: starts a program otherwise than with tools/child"


def source_of(test):
    """The source whose name the test's name begins with; the longest one."""
    stem = test.stem.removesuffix("_test")
    sources = {
        file.stem: file
        for folder in SOURCES[test.parent.name]
        for file in folder.glob("*.[ch]pp")
        if file.suffix == ".cpp" or not file.with_suffix(".cpp").exists()
    }
    fitting = [name for name in sources if stem == name or stem.startswith(name + "_")]
    return sources[max(fitting, key=len)] if fitting else None


def tests_and_sources():
    tested = set()
    for test in sorted(UNIT.rglob("*_test.cpp")):
        if test.parent.name in OF_NO_SOURCE or str(test.relative_to(UNIT)) in OF_NO_SOURCE:
            continue
        source = source_of(test)
        if source is None:
            yield f"{name_of(test)}: no source has this name"
        tested.add(source)
    for folder in TESTED_WHOLE:
        for source in sorted(folder.glob("*.cpp")):
            elsewhere = str(source.relative_to(folder.parent)) in COVERED_ELSEWHERE
            if elsewhere == (source in tested):
                yield f"{name_of(source)}: " + (
                    "has a test file, and is listed as covered elsewhere"
                    if elsewhere
                    else "has no test file in tests/unit"
                )


def stale_exceptions():
    for test in OF_NO_SOURCE:
        if not (UNIT / test).exists():
            yield f"tests/unit/{test}: excepted, but it does not exist"
    for source in COVERED_ELSEWHERE:
        if not any((folder.parent / source).exists() for folder in TESTED_WHOLE):
            yield f"{source}: excepted, but it does not exist"


def program_names():
    for file in files("tests", ".build"):
        for name in re.findall(r"executable\(\s*'([^']+)'\s*,", file.read_text()):
            if not name.endswith(("_test", "_probe")):
                yield f"{name_of(file)}: program {name} is not called x_test"


def comment_styles():
    for folder in ("bench", "tests", "tools", "src"):
        for file in files(folder, ".cpp", ".hpp"):
            if re.search(r"^\s*///|/\*!", file.read_text(), re.MULTILINE):
                yield f"{name_of(file)}: a comment begins with /// or /*!"


def words():
    for folder in ("bench", "tests", "tools", "scripts"):
        for file in files(folder, ".cpp", ".hpp", ".py", ".build", ".md", ""):
            if file.is_file() and file.name != "laws_test.py":
                if re.search(r"\b(on purpose|deliberate)", file.read_text(), re.IGNORECASE):
                    yield f"{name_of(file)}: says that something is meant, not why"


breaches = [
    breach
    for law in (
        unexplained_sleeps,
        programs_started_elsewhere,
        tests_and_sources,
        stale_exceptions,
        program_names,
        comment_styles,
        words,
    )
    for breach in law()
]
print("\n".join(breaches))
sys.exit(1 if breaches else 0)
