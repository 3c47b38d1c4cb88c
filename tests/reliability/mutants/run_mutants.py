"""Builds the mutants, draws some by a seed, and tells which of them no test kills.

    /usr/bin/python3 run_mutants.py BUILD SECONDS SEED [COUNT]

BUILD: the folder for the copy of the tree and its build. Works at most SECONDS, on COUNT mutants (600 by default) of those that a test
reaches and those that none does, as they come. Prints what scripts/check-long reads. Exits 1 when fewer than 95 % are killed, or not
all are judged, or a survivor has no reason in survivors.tsv, or one that has is killed.
"""

import concurrent.futures
import contextlib
import hashlib
import os
import re
import shutil
import signal
import subprocess
import sys
import time
from collections import defaultdict
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[2]
ROOMS = ["nerio_registry", "nerio_support", "nerio_host"]
PROGRAMS = ["nerio_tests", "registry_faults_tests", "registry_stress_tests"]
# What takes long in these has a test of its own kind that is quick; what works with processes by name is left out.
FILTER = "-Table.*:XmlConf.*:LongXml.*:Stress.*:Kill.*:Wait.*"
LEAST = 0.95


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, **options)


def copy_tree(copy):
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout.split(b"\0")
    for name in filter(None, (name.decode() for name in names)):
        target = copy / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
            shutil.copy2(ROOT / name, target)


