"""The performance page's figures and tables, drawn from the results file that scripts/bench.sh
writes (bench/results.json): never typed by hand.

``.. benchmark-results:: conv2`` gives the machine and the date once per page, a bar chart of
the speed-ups of that benchmark's rows (peer time / our time, one bar per peer, the goal marked
where a row has one) and the table of times."""

import json
import os

from docutils import nodes
from docutils.parsers.rst import Directive
from docutils.statemachine import ViewList
from sphinx.util.nodes import nested_parse_with_titles

RESULTS = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))), "bench",
                       "results.json")


def load():
    with open(RESULTS) as f:
        return json.load(f)


def rows_of(family):
    return [r for r in load()["rows"] if r["family"] == family]


def draw(family):
    """A horizontal bar per row: the speed-up against its peer, 1x and the goal marked."""
    import matplotlib.pyplot as plt
    rows = rows_of(family)
    labels = [f"{r['workload']}\nvs {r['peer']}" for r in rows]
    speedups = [r["theirs"] / r["ours"] for r in rows]
    fig, ax = plt.subplots(figsize=(8, 0.45 * len(rows) + 1.2))
    colours = ["#2a7ab0" if r["goal"] is None or s >= r["goal"] else "#c0392b" for r, s in zip(rows, speedups)]
    ax.barh(range(len(rows)), speedups, color=colours)
    for i, r in enumerate(rows):
        if r["goal"] is not None:
            ax.plot([r["goal"]] * 2, [i - 0.4, i + 0.4], color="black", linewidth=2)
        ax.text(speedups[i], i, f" {speedups[i]:.2f}x", va="center", fontsize=8)
    ax.axvline(1.0, color="grey", linestyle="--", linewidth=1)
    ax.set_xscale("log")
    ax.set_yticks(range(len(rows)), labels, fontsize=7)
    ax.invert_yaxis()
    ax.set_xlabel("speed-up (peer time / our time; black: the goal; red: goal not met)")
    ax.set_xlim(min(0.5, min(speedups) / 1.5), max(speedups) * 2.5)
    fig.tight_layout()


class BenchmarkResults(Directive):
    required_arguments = 1

    def run(self):
        family = self.arguments[0]
        rows = rows_of(family)
        lines = [".. plot::", "", f"   import benchmark_page; benchmark_page.draw({family!r})", "",
                 ".. list-table::", "   :header-rows: 1", "",
                 "   * - Workload", "     - Ours (ms)", "     - Peer", "     - Peer (ms)", "     - Speed-up",
                 "     - Goal"]
        for r in rows:
            goal = "" if r["goal"] is None else f"{r['goal']:g}x"
            lines += [f"   * - {r['workload']}", f"     - {r['ours'] * 1e3:.3f}", f"     - {r['peer']}",
                      f"     - {r['theirs'] * 1e3:.3f}", f"     - {r['theirs'] / r['ours']:.2f}x", f"     - {goal}"]
        content = ViewList()
        for i, line in enumerate(lines):
            content.append(line, RESULTS, i)
        holder = nodes.container()
        nested_parse_with_titles(self.state, content, holder)
        return holder.children


class BenchmarkMachine(Directive):
    def run(self):
        data = load()
        m = data["machine"]
        text = (f"Measured on {data['date'][:10]}: {m['cpu']}, {m['cores']} cores, {m['system']}, "
                f"Python {m['python']}, {m['threads']} threads, library copy {m['library']}.")
        return [nodes.paragraph(text=text)]


def setup(app):
    app.add_directive("benchmark-results", BenchmarkResults)
    app.add_directive("benchmark-machine", BenchmarkMachine)
    return {"parallel_read_safe": True}
