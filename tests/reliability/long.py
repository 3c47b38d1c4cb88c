"""Runs the parts of the long check and writes docs/reliability.md. scripts/check-long says how it is called.

A part is a folder with a part.json: name, seconds (its time, given to it as NERIO_SECONDS), cores (1 when it does not say),
command, setup (a job of scripts/setup, when it needs one) and promises. What it prints on standard output is read: lines
`figure: TEXT`, `planted: TEXT` (a planted fault that it caught) and `not run: TEXT`.
"""

import argparse
import datetime
import json
import os
import subprocess
import sys
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PARTS = ROOT / "tests" / "reliability"
RESULTS = ROOT / "docs" / "reliability"
PAGE = ROOT / "docs" / "reliability.md"
LOGS = ROOT / "build" / "long"

# In this order on the page.
KINDS = ["Durability", "Atomicity", "Coherence", "Rights", "Bounds", "Any input", "No leak", "Exactness", "Equal answers", "Upgrade"]
PRINTED = {"figure": "figures", "planted": "planted", "not run": "not_run"}


def parts():
    found = [json.loads(file.read_text()) for file in sorted(PARTS.glob("*/part.json"))]
    for part in found:
        for promise in part["promises"]:
            if promise["kind"] not in KINDS:
                sys.exit(f"check long: {part['name']}: no kind of promise is called {promise['kind']}")
            if not (ROOT / promise["proof"]).exists():
                sys.exit(f"check long: {part['name']}: no {promise['proof']}")
    return found


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, check=True, capture_output=True, text=True).stdout.strip()


def commit():
    """The commit that is checked out, with a mark when files differ from it; the pages that this program writes do not count."""
    changed = output_of("git", "status", "--porcelain", "--untracked-files=no", "--", ".", ":!docs/reliability", f":!{PAGE.relative_to(ROOT)}")
    return output_of("git", "rev-parse", "--short=7", "HEAD") + (" with changes" if changed else "")


def run(part, seconds):
    """Runs a part; its result, as it is kept."""
    started = time.monotonic()
    result = {"name": part["name"], "date": datetime.date.today().isoformat(), "commit": commit(), "figures": [], "planted": [], "not_run": []}
    log = LOGS / f"{part['name']}.log"
    with log.open("w") as words:
        if "setup" in part and subprocess.run(["scripts/setup", part["setup"]], cwd=ROOT, stderr=words).returncode != 0:
            result["failed"] = f"scripts/setup {part['setup']} failed"
        else:
            words.flush()
            done = subprocess.run(part["command"], cwd=ROOT, stdout=subprocess.PIPE, stderr=words, text=True,
                                  env={**os.environ, "NERIO_SECONDS": str(seconds)})
            words.write(done.stdout)
            for line in done.stdout.splitlines():
                what, _, text = line.partition(": ")
                if what in PRINTED:
                    result[PRINTED[what]].append(text)
            if done.returncode != 0:
                result["failed"] = f"exit code {done.returncode}, see {log.relative_to(ROOT)}"
            elif not result["figures"] and not result["not_run"]:
                result["failed"] = "it showed no figure"
    result["seconds"] = round(time.monotonic() - started)
    return result


def run_all(chosen, seconds):
    """Runs the parts, as many beside each other as there are cores for; the names of those that failed."""
    LOGS.mkdir(parents=True, exist_ok=True)
    RESULTS.mkdir(exist_ok=True)
    free = os.cpu_count() or 1
    changed = threading.Condition()
    failed = []

    def work(part, cores):
        nonlocal free
        result = run(part, seconds or part["seconds"])
        (RESULTS / f"{part['name']}.json").write_text(json.dumps(result, indent=1, ensure_ascii=False) + "\n")
        with changed:
            free += cores
            if "failed" in result:
                failed.append(part["name"])
            print(f"== {part['name']}: {result.get('failed', 'kept')}  [{result['seconds']} s]", flush=True)
            for what, kept in PRINTED.items():
                for text in result[kept]:
                    print(f"   {what}: {text}", flush=True)
            changed.notify()

    threads = []
    waiting = sorted(chosen, key=lambda part: -part["seconds"])  # the longest first: none is left alone at the end
    with changed:
        while waiting:
            part = next((part for part in waiting if min(part.get("cores", 1), os.cpu_count() or 1) <= free), None)
            if part is None:
                changed.wait()
                continue
            waiting.remove(part)
            cores = min(part.get("cores", 1), os.cpu_count() or 1)
            free -= cores
            threads.append(threading.Thread(target=work, args=(part, cores)))
            threads[-1].start()
    for thread in threads:
        thread.join()
    return failed


def cell(text):
    return text.replace("|", "\\|")


def duration(seconds):
    return f"{seconds} s" if seconds < 120 else f"{round(seconds / 60)} min"


def page(found):
    """The text of docs/reliability.md."""
    results = {}
    for file in sorted(RESULTS.glob("*.json")):
        result = json.loads(file.read_text())
        results[result["name"]] = result
    lines = [(PARTS / "beginning.md").read_text().rstrip(), "", "## What is promised, and what proves it", ""]
    lines += ["| promise | proved by | part |", "|---|---|---|"]
    for kind in KINDS:
        for part in found:
            for promise in part["promises"]:
                if promise["kind"] == kind:
                    lines.append(f"| **{kind}**: {cell(promise['promise'])} | `{promise['proof']}` | [{part['name']}](#{part['name']}) |")
    lines += ["", "## The last figures", ""]
    for part in found:
        command = f"`scripts/check long {part['name']}`, {duration(part['seconds'])}"
        lines += [f"### {part['name']}", ""]
        result = results.get(part["name"])
        if result is None:
            lines += [f"{command}. Not run yet.", ""]
            continue
        lines += [f"{command}. Last run {result['date']} at commit {result['commit']}, {duration(result['seconds'])}"
                  + (f": **failed**, {result['failed']}." if "failed" in result else "."), ""]
        lines += [f"- {text}" for text in result["figures"]]
        lines += [f"- Planted fault, caught: {text}" for text in result["planted"]]
        lines += [f"- Not run: {text}" for text in result["not_run"]]
        lines.append("")
    lines += [(PARTS / "end.md").read_text().rstrip(), ""]
    return "\n".join(lines)


def main():
    arguments = argparse.ArgumentParser(prog="check long", add_help=False)
    arguments.add_argument("parts", nargs="*")
    arguments.add_argument("--list", action="store_true")
    arguments.add_argument("--page", action="store_true")
    arguments.add_argument("--compare", action="store_true")  # for the test: is the page the one that --page would write?
    arguments.add_argument("--seconds", type=int, default=0)
    given = arguments.parse_args()
    found = parts()
    names = [part["name"] for part in found]
    for name in given.parts:
        if name not in names:
            sys.exit(f"check long: no part is called {name} ({' '.join(names)})")
    if given.list:
        for part in found:
            print(f"{part['name']:<16} {duration(part['seconds']):>8}  {', '.join(sorted({p['kind'] for p in part['promises']}))}")
        return 0
    if given.compare:
        if not PAGE.exists() or PAGE.read_text() != page(found):
            sys.exit(f"{PAGE.relative_to(ROOT)} is not what scripts/check long --page writes")
        return 0
    failed = []
    if not given.page:
        failed = run_all([part for part in found if not given.parts or part["name"] in given.parts], given.seconds)
    PAGE.write_text(page(found))
    if failed:
        print(f"check long: failed: {' '.join(sorted(failed))}", file=sys.stderr)
    return 1 if failed else 0


sys.exit(main())
