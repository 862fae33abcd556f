#!/usr/bin/env python3
"""The examples of the manual pages: there is one for each verb, and each does what it says.

    manual_test.py SOURCE_FOLDER DAEMON HWINV_SIM HWINV_DEMO HWINVCTL

The programs stand under their names in a folder of the search path. The examples of a page run in
their order, in a scratch folder with the files that they name, on a private bus with both services
and the daemon. What runs until it is ended is ended by an interrupt once it has said something.
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE, *PROGRAMS = [pathlib.Path(word).absolute() for word in sys.argv[1:]]
del sys.argv[1:]
INVENTORIES = SOURCE / "share/inventories"
LIMIT = 60  # seconds that any wait may take

# Verbs whose example runs until it is ended.
LASTING = {"hwinv_sim bus", "hwinv_sim serve", "hwinvctl watch", "hwinv_demo --keep"}

# Verbs whose example may well find something: two captures differ, an inventory has a fault.
FINDING = {"hwinvctl diff", "hwinvctl check"}


def examples(page):
    """The commands between .EX and .EE, as a reader sees them."""
    text = (SOURCE / "docs/man" / page).read_text(encoding="utf-8")
    for old, new in ((r"\e", "\\"), (r"\-", "-"), (r"\(aq", "'")):
        text = text.replace(old, new)
    return re.findall(r"^\.EX\n(.*?)\n\.EE$", text, re.MULTILINE | re.DOTALL)


def verbs(program):
    helped = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"^  ([a-z]+) ", helped.split("Subcommands:")[1], re.MULTILINE))


def options(program):
    helped = subprocess.run([program, "--help"], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"^\s+(?:-\w,)?(--[a-z]+)", helped, re.MULTILINE)) - {"--help", "--version"}


def verb_of(command):
    """The program with its verb or, where it has none, its last option."""
    words = command.split()
    named = [word for word in words[1:] if re.fullmatch(r"[a-z]+", word)]
    if words[0] == "hwinv_demo":
        named = [word for word in words[1:] if word.startswith("--")][-1:]
    return " ".join(words[:1] + named[:1])


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="manual-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        programs = cls.folder / "programs"
        programs.mkdir()
        for program in PROGRAMS:
            (programs / program.name).symlink_to(program)
        cls.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}",
                           "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nowhere"}
        (cls.folder / "kov_hwinv").symlink_to(PROGRAMS[0])
        for copy, inventory in (("captures", "edge-small"), ("before", "edge-small"),
                                ("after", "storage-24")):
            shutil.copytree(INVENTORIES / inventory, cls.folder / copy / (
                "one" if copy == "captures" else "."))
        cls.running = []
        cls.addClassCleanup(cls.end_all)

    @classmethod
    def end_all(cls):
        for child in reversed(cls.running):
            cls.interrupt(child)

    @staticmethod
    def interrupt(child):
        child.send_signal(signal.SIGINT)
        try:
            return child.wait(LIMIT)
        finally:
            child.kill()
            child.wait()
            if child.stdout:
                child.stdout.close()

    def begin(self, command):
        """Starts what lasts, and gives its first line."""
        child = subprocess.Popen(
            ["bash", "-c", "exec " + command], cwd=self.folder, env=self.environment,
            stdout=subprocess.PIPE, text=True,
        )
        self.running.append(child)
        return child, child.stdout.readline()

    def finish(self, command):
        return subprocess.run(
            ["bash", "-c", command], cwd=self.folder, env=self.environment, capture_output=True,
            text=True, timeout=LIMIT, check=False,
        )

    def check(self, command):
        """One that ends by itself."""
        done = self.finish(command)
        allowed = (0, 1) if verb_of(command) in FINDING else (0,)
        self.assertIn(done.returncode, allowed, (command, done.stdout, done.stderr))
        self.assertEqual(done.stderr, "", command)

    def start_services(self):
        """The first two examples of the simulator's page, and the daemon."""
        commands = {verb_of(command): command for command in examples("hwinv_sim.1")}
        _, said = self.begin(commands["hwinv_sim bus"])
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = said.strip().split("=", 1)[1].strip("'")
        _, said = self.begin(commands["hwinv_sim serve"])
        self.assertTrue(said.startswith("ready: "), said)
        self.running.append(
            subprocess.Popen([PROGRAMS[0]], env={**self.environment, "DLOG_LEVEL": "0"},
                             stdout=subprocess.DEVNULL)
        )
        deadline = time.monotonic() + LIMIT
        while self.finish("hwinvctl doctor").returncode != 0:
            self.assertLess(time.monotonic(), deadline, "the daemon has not written")
            time.sleep(0.05)  # nobody tells when all is written

    def end_services(self):
        daemon = self.running[-1]
        daemon.terminate()  # an interrupt only stops its pairing
        for child in reversed(self.running[:2]):
            self.assertEqual(self.interrupt(child), 0)
        daemon.wait(LIMIT)
        self.running.clear()
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nowhere"

    def test_of_the_simulator_and_of_the_inspector_work_on_one_bus(self):
        self.start_services()
        try:
            for command in examples("hwinvctl.1") + examples("hwinv_sim.1"):
                if verb_of(command) not in LASTING:
                    self.check(command)
            watch = next(c for c in examples("hwinvctl.1") if verb_of(c) == "hwinvctl watch")
            child, _ = self.watch_a_change(watch)
            self.running.remove(child)
            self.assertEqual(self.interrupt(child), 0)
            page = (self.folder / "machine.html").read_text(encoding="utf-8")
            self.assertIn("pcie_slot_1", page)
            self.assertIn("<testsuites>", (self.folder / "findings.xml").read_text())
            self.assertTrue((self.folder / "captured/smbios.json").exists())
        finally:
            self.end_services()

    def watch_a_change(self, command):
        """JSON says nothing before there is a change."""
        child = subprocess.Popen(
            ["bash", "-c", "exec " + command], cwd=self.folder, env=self.environment,
            stdout=subprocess.PIPE, text=True,
        )
        self.running.append(child)
        deadline = time.monotonic() + LIMIT
        path = "/xyz/openbmc_project/inventory/system/board/pcie_slot_1"
        lists = ("[]", '[["chassis","pcieslot","/a"]]')
        os.set_blocking(child.stdout.fileno(), False)
        said = ""
        while not said:
            for value in lists:  # whenever it has begun to look, one of the two is a change
                self.finish(f"hwinv_sim set --service kovd {path} xyz.openbmc_project.Association."
                            f"Definitions Associations 'a(sss)' '{value}'")
            self.assertLess(time.monotonic(), deadline, "watch says nothing")
            said = child.stdout.readline()
        os.set_blocking(child.stdout.fileno(), True)
        self.assertIn(path, said)
        return child, said

    def test_of_the_demo_work(self):
        for command in examples("hwinv_demo.1"):
            if verb_of(command) in LASTING:
                child, _ = self.begin(command)
                while not child.stdout.readline().startswith("End it with"):
                    self.assertIsNone(child.poll(), command)
                self.running.remove(child)
                self.assertEqual(self.interrupt(child), 0, command)
            else:
                self.check(command)
        self.assertIn("starting new process", (self.folder / "daemon.log").read_text())

    def test_there_is_one_for_each_verb(self):
        sim, demo, ctl = PROGRAMS[1:]
        for program in (sim, ctl):
            shown = {verb_of(command) for command in examples(program.name + ".1")}
            self.assertEqual(shown, {f"{program.name} {verb}" for verb in verbs(program)})
        shown = {verb_of(command) for command in examples(demo.name + ".1")}
        self.assertEqual(shown, {demo.name} | {f"{demo.name} {o}" for o in options(demo)})

    def test_each_page_can_be_formatted(self):
        for page in sorted((SOURCE / "docs/man").iterdir()):
            if shutil.which("groff") is None:
                self.skipTest("there is no groff")
            done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", page], capture_output=True,
                                  text=True, check=True)
            self.assertEqual(done.stderr, "", page.name)


if __name__ == "__main__":
    unittest.main()
