#!/usr/bin/env python3
"""Says which texts of the log no test has seen, and ends with 1 when there is one.

    seen_texts.py SOURCE_FOLDER SEEN_FOLDER

SEEN_FOLDER is what HWINV_SEEN_LINES named while the tests ran (tests/doubles/seen_lines.hpp): the
formats of the lines in the unit tests, the whole lines of the real log elsewhere.
"""

import pathlib
import re
import sys

import log_texts

# Texts of situations that no test can bring about, and why.
ANSWER = "the binding throws when a call is answered with an error"
THREAD = "a thread's function throws nothing itself; startThread has a test with another text"
OTHER = "nothing here throws what is no std::exception"
NOT_SEEN = {
    "Failed to set associations": ANSWER,
    "SMBIOS object reply error": ANSWER,
    "DBus ListNames returned a method error; aborting discovery.": ANSWER,
    "Caught an exception": OTHER,
    "Free memory will not be given back": OTHER,
} | {
    f"The {name} thread has ended{words}": THREAD
    for name in ("SMBIOS worker", "KOVD worker", "subscription", "recovery", "fallback")
    for words in ("", ": %s")
}

CONVERSION = re.compile(r"%(?:\.\*)?[a-z]+")

# What the real log writes in front of a text.
RECORD = re.compile(r"^\d+ \d+ \w+\.\d+\.[~\w]+: ")


def texts_of_sources(root):
    texts = set()
    for file in sorted((root / "src").rglob("*.[ch]pp")):
        texts |= log_texts.of_source(file.read_text(encoding="utf-8")).keys()
    parts = set().union(*log_texts.COMPOSED.values())
    return (texts - parts) | log_texts.COMPOSED.keys()


def lines_of(folder):
    lines = set()
    for file in pathlib.Path(folder).iterdir():
        whole = file.read_text(errors="replace").splitlines()
        lines |= {log_texts.text_of(RECORD.sub("", line)) for line in whole}
    return lines


def pattern_of(text):
    """Fits the lines that the text becomes, and the text itself."""
    words = [re.escape(words) for words in CONVERSION.split(text)]
    return re.compile(".*".join(words), re.DOTALL)


def is_seen(text, lines):
    """A composed text has no format of its own, and one that is all conversions fits anything."""
    if text in lines:
        return True
    parts = log_texts.COMPOSED.get(text)
    if parts is not None and not text.startswith("KOVD"):
        return parts <= lines
    return any(pattern_of(text).fullmatch(line) for line in lines)


def main():
    texts = texts_of_sources(pathlib.Path(sys.argv[1]))
    lines = lines_of(sys.argv[2])
    unseen = sorted(text for text in texts if not is_seen(text, lines))
    for text in unseen:
        print(f"no test has seen: {text}" + (f" ({NOT_SEEN[text]})" if text in NOT_SEEN else ""))
    for text in sorted(NOT_SEEN.keys() - set(unseen)):
        print(f"is seen and listed as not seen: {text}")
    print(f"{len(texts) - len(unseen)} of {len(texts)} texts of the log were seen")
    return 1 if set(unseen) != NOT_SEEN.keys() or not texts else 0


if __name__ == "__main__":
    sys.exit(main())
