#!/usr/bin/env python3
"""Runs a command whose daemons live in the sandbox of the installed unit, as its own user.

    sandbox.py BUILD COMMAND [ARGUMENTS]

What BUILD installs goes into a bare Debian that is booted in a container. The command, such as
`meson test`, sees the files of this machine and the processes of the container; HWINV_LAUNCHER names
what starts a daemon for it (tools/rig/daemon.hpp says how): a transient unit of the container's
systemd with every line of the installed unit's [Service] section, but for those that say how a
service is started anew. Private buses are in /srv, which both see.

Needs root. Ends with the command's status.
"""

import contextlib
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # the folder is part of the source tree

import machine

UNIT = "kov_hwinv.service"

# A test starts the daemon itself, and is told when it ends.
NOT_OF_THE_SANDBOX = {"Type", "BusName", "ExecStart", "Restart", "RestartSec"}

# In the container; the sandbox hides /home, /root and /tmp, where a build folder may be.
TOOLS = "/usr/lib/hwinv-faults"

# In place of the service manager, which would read $ in a command as a variable of its own.
BECOME_THE_DAEMON = """#!/bin/sh
echo $$
exec env "$@" >&2 </dev/null
"""

# The daemon's user may go through the folder of its bus, which belongs to the test alone.
LAUNCHER = """#!/bin/bash
built={built} tools={tools}
arguments=()
for argument; do
    case $argument in
        DBUS_SYSTEM_BUS_ADDRESS=unix:path=/srv/*)
            socket=${{argument#*=unix:path=}}
            chmod o+x "$(dirname "${{socket%%,*}}")"
            ;;
        LD_PRELOAD=*) argument=${{argument//"$built"/"$tools"}} ;;
    esac
    arguments+=("$argument")
done
arguments[-1]={daemon}
exec nsenter --target 1 --mount --uts --ipc --net --cgroup --root --wd=/ \\
    systemd-run --quiet --pipe --wait --collect --service-type=exec \\
    {properties} {tools}/become "${{arguments[@]}}"
"""

# Every socket that a test makes in its folder is for the daemon's user, too.
ENTER = """
mount -t proc proc /proc
for place in srv etc/passwd etc/group; do
    mount --bind "$0/$place" "/$place"
done
umask 000
exec "$@"
"""

# What a process in the sandbox sees, and what it has to see. The last two ask for more than it may
# have.
LOOK_AROUND = """
cat /proc/self/status
ulimit -Hn
touch /usr/x /srv/x
ls /root
(i=0; while [ $((i += 1)) -lt {tasks} ]; do sleep 1 & done)
head -c {memory} /dev/zero | tail -c {memory} | wc -c
"""
SIGNS = ["NoNewPrivs:\t1", "Seccomp:\t2", "CapBnd:\t0000000000000000",
         "touch: cannot touch '/usr/x': Read-only file system",
         "touch: cannot touch '/srv/x': Read-only file system",
         "ls: cannot open directory '/root': Permission denied",
         "Cannot fork"]

LIMITING = ("memory", "pids")
CGROUPS = pathlib.Path("/sys/fs/cgroup")


@contextlib.contextmanager
def own_cgroups():
    """On a machine whose controllers are mounted one by one, the container gets cgroups that its
    systemd may divide; nothing is left of them. Elsewhere nspawn sees to that."""
    memberships = pathlib.Path("/proc/self/cgroup").read_text(encoding="utf-8")
    made = []
    for controller in LIMITING:
        found = re.search(rf"(?m)^\d+:{controller}:/(.*)$", memberships)
        if found:
            own = CGROUPS / controller / found[1] / f"sandbox-{os.getpid()}"
            own.mkdir()
            (own / "cgroup.procs").write_text(str(os.getpid()))
            made.append(own)
    try:
        yield
    finally:
        for own in made:
            (own.parent / "cgroup.procs").write_text(str(os.getpid()))
            for folder, _, _ in os.walk(own, topdown=False):
                os.rmdir(folder)


