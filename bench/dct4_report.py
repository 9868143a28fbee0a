#!/usr/bin/env python3
"""Runs bench_dct4 (or reads its JSON) and writes the table against FFTW as CSV and Markdown and a PNG plot.

    /usr/bin/python3 bench/dct4_report.py --bench build/bench/bench_dct4 --out bench-results/dct4

bench_dct4 times both sides in interleaved batches and keeps each side's fastest batch; with
repetitions, each row keeps its fastest repetition. The Markdown names the processor and the core clock
measured in the run."""
import argparse
import json
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import run_machine  # noqa: E402

NAME = re.compile(r"dct4VersusFftw<Zsp(32f|64f)>/(\d+)")
COLUMNS = ("precision", "N", "ours_ns", "fftw_ns", "ratio", "init_us", "fftw_plan_us")


def collect(rows):
    best = {}
    for b in rows:
        m = NAME.fullmatch(b["name"])
        if not m:
            continue
        key = (m.group(1), int(m.group(2)))
        if key not in best or b["ours_ns"] < best[key]["ours_ns"]:
            best[key] = {"precision": key[0], "N": key[1], "ours_ns": b["ours_ns"], "fftw_ns": b["fftw_ns"],
                         "ratio": b["ours_ns"] / b["fftw_ns"], "init_us": b["init_us"],
                         "fftw_plan_us": b["fftw_plan_us"]}
    return [best[k] for k in sorted(best)]


def formatted(row):
    return [row["precision"], row["N"], f"{row['ours_ns']:.0f}", f"{row['fftw_ns']:.0f}", f"{row['ratio']:.2f}",
            f"{row['init_us']:.1f}", f"{row['fftw_plan_us']:.0f}"]


def plot(table, machine, out):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    fig, (top, bottom) = plt.subplots(2, 1, figsize=(10, 7), sharex=True)
    for precision, colour in (("32f", "tab:blue"), ("64f", "tab:red")):
        rows = [r for r in table if r["precision"] == precision]
        ns = [r["N"] for r in rows]
        top.plot(ns, [r["ours_ns"] for r in rows], "o-", color=colour, label=f"zspgen {precision}")
        top.plot(ns, [r["fftw_ns"] for r in rows], "o--", color=colour, alpha=0.4, label=f"FFTW {precision}")
        bottom.plot(ns, [r["ratio"] for r in rows], "o-", color=colour, label=precision)
    top.set_xscale("log", base=2)
    top.set_yscale("log")
    top.set_ylabel("ns per call")
    top.legend(fontsize=8)
    bottom.axhline(1.0, color="grey", linewidth=0.8)
    bottom.set_ylabel("ratio zspgen / FFTW")
    bottom.set_xlabel("N")
    bottom.legend()
    fig.suptitle("DCT-IV, time per call\n" + machine, fontsize=10)
    fig.tight_layout()
    fig.savefig(out + ".png", dpi=110)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", help="path of bench_dct4")
    ap.add_argument("--json", help="JSON written by bench_dct4 --benchmark_format=json")
    ap.add_argument("--out", default="bench-results/dct4", help="output path without extension")
    ap.add_argument("--repetitions", type=int, default=1)
    args = ap.parse_args()
    if args.json:
        with open(args.json) as f:
            results = json.load(f)
    elif args.bench:
        results = run_machine.run_json(args.bench, ["--benchmark_min_time=0.05",
                                                    f"--benchmark_repetitions={args.repetitions}"])
    else:
        sys.exit("give --bench or --json")
    rows = run_machine.iterations(results)
    table = collect(rows)
    if not table:
        sys.exit("no benchmark of the expected names in the results")
    machine = run_machine.clock_line(results, rows)
    os.makedirs(os.path.dirname(args.out) or ".", exist_ok=True)
    run_machine.write_tables(
        [formatted(r) for r in table], COLUMNS, "DCT-IV against FFTW's REDFT11", machine,
        "Time per call of each side, the fastest of interleaved batches on the same 64-byte aligned buffers; "
        "`ratio` is ours over FFTW's. `init_us`: building the state in a buffer from zspMalloc; `fftw_plan_us`: "
        "FFTW's planning with FFTW_MEASURE.", "time per call and ratio to FFTW", args.out)
    print(machine)
    plot(table, machine, args.out)


if __name__ == "__main__":
    main()
