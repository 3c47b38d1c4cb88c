"""Writes docs/performance.md and one SVG plot per item from the JSON files of the benchmark programs.

    python3 bench/report.py RESULTS-FOLDER DOCS-FOLDER

Beside each bench/PROGRAM.cpp, bench/PROGRAM.json says what its items are: title, work, size (what a size counts, when there are
several), bounds, notes, lesser (contenders that promise less, and what they lack) and floors (contenders that measure a part of
the work and do not do it). A benchmark is called item/contender or item/contender/size. The figure of each is the median over
its repetitions: of the processor time, or of the real time where the work waits for a disk (Google Benchmark's name then ends in
/real_time). Exits 1 when an item misses its bound.
"""

import json
import platform
import sys
from collections import defaultdict
from dataclasses import dataclass, field
from pathlib import Path

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "nerio"  # the same figures give the same file
import matplotlib.pyplot as plt

OURS = "nerio"
LIMIT = "limit"
ON_DISK = Path("/var/tmp")  # where the programs keep their files, see settings.h


@dataclass
class Bound:
    """At most `factor` times `peer` plus `extra` nanoseconds, for the sizes from `least` to `most`."""

    peer: str = OURS
    factor: float = 0  # 0: the extra alone is the bound
    extra: float = 0
    least: int = 0
    most: int = sys.maxsize

    def limit(self, nanoseconds):
        return self.factor * nanoseconds + self.extra

    def text(self):
        terms = [f"{self.factor:g} x {self.peer}"] if self.factor else []
        if self.extra:
            terms.append(time_text(self.extra))
        text = " + ".join(terms)
        if self.least:
            text += f", from {size_text(self.least)}"
        if self.most != sys.maxsize:
            text += f", up to {size_text(self.most)}"
        return text


@dataclass
class Item:
    name: str
    program: str
    title: str
    work: str  # one sentence: what one iteration does
    bounds: list = field(default_factory=list)
    size: str = ""  # what a size counts; empty when the item has one size only
    notes: str = ""
    lesser: dict = field(default_factory=dict)  # contenders that promise less: what they lack
    floors: list = field(default_factory=list)  # contenders that do a part of the work


def read_items(folder):
    found = []
    for path in sorted(folder.glob("*.json")):
        for name, fields in json.loads(path.read_text()).items():
            bounds = [Bound(**bound) for bound in fields.pop("bounds")]
            found.append(Item(name=name, program=path.stem, bounds=bounds, **fields))
    return found


def size_text(size):
    for power, letter in ((1 << 20, " Mi"), (1 << 10, " Ki")):
        if size >= power and size % power == 0:
            return f"{size // power}{letter}"
    return str(size)


def time_text(nanoseconds):
    for scale, unit in ((1e9, "s"), (1e6, "ms"), (1e3, "us")):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def read_results(folder):
    """{item: {contender: {size: nanoseconds}}}, what a contender says of itself, and the context of the last file read."""
    to_nanoseconds = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    results = defaultdict(lambda: defaultdict(dict))
    labels = {}
    context = None
    for path in sorted(folder.glob("*.json")):
        content = json.loads(path.read_text())
        context = content["context"]
        for run in content["benchmarks"]:
            if run.get("aggregate_name") != "median":
                continue
            parts = [part for part in run["run_name"].split("/") if ":" not in part]
            waits = parts[-1] == "real_time"
            if waits:
                parts.pop()
            item, contender = parts[:2]
            size = int(parts[2]) if len(parts) > 2 else 0
            figure = run["real_time" if waits else "cpu_time"] * to_nanoseconds[run["time_unit"]]
            results[item][contender][size] = figure
            if "label" in run:
                labels[item, contender] = f" ({run['label']})"
    return results, labels, context


