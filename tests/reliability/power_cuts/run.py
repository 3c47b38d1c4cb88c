#!/usr/bin/env python3
"""Cuts the power of a disk while registries on it are changed, and looks at what is left.

    run.py [--build FOLDER] [--file-system NAME]...

The disk is a file that nerio_recorded_disk shows through FUSE, under a loop device. It keeps a log of every write and flush.
nerio_power_cut_writers changes registries on it, is killed again and again, and keeps a journal elsewhere. Then the disk is
made as a cut at some moment would have left it: what was written before the last flush is there, of the rest any part. Each
such disk is mounted, compared with the journal, written to again and checked by `nerio reg doctor`.

Controls: the same with the syncs of one place of the store left out. Each has to lose something on one of the file systems,
or the harness fails: it would not see a loss, or the sync would not be needed.

NERIO_SECONDS is how long it may take, NERIO_SEED the seed. --build says where the programs are, which are built otherwise.
"""

import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
CUTS = 500  # on each file system, when there is time
CUTS_OF_A_WORKLOAD = 50
MOST_CUTS_OF_A_CONTROL = 60
MODEL = "RegistryPowerCut*:KilledBefore*"


class FileSystem:
    def __init__(self, name, megabytes, make, options, check=None):
        self.name, self.megabytes, self.make, self.options, self.check = name, megabytes, make, options, check


# Nothing reaches the disk by itself within a workload, so that what is there was asked for, or written back at random. Without a
# journal the system checks the disk when it starts.
FILE_SYSTEMS = [
    FileSystem("ext4-without-journal", 48, ["mkfs.ext4", "-q", "-F", "-b", "4096", "-O", "^has_journal"], "", ["e2fsck", "-f", "-y"]),
    FileSystem("ext4", 64, ["mkfs.ext4", "-q", "-F", "-b", "4096", "-E", "lazy_itable_init=0,lazy_journal_init=0"], "commit=3600"),
    FileSystem("xfs", 320, ["mkfs.xfs", "-q", "-f"], "nouuid"),
    FileSystem("btrfs", 160, ["mkfs.btrfs", "-q", "-f"], "commit=3600"),
]

PLACES = ["record", "new-file", "folder-of-new-file", "new-key", "folder-of-new-key", "folder-of-gone-key", "deletion-note",
          "deletion-mark", "folder-of-note", "folder-of-found-key", "folders-above-roots"]
NOT_SHOWN = {
    "deletion-note": "the folder's mark and the removal are synced after it and say the same; who does not own the folder cannot set "
                     "the mark, and then the note, which fdatasync(2) makes durable, is all that tells that the key is gone",
    "folder-of-note": "the note, synced before, tells that the key is gone, whatever becomes of its folder; fsync(2) makes the removal "
                      "of an entry durable only with its folder, and until then the folder may come back",
    "folders-above-roots": "each of them makes the folders above a new file that is synced durable, too; fsync(2) promises it for no "
                           "file system (the entry of a file or folder is durable once its folder is synced)",
}
# A short form: one file system, one control, the first cuts.
SHORT_SECONDS = 120
LEAST_CUTS = 5


def tell(text):
    print(text, file=sys.stderr, flush=True)


def run(*command, check=True):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if check and done.returncode != 0:
        raise RuntimeError(f"{' '.join(str(word) for word in command)}: exit code {done.returncode}: {done.stdout.strip()}")
    return done


