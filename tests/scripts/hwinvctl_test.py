#!/usr/bin/env python3
"""hwinvctl as a person and as a program use it, on captures and on a live private bus.

    hwinvctl_test.py SOURCE HWINVCTL HWINV_SIM DAEMON           runs the tests
    hwinvctl_test.py --update SOURCE HWINVCTL HWINV_SIM DAEMON  rewrites docs/INSPECTING.md

Every command that docs/INSPECTING.md shows is run, in the folder of the inventories and at 80
columns, and has to print what stands there.
"""

import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ElementTree

UPDATE = "--update" in sys.argv
SOURCE, HWINVCTL, HWINV_SIM, DAEMON = [
    os.path.abspath(word) for word in sys.argv[1:] if word != "--update"
]
DOCUMENT = pathlib.Path(SOURCE) / "docs" / "INSPECTING.md"
INVENTORIES = pathlib.Path(SOURCE) / "share" / "inventories"
COMPLETION = pathlib.Path(SOURCE) / "tools" / "completion" / "hwinvctl"
MANUAL = pathlib.Path(SOURCE) / "docs" / "man" / "hwinvctl.1"
BOARD = "/xyz/openbmc_project/inventory/system/board/"
ASSOCIATIONS = "xyz.openbmc_project.Association.Definitions"
VERBS = ("list", "explain", "check", "doctor", "watch", "capture", "diff", "export")
LIMIT = 30  # seconds that any wait may take


def environment(address=None, columns=None):
    env = {name: text for name, text in os.environ.items() if name != "COLUMNS"}
    env["DBUS_SYSTEM_BUS_ADDRESS"] = address or "unix:path=/nowhere"
    if columns:
        env["COLUMNS"] = str(columns)
    return env


def hwinvctl(*words, address=None, columns=None, cwd=INVENTORIES):
    return subprocess.run(
        [HWINVCTL, *map(str, words)],
        capture_output=True,
        text=True,
        timeout=LIMIT * 2,
        check=False,
        cwd=cwd,
        env=environment(address, columns),
    )


class Machine:
    """Both services and the daemon on a private bus; ends with the test."""

    def __init__(self, inventory):
        self.children = []
        try:
            self.begin(inventory)
        except BaseException:
            self.end()
            raise

    def begin(self, inventory):
        self.bus = self.start(None, HWINV_SIM, "bus")
        self.address = self.first_line(self.bus).split("=", 1)[1]
        self.sim = self.start(
            self.address, HWINV_SIM, "serve", "--address", self.address, "--inventory", inventory
        )
        self.first_line(self.sim)
        self.daemon = self.start(self.address, DAEMON)
        self.wait(lambda: hwinvctl("doctor", address=self.address).returncode == 0)

    def start(self, address, *command):
        child = subprocess.Popen(
            command,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
            env=environment(address),
        )
        self.children.append(child)
        return child

    @staticmethod
    def first_line(child):
        return child.stdout.readline().strip()

    @staticmethod
    def wait(fact):
        deadline = time.monotonic() + LIMIT
        while not fact():
            if time.monotonic() > deadline:
                raise AssertionError("the fact did not come")
            time.sleep(0.05)

    def set_associations(self, leaf, value):
        subprocess.run(
            [HWINV_SIM, "--address", self.address, "set", "--service", "kovd", BOARD + leaf,
             ASSOCIATIONS, "Associations", "a(sss)", json.dumps(value)],
            check=True, capture_output=True, env=environment(self.address), timeout=LIMIT,
        )

    def end(self):
        for child in reversed(self.children):
            child.terminate()
            try:
                child.wait(LIMIT)
            except subprocess.TimeoutExpired:
                child.kill()
                child.wait()
            child.stdout.close()


def all_of(terminal):
    """What was written to a terminal whose other end is closed; it comes in pieces."""
    written = b""
    while True:
        try:
            piece = os.read(terminal, 65536)
        except OSError:  # how a terminal says that this was all
            return written
        written += piece


# The document.


