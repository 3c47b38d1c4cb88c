#!/usr/bin/env python3
"""Lets root, and another user, use a registry in which a hostile user has put things where they do not belong.

    run.py [--build FOLDER] [--plant NAME]... [--place NAME]... [--verb NAME]... [--actor NAME]...

A matrix: every plant at every place of a store, each verb of the tool and each routine of the registry class against it. After
each, nothing outside the store may have changed; readers are back within 1 s, writers within 30 s; the memory is bounded; nothing
crashes. What another user's key was renamed to is kept.

NERIO_SECONDS is how long it may take (the matrix is gone through in an order that NERIO_SEED chooses, until then). --build says
where the programs are, which are built otherwise.
"""

import argparse
import concurrent.futures
import ctypes
import fcntl
import hashlib
import os
import random
import shutil
import signal
import socket
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
HOSTILE, OTHER = 54321, 54322  # users that need no name
READER_SECONDS, WRITER_SECONDS = 1, 30
START_SECONDS = 1.5  # for a writer's own work before and after it waits
MEMORY_KIB = 96 << 10  # with what this program's own process had when it started the other one
SPARSE = 1 << 40
RENAME_EXCHANGE = 2
F_OFD_SETLK = 37
KEY, ABOVE = r"HKLM\open\app", r"HKLM\open"

# Where a plant is put, below the folder of HKEY_LOCAL_MACHINE or beside it.
PLACES = {
    "key": "HKEY_LOCAL_MACHINE/open/app",
    "values": "HKEY_LOCAL_MACHINE/open/app/%values",
    "lock": "HKEY_LOCAL_MACHINE/open/app/%lock",
    "new": "HKEY_LOCAL_MACHINE/open/app/%new",
    "make": "HKEY_LOCAL_MACHINE/open/app/%make",
    "gone": "HKEY_LOCAL_MACHINE/open/app/%gone",
    "left": "HKEY_LOCAL_MACHINE/open/app/%left-0",
    "make-above": "HKEY_LOCAL_MACHINE/open/%make",
    "gone-above": "HKEY_LOCAL_MACHINE/open/%gone",
    "subkey": "HKEY_LOCAL_MACHINE/open/app/sub",
    "subkey-values": "HKEY_LOCAL_MACHINE/open/app/sub/%values",
    "subkey-lock": "HKEY_LOCAL_MACHINE/open/app/sub/%lock",
    "coming": "HKEY_LOCAL_MACHINE/open/app/later",
    "root": "HKEY_USERS",
}
RESERVED = {"make", "gone", "make-above", "gone-above"}
# A root may be a link, on purpose: whoever may put one there owns the registry.
LINKS = {"link-to-file", "link-to-key", "link-to-values", "link-to-nothing", "swapped"}


def remove(path):
    if path.is_symlink() or not path.is_dir():
        path.unlink(missing_ok=True)
    else:
        shutil.rmtree(path)


def owned(path, user=HOSTILE):
    os.lchown(path, user, user)


