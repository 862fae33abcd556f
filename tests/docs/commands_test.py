#!/usr/bin/env python3
"""Every command that the documents show: it is run here, or the test that runs it is named.

    commands_test.py SOURCE_FOLDER BUILD_FOLDER DEMO HWINVCTL

A command is a line indented by four blanks, or a word in backticks that begins with scripts/ or
.ci/. The scripts run in a copy of the tree, where what installs packages and compiles is replaced:
bootstrap, ninja and `meson test` do nothing there but say that they were called, and the demo is the
one that is built already. So their options and their ends are tested, not another whole build.
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD, DEMO, HWINVCTL = map(pathlib.Path, sys.argv[1:])
del sys.argv[1:]
DOCUMENTS = [
    SOURCE / name
    for name in ("README.md", "CONTRIBUTING.md", "SECURITY.md", "share/inventories/README.md")
] + [
    document
    for document in sorted((SOURCE / "docs").glob("*.md"))
    if document.name != "INSPECTING.md"  # tests/scripts/hwinvctl_test.py runs all of it
]

# Commands that need root, the network or a machine of their own: the test that runs them, and the
# words in it by which it does. (scripts/install runs the build by hand with the same three steps.)
RUN_BY = {
    "scripts/install": ("tests/machine/install_test.py", '"/opt/source/scripts/install")'),
    "scripts/check_model": ("tests/scripts/meson.build", "'check_model'"),
    "scripts/soak 20": ("tests/faults/meson.build", "'soak',"),
    "scripts/install --remove": (
        "tests/machine/install_test.py",
        '"/opt/source/scripts/install", "--remove")',
    ),
    "dpkg-buildpackage -us -uc -b": (
        "tests/machine/package_test.py",
        '"dpkg-buildpackage", "-us", "-uc", "-b"',
    ),
    "ninja -C build-release": ("scripts/install", "ninja -C"),
    "meson install -C build-release": ("scripts/install", "meson install"),
    "meson setup build-image --wrap-mode=nofallback": (
        "tests/scripts/binding_choice_test.py",
        '"--wrap-mode=nofallback"',
    ),
}

# Never run: they need systemd as process 1, or would begin this very test again. What they name is
# looked for in the tree.
READ_ONLY = {
    "systemctl status kov_hwinv": "service/kov_hwinv.service.in",
    "journalctl -u kov_hwinv": "service/kov_hwinv.service.in",
    "systemctl daemon-reload": "service/restart-with-platform.conf.in",
    "systemctl reenable kov_hwinv": "service/restart-with-platform.conf.in",
    "scripts/test --faults --sandbox": "tests/machine/sandbox.py",
    ".ci/run": ".ci/run",
    "scripts/coverage": "scripts/coverage",
    "scripts/fuzz 60": "scripts/fuzz",
}

STUBS = {
    "ninja": "exit 0",
    "pkg-config": "exit 0",
    "meson": 'for last; do :; done\ncase "$1" in\n'
    "  setup) mkdir -p build-stub ;;\n"
    '  test) folder=$(echo "$*" | sed "s/.*-C \\([^ ]*\\).*/\\1/"); mkdir -p "$folder/meson-logs"\n'
    '    echo \'{"name": "stub", "result": "OK", "stdout": ""}\''
    ' >"$folder/meson-logs/testlog.json" ;;\nesac',
}


def commands_of(document):
    """The commands of a document, without what is said beside them."""
    found, fenced = [], False
    for line in document.read_text(encoding="utf-8").splitlines():
        fenced ^= line.startswith("```")
        if not fenced and re.match(r"    \S", line):
            found.append(line)
        found += re.findall(r"`((?:scripts/|\.ci/)[a-z]+(?: --[^`]*)?)`", line)
    return [re.sub(r"\s{2,}#.*", "", line.strip()) for line in found]


def all_commands():
    return sorted({command for document in DOCUMENTS for command in commands_of(document)})


def writable_script(path, text):
    path.write_text("#!/bin/bash\n" + text + "\n", encoding="utf-8")
    path.chmod(0o755)


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="documents-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.tree = cls.folder / "tree"
        ignored = shutil.ignore_patterns(".git", "build*", ".cache")
        shutil.copytree(SOURCE, cls.tree, ignore=ignored, symlinks=True)
        for name in ("bootstrap", "with_broker"):
            writable_script(cls.tree / "scripts" / name, '[ "$1" = meson ] && exec "$@"; exit 0')
        stubs = cls.folder / "stubs"
        stubs.mkdir()
        for name, text in STUBS.items():
            writable_script(stubs / name, text)
        for program in (DEMO, HWINVCTL):
            folder = cls.tree / "build/tools" / program.name
            folder.mkdir(parents=True)
            (folder / program.name).symlink_to(program)
        (cls.tree / "build/build.ninja").touch()
        for name in ("hwinv_bench", "micro/hwinv_micro"):
            measuring = cls.tree / "build-bench/bench" / name
            measuring.parent.mkdir(parents=True, exist_ok=True)
            writable_script(measuring, "echo measured")
        cls.stubbed = dict(os.environ, PATH=f"{stubs}:{os.environ['PATH']}")

    def bash(self, command, environment=None):
        run = subprocess.run(
            ["bash", "-c", command],
            cwd=self.tree,
            env=environment or dict(os.environ),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            timeout=100,
            text=True,
            check=False,
        )
        self.assertEqual(run.returncode, 0, f"{command}\n{run.stdout}")
        return run.stdout

    def test_each_command_is_run_somewhere(self):
        for command in all_commands():
            with self.subTest(command):
                if command in RUN_BY:
                    file, words = RUN_BY[command]
                    self.assertIn(words, (SOURCE / file).read_text(encoding="utf-8"))
                elif command in READ_ONLY:
                    self.assertTrue((SOURCE / READ_ONLY[command]).exists())
                    self.bash(f"bash -n {READ_ONLY[command]}" if command[0] == "." else "true")
                else:
                    self.run_here(command)

    def test_the_tables_hold_no_command_that_is_shown_no_more(self):
        self.assertEqual((RUN_BY.keys() | READ_ONLY.keys()) - set(all_commands()), set())

    def run_here(self, command):
        if command.startswith("scripts/test"):
            # The catalogue of faults runs once on each bus.
            self.assertRegex(self.bash(command, self.stubbed), r"(?m)^[12] passed, 0 failed$")
        elif command.startswith("scripts/bench"):
            self.assertIn("measured", self.bash(command, self.stubbed))
        elif command.startswith("busctl "):
            self.look_around(command)
        elif command == "scripts/demo --keep":
            self.look_around("busctl tree com.vexa.bmc.kovd")
        elif command.startswith("scripts/demo"):
            folder = str(SOURCE / "share/inventories/edge-small")
            said = self.bash(command.replace("FOLDER", folder), self.stubbed)
            self.assertIn("As expected", said)
            self.assertIn("pcie_slot_7 is unpaired", self.bash(self.next_command(said)))
        elif command.startswith("build/tools/hwinvctl/hwinvctl "):
            self.assertIn("pcie_slot_7 is unpaired", self.bash(command))
        elif command.startswith("meson setup "):
            self.bash(command)
        elif command.startswith(("mkdir ", "cp ")):
            self.in_a_root_of_its_own(command)
        else:
            self.fail(f"nothing here runs '{command}'")

    def next_command(self, said):
        """What the demo tells to try next, as it stands there."""
        return said.split("Next, ask why a slot is not paired:\n\n")[1]

    def look_around(self, command):
        """Beside a demo that keeps running; without a terminal it says so and goes on."""
        demo = subprocess.Popen(
            ["scripts/demo", "--keep"],
            cwd=self.tree,
            env=self.stubbed,
            stdout=subprocess.PIPE,
            text=True,
            start_new_session=True,
        )
        try:
            said = ""
            while not (address := re.search(r"DBUS_SYSTEM_BUS_ADDRESS='([^']+)'", said)):
                line = demo.stdout.readline()
                self.assertNotEqual(line, "", f"the demo has ended: {said}")
                said += line
            command = command.replace("SERVICE PATH", "com.vexa.bmc.kovd " + BOARD)
            environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address[1])
            self.assertIn(BOARD, self.bash(command, environment))
        finally:
            os.killpg(demo.pid, signal.SIGINT)
            demo.stdout.close()
            demo.wait()

    def in_a_root_of_its_own(self, command):
        """With every absolute path below a scratch folder that holds what an installation puts."""
        root = self.folder / "root"
        examples = root / "usr/local/share/doc/kov_hwinv/examples"
        examples.mkdir(parents=True, exist_ok=True)
        shutil.copy(BUILD / "service/restart-with-platform.conf", examples)
        (root / "etc/systemd/system/kov_hwinv.service.d").mkdir(parents=True, exist_ok=True)
        self.bash(re.sub(r" /", f" {root}/", command))


BOARD = "/xyz/openbmc_project/inventory/system/board"

if __name__ == "__main__":
    unittest.main()