def examples():
    """Each command with the text below it, and the whole text around them."""
    text = DOCUMENT.read_text()
    return text, re.findall(r"^    \$ (hwinvctl.*)\n((?:(?:    .*)?\n)*?)(?=    \$ |\S|\Z)", text, re.M)


def plain(text):
    """Without what differs from run to run: times, bus names, and the blanks around them."""
    text = re.sub(r"\d+\.\d ms", "N ms", text)
    text = re.sub(r":1\.\d+", ":1.N", text)
    return " ".join(text.split())


def indented(text):
    return "".join(("    " + line if line else "") + "\n" for line in text.splitlines())


def run_example(command, address):
    return hwinvctl(*command.split()[1:], address=address, columns=80).stdout


def update(address):
    lines = []
    shown = False
    for line in DOCUMENT.read_text().splitlines():
        command = re.match(r"    \$ (hwinvctl.*)", line)
        if command:
            if shown and lines[-1]:
                lines.append("")
            lines.append(line)
            output = run_example(command[1], address)
            lines.extend(indented(output).splitlines())
            shown = True
        elif not shown or (line and not line.startswith("    ")):
            if shown and lines[-1]:
                lines.append("")
            shown = False
            lines.append(line)
    DOCUMENT.write_text("\n".join(lines) + "\n")


def flattened(capture):
    """The capture with its dictionaries as lists of keys and values, as systemd 254 printed them."""

    def flat(dictionary, inner):
        return [part for key, value in dictionary.items() for part in (key, inner(value))]

    return {"type": capture["type"],
            "data": [flat(capture["data"][0],
                          lambda interfaces: flat(interfaces, lambda own: flat(own, lambda v: v)))]}