class World:
    """A store, what lies outside it, and a plant."""

    def __init__(self, place):
        self.place = place
        self.store, self.outside, self.output = place / "store", place / "outside", place / "output"
        self.held = None
        self.stop = threading.Event()
        self.threads = []

    def make(self, template):
        for folder in (self.store, self.outside, self.output):
            remove(folder)
        subprocess.run(["cp", "-a", template / "store", template / "outside", self.place], check=True)
        self.output.mkdir()
        self.output.chmod(0o777)

    def snapshot(self):
        """What is outside: content, owner, permissions, times."""
        seen = {}
        for path in [self.outside, *sorted(self.outside.rglob("*"))]:
            entry = path.lstat()
            content = hashlib.sha256(path.read_bytes()).hexdigest() if stat.S_ISREG(entry.st_mode) else ""
            seen[str(path.relative_to(self.place))] = (oct(entry.st_mode), entry.st_uid, entry.st_gid, entry.st_size,
                                                       entry.st_mtime_ns, content)
        return seen

    def put(self, plant, place):
        """Puts a plant at a place. @return False where the two make no sense together."""
        path = self.store / PLACES[place]
        if place == "root" and plant in LINKS:
            return False
        if plant in ("acl", "held-lock", "swapped", "other-owner") and not path.exists():
            return False
        if plant == "swapped" and not path.is_dir():
            return False
        return PLANTS[plant](self, path) is not False

    def clear(self):
        self.stop.set()
        for thread in self.threads:
            thread.join()
        if self.held is not None:
            os.close(self.held)
        self.held, self.threads, self.stop = None, [], threading.Event()

    # Each takes what is there away and puts something else in its place.

    def link(self, path, target):
        remove(path)
        path.symlink_to(target)
        owned(path)

    def node(self, path, kind, device=0):
        remove(path)
        os.mknod(path, kind | 0o666, device)
        os.chmod(path, 0o666)
        owned(path)

    def socket(self, path):
        remove(path)
        # The path of a socket is short.
        folder = os.open(path.parent, os.O_PATH)
        with socket.socket(socket.AF_UNIX) as made:
            made.bind(f"/proc/self/fd/{folder}/{path.name}")
        os.close(folder)
        owned(path)

    def sparse(self, path):
        head = path.read_bytes() if path.is_file() else b""
        remove(path)
        with path.open("wb") as file:
            file.write(head)
            file.truncate(SPARSE)
        path.chmod(0o666)
        owned(path)

    def hard_link(self, path, target):
        remove(path)
        os.link(target, path)

    def file(self, path, content):
        remove(path)
        path.write_bytes(content)
        path.chmod(0o666)
        owned(path)

    def folder(self, path, user, has_content):
        remove(path)
        path.mkdir(0o700)
        if has_content:
            (path / "kept").write_text("of another user")
            owned(path / "kept", user)
        owned(path, user)

    def key_of_other(self, path):
        remove(path)
        subprocess.run(["cp", "-a", self.outside / "key", path], check=True)
        for part in [path, *path.rglob("*")]:
            owned(part, OTHER)

    def acl(self, path):
        subprocess.run(["setfacl", "-m", f"u:{HOSTILE}:rwx,u:{OTHER}:---,g::---,m::rwx", path], check=True)
        if path.is_dir():
            subprocess.run(["setfacl", "-d", "-m", f"u:{HOSTILE}:rwx", path], check=True)

    def other_owner(self, path):
        owned(path, OTHER)
        path.chmod(0o700 if path.is_dir() else 0o600)

    def hold(self, path):
        """Holds a lock as a writer does, and never gives it back."""
        if path.name != "%lock":
            return False
        self.held = os.open(path, os.O_RDWR)
        fcntl.fcntl(self.held, F_OFD_SETLK, struct.pack("hhqqi4x", fcntl.F_WRLCK, os.SEEK_SET, 0, 0, 0))
        return True

    def swap(self, path):
        """A folder and a link to a key outside change places all the time."""
        spare = path.with_name(path.name + "-spare")
        spare.symlink_to(self.outside / "key")
        owned(spare)
        folder = os.open(path.parent, os.O_PATH)
        rename = ctypes.CDLL(None).renameat2
        stop = self.stop

        def work():
            while not stop.is_set():
                rename(folder, os.fsencode(path.name), folder, os.fsencode(spare.name), RENAME_EXCHANGE)
            os.close(folder)

        self.threads.append(threading.Thread(target=work))
        self.threads[-1].start()


PLANTS = {
    "link-to-file": lambda world, path: world.link(path, world.outside / "file"),
    "link-to-key": lambda world, path: world.link(path, world.outside / "key"),
    "link-to-values": lambda world, path: world.link(path, world.outside / "key" / "%values"),
    "link-to-nothing": lambda world, path: world.link(path, world.outside / "nothing"),
    "fifo": lambda world, path: world.node(path, stat.S_IFIFO),
    "device": lambda world, path: world.node(path, stat.S_IFCHR, os.makedev(1, 5)),
    "missing-device": lambda world, path: world.node(path, stat.S_IFBLK, os.makedev(259, 1048000)),
    "socket": lambda world, path: world.socket(path),
    "sparse": lambda world, path: world.sparse(path),
    "hard-link": lambda world, path: world.hard_link(path, world.outside / "file"),
    "hard-link-to-values": lambda world, path: world.hard_link(path, world.outside / "key" / "%values"),
    "empty-file": lambda world, path: world.file(path, b""),
    "junk": lambda world, path: world.file(path, b"NerioKey" + b"\xff" * 8192),
    "folder": lambda world, path: world.folder(path, HOSTILE, False),
    "folder-of-other": lambda world, path: world.folder(path, 0, True),
    "key-of-other": lambda world, path: world.key_of_other(path),
    "other-owner": lambda world, path: world.other_owner(path),
    "acl": lambda world, path: world.acl(path),
    "held-lock": lambda world, path: world.hold(path),
    "swapped": lambda world, path: world.swap(path),
}


class Programs:
    def __init__(self, build):
        self.tool = str(build / "tools/nerio/nerio")
        self.routines = str(build / "tests/reliability/neighbours/nerio_neighbours_routines")
        self.careless = str(build / "tests/reliability/neighbours/libnerio_neighbours_careless.so")


