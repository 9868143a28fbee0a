#!/usr/bin/env python3
"""Runs bench_wht (or reads its JSON) and writes the table as CSV and Markdown and a PNG plot.

    /usr/bin/python3 bench/wht_report.py --bench build/bench/bench_wht --out bench-results/wht --repetitions 3

Each kernel keeps its fastest repetition, the one least disturbed on a shared machine. The Markdown
names the processor and the core clock measured in the run."""
import argparse
import json
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import run_machine  # noqa: E402

NAME = re.compile(r"WHT_(32f|64f)/(\d+)")
COLUMNS = ("precision", "order", "N", "ns", "cycles", "bound_cycles", "cycles_per_bound")


def collect(rows):
    best = {}
    for b in rows:
        m = NAME.fullmatch(b["name"].split("/repeats")[0])
        if not m:
            continue
        key = (m.group(1), int(m.group(2)))
        ns = b["real_time"] * {"ns": 1.0, "us": 1e3, "ms": 1e6}[b["time_unit"]]
        if key not in best or ns < best[key]["ns"]:
            best[key] = {"precision": key[0], "order": key[1], "N": 1 << key[1], "ns": ns, "cycles": b["cycles"],
                         "bound_cycles": b["bound_cycles"], "cycles_per_bound": b["cycles_per_bound"]}
    return [best[k] for k in sorted(best)]


def formatted(row):
    return [row["precision"], row["order"], row["N"], f"{row['ns']:.1f}", f"{row['cycles']:.0f}",
            f"{row['bound_cycles']:.1f}", f"{row['cycles_per_bound']:.2f}"]


def plot(table, machine, out):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    fig, (top, bottom) = plt.subplots(2, 1, figsize=(10, 7), sharex=True)
    for precision, colour in (("32f", "tab:blue"), ("64f", "tab:red")):
        rows = [r for r in table if r["precision"] == precision]
        top.plot([r["N"] for r in rows], [r["ns"] for r in rows], "o-", color=colour, label=precision)
        bottom.plot([r["N"] for r in rows], [r["cycles_per_bound"] for r in rows], "o-", color=colour, label=precision)
    top.set_xscale("log", base=2)
    top.set_yscale("log")
    top.set_ylabel("ns per call")
    top.legend()
    bottom.axhline(1.0, color="grey", linewidth=0.8)
    bottom.set_yscale("log")
    bottom.set_ylabel("cycles / arithmetic bound")
    bottom.set_xlabel("N = 2^order")
    bottom.legend()
    fig.suptitle("Walsh-Hadamard kernels\n" + machine, fontsize=10)
    fig.tight_layout()
    fig.savefig(out + ".png", dpi=110)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", help="path of bench_wht")
    ap.add_argument("--json", help="JSON written by bench_wht --benchmark_format=json")
    ap.add_argument("--out", default="bench-results/wht", help="output path without extension")
    ap.add_argument("--repetitions", type=int, default=3)
    args = ap.parse_args()
    if args.json:
        with open(args.json) as f:
            results = json.load(f)
    elif args.bench:
        results = run_machine.run_json(args.bench, [f"--benchmark_repetitions={args.repetitions}"])
    else:
        sys.exit("give --bench or --json")
    rows = run_machine.iterations(results)
    table = collect(rows)
    if not table:
        sys.exit("no benchmark of the expected names in the results")
    machine = run_machine.clock_line(results, rows)
    os.makedirs(os.path.dirname(args.out) or ".", exist_ok=True)
    run_machine.write_tables(
        [formatted(r) for r in table], COLUMNS, "Walsh-Hadamard kernels: time per call", machine,
        "Unscaled (ZSP_NODIV_BY_ANY), 64-byte aligned buffers, a work buffer of the caller's from order 8; the "
        "fastest of the repetitions. `bound_cycles`: the r*N additions as packed instructions at two per cycle.",
        "time per call and cycles per bound", args.out)
    print(machine)
    plot(table, machine, args.out)


if __name__ == "__main__":
    main()
