"""Whole machines for tests: a bare Debian in a folder, and the same one booted in a container.

Everything lives below one temporary folder and is gone when the test ends. Only root can do this,
with debootstrap and systemd-nspawn; requirement() says what is missing.
"""

import os
import pathlib
import shutil
import subprocess
import time

RELEASE = "bookworm"

# What a bare machine of ours has, and what the packages under test depend on.
PACKAGES = "systemd,systemd-sysv,dbus,dbus-daemon,libstdc++6,passwd"

BETWEEN_LOOKS = 0.05


def requirement(*programs):
    """Why no machine can be made here, in one sentence; None when it can."""
    if os.geteuid() != 0:
        return "only root can make and boot a machine"
    absent = [name for name in programs if shutil.which(name) is None]
    if absent:
        return f"not installed: {', '.join(absent)}; scripts/bootstrap --slow installs it"
    return None


def run(*command, check=True, **options):
    """Runs a command; its output, of both kinds, is the result or part of the failure."""
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options
    )
    if check and done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} failed:\n{done.stdout[-8000:]}")
    return done.stdout if check else done


def wait_for(fact, limit, what):
    """Waits until fact() is true and returns the seconds that it took."""
    begin = time.monotonic()
    while not fact():
        if time.monotonic() - begin > limit:
            raise AssertionError(f"not within {limit} s: {what}")
        time.sleep(BETWEEN_LOOKS)
    return time.monotonic() - begin


def mirror():
    """Where this machine itself gets its packages."""
    sources = run("apt-get", "indextargets", "--format", "$(REPO_URI)", f"Codename: {RELEASE}")
    return sources.split()[0]


def bare_root(folder, cache):
    """A new root in `folder`; what debootstrap made is kept in `cache` for the next one."""
    archive = pathlib.Path(cache) / f"{RELEASE}.tar"
    folder.mkdir()
    if not archive.exists():
        archive.parent.mkdir(parents=True, exist_ok=True)
        run("debootstrap", "--variant=minbase", f"--include={PACKAGES}", RELEASE, folder, mirror())
        run("tar", "-C", folder, "-cf", f"{archive}.new", ".")
        os.rename(f"{archive}.new", archive)
    else:
        run("tar", "-C", folder, "-xf", archive)
    return folder


def files_of(root):
    """All paths below a root that an installation could have left there."""
    changing = ("proc", "sys", "dev", "run", "tmp", "var/cache", "var/log", "var/lib/dpkg",
                "var/lib/apt", "var/lib/systemd", "var/tmp", "root")
    found = set()
    for place, folders, files in os.walk(root):
        inside = os.path.relpath(place, root)
        folders[:] = [
            name for name in folders if os.path.normpath(os.path.join(inside, name)) not in changing
        ]
        found.update(os.path.normpath(os.path.join(inside, name)) for name in files + folders)
    return found


class Container:
    """A root, booted with its own systemd as process 1 and its own system bus."""

    def __init__(self, root):
        self.log = open(f"{root}.log", "wb")
        self.process = subprocess.Popen(
            ["systemd-nspawn", "-D", root, "--register=no", "--keep-unit", "--boot",
             "--console=pipe", "--private-network", "--link-journal=no"],
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=subprocess.STDOUT,
        )
        self.leader = None
        wait_for(self._find_leader, 30, "the container's process 1")
        self.wait_until_booted()

    def wait_until_booted(self):
        wait_for(self._booted, 90, "the container's boot")

    def _find_leader(self):
        if self.process.poll() is not None:
            raise AssertionError("systemd-nspawn ended: " + pathlib.Path(self.log.name).read_text())
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        for child in children.read_text().split():
            if pathlib.Path(f"/proc/{child}/comm").read_text().strip() == "systemd":
                self.leader = child
        return self.leader is not None

    def _booted(self):
        state = self.run("systemctl", "is-system-running", check=False).stdout.strip()
        return state in ("running", "degraded")

    def run(self, *command, check=True):
        return run("nsenter", "--target", self.leader, "--all", "--root", "--wd", *command, check=check)

    def property(self, unit, name):
        return self.run("systemctl", "show", "--value", f"--property={name}", unit).strip()

    def poweroff(self):
        """Ends it in order; kills it when it does not end."""
        self.run("systemctl", "poweroff", "--no-block", check=False)
        try:
            self.process.wait(60)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.log.close()