class Verb:
    """A command; `{}` in its words is the folder for what it writes, `{store}` that of the registry."""

    def __init__(self, words, is_reader, only_root=False, input_file=None):
        self.words, self.is_reader, self.only_root, self.input_file = words, is_reader, only_root, input_file


REG_FILE = f"""Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\open\\app]
"a"="imported"
"new"="value"

[HKEY_LOCAL_MACHINE\\open\\app\\later]
"b"="below"

[-HKEY_LOCAL_MACHINE\\open\\app\\sub]
"""
# The machine's registry is bound to the store in a namespace of its own.
INIT = ("mount -t tmpfs none /var/lib && mkdir -p /var/lib/nerio/registry && mount --bind '{store}' /var/lib/nerio/registry && "
        "unset NERIO_REGISTRY && exec {tool} reg init --group nogroup")


def verbs(programs):
    tool = [programs.tool, "reg"]
    found = {
        "get": Verb([*tool, "get", KEY, "a"], True),
        "test": Verb([*tool, "test", KEY, "a"], True),
        "list": Verb([*tool, "list", KEY], True),
        "tree": Verb([*tool, "tree", ABOVE, "--values"], True),
        "find": Verb([*tool, "find", "x"], True),
        "diff": Verb([*tool, "diff", KEY, r"HKLM\other"], True),
        "export": Verb([*tool, "export", ABOVE, "-o", "{}/out.reg"], True),
        "doctor": Verb([*tool, "doctor"], True),
        "watch": Verb([*tool, "watch", KEY], True),
        "import-dry": Verb([*tool, "import", "{}/in.reg", "--dry-run"], True),
        "set": Verb([*tool, "set", KEY, "a", "written"], False),
        "set-long": Verb([*tool, "set", KEY, "a", "w" * 9000], False),
        "set-below": Verb([*tool, "set", KEY + r"\later", "a", "written"], False),
        "create": Verb([*tool, "create", KEY + r"\sub\deep"], False),
        "create-beside": Verb([*tool, "create", ABOVE + r"\beside"], False),
        "delete-value": Verb([*tool, "delete", KEY, "a", "--yes"], False),
        "delete-subkey": Verb([*tool, "delete", KEY + r"\sub", "--yes"], False),
        "delete": Verb([*tool, "delete", KEY, "--recursive", "--yes", "--backup", "{}/backup.reg"], False),
        "copy": Verb([*tool, "copy", KEY, ABOVE + r"\copy"], False),
        "copy-into": Verb([*tool, "copy", r"HKLM\other", KEY + r"\later"], False),
        "rename": Verb([*tool, "rename", KEY, "renamed"], False),
        "import": Verb([*tool, "import", "{}/in.reg"], False),
        "repair": Verb([*tool, "repair", KEY], False),
        "init": Verb(["unshare", "-m", "sh", "-c", INIT.replace("{tool}", programs.tool)], False, only_root=True),
    }
    for name in subprocess.run([programs.routines], stdout=subprocess.PIPE, text=True, check=True).stdout.split():
        found[name] = Verb([programs.routines, name], name.startswith(("Leggi", "Verifica")))
    return found