def check(item, contenders):
    """One line per bound, of the size that comes nearest to it: (bound, figure, kept). What is not measured is not kept."""
    lines = []
    for bound in item.bounds:
        ours, peer = contenders.get(OURS, {}), contenders.get(bound.peer, {})
        sizes = [size for size in sorted(ours) if bound.least <= size <= bound.most and size in peer]
        if not sizes:
            lines.append((bound.text(), "not measured", False))
            continue
        worst = max(sizes, key=lambda size: ours[size] / bound.limit(peer[size]))
        kept = ours[worst] <= bound.limit(peer[worst])
        figure = f"{ours[worst] / peer[worst]:.2f}" if bound.factor else time_text(ours[worst])
        if item.size:
            figure += f" at {size_text(worst)}"
        lines.append((bound.text(), figure, kept))
    return lines


def table(item, contenders, labels):
    sizes = sorted({size for figures in contenders.values() for size in figures})
    ours = contenders.get(OURS, {})
    order = sorted(contenders, key=lambda name: (name != OURS, min(contenders[name].values())))
    rows = []
    if sizes == [0]:
        rows += ["| contender | time | ours / its |", "|---|---:|---:|"]
        for name in order:
            figure = contenders[name][0]
            ratio = f"{ours[0] / figure:.2f}" if ours and name != OURS else ""
            rows.append(f"| {name}{labels.get((item.name, name), '')} | {time_text(figure)} | {ratio} |")
        return rows
    rows += [f"| {item.size} | " + " | ".join(order) + " |", "|---:|" + "---:|" * len(order)]
    for size in sizes:
        cells = []
        for name in order:
            figure = contenders[name].get(size)
            if figure is None:
                cells.append("")
            elif name == OURS or size not in ours:
                cells.append(time_text(figure))
            else:
                cells.append(f"{time_text(figure)} ({ours[size] / figure:.2f})")
        rows.append(f"| {size_text(size)} | " + " | ".join(cells) + " |")
    return rows


