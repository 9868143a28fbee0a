#!/usr/bin/env python3
"""Runs bench_real (or reads its JSON) and writes the ratio table as CSV and a PNG plot: the real DFT in
both directions and the Hartley transform.

    python3 bench/real_report.py --bench build/bench/bench_real --out bench-results/real [--repetitions 3]
    python3 bench/real_report.py --json results.json --out bench-results/real

The ratio is our time per call over FFTW's real-to-complex (forward), complex-to-real (inverse) or
Hartley (r2r FFTW_DHT) transform of the same length and precision, measured in the same run; each of the three formats has its
own row. With repetitions, each benchmark
keeps its fastest repetition, the one least disturbed on a shared machine. The summary gives, per
precision and format, the geometric mean of the ratios, the worst length, and the median and worst cycles
per call over the scalar bound (the kernel's additions at two per cycle).

In single precision the conversions between single and double that the precision rule asks for run on the
same two ports as the additions, so the table also gives the port bound, (additions + conversions) / 2
cycles from the generator's counts (build/generated/real/real_counts.txt, or --counts), the cycles per call
over it, and the ratio to FFTW a kernel would have if it ran at that bound. In double precision the port
bound is the scalar bound.

No call takes less than the floor: an empty kernel called the same way (bench/call_floor.h), timed in the
same run. `ratio_at_floor_and_bound` is (floor + port bound) over FFTW's cycles: the ratio of a kernel
whose arithmetic ran at the port bound, with nothing else to pay but the call.

Nor can a call run faster than the processor takes in its instructions: with --library, each kernel's
instructions on the path a valid call with hint 8 executes (bench/executed_path.py) are counted, and
`ratio_at_floor_and_issue` is (floor + the larger of the port bound and those instructions at
--issue-width per cycle, 6 by default) over FFTW's cycles: the ratio of a kernel whose every instruction
was taken in at the front end's full width.
"""
import argparse
import csv
import json
import math
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dft_report import call_floor, run_bench  # noqa: E402
from executed_path import checked  # noqa: E402

NAME = re.compile(r"(?:zspgDFTFwd_RTo(CCS|Pack|Perm|FFTW)|zspgDFTInv_(CCS|Pack|Perm|FFTW)ToR|zspgHartley(_FFTW)?)"
                  r"_(\d+)_(32f|64f)/(zsp|fftw)")
FORMATS = ("CCS", "Pack", "Perm", "-")  # "-": the Hartley kernels, which have no format
COUNTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build", "generated", "real", "real_counts.txt")
KIND = {"Fwd": "fwd", "Inv": "inv", "DHT": "dht"}


def port_bounds(path):
    """{(kind, n, precision): (additions + conversions) / 2} from the generator's count report."""
    bounds = {}
    with open(path) as f:
        for line in f:
            if not line.startswith("#"):
                kind, n, precision, adds, _, _, conversions = line.split()[:7]
                bounds[(kind, int(n), precision)] = (int(adds) + int(conversions)) / 2
    return bounds


def kernel_name(direction, precision, fmt, n):
    if direction == "DHT":
        return f"x3_zspgHartley_{n}_{precision}"
    return f"x3_zspgDFTFwd_RTo{fmt}_{n}_{precision}" if direction == "Fwd" else f"x3_zspgDFTInv_{fmt}ToR_{n}_{precision}"


def path_instructions(library, keys, counts_path):
    """{(direction, precision, format, n): instructions a valid call with hint 8 executes}, each path's
    additions held against the generator's count for the kernel (its doublings are additions too)."""
    adds = {}
    with open(counts_path) as f:
        for line in f:
            if not line.startswith("#"):
                kind, n, precision, count, _, doublings = line.split()[:6]
                adds[(kind, int(n), precision)] = int(count) + int(doublings)
    names = {key: kernel_name(*key) for key in keys}
    counts = checked(library, {name: (adds[(KIND[key[0]], key[3], key[1])], False) for key, name in names.items()})
    return {key: counts[name] for key, name in names.items()}


