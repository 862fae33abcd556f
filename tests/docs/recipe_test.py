#!/usr/bin/env python3
"""What the recipe in docs/PORTING.md and the options that documents name have in common with the tree.

    recipe_test.py SOURCE_FOLDER VERSION
"""

import hashlib
import pathlib
import re
import sys
import unittest

SOURCE, VERSION = pathlib.Path(sys.argv[1]), sys.argv[2]
del sys.argv[1:]


def text_of(name):
    return (SOURCE / name).read_text(encoding="utf-8")


class Recipe(unittest.TestCase):
    def setUp(self):
        self.recipe = re.search(r"```bitbake\n(.*?)```", text_of("docs/PORTING.md"), re.DOTALL)[1]

    def value(self, name):
        return re.search(rf'^{re.escape(name)} \+?= "([^"]*)"', self.recipe, re.MULTILINE)[1]

    def test_the_licence_is_the_one_of_the_tree(self):
        sum_of_file = hashlib.md5((SOURCE / "LICENSE").read_bytes()).hexdigest()
        self.assertEqual(self.value("LIC_FILES_CHKSUM"), f"file://LICENSE;md5={sum_of_file}")
        self.assertIn(f"license: '{self.value('LICENSE')}'", text_of("meson.build"))

    def test_the_version_is_the_one_of_the_tree(self):
        self.assertEqual(self.value("PV"), VERSION + "+git${SRCPV}")

    def test_the_unit_and_the_user_exist(self):
        self.assertTrue((SOURCE / "service" / (self.value("SYSTEMD_SERVICE:${PN}") + ".in")).exists())
        user = self.value("USERADD_PARAM:${PN}").split()[-1]
        self.assertIn(f"daemon_user = '{user}'", text_of("service/meson.build"))

    def test_the_options_that_documents_name_exist(self):
        options = set(re.findall(r"^option\('([^']+)'", text_of("meson_options.txt"), re.MULTILINE))
        named = set()
        for document in (SOURCE / "docs").glob("*.md"):
            named |= set(re.findall(r"-D([\w-]+)=", document.read_text(encoding="utf-8")))
        self.assertEqual(named - options, set())
        self.assertGreater(len(named), 3)


if __name__ == "__main__":
    unittest.main()