def plot(item, contenders, path):
    figure, axes = plt.subplots(figsize=(7, 3.6 if not item.size else 4.2))
    if item.size:
        for name in sorted(contenders, key=lambda name: name != OURS):
            sizes = sorted(contenders[name])
            line = {"linewidth": 2.5} if name == OURS else {"linewidth": 1}
            axes.plot(sizes, [contenders[name][size] for size in sizes], marker="o", markersize=3, label=name, **line)
        axes.set_xscale("log", base=10)
        axes.set_yscale("log", base=10)
        axes.set_xlabel(item.size)
        axes.set_ylabel("nanoseconds")
        axes.legend(fontsize=8)
    else:
        names = sorted(contenders, key=lambda name: -contenders[name][0])
        colours = ["tab:blue" if name == OURS else "tab:gray" for name in names]
        bars = axes.barh(names, [contenders[name][0] for name in names], color=colours)
        axes.bar_label(bars, [" " + time_text(contenders[name][0]) for name in names], fontsize=8)
        axes.set_xscale("log", base=10)
        axes.set_xlabel("nanoseconds")
        axes.margins(x=0.2)
    axes.set_title(item.title, fontsize=10)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def overview_bars(item, contenders):
    """The bars of an item in the picture of all: (label, nanoseconds, colour), at the middle of the sizes it is measured at."""
    sizes = sorted(contenders.get(OURS, {}))
    if not sizes:
        return "", []
    size = sizes[len(sizes) // 2]
    figures = {name: by_size[size] for name, by_size in contenders.items() if size in by_size}
    bars = [(OURS, figures[OURS], "tab:blue")]
    peers = [name for name in figures if name not in (OURS, LIMIT, *item.floors)]
    equal = [name for name in peers if name not in item.lesser]
    if equal:
        best = min(equal, key=figures.get)
        bars.append((best, figures[best], "tab:orange"))
    if LIMIT in figures:
        bars.append((LIMIT, figures[LIMIT], "tab:green"))
    for name in sorted(item.lesser, key=lambda name: figures.get(name, 0)):
        if name in figures:
            bars.append((f"{name}, {item.lesser[name]}", figures[name], "lightgray"))
    return (f"{item.title}, {size_text(size)} {item.size}" if item.size else item.title), bars


def overview(items, results, path):
    rows = []  # from the top: (text at the axis, text at the bar, nanoseconds, colour), an empty one between two items
    for item in items:
        title, bars = overview_bars(item, results.get(item.name, {}))
        rows += [(title if index == 0 else "", *bar) for index, bar in enumerate(bars)]
        rows += [("", "", 0, "white")] if bars else []
    figure, axes = plt.subplots(figsize=(10, 0.17 * len(rows) + 1))
    places = range(len(rows))
    drawn = axes.barh(places, [row[2] for row in rows], color=[row[3] for row in rows], height=0.9)
    axes.bar_label(drawn, [f" {row[1]} {time_text(row[2])}" if row[2] else "" for row in rows], fontsize=6)
    named = [place for place in places if rows[place][0]]
    axes.set_yticks(named, [rows[place][0] for place in named], fontsize=7)
    axes.invert_yaxis()
    axes.set_xscale("log", base=10)
    axes.set_xlabel("nanoseconds")
    axes.margins(x=0.3, y=0.01)
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def file_system(folder):
    """The type of the file system that a folder lies on."""
    mounts = [line.split()[1:3] for line in Path("/proc/mounts").read_text().splitlines()]
    inside = [mount for mount in mounts if Path(mount[0]) in (folder, *folder.parents)]
    return max(inside, key=lambda mount: len(mount[0]))[1]


def processor():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def main(results_folder, docs):
    results, labels, context = read_results(results_folder)
    items = read_items(Path(__file__).parent)
    unknown = set(results) - {item.name for item in items}
    if unknown or not results:
        sys.exit(f"report: no results, or items that no file of bench/ describes: {sorted(unknown)}")

    plots = docs / "performance"
    plots.mkdir(parents=True, exist_ok=True)
    summary = ["| work | bound | ours / its | |", "|---|---|---:|---|"]
    overview(items, results, plots / "overview.svg")
    body = []
    missed = 0
    for item in items:
        contenders = results.get(item.name)
        if not contenders:
            missed += 1
            summary.append(f"| {item.title} | | not measured | missed |")
            continue
        plot(item, contenders, plots / f"{item.name}.svg")
        for text, figure, kept in check(item, contenders):
            missed += not kept
            verdict = "kept" if kept else "missed"
            summary.append(f"| [{item.title}](#{item.name}) | {text} | {figure} | {verdict} |")
        body += ["", f'<a id="{item.name}"></a>', "", f"## {item.title}", "", item.work, ""]
        body += table(item, contenders, labels)
        if item.notes:
            body += ["", item.notes]
        body += ["", f"![{item.title}](performance/{item.name}.svg)", "", f"`bench/run {item.program}`"]

    head = [
        "# Performance",
        "",
        "Written by `bench/run`, which measures every routine side by side with what a user would pick instead, on the same work in",
        "the same run, and checks each answer. Figures are medians of 9 repetitions that take turns; a number in brackets, or in the",
        "column \"ours / its\", is our time divided by that contender's. `limit` is what the machine itself does for that work.",
        "",
        f"Measured on {context['date'][:10]}, {processor()}, {context['num_cpus']} cores, {platform.system()} "
        f"{'.'.join(platform.release().split('.')[:2])}, files on {file_system(ON_DISK)}.",
        "",
        "All of it in one picture, each work at the middle of its sizes: ours in blue; the best peer that promises as much (durable",
        "on return, sees the changes of others, works per call) in orange; the limit in green; peers that promise less in grey, with",
        "what they lack.",
        "",
        "![All of it](performance/overview.svg)",
        "",
    ]
    (docs / "performance.md").write_text("\n".join(head + summary + body) + "\n")
    print("\n".join(summary))
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))