def collect(results):
    """{(direction, precision, format, n): fastest run} with FFTW under the format 'FFTW'."""
    rows = {}
    for b in results["benchmarks"]:
        m = NAME.fullmatch(b["name"])
        if not m or b.get("run_type", "iteration") != "iteration":
            continue
        direction = "Fwd" if m.group(1) else "Inv" if m.group(2) else "DHT"
        fmt = m.group(1) or m.group(2) or ("FFTW" if m.group(3) else "-")
        n, precision = int(m.group(4)), m.group(5)
        ns = b["real_time"] * {"ns": 1.0, "us": 1e3, "ms": 1e6}[b["time_unit"]]
        key = (direction, precision, fmt, n)
        if key in rows and rows[key]["ns"] <= ns:
            continue
        rows[key] = {"ns": ns, "cycles": b.get("cycles"), "bound": b.get("bound"), "per_bound": b.get("cycles_per_bound")}
    return rows


def table(rows, bounds, floor, instructions=None, width=6.0):
    out = []
    for (direction, precision, fmt, n), r in sorted(rows.items()):
        fftw = rows.get((direction, precision, "FFTW", n))
        if fmt == "FFTW" or not fftw:
            continue
        out.append({"direction": direction, "precision": precision, "format": fmt, "N": n, "zsp_ns": r["ns"], "fftw_ns": fftw["ns"],
                    "ratio": r["ns"] / fftw["ns"], "zsp_cycles": r["cycles"], "fftw_cycles": fftw["cycles"],
                    "bound_cycles": r["bound"], "cycles_per_bound": r["per_bound"]})
        port = bounds.get((KIND[direction], n, precision))
        cycles, fftw_cycles = r["cycles"], fftw["cycles"]
        out[-1].update({"port_bound_cycles": port, "cycles_per_port_bound": cycles / port if cycles and port else None,
                        "ratio_at_port_bound": port / fftw_cycles if port and fftw_cycles else None,
                        "floor_cycles": floor,
                        "ratio_at_floor_and_bound": (floor + port) / fftw_cycles if floor and port and fftw_cycles else None})
        executed_count = (instructions or {}).get((direction, precision, fmt, n))
        issue = max(port, executed_count / width) if executed_count and port else None
        out[-1].update({"instructions": executed_count,
                        "ratio_at_floor_and_issue": (floor + issue) / fftw_cycles if floor and issue and fftw_cycles else None})
    return out


def summarise(rows):
    lines = []
    for direction, precision, fmt in [(d, p, f) for d in ("Fwd", "Inv", "DHT") for p in ("32f", "64f") for f in FORMATS]:
        sel = [r for r in rows if r["direction"] == direction and r["precision"] == precision and r["format"] == fmt]
        if not sel:
            continue
        geo = math.exp(sum(math.log(r["ratio"]) for r in sel) / len(sel))
        worst = max(sel, key=lambda r: r["ratio"])
        over = sorted(r["cycles_per_bound"] for r in sel if r["cycles_per_bound"])
        far = max(sel, key=lambda r: r["cycles_per_bound"] or 0)
        lines.append(f"{direction} {precision} {fmt}: geomean ratio {geo:.2f}, worst N={worst['N']} at {worst['ratio']:.2f}, "
                     f"above 1.3: {sum(r['ratio'] > 1.3 for r in sel)}; cycles/bound median "
                     f"{over[len(over) // 2]:.2f}, worst N={far['N']} at {far['cycles_per_bound']:.2f}")
        at_port = [r["ratio_at_port_bound"] for r in sel if r["ratio_at_port_bound"]]
        per_port = sorted(r["cycles_per_port_bound"] for r in sel if r["cycles_per_port_bound"])
        if at_port and per_port:
            lines.append(f"    port bound: cycles/port bound median {per_port[len(per_port) // 2]:.2f}; at the port bound "
                         f"geomean ratio {math.exp(sum(map(math.log, at_port)) / len(at_port)):.2f}, "
                         f"above 1.3: {sum(v > 1.3 for v in at_port)}")
        at_floor = [r["ratio_at_floor_and_bound"] for r in sel if r["ratio_at_floor_and_bound"]]
        if at_floor:
            lines.append(f"    call floor {sel[0]['floor_cycles']:.1f} cycles: at floor + port bound geomean ratio "
                         f"{math.exp(sum(map(math.log, at_floor)) / len(at_floor)):.2f}, "
                         f"above 1.3: {sum(v > 1.3 for v in at_floor)}, above 1.0: {sum(v > 1.0 for v in at_floor)}")
        at_issue = [r["ratio_at_floor_and_issue"] for r in sel if r["ratio_at_floor_and_issue"]]
        if at_issue:
            lines.append(f"    issue limit: at floor + max(port bound, executed instructions / width) geomean ratio "
                         f"{math.exp(sum(map(math.log, at_issue)) / len(at_issue)):.3f}, "
                         f"above 1.0: {sum(v > 1.0 for v in at_issue)}")
    return lines