class OnCaptures(unittest.TestCase):
    def test_ends_with_the_status_that_tells_what_happened(self):
        for status, words in (
            (0, ["--from", "two-socket-2u"]),
            (0, ["--from", "two-socket-2u", "explain", "3"]),
            (0, ["check", "two-socket-2u", "edge-small"]),
            (1, ["check", "awkward"]),
            (2, ["check", "awkward", "/nowhere"]),
            (2, ["--from", "/nowhere", "list"]),
            (2, ["--from", "two-socket-2u", "explain", "nothing"]),
            (2, ["--from", "two-socket-2u", "doctor"]),
            (2, ["lits"]),
            (2, ["--json=wrong", "list"]),
            (2, ["list"]),  # there is no such bus
            (0, ["diff", "two-socket-2u", "two-socket-2u"]),
            (1, ["diff", "two-socket-2u", "edge-small"]),
        ):
            done = hwinvctl(*words)
            self.assertEqual(done.returncode, status, (words, done.stderr))
            self.assertEqual(bool(done.stderr), status == 2, words)

    def test_names_the_verb_that_it_does_not_know(self):
        self.assertEqual(hwinvctl("lits").stderr, "hwinvctl: 'lits' is no command: " +
                         ", ".join(VERBS) + "\nSee hwinvctl --help.\n")
        self.assertEqual(hwinvctl("--form", "x").stderr.splitlines()[0],
                         "hwinvctl: '--form' is no option")

    def test_fails_when_its_output_cannot_be_written(self):
        with open("/dev/full", "w") as full:
            done = subprocess.run([HWINVCTL, "--from", "edge-small"], stdout=full,
                                  stderr=subprocess.PIPE, cwd=INVENTORIES, check=False)
        self.assertEqual(done.returncode, 1)

    def test_fits_80_columns_and_is_whole_in_a_pipe(self):
        for words in (["list"], ["explain", "pcie_slot_1"], ["check"]):
            narrow = hwinvctl("--from", "awkward", *words, columns=80).stdout
            self.assertLessEqual(max(map(len, narrow.splitlines())), 80, words)
            whole = hwinvctl("--from", "awkward", *words).stdout
            self.assertLessEqual(len(whole.splitlines()), len(narrow.splitlines()), words)
            self.assertEqual(whole.split(), narrow.split(), words)

    def test_speaks_json_in_one_line_or_many(self):
        for words in (["list"], ["explain", "1"], ["check"], ["export", "--format", "json"]):
            short = hwinvctl("--json=short", "--from", "two-socket-2u", *words).stdout
            pretty = hwinvctl("--json=pretty", "--from", "two-socket-2u", *words).stdout
            self.assertEqual(short.count("\n"), 1, words)
            self.assertGreater(pretty.count("\n"), 1, words)
            self.assertEqual(json.loads(short), json.loads(pretty))
            self.assertEqual(hwinvctl("--json", "--from", "two-socket-2u", *words).stdout, short)

    def test_list_gives_what_each_inventory_expects(self):
        for folder in (path for path in INVENTORIES.iterdir() if path.is_dir()):
            expected = json.loads((folder / "expected.json").read_text())
            listed = json.loads(hwinvctl("--json=short", "--from", folder).stdout)
            lists = {o["path"]: o["associations"] for o in listed["objects"] if o["associations"]}
            self.assertEqual(lists, expected["pcie"] | expected["processors"], folder.name)

    def test_list_shows_only_what_is_asked_for(self):
        listed = json.loads(hwinvctl("--json", "--from", "awkward", "list", "--unpaired").stdout)
        self.assertEqual({o["state"] for o in listed["objects"]}, {"unpaired"})
        listed = json.loads(hwinvctl("--json", "--from", "awkward", "list", "--stale").stdout)
        self.assertEqual(listed["objects"], [])

    def test_check_writes_junit(self):
        with tempfile.TemporaryDirectory() as scratch:
            file = pathlib.Path(scratch) / "junit.xml"
            hwinvctl("check", "--junit", file, "awkward", "two-socket-2u")
            suites = ElementTree.parse(file).getroot().findall("testsuite")
        self.assertEqual([suite.get("name") for suite in suites], ["awkward", "two-socket-2u"])
        self.assertGreater(int(suites[0].get("failures")), 10)
        self.assertEqual(len(suites[0].findall("testcase/failure")), int(suites[0].get("failures")))
        self.assertEqual((suites[1].get("tests"), suites[1].get("failures")), ("1", "0"))

    def test_check_does_not_stop_at_a_capture_that_cannot_be_read(self):
        with tempfile.TemporaryDirectory() as scratch:
            for name in ("a", "b", "c"):
                shutil.copytree(INVENTORIES / "awkward", pathlib.Path(scratch) / name)
            (pathlib.Path(scratch) / "b" / "smbios.json").write_text("{")
            done = hwinvctl("--json", "check", scratch)
        reports = json.loads(done.stdout)
        self.assertEqual(done.returncode, 2)
        self.assertEqual([bool(report["error"]) for report in reports], [False, True, False])
        self.assertEqual(reports[0]["findings"], reports[2]["findings"])
        self.assertGreater(len(reports[0]["findings"]), 10)

    def test_check_shows_how_far_it_is_on_a_terminal_alone(self):
        terminal, end = os.openpty()
        try:
            done = subprocess.run([HWINVCTL, "check", "two-socket-2u", "edge-small", "storage-24"],
                                  stdout=subprocess.PIPE, stderr=end, text=True, cwd=INVENTORIES,
                                  timeout=LIMIT, check=False, env=environment())
            os.close(end)
            shown = all_of(terminal).decode()
        finally:
            os.close(terminal)
        steps = [step for step in shown.split("\r") if step.startswith("[")]
        self.assertEqual([step.split("] ")[1] for step in steps], ["1/3", "2/3", "3/3"])
        self.assertEqual([step.count("#") for step in steps], [13, 26, 40])
        self.assertTrue(shown.endswith("\r\x1b[K"), shown)  # nothing of it stays
        self.assertEqual(done.stdout, "3 inventories: 0 errors, 0 warnings.\n")

    def test_reads_what_every_version_of_systemd_printed(self):
        with tempfile.TemporaryDirectory() as scratch:
            for name in ("smbios.json", "kovd-board.json", "kovd-chassis.json"):
                capture = json.loads((INVENTORIES / "awkward" / name).read_text())
                (pathlib.Path(scratch) / name).write_text(json.dumps(flattened(capture)))
            flat = hwinvctl("--json", "--from", scratch)
            self.assertEqual(json.loads(flat.stdout)["objects"],
                             json.loads(hwinvctl("--json", "--from", "awkward").stdout)["objects"])
            self.assertEqual(hwinvctl("diff", "awkward", scratch).returncode, 0)

    def test_diff_tells_objects_and_the_pairings_that_change(self):
        with tempfile.TemporaryDirectory() as scratch:
            after = pathlib.Path(scratch) / "after"
            shutil.copytree(INVENTORIES / "two-socket-2u", after)
            text = (after / "smbios.json").read_text()
            (after / "smbios.json").write_text(text.replace('"PCIe Slot 3"', '"PCIe Slot 33"'))
            done = hwinvctl("--json", "diff", "two-socket-2u", after)
        found = json.loads(done.stdout)
        self.assertEqual(found["objects"][0]["properties"],
                         ['SlotDesignation: "PCIe Slot 3" -> "PCIe Slot 33"'])
        self.assertEqual(len(found["objects"]), 1)
        self.assertIn({"path": BOARD + "pcie_slot_03", "after": "",
                       "before": "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot3"},
                      found["pairings"])

    def test_export_draws_every_object(self):
        listed = json.loads(hwinvctl("--json", "--from", "two-socket-2u").stdout)
        labels = {object["path"].split("/")[-1] for object in listed["objects"]}
        for format in ("dot", "svg", "html"):
            text = hwinvctl("--from", "two-socket-2u", "export", "--format", format).stdout
            for label in labels:
                self.assertIn(label, text, format)
        svg = hwinvctl("--from", "two-socket-2u", "export", "--format", "svg").stdout
        self.assertEqual(ElementTree.fromstring(svg).tag, "{http://www.w3.org/2000/svg}svg")
        html = hwinvctl("--from", "awkward", "export", "--format", "html").stdout
        self.assertNotRegex(html, r"(src|href)=")
        self.assertNotIn("://", html)

    def test_manual_names_every_verb_and_option(self):
        manual = MANUAL.read_text().replace("\\-", "-")
        for verb in VERBS:
            self.assertIn(verb, manual)
            helped = hwinvctl(verb, "--help").stdout
            for option in re.findall(r"^\s+(--[a-z]+)", helped, re.M):
                self.assertIn(option, manual, verb)