class Suite:
    def __init__(self, programs, place):
        self.programs, self.place = programs, place
        self.verbs = verbs(programs)
        self.template = place / "template"
        self.local = threading.local()
        self.number = 0
        self.lock = threading.Lock()
        self.slowest = {True: 0.0, False: 0.0}
        self.memory = 0

    def make_template(self):
        (self.template / "outside").mkdir(parents=True)
        store = self.template / "store"
        environment = {**os.environ, "NERIO_REGISTRY": str(store)}
        for key, name in ((KEY, "a"), (KEY, "b"), (KEY + r"\sub", "c"), (r"HKLM\other", "d")):
            subprocess.run([self.programs.tool, "reg", "set", key, name, "x"], env=environment, check=True, stdout=subprocess.DEVNULL)
        subprocess.run([self.programs.tool, "reg", "create", r"HKU\x"], env=environment, check=True, stdout=subprocess.DEVNULL)
        for path in [store, *store.rglob("*")]:
            path.chmod(0o755 if path.is_dir() else 0o644)
        opened = store / "HKEY_LOCAL_MACHINE/open"
        for path in [opened, *opened.rglob("*")]:
            path.chmod(0o777 if path.is_dir() else 0o666)
            owned(path)
        outside = self.template / "outside"
        subprocess.run(["cp", "-a", store / "HKEY_LOCAL_MACHINE/other", outside / "key"], check=True)
        (outside / "file").write_text("nobody's business")
        (outside / "file").chmod(0o640)
        os.utime(outside / "file", (1e9, 1e9))
        os.utime(outside / "key/%values", (1e9, 1e9))

    def world(self):
        """This thread's own."""
        if not hasattr(self.local, "world"):
            with self.lock:
                self.number += 1
                folder = self.place / f"world-{self.number}"
            folder.mkdir()
            self.local.world = World(folder)
        return self.local.world

    def run(self, verb, actor, world, careless):
        """Runs a command. @return how it ended, its time and its memory."""
        environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "NERIO_REGISTRY": str(world.store)}
        if careless:
            environment |= {"LD_PRELOAD": self.programs.careless, "NERIO_CARELESS": careless}
        words = [word.replace("{store}", str(world.store)).replace("{}", str(world.output)) for word in verb.words]
        user = {} if actor == "root" else {"user": OTHER, "group": OTHER, "extra_groups": []}
        started = time.monotonic()
        process = subprocess.Popen(words, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, **user)
        # Not through the object, which would look for the end itself.
        kill = lambda number: os.kill(process.pid, number)
        killed = threading.Timer(READER_SECONDS * 5 if verb.is_reader else WRITER_SECONDS * 2, kill, [signal.SIGKILL])
        killed.start()
        watched = 0.0
        if "watch" in words:
            watched = 0.3
            time.sleep(watched)
            kill(signal.SIGINT)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        killed.cancel()
        return process.returncode, time.monotonic() - started - watched, usage.ru_maxrss

    def prepare(self, plant, place, world):
        world.make(self.template)
        (world.output / "in.reg").write_text(REG_FILE)
        return world.put(plant, place)

    def check(self, plant, place, name, actor, careless=""):
        """Goes through one case. @return what is wrong with it; None where there is no such case."""
        verb, world = self.verbs[name], self.world()
        limit = READER_SECONDS if verb.is_reader else WRITER_SECONDS + START_SECONDS
        for attempt in range(3):
            if actor != "root" and verb.only_root:
                return None
            try:
                if not self.prepare(plant, place, world):
                    return None
                before = world.snapshot()
                ended, seconds, memory = self.run(verb, actor, world, careless)
            finally:
                world.clear()
            wrong = self.judge(world, before, plant, place, name, ended, memory)
            if wrong:
                return wrong
            if seconds <= limit:
                break
        with self.lock:
            if careless:
                return ""
            self.slowest[verb.is_reader] = max(self.slowest[verb.is_reader], seconds)
            self.memory = max(self.memory, memory)
        # A machine that does something else, too, may have been slow once.
        return "" if seconds <= limit else f"it took {seconds:.1f} s three times"

    def judge(self, world, before, plant, place, name, ended, memory):
        after = world.snapshot()
        for path in sorted(before.keys() | after.keys()):
            if before.get(path) != after.get(path):
                return f"{path} changed: {before.get(path)} is now {after.get(path)}"
        if ended == -signal.SIGKILL:
            return "it did not come back"
        if ended < 0:
            return f"it ended with signal {-ended}"
        if memory > MEMORY_KIB:
            return f"it took {memory} KiB"
        if plant in ("key-of-other", "folder-of-other") and place in RESERVED and name != "init":
            kept = [path for path in world.store.rglob("*") if path.name in ("kept", "%values")
                    and path.lstat().st_uid == (0 if path.name == "kept" else OTHER)
                    and str(path).startswith(str(world.store / "HKEY_LOCAL_MACHINE/open"))]
            if not kept and not name.startswith(("delete", "rename")):
                return "another user's folder is gone"
        return ""


def tell(text):
    print(text, file=sys.stderr, flush=True)


def matrix(suite, given, plants):
    for plant in plants:
        for place in given.place or PLACES:
            for verb in given.verb or suite.verbs:
                for actor in given.actor or ("root", "other"):
                    yield plant, place, verb, actor


def run_cases(suite, cases, seconds, workers):
    """@return how many there were, and those that failed."""
    end = time.monotonic() + seconds
    count, skipped, failed = 0, 0, []

    def one(case):
        return None if time.monotonic() > end else (case, suite.check(*case))

    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        for result in pool.map(one, cases):
            if result is None:
                skipped += 1
            elif result[1] is not None:
                count += 1
                if result[1]:
                    failed.append(result[0])
                    plant, place, verb, actor = result[0]
                    tell(f"FAILED: {plant} at {place}, {verb} as {actor}: {result[1]}")
                    tell(f"  again: tests/reliability/neighbours/run.py --plant {plant} --place {place} --verb {verb} --actor {actor}")
    return count, skipped, failed