def write_csv(rows, path):
    with open(path, "w", newline="") as f:
        w = csv.writer(f)
        keys = ["direction", "precision", "format", "N", "zsp_ns", "fftw_ns", "ratio", "zsp_cycles", "fftw_cycles", "bound_cycles",
                "cycles_per_bound", "port_bound_cycles", "cycles_per_port_bound", "ratio_at_port_bound", "floor_cycles",
                "ratio_at_floor_and_bound", "instructions", "ratio_at_floor_and_issue"]
        w.writerow(keys)
        for r in rows:
            w.writerow([f"{r[k]:.3f}" if isinstance(r[k], float) else "" if r[k] is None else r[k] for k in keys])


def plot(rows, path):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    fig, (top, bottom) = plt.subplots(2, 1, figsize=(11, 8), sharex=True)
    for (direction, precision), colour in zip([(d, p) for d in ("Fwd", "Inv", "DHT") for p in ("32f", "64f")],
                                              ("tab:blue", "tab:red", "tab:cyan", "tab:orange", "tab:green", "tab:purple")):
        main = "-" if direction == "DHT" else "Pack"
        pack = [r for r in rows if r["direction"] == direction and r["precision"] == precision and r["format"] == main]
        ns = [r["N"] for r in pack]
        fftw = {"Fwd": "r2c", "Inv": "c2r", "DHT": "DHT"}[direction]
        top.plot(ns, [r["zsp_ns"] for r in pack], "-", color=colour, label=f"zspgen {direction} {precision} {main}")
        top.plot(ns, [r["fftw_ns"] for r in pack], "-", color=colour, alpha=0.35, label=f"FFTW {fftw} {precision}")
        for fmt, style in zip(FORMATS, ("-", "--", ":", "-.")):
            sel = [r for r in rows if r["direction"] == direction and r["precision"] == precision and r["format"] == fmt]
            if not sel:
                continue
            bottom.plot([r["N"] for r in sel], [r["ratio"] for r in sel], style, color=colour,
                        label=f"{direction} {precision} {fmt}" if fmt != "-" else f"{direction} {precision}")
    top.set_ylabel("ns per call")
    top.set_yscale("log")
    top.legend(fontsize=7, ncol=2)
    bottom.axhline(1.0, color="grey", linewidth=0.8)
    bottom.axhline(0.5, color="green", linewidth=0.8, linestyle=":")
    bottom.set_ylabel("ratio zspgen / FFTW (r2c, c2r, DHT)")
    bottom.set_xlabel("N")
    bottom.legend(fontsize=7, ncol=2)
    fig.suptitle("Real DFT forward and inverse, Hartley: time per call (same run, same aligned buffers)")
    fig.tight_layout()
    fig.savefig(path, dpi=110)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", help="path of bench_real")
    ap.add_argument("--json", help="JSON written by bench_real --benchmark_format=json")
    ap.add_argument("--out", default="bench-results/real", help="output path without extension")
    ap.add_argument("--repetitions", type=int, default=1, help="runs of each benchmark; the fastest counts")
    ap.add_argument("--processes", type=int, default=1, help="separate runs of the binary; the fastest counts")
    ap.add_argument("--counts", default=COUNTS, help="the generator's count report (real_counts.txt)")
    ap.add_argument("--library", help="the built library, to count the instructions each kernel executes")
    ap.add_argument("--issue-width", type=float, default=6.0, help="instructions the front end takes in per cycle")
    ap.add_argument("extra", nargs="*", help="further arguments for bench_real")
    args = ap.parse_args()
    if args.json:
        with open(args.json) as f:
            results = json.load(f)
    elif args.bench:
        results = run_bench(args.bench, args.repetitions, args.extra, args.processes)
    else:
        sys.exit("give --bench or --json")
    rows = collect(results)
    instructions = path_instructions(args.library, [k for k in rows if k[2] != "FFTW"], args.counts) if args.library else None
    rows = table(rows, port_bounds(args.counts), call_floor(results), instructions, args.issue_width)
    os.makedirs(os.path.dirname(args.out) or ".", exist_ok=True)
    write_csv(rows, args.out + ".csv")
    for line in summarise(rows):
        print(line)
    try:
        plot(rows, args.out + ".png")
    except ImportError:
        print("matplotlib missing (Debian: python3-matplotlib): no plot written", file=sys.stderr)


if __name__ == "__main__":
    main()