def let_systemd_divide(box):
    """nspawn has mounted them read-only."""
    mounted = [CGROUPS / name for name in LIMITING if (CGROUPS / name / "cgroup.procs").exists()]
    for controller in mounted:
        box.run("mount", "-o", "remount,rw,bind", str(controller))
    if mounted:
        box.run("systemctl", "daemon-reexec")
        box.wait_until_booted()


def service_lines(unit):
    """KEY=VALUE of the [Service] section, in their order."""
    section, lines = "", []
    for line in unit.splitlines():
        if line.startswith("["):
            section = line
        elif section == "[Service]" and line and not line.startswith("#"):
            lines.append(line)
    return lines


def value_of(lines, key):
    return next(line.split("=", 1)[1] for line in lines if line.startswith(key + "="))


def properties_of(lines):
    return [word for line in lines if line.split("=")[0] not in NOT_OF_THE_SANDBOX
            for word in ("-p", line)]


def write_script(path, text):
    path.write_text(text, encoding="utf-8")
    path.chmod(0o755)


def install(build, root):
    """What the build installs, and the libraries that tests preload; the lines of the unit."""
    machine.run("meson", "install", "-C", build, "--no-rebuild", "--quiet", "--destdir", root)
    tools = root / TOOLS[1:]
    tools.mkdir()
    for library in (build / "tests/faults").glob("libhwinv_*.so"):
        shutil.copy(library, tools)
    write_script(tools / "become", BECOME_THE_DAEMON)
    [unit] = root.rglob(f"systemd/system/{UNIT}")
    return service_lines(unit.read_text(encoding="utf-8"))


def make_launcher(path, build, lines):
    write_script(path, LAUNCHER.format(
        built=shlex.quote(str(build / "tests/faults")),
        tools=TOOLS,
        daemon=value_of(lines, "ExecStart"),
        properties=shlex.join(properties_of(lines)),
    ))


def check_sandbox(box, lines):
    """The container's systemd does not fail where it cannot do what a line asks for."""
    tasks = int(value_of(lines, "TasksMax")) + 4
    memory = value_of(lines, "MemoryMax")
    script = LOOK_AROUND.format(tasks=tasks, memory=memory)
    seen = box.run("systemd-run", "--quiet", "--pipe", "--wait", "--collect",
                   *properties_of(lines), "/bin/sh", "-c", script, check=False).stdout
    user = box.run("id", "-u", value_of(lines, "User")).strip()
    files = value_of(lines, "LimitNOFILE")
    missing = [sign for sign in [*SIGNS, f"Uid:\t{user}\t", f"\n{files}\n"] if sign not in seen]
    if missing or re.search(r"(?m)^\d{6,}$", seen):
        raise AssertionError(f"no whole sandbox: {missing} not in, or too much memory\n{seen}")


def run_inside(box, root, command, environment):
    return subprocess.run(
        ["nsenter", "--target", box.leader, "--pid", "unshare", "--mount", "--propagation",
         "private", "sh", "-ec", ENTER, root, *command],
        env={**os.environ, **environment}, check=False,
    ).returncode


def main(build, *command):
    build = pathlib.Path(build).resolve()
    missing = machine.requirement("debootstrap", "systemd-nspawn", "nsenter")
    if missing:
        print(f"sandbox: {missing}", file=sys.stderr)
        return 1
    with tempfile.TemporaryDirectory(prefix="sandbox-") as folder:
        scratch = pathlib.Path(folder)
        root = machine.bare_root(scratch / "root", build / "tests/machine/cache")
        lines = install(build, root)
        make_launcher(scratch / "launcher", build, lines)
        with own_cgroups():
            box = machine.Container(root)
            try:
                box.run("systemd-sysusers")
                let_systemd_divide(box)
                check_sandbox(box, lines)
                return run_inside(box, root, command, {
                    "HWINV_LAUNCHER": str(scratch / "launcher"), "TMPDIR": "/srv"})
            finally:
                box.poweroff()


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # the container ends, too
    sys.exit(main(*sys.argv[1:]))
