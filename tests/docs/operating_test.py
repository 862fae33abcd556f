#!/usr/bin/env python3
"""docs/OPERATING.md lists each text that the sources log, at its level, and none that they do not.

    operating_test.py SOURCE_FOLDER
"""

import pathlib
import sys
import unittest

import log_texts

ROOT = pathlib.Path(sys.argv.pop(1))
DOCUMENT = log_texts.of_document((ROOT / "docs/OPERATING.md").read_text(encoding="utf-8"))


def of_all_sources():
    found = {}
    for file in sorted((ROOT / "src").rglob("*.[ch]pp")):
        for text, levels in log_texts.of_source(file.read_text(encoding="utf-8")).items():
            found.setdefault(text, set()).update(levels)
    return found


class Operating(unittest.TestCase):
    def setUp(self):
        self.sources = of_all_sources()
        composed = log_texts.COMPOSED.items()
        self.composed = {text for text, parts in composed if parts <= self.sources.keys()}
        self.parts = set().union(*log_texts.COMPOSED.values())

    def test_there_are_texts_to_compare(self):
        self.assertGreater(len(self.sources), 150)
        self.assertEqual(self.sources["Resync starting..."], {4})
        self.assertEqual(self.sources["exception"], {1})

    def test_every_text_is_listed(self):
        listed = {text for text, _ in DOCUMENT}
        self.assertEqual(self.sources.keys() - self.parts - listed, set())

    def test_nothing_else_is_listed(self):
        listed = {text for text, _ in DOCUMENT}
        self.assertEqual(listed - self.sources.keys() - self.composed, set())

    def test_no_text_is_listed_twice(self):
        texts = [text for text, _ in DOCUMENT]
        self.assertEqual({text for text in texts if texts.count(text) > 1}, set())

    def test_the_levels_are_those_of_the_statements(self):
        wrong = {
            text: (sorted(levels), sorted(self.sources[text]))
            for text, levels in DOCUMENT
            if text not in self.composed and not self.sources.get(text, set()) <= levels
        }
        self.assertEqual(wrong, {})


if __name__ == "__main__":
    unittest.main()
