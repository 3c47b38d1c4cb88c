"""Writes docs/performance.md and one SVG plot per item from the JSON files of the benchmark programs.

    python3 bench/report.py RESULTS-FOLDER DOCS-FOLDER

Beside each bench/PROGRAM.cpp, bench/PROGRAM.json says what its items are: title, work, size (what a size counts, when there are
several), bounds and notes. A benchmark is called item/contender or item/contender/size. The figure of each is the median over
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
        f"Measured on {context['date'][:10]}, {processor()}, {context['num_cpus']} processors, "
        f"{platform.system()} {platform.release()}.",
        "",
    ]
    (docs / "performance.md").write_text("\n".join(head + summary + body) + "\n")
    print("\n".join(summary))
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))
