#!/usr/bin/env python3
"""Tests of the completion files: that bash offers what each program's own --help names."""

import os
import re
import subprocess
import sys
import unittest

DEMO = os.path.abspath(sys.argv.pop())
SIM = os.path.abspath(sys.argv.pop())
FOLDER = sys.argv.pop()


def helped(program, *verb):
    return subprocess.run(
        [program, *verb, "--help"], capture_output=True, text=True, check=True
    ).stdout


def options_in(text):
    return set(re.findall(r"^\s+(?:-\w,)?(--[a-z]+)", text, re.MULTILINE))


def verbs_in(text):
    return re.findall(r"^  ([a-z]+) ", text.split("Subcommands:")[1], re.MULTILINE)


def offered(program, *words):
    """What a press of the tabulator offers behind these words."""
    name = os.path.basename(program)
    script = f"""
        source '{FOLDER}/{name}'
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _{name}
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    done = subprocess.run(
        ["bash", "-c", script, "bash", program, *words],
        capture_output=True,
        text=True,
        check=True,
        cwd="/",
        env={**os.environ, "PATH": os.path.dirname(SIM) + ":" + os.environ["PATH"]},
    )
    return set(done.stdout.split())


class Completion(unittest.TestCase):
    def test_offers_the_options_of_each_program(self):
        self.assertEqual(offered(DEMO, "--"), options_in(helped(DEMO)))
        self.assertEqual(offered(SIM, "--"), options_in(helped(SIM)))

    def test_offers_each_verb(self):
        self.assertEqual(offered(SIM, ""), set(verbs_in(helped(SIM))))
        self.assertEqual(offered(SIM, "--address", "unix:x", "se"), {"serve", "set", "sets"})

    def test_offers_the_options_of_each_verb(self):
        for verb in verbs_in(helped(SIM)):
            wanted = options_in(helped(SIM, verb)) | options_in(helped(SIM))
            self.assertEqual(offered(SIM, verb, "--"), wanted, verb)

    def test_offers_the_values_that_an_argument_can_have(self):
        services = {"smbios", "kovd"}
        self.assertEqual(offered(SIM, "start", ""), services)
        self.assertEqual(offered(SIM, "set", "/a", "--service", ""), services)
        self.assertEqual(offered(DEMO, "--late", "k"), {"kovd"})
        for program, words in ((SIM, ["serve"]), (DEMO, [])):
            self.assertEqual(offered(program, *words, "--inventory", "two-"), {"two-socket-2u"})

    def test_offers_nothing_where_only_the_user_knows(self):
        self.assertEqual(offered(SIM, "--address", ""), set())
        self.assertEqual(offered(SIM, "remove", ""), set())


if __name__ == "__main__":
    unittest.main()