class Disk:
    """One workload on one file system, and the cuts of it. Everything lies in a folder of its own."""

    def __init__(self, programs, file_system, seed):
        self.programs, self.file_system, self.seed = programs, file_system, seed
        self.place = Path(tempfile.mkdtemp(prefix="nerio-power-cuts-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None))
        self.base, self.log, self.journal = (self.place / name for name in ("base", "log", "journal"))
        self.shown, self.live, self.after = (self.place / name for name in ("shown", "live", "after"))
        for folder in (self.shown, self.live, self.after):
            folder.mkdir()
        self.server = None
        self.loop = None
        self.end = 0
        self.points = 0
        self.cuts = 0
        self.moments = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.release()
        shutil.rmtree(self.place, ignore_errors=True)

    def release(self):
        """Takes away every mount, loop device and process; what is not there is no failure."""
        for folder in (self.after, self.live):
            run("umount", folder, check=False)
        if self.loop:
            run("losetup", "-d", self.loop, check=False)
            self.loop = None
        # The loop device may be let go of a little later.
        for _ in range(50):
            if not os.path.ismount(self.shown) or run("umount", self.shown, check=False).returncode == 0:
                break
            time.sleep(0.1)
        if self.server:
            try:
                self.server.wait(timeout=5)
            except subprocess.TimeoutExpired:
                self.server.kill()
                self.server.wait()
            self.server = None

    def prepare(self):
        with self.base.open("wb") as file:
            file.truncate(self.file_system.megabytes << 20)
        run(*self.file_system.make, self.base)
        self.server = subprocess.Popen([self.programs.disk, "serve", self.shown, self.base, self.log])
        for _ in range(100):
            if (self.shown / "disk").exists():
                break
            if self.server.poll() is not None:
                raise RuntimeError("no right to mount through /dev/fuse")
            time.sleep(0.05)
        self.loop = run("losetup", "--find", "--show", self.shown / "disk").stdout.strip()
        options = ["-o", self.file_system.options] if self.file_system.options else []
        run("mount", *options, self.loop, self.live)

    def work(self, milliseconds, left_out=""):
        """Lets the writers work."""
        self.prepare()
        os.sync()
        words = run(self.programs.writers, "write", self.live, self.log, self.journal, self.seed, milliseconds,
                    "no-journal" if self.file_system.check else "journal", *([left_out] if left_out else [])).stdout
        self.end = self.log.stat().st_size
        self.points = int(words.split()[0])
        self.release()
        self.moments = self.answers()

    def answers(self, *place):
        """How long the log was when an operation had answered; one that came to a sync at this place."""
        return [int(word) for word in run(self.programs.writers, "moments", self.journal, *place).stdout.split()]

    def cut(self, position, seed):
        """What is wrong after a cut: a list of lines."""
        # A file of its own for each: a loop device that is let go of a little later would show what its cache has.
        self.cuts += 1
        image = self.place / f"image-{self.cuts}"
        try:
            run(self.programs.disk, "cut", self.base, self.log, position, seed, image)
            if self.file_system.check:
                run(*self.file_system.check, image, check=False)
            options = ",".join(filter(None, ["loop", self.file_system.options]))
            mounted = run("mount", "-o", options, image, self.after, check=False)
            if mounted.returncode != 0:
                return [f"the file system cannot be mounted: {mounted.stdout.strip()}"]
            try:
                return self.verify(position)
            finally:
                run("umount", self.after)
        finally:
            image.unlink(missing_ok=True)

    def verify(self, position):
        verified = run(self.programs.writers, "verify", self.after, self.journal, position, check=False)
        wrong = verified.stdout.splitlines()
        if verified.returncode != 0 and not wrong:
            wrong = [f"the check ended with {verified.returncode}"]
        if not wrong:
            os.environ["NERIO_REGISTRY"] = str(self.after / "r")
            doctor = run(self.programs.tool, "reg", "doctor", check=False)
            if doctor.returncode != 0:
                wrong = [f"nerio reg doctor: exit code {doctor.returncode}: {doctor.stdout.strip()}"]
        return wrong

    def keep(self, position, seed, wrong):
        """Keeps what is needed to look at a failure again, and tells how."""
        kept = ROOT / "build" / "long" / f"power-cut-{self.file_system.name}-{self.seed}-{position}-{seed}"
        kept.mkdir(parents=True, exist_ok=True)
        for file in (self.base, self.log, self.journal):
            run("cp", "--sparse=always", file, kept)
        tell(f"FAILED on {self.file_system.name}, workload {self.seed}, cut at {position}, seed {seed}:")
        for line in wrong:
            tell(f"  {line}")
        tell(f"  again: cd {kept} && {self.programs.disk} cut base log {position} {seed} image")
        if self.file_system.check:
            tell(f"         {' '.join(self.file_system.check)} image")
        tell(f"         mount -o loop image /mnt && {self.programs.writers} verify /mnt journal {position}")


class Programs:
    def __init__(self, build):
        self.disk = build / "tests/reliability/power_cuts/nerio_recorded_disk"
        self.writers = build / "tests/reliability/power_cuts/nerio_power_cut_writers"
        self.tool = build / "tools/nerio/nerio"
        self.model = build / "tests/hosts/linux/store/registry_faults_tests"


def moments_of(disk, count, chance):
    """Where to cut: at acknowledgements, the hardest moment, or anywhere; and what becomes of the rest."""
    for _ in range(count):
        at_answer = disk.moments and chance.random() < 0.6
        position = chance.choice(disk.moments) if at_answer else chance.randrange(1, disk.end + 1)
        loses_all = disk.file_system.check or chance.random() < 0.4
        yield position, 0 if loses_all else chance.randrange(1, 1 << 32)


class Harness:
    def __init__(self, programs, chosen, seconds, seed):
        self.programs, self.chosen = programs, chosen
        self.started, self.seconds = time.monotonic(), seconds
        self.chance = random.Random(seed)
        self.failures = 0
        self.cuts = {one.name: 0 for one in chosen}
        self.points = 0
        self.acknowledged = 0
        self.kills = 0

    def time_left(self):
        return self.seconds - (time.monotonic() - self.started)

    def check_places(self, disk):
        """Every sync of the store has a name here, so that its control is run."""
        reached = run(self.programs.writers, "places", disk.journal, check=False)
        missing = set(PLACES) - set(reached.stdout.split())
        if reached.returncode != 0 or missing:
            self.failures += 1
            tell(f"FAILED: the syncs that were reached are not those that are known: {reached.stdout.split()}")

    def control(self, place):
        """Leaves out the syncs at a place. Where that lost something; None when it never did."""
        for file_system in self.chosen:
            with Disk(self.programs, file_system, self.chance.randrange(1 << 32)) as disk:
                disk.work(0, place)
                # Nothing that was not flushed is kept: a cut right after an answer loses what the answer promised.
                # First those of the operations that came to this place, then others, which build on what was killed there.
                first, others = disk.answers(place), disk.moments
                self.chance.shuffle(first)
                self.chance.shuffle(others)
                for tried, position in enumerate((first + others)[:MOST_CUTS_OF_A_CONTROL], 1):
                    wrong = disk.cut(position, 0)
                    if wrong:
                        return f"{file_system.name}, cut {tried}: {wrong[0]}"
        return None

    def controls(self, places):
        for place in places:
            shown = self.control(place)
            tell(f"without {place}: {shown}")
            if shown:
                print(f"planted: syncs at {place} left out: {shown}", flush=True)
            elif place in NOT_SHOWN:
                print(f"figure: the sync {place} is not shown to be needed by these file systems: {NOT_SHOWN[place]}", flush=True)
            else:
                self.failures += 1
                tell(f"FAILED: nothing is lost without the syncs at {place}")

    def cut_workload(self, file_system, count, milliseconds):
        with Disk(self.programs, file_system, self.chance.randrange(1 << 32)) as disk:
            disk.work(milliseconds)
            # Without a journal not all of them are come to.
            if not file_system.check:
                self.check_places(disk)
            self.points += disk.points
            self.acknowledged += len(disk.moments)
            for position, seed in moments_of(disk, count, self.chance):
                if self.time_left() < 0 and self.cuts[file_system.name] >= LEAST_CUTS:
                    return
                wrong = disk.cut(position, seed)
                self.cuts[file_system.name] += 1
                if wrong:
                    self.failures += 1
                    disk.keep(position, seed, wrong)
        tell(f"{file_system.name}: {self.cuts[file_system.name]} cuts, {self.failures} failures, {self.time_left():.0f} s left")

    def goes_on(self, file_system, most):
        count = self.cuts[file_system.name]
        return count < (most if self.time_left() > 0 else LEAST_CUTS)

    def cut_all(self, most, of_a_workload, milliseconds):
        while any(self.goes_on(one, most) for one in self.chosen):
            for file_system in self.chosen:
                if self.goes_on(file_system, most):
                    self.cut_workload(file_system, min(of_a_workload, most - self.cuts[file_system.name]), milliseconds)

    def tell_figures(self):
        counts = ", ".join(f"{count} on {name}" for name, count in self.cuts.items())
        print(f"figure: power cuts: {counts}; {self.points} operations killed at a named point, "
              f"{self.acknowledged} acknowledged ones; {self.failures} failures")


def why_not(programs, file_system):
    """Why this machine cannot cut such a disk, or nothing."""
    if os.geteuid() != 0:
        return "only root can mount a disk"
    try:
        with Disk(programs, file_system, 0) as disk:
            disk.prepare()
    except (RuntimeError, OSError) as error:
        return str(error).splitlines()[0]
    return ""


def run_model(programs):
    """Stands in for the disks."""
    done = run(programs.model, f"--gtest_filter={MODEL}", "--gtest_brief=1", check=False)
    tell(done.stdout)
    if done.returncode == 0:
        print("figure: the model of a disk instead: all its tests passed")
    return done.returncode


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--build", type=Path)
    arguments.add_argument("--file-system", action="append", choices=[one.name for one in FILE_SYSTEMS])
    arguments.add_argument("--control", action="append", choices=[*PLACES, "none"])
    given = arguments.parse_args()
    seconds = int(os.environ.get("NERIO_SECONDS", "1800"))
    seed = int(os.environ.get("NERIO_SEED", random.SystemRandom().randrange(1 << 32)))
    tell(f"NERIO_SEED={seed}")
    # What is mounted is taken away also when this is ended from outside.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    build = given.build or ROOT / "build" / "dev"
    if not given.build:
        targets = ["nerio_recorded_disk", "nerio_power_cut_writers", "nerio_program", "registry_faults_tests"]
        subprocess.run(["cmake", "--preset", "dev"], cwd=ROOT, stdout=sys.stderr, check=True)
        subprocess.run(["cmake", "--build", build, "--target", *targets], cwd=ROOT, stdout=sys.stderr, check=True)
    programs = Programs(build)
    is_short = seconds < SHORT_SECONDS
    names = given.file_system or [one.name for one in FILE_SYSTEMS[:2 if is_short else None]]
    chosen = []
    for one in FILE_SYSTEMS:
        reason = why_not(programs, one) if one.name in names else ""
        if reason:
            print(f"not run: power cuts on {one.name}: {reason}", flush=True)
        elif one.name in names:
            chosen.append(one)
    if not chosen:
        return run_model(programs)
    harness = Harness(programs, chosen, seconds, seed)
    harness.controls([place for place in given.control or (["record"] if is_short else PLACES) if place != "none"])
    harness.cut_all(CUTS, CUTS_OF_A_WORKLOAD, 300 if is_short else 1500)
    harness.tell_figures()
    if FILE_SYSTEMS[0] in chosen:
        print("not run: on ext4 without a journal: anything but keys that are made and their first values, and writes of which a part was lost "
              "between two flushes: it gives the inode of a removed file to a new one before the removal is on the disk; this is not promised")
    return 1 if harness.failures else 0


sys.exit(main())