def offered(*words):
    """What a press of the tabulator offers behind these words."""
    script = f"""
        source '{COMPLETION}'
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _hwinvctl
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    done = subprocess.run(["bash", "-c", script, "bash", HWINVCTL, *words], check=True, text=True,
                          capture_output=True, cwd=INVENTORIES, env=environment())
    return set(done.stdout.split())


class Completion(unittest.TestCase):
    def test_offers_each_verb(self):
        self.assertEqual(offered(""), set(VERBS))
        self.assertEqual(offered("--from", "awkward", "ex"), {"explain", "export"})

    def test_offers_the_options_that_help_names(self):
        pattern = r"^\s+(?:-\w,)?(--[a-z]+)"
        common = set(re.findall(pattern, hwinvctl("--help").stdout, re.M))
        for verb in VERBS:
            own = set(re.findall(pattern, hwinvctl(verb, "--help").stdout, re.M))
            self.assertEqual(offered(verb, "--"), own | common, verb)

    def test_offers_the_objects_of_the_capture(self):
        self.assertEqual(offered("--from", "edge-small", "explain", "pcie_slot_"),
                         {"pcie_slot_1", "pcie_slot_2"})
        self.assertEqual(offered("export", "--format", "s"), {"svg"})


class OnABus(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.machine = Machine("two-socket-2u")

    @classmethod
    def tearDownClass(cls):
        cls.machine.end()

    def setUp(self):
        self.address = self.machine.address

    def ask(self, *words):
        return hwinvctl(*words, address=self.address)

    def test_document_shows_what_the_program_prints(self):
        _, shown = examples()
        self.assertGreater(len(shown), 8)
        for command, output in shown:
            self.assertEqual(plain(run_example(command, self.address)), plain(output), command)
        verbs = {word for command, _ in shown for word in command.split() if word in VERBS}
        self.assertLessEqual({"explain", "check", "doctor", "diff"}, verbs)

    def test_reads_the_bus_of_the_address(self):
        done = hwinvctl("--address", self.address, "--json")
        listed = json.loads(done.stdout)
        self.assertTrue(listed["written"])
        self.assertEqual({o["state"] for o in listed["objects"]}, {"paired", "unpaired"})

    def test_list_live_is_list_of_its_capture(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = pathlib.Path(scratch) / "captured"
            self.assertEqual(self.ask("capture", folder).returncode, 0)
            live = json.loads(self.ask("--json", "list").stdout)
            captured = json.loads(hwinvctl("--json", "--from", folder, "list").stdout)
            self.assertEqual(live["objects"], captured["objects"])
            self.assertEqual(hwinvctl("diff", folder, "two-socket-2u").returncode, 0)

    def test_capture_redacts_what_identifies_the_machine(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = pathlib.Path(scratch) / "captured"
            done = self.ask("capture", "--redact", folder)
            self.assertEqual(done.returncode, 0, done.stderr)
            for file in folder.iterdir():
                for name, value in re.findall(
                    r'"(\w*(?:Serial|AssetTag|UUID)\w*)": \{"type": "s", "data": "(.*?)"',
                    file.read_text(),
                ):
                    self.assertIn(value, ("REDACTED", ""), name)
            live = json.loads(self.ask("--json").stdout)["objects"]
            captured = json.loads(hwinvctl("--json", "--from", folder).stdout)["objects"]
            self.assertEqual(live, captured)

    def test_capture_is_the_three_replies_as_they_are(self):
        with tempfile.TemporaryDirectory() as scratch:
            folder = pathlib.Path(scratch) / "captured"
            self.assertEqual(self.ask("capture", folder).returncode, 0)
            for name, service, path in (
                ("smbios.json", "xyz.openbmc_project.Smbios.MDRV2", "/xyz/openbmc_project/inventory"),
                ("kovd-board.json", "com.vexa.bmc.kovd", BOARD[:-1]),
                ("kovd-chassis.json", "com.vexa.bmc.kovd",
                 "/xyz/openbmc_project/inventory/system/chassis"),
            ):
                replied = subprocess.run(
                    ["busctl", f"--address={self.address}", "--json=short", "call", service, path,
                     "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"],
                    check=True, capture_output=True, text=True, timeout=LIMIT)
                self.assertEqual(json.loads((folder / name).read_text()),
                                 json.loads(replied.stdout), name)

    def test_capture_fails_where_it_cannot_write(self):
        with tempfile.NamedTemporaryFile() as file:
            done = self.ask("capture", file.name)
            self.assertEqual(done.returncode, 1)
            self.assertIn(file.name, done.stderr)

    def test_doctor_and_list_see_drift(self):
        self.assertEqual(self.ask("doctor").returncode, 0)
        before = json.loads(self.ask("--json").stdout)["objects"]
        old = next(o for o in before if o["path"] == BOARD + "pcie_slot_01")["associations"]
        self.machine.set_associations("pcie_slot_01", [])
        try:
            listed = json.loads(self.ask("--json", "list", "--drifted").stdout)["objects"]
            self.assertEqual([o["path"] for o in listed], [BOARD + "pcie_slot_01"])
            done = self.ask("doctor")
            self.assertEqual(done.returncode, 1)
            self.assertIn("pcie_slot_01", done.stdout)
        finally:
            self.machine.set_associations("pcie_slot_01", old)
        self.assertEqual(self.ask("doctor").returncode, 0)

    def watch(self, *words):
        return subprocess.Popen(
            [HWINVCTL, "--address", self.address, *words, "watch"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment(),
        )

    def test_watch_tells_each_change_and_ends_on_an_interrupt(self):
        gone = [["chassis", "pcieslot", "/nowhere/slot"]]
        old = [["chassis", "pcieslot",
                "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot2"]]
        with self.watch() as watching:
            self.assertRegex(watching.stdout.readline(), r"^Watching \d+ platform objects")
            self.machine.set_associations("pcie_slot_02", gone)
            self.assertRegex(watching.stdout.readline(),
                             r"^\d\d:\d\d:\d\d\.\d{3} board/pcie_slot_02: pcieslot2 -> slot\n$")
            self.machine.set_associations("pcie_slot_02", old)
            self.assertRegex(watching.stdout.readline(), r"board/pcie_slot_02: slot -> pcieslot2")
            watching.send_signal(signal.SIGINT)
            self.assertEqual(watching.wait(LIMIT), 0)

    def test_watch_ends_when_nobody_reads_any_more(self):
        watching = self.watch()
        watching.stdout.readline()
        watching.stdout.close()
        self.assertEqual(watching.wait(LIMIT), 0)
        self.assertEqual(watching.stderr.read(), "")
        watching.stderr.close()


def random_capture(chance, folder):
    """The two-socket machine with a few values exchanged between its objects."""
    shutil.copytree(INVENTORIES / "two-socket-2u", folder)
    for name in ("smbios.json", "kovd-board.json"):
        text = (folder / name).read_text()
        for key in ("SlotDesignation", "SlotID", "PCIeFQDD", "FQDD", "PCIeLocatorInstanceNum",
                    "PCIeLocatorType", "Socket", "Handle", "L2CacheHandle", "TargetDevKey"):
            pattern = rf'(?<="{key}": )\{{"type": [^}}]*\}}'
            values = re.findall(pattern, text)

            def exchanged(found):
                return chance.choice(values) if chance.random() < 0.15 else found[0]

            text = re.sub(pattern, exchanged, text)
        (folder / name).write_text(text)


class TheDaemonAgrees(unittest.TestCase):
    def check(self, inventory):
        machine = Machine(inventory)
        try:
            listed = json.loads(hwinvctl("--json", address=machine.address).stdout)
            return [o for o in listed["objects"] if o["associations"] != o["rules"]], listed
        finally:
            machine.end()

    def test_on_every_shipped_inventory(self):
        for folder in sorted(path for path in INVENTORIES.iterdir() if path.is_dir()):
            differing, live = self.check(folder.name)
            self.assertEqual(differing, [], folder.name)
            listed = json.loads(hwinvctl("--json", "--from", folder).stdout)
            self.assertEqual({o["path"]: o["associations"] for o in listed["objects"]},
                             {o["path"]: o["associations"] for o in live["objects"]}, folder.name)

    def test_on_random_machines(self):
        chance = random.Random(20261121)
        unpaired = set()
        with tempfile.TemporaryDirectory() as scratch:
            for number in range(5):
                folder = pathlib.Path(scratch) / str(number)
                random_capture(chance, folder)
                differing, listed = self.check(str(folder))
                self.assertEqual(differing, [], number)
                unpaired.add(sum(o["state"] == "unpaired" for o in listed["objects"]))
        self.assertGreater(len(unpaired), 1)  # they were different machines


class WhenTheBusGoes(unittest.TestCase):
    def test_watch_says_so_and_ends(self):
        machine = Machine("edge-small")
        try:
            with subprocess.Popen(
                [HWINVCTL, "--address", machine.address, "watch"],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=environment(),
            ) as watching:
                watching.stdout.readline()
                machine.bus.terminate()
                self.assertEqual(watching.wait(LIMIT), 1)
                self.assertEqual(watching.stderr.read(), "hwinvctl: the bus has gone\n")
        finally:
            machine.end()


if __name__ == "__main__":
    if UPDATE:
        machine = Machine("two-socket-2u")
        try:
            update(machine.address)
        finally:
            machine.end()
    else:
        unittest.main(argv=sys.argv[:1])