def build_mutants(build):
    """Makes the programs; the mutants as rows of mutants.tsv."""
    plain, copy, made, without = build / "plain", build / "copy", build / "made", build / "without"
    build.mkdir(parents=True, exist_ok=True)
    quiet = {"stdout": subprocess.DEVNULL}
    run("cmake", "--preset", "dev", "-B", plain, "-DCMAKE_UNITY_BUILD=OFF", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON", cwd=ROOT, **quiet)
    without.write_text("")
    # A library, so that everything that is linked has it, whatever else it links; the other form is for what is linked with -static.
    run("c++", "-std=c++20", "-O1", "-fPIC", "-c", "-I", ROOT, HERE / "chosen.cpp", "-o", build / "chosen.o")
    run("c++", "-shared", build / "chosen.o", "-o", build / "libnerio_mutants.so")
    run("ar", "rcs", build / "libnerio_mutants.a", build / "chosen.o")
    for _ in range(12):
        copy_tree(copy)
        run("/usr/bin/python3", HERE / "make_mutants.py", plain, copy, without)
        rows = [line.split("\t") for line in (copy / "mutants.tsv").read_text().splitlines()]
        run("cmake", "-S", copy, "-B", made, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None", "-DNERIO_TESTS=ON",
            f"-DCMAKE_CXX_FLAGS=-std=c++20 -O1 -w -include {HERE / 'mutant.h'}",
            f"-DCMAKE_CXX_STANDARD_LIBRARIES=-L{build} -lnerio_mutants -Wl,-rpath,{build}",
            "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON", **quiet)
        # What does not compile shows in the rooms; the tests are compiled once.
        done = subprocess.run(["cmake", "--build", str(made), "--target", *ROOMS, "--", "-k", "0"], capture_output=True, text=True)
        if done.returncode == 0:
            done = subprocess.run(["cmake", "--build", str(made), "--target", *PROGRAMS], capture_output=True, text=True)
        if done.returncode == 0:
            return made, rows
        # The places that the compiler names, in its errors and in what led to them.
        places = set(re.findall(r"\bcopy/(\S+?):(\d+):", "\n".join(
            line for line in done.stdout.splitlines() if "error:" in line or "required from" in line or "in expansion of" in line)))
        bad = [row[5] for row in rows if (row[1], row[2]) in places]
        if not bad:
            sys.exit("the mutants do not compile:\n" + done.stdout[-6000:])
        print(f"{len(bad)} mutants in {len(places)} places do not compile", file=sys.stderr)
        without.write_text(without.read_text() + "\n".join(bad) + "\n")
    sys.exit("the mutants do not compile")


def find_program(made, name):
    return next(path for path in made.rglob(name) if path.is_file() and os.access(path, os.X_OK))


def tests_of(program):
    """The tests of a program that are used, as gtest lists them."""
    listed = subprocess.run([program, "--gtest_list_tests", f"--gtest_filter={FILTER}"], check=True, capture_output=True, text=True).stdout
    suite = ""
    for line in listed.splitlines():
        name = line.split("#")[0].rstrip()
        if line.startswith("  "):
            yield suite + name.strip()
        elif name.endswith("."):
            suite = name


def reach(build, programs):
    """Which tests reach each mutant: number -> [(seconds, program, test)], the quickest first."""

    def one(test):
        program, name = test
        notes = build / "reached" / name.replace("/", "_")
        started = time.monotonic()
        done = subprocess.run([program, "--gtest_brief=1"], cwd=build, stdout=subprocess.PIPE, text=True,
                              env={**os.environ, "GTEST_FILTER": name, "NERIO_MUTANTS_REACHED": str(notes)})
        if done.returncode != 0:
            sys.exit(f"{name} fails without a mutant:\n{done.stdout[-3000:]}")
        numbers = [int(line) for line in notes.read_text().split()] if notes.exists() else []
        return time.monotonic() - started, program, name, numbers

    shutil.rmtree(build / "reached", ignore_errors=True)
    (build / "reached").mkdir()
    reached = defaultdict(list)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        tests = [(program, name) for program in programs for name in tests_of(program)]
        for seconds, program, name, numbers in pool.map(one, tests):
            for number in numbers:
                reached[number].append((seconds, program, name))
    for found in reached.values():
        found.sort(key=lambda test: test[0])
    return reached


def passes(command, folder, environment, seconds):
    """Tells whether a run passes in that time. What it has started ends with it, also what a mutant keeps going for ever."""
    started = subprocess.Popen(command, cwd=folder, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        return started.wait(seconds) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(started.pid, signal.SIGKILL)
        started.wait()


def is_killed(build, number, tests):
    """Runs the tests that reach a mutant, the quickest first, some at a time."""
    batch, total = [], 0.0
    groups = []
    for seconds, program, name in tests:
        if batch and (batch[0][1] != program or total > 1 and len(batch) >= 5 or len(batch) == 150):
            groups.append((batch, total))
            batch, total = [], 0.0
        batch.append((seconds, program, name))
        total += seconds
    groups.append((batch, total))
    for batch, total in groups:
        command = [str(batch[0][1]), "--gtest_brief=1", "--gtest_fail_fast"]
        environment = {**os.environ, "NERIO_MUTANT": str(number), "GTEST_FILTER": ":".join(name for _, _, name in batch)}
        if not passes(command, build, environment, 20 + 20 * total):
            return True
    return False


def main():
    build, seconds, seed = Path(sys.argv[1]).resolve(), int(sys.argv[2]), int(sys.argv[3])
    count = int(sys.argv[4]) if len(sys.argv) > 4 else 600
    started = time.monotonic()
    made, rows = build_mutants(build)
    reached = reach(build, [find_program(made, name) for name in PROGRAMS])
    reasons = {}
    for line in (HERE / "survivors.tsv").read_text().splitlines():
        if line and not line.startswith("#"):
            fields = line.split("\t")
            reasons[fields[0]] = fields[-1]
    # By their keys, so that a change elsewhere draws the same ones again.
    drawn = sorted(rows, key=lambda row: hashlib.sha256(f"{seed} {row[5]}".encode()).digest())[:count]
    survivors, refuted, killed, unreached = [], [], 0, 0

    def judge(row):
        if time.monotonic() - started > seconds:
            return None
        return bool(reached[int(row[0])]) and is_killed(build, int(row[0]), reached[int(row[0])])

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for number, (row, answer) in enumerate(zip(drawn, pool.map(judge, drawn)), 1):
            if number % 50 == 0:
                print(f"{number} of {len(drawn)} after {time.monotonic() - started:.0f} s", file=sys.stderr, flush=True)
            if answer is None:
                continue
            killed += answer
            if answer and row[5] in reasons:
                refuted.append(row)
                print("killed, in spite of its reason: " + "\t".join((row[5], *row[1:5])), file=sys.stderr)
            if not answer:
                survivors.append(row)
                unreached += not reached[int(row[0])]
                print("alive: " + "\t".join((row[5], *row[1:5])) + ("" if reached[int(row[0])] else "\tnot reached"), file=sys.stderr)
    judged = killed + len(survivors)
    equal = [row for row in survivors if row[5] in reasons]
    unexplained = [row for row in survivors if row[5] not in reasons]
    share = killed / max(1, judged - len(equal))
    print(f"figure: {judged} of {len(rows)} mutants drawn with seed {seed}: {killed} killed, {len(equal)} survive with a reason, "
          f"{len(unexplained)} without one ({unreached} survivors reached by no test); killed of those that can be: {100 * share:.1f} %")
    for row in equal:
        print(f"figure: survivor {row[1]}: `{row[4]}`, {row[3]}: {reasons[row[5]]}")
    if judged < len(drawn):
        print(f"only {judged} of {len(drawn)} mutants in {seconds} s", file=sys.stderr)
    return 0 if share >= LEAST and not unexplained and not refuted and judged == len(drawn) else 1


sys.exit(main())