def find_planted(suite, careless, plants, chance):
    """Takes a precaution away. @return what the suite saw of it."""
    cases = [(plant, place, verb, "root") for plant in plants for place in ("key", "values", "lock", "subkey") for verb in suite.verbs
             if suite.verbs[verb].is_reader or careless == "links" and verb != "init"]
    chance.shuffle(cases)
    for plant, place, verb, actor in cases:
        wrong = suite.check(plant, place, verb, actor, careless)
        if wrong:
            return f"{plant} at {place}, {verb}: {wrong.replace(str(suite.place), '')}"
    return None


def why_not(place):
    if os.geteuid() != 0:
        return "only root can become several users"
    if not shutil.which("setfacl"):
        return "no setfacl (package acl)"
    try:
        os.mknod(place / "device", stat.S_IFCHR | 0o600, os.makedev(1, 5))
        os.chown(place / "device", HOSTILE, HOSTILE)
        subprocess.run(["setfacl", "-m", f"u:{HOSTILE}:r", place / "device"], check=True, capture_output=True)
        subprocess.run(["unshare", "-m", "true"], check=True, capture_output=True)
    except (OSError, subprocess.CalledProcessError) as error:
        return str(error)
    return ""


def prove(suite, given, seconds, chance):
    failures = 0
    chosen = bool(given.plant or given.place or given.verb or given.actor)
    plants = given.plant or list(PLANTS)
    started = time.monotonic()
    for careless, tried, text in (("links", ["link-to-key", "link-to-values"], "links are followed"),
                                  ("waits", ["fifo"], "opening a FIFO waits")):
        if chosen:
            break
        seen = find_planted(suite, careless, tried, chance)
        failures += seen is None
        print(f"planted: {text}: {seen}" if seen else f"figure: NOT SEEN: {text}", flush=True)
    cases = list(matrix(suite, given, plants))
    chance.shuffle(cases)
    # Those that wait for a lock need no processor: all at once, and only where there is time for them.
    waiting = [case for case in cases if case[0] == "held-lock"]
    others = [case for case in cases if case[0] != "held-lock"]
    held, left_out, failed = run_cases(suite, waiting if seconds >= 4 * WRITER_SECONDS else [], seconds, 64)
    count, skipped, more = run_cases(suite, others, seconds - (time.monotonic() - started), os.cpu_count() or 1)
    skipped += left_out
    failures += len(failed) + len(more)
    print(f"figure: {count + held} cases of {len(plants)} plants, {len(PLACES)} places and {len(suite.verbs)} verbs and "
          f"routines, as root and as another user ({skipped} left out, for lack of time): {failures} failed; the slowest reader took "
          f"{suite.slowest[True]:.2f} s, the slowest writer {suite.slowest[False]:.1f} s, the largest process {suite.memory >> 10} MiB")
    return 1 if failures else 0


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--build", type=Path)
    arguments.add_argument("--plant", action="append", choices=list(PLANTS))
    arguments.add_argument("--place", action="append", choices=list(PLACES))
    arguments.add_argument("--verb", action="append")
    arguments.add_argument("--actor", action="append", choices=["root", "other"])
    given = arguments.parse_args()
    seconds = int(os.environ.get("NERIO_SECONDS", "900"))
    seed = int(os.environ.get("NERIO_SEED", random.SystemRandom().randrange(1 << 32)))
    tell(f"NERIO_SEED={seed}")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    build = given.build or ROOT / "build" / "dev"
    if not given.build:
        targets = ["nerio_program", "nerio_neighbours_routines", "nerio_neighbours_careless"]
        subprocess.run(["cmake", "--preset", "dev"], cwd=ROOT, stdout=sys.stderr, check=True)
        subprocess.run(["cmake", "--build", build, "--target", *targets], cwd=ROOT, stdout=sys.stderr, check=True)
    # In memory, where the devices that are planted there are devices.
    memory = "/dev/shm"
    in_memory = os.path.isdir(memory) and not os.statvfs(memory).f_flag & os.ST_NODEV
    with tempfile.TemporaryDirectory(prefix="nerio-neighbours-", dir=memory if in_memory else None) as folder:
        place = Path(folder)
        place.chmod(0o755)
        reason = why_not(place)
        if reason:
            print(f"not run: hostile neighbours: {reason}", flush=True)
            return 0
        suite = Suite(Programs(build.resolve()), place)
        suite.make_template()
        return prove(suite, given, seconds, random.Random(seed))


sys.exit(main())
