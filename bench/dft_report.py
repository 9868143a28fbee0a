#!/usr/bin/env python3
"""Runs bench_dft (or reads its JSON) and writes the ratio table as CSV and a PNG plot.

    python3 bench/dft_report.py --bench build/bench/bench_dft --out bench-results/dft [--repetitions 3] [--processes 2]
        [--library build/lib/libzspgenx3.so --packed build/generated/dft/dft_packed_counts.txt]
    python3 bench/dft_report.py --json results.json --out bench-results/dft

The ratio is our time per call over FFTW's for the same kernel, measured in the same run. With
repetitions, each side keeps its fastest repetition: on a shared machine the fastest is the one least
disturbed by other work. With --library and --packed, each row also gets the kernel's instruction
counts by kind beside the generator's packed counts (bench/dft_instructions.py), and the instructions
the timed call executes (bench/executed_path.py: aligned route, hint 8). No call runs faster than the
call floor plus the larger of its bound and those instructions at --issue-width per cycle (6 by
default); `limit_per_bound` is that limit over the bound, the cycles per bound a kernel would have if the
front end took in its instructions at full width, and the summary gives its median. The same options add
each kernel's port floor (its additions and what shares their ports, from the generator's counts): over
the bound, with only the shuffles at loads and stores, and the kernel's cycles over it; and the
instructions per cycle of the timed call.
"""
import argparse
import csv
import json
import math
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dft_instructions  # noqa: E402
from executed_path import checked  # noqa: E402

NAME = re.compile(r"zspgDFT(Fwd|Inv)_CToC_(\d+)_(32fc|64fc)/(zsp|fftw)")


def copy_libraries(binary, directory):
    """Copies the zspgen and FFTW libraries that `binary` loads into `directory`, for LD_LIBRARY_PATH."""
    loaded = subprocess.run(["ldd", binary], check=True, capture_output=True, text=True).stdout
    for line in loaded.splitlines():
        m = re.match(r"\s*(lib(?:zsp|fftw3)\S*) => (\S+)", line)
        if m:
            shutil.copyfile(m.group(2), os.path.join(directory, m.group(1)))


def run_bench(binary, repetitions, extra, processes=1):
    """The benchmark's results, from `processes` runs of the binary merged into one list.

    A kernel's speed on this machine depends on where things lie (the kernel's code, its constants, the
    stack, the library's load address) and on what ran just before it: the same code has measured two to
    five times slower in one build, process or order than in another. It depends even on the memory pages
    that hold the library file: the 38-point double kernel took 1.70 times its bound loaded from one file
    of the library and 1.30 to 1.37 from each of five byte-identical copies. So each process loads fresh
    copies of both libraries, ours and FFTW's, and gets a fresh layout, and within a process the
    repetitions run in a random order: the fastest of them is the kernel's speed where nothing stands in
    its way."""
    interleave = ["--benchmark_enable_random_interleaving=true"] if repetitions > 1 else []
    results = None
    for _ in range(processes):
        with tempfile.TemporaryDirectory() as libraries:
            copy_libraries(binary, libraries)
            out = subprocess.run([binary, "--benchmark_format=json", "--benchmark_min_time=0.05",
                                  f"--benchmark_repetitions={repetitions}"] + interleave + extra,
                                 check=True, capture_output=True, text=True,
                                 env=dict(os.environ, LD_LIBRARY_PATH=libraries)).stdout
        run = json.loads(out)
        if results is None:
            results = run
        else:
            results["benchmarks"] += run["benchmarks"]
    return results


def collect(results):
    rows = {}
    for b in results["benchmarks"]:
        m = NAME.fullmatch(b["name"])
        if not m or b.get("run_type", "iteration") != "iteration":
            continue
        direction, n, precision, who = m.group(1), int(m.group(2)), m.group(3), m.group(4)
        scale = {"ns": 1.0, "us": 1e3, "ms": 1e6}[b["time_unit"]]
        row = rows.setdefault((precision, direction, n), {})
        if row.get(who + "_ns", math.inf) <= b["real_time"] * scale:
            continue
        row[who + "_ns"] = b["real_time"] * scale
        row[who + "_cycles"] = b.get("cycles")
        if who == "zsp":
            row["bound"] = b.get("bound")
            row["per_bound"] = b.get("cycles_per_bound")
    return rows


def call_floor(results):
    """Cycles per call of the empty kernel (bench/call_floor.h), the fastest run; None if the run has none."""
    runs = [b["cycles"] for b in results["benchmarks"]
            if b["name"] == "CallFloor/floor" and b.get("run_type", "iteration") == "iteration" and b.get("cycles")]
    return min(runs) if runs else None


def issue_limits(rows, library, instructions, floor, width):
    """Sets each row's executed instructions, their count per cycle and its limit per bound. The path's
    additions must be the generator's packed count; in the scalar kernels gcc may pair some of them, so
    there no more than it."""
    names = {key: f"x3_zspgDFT{key[1]}_CToC_{key[2]}_{key[0]}" for key, r in rows.items() if r.get("bound")}
    additions = dft_instructions.COLUMNS.index("generator_addsub")
    counts = checked(library, {name: (int(instructions[name][1][additions]), instructions[name][0] == "scalar")
                               for name in names.values()})
    for key, name in names.items():
        r = rows[key]
        r["executed"] = counts[name]
        if r.get("zsp_cycles"):
            r["executed_per_cycle"] = counts[name] / r["zsp_cycles"]
        if floor:
            r["limit_per_bound"] = (floor + max(r["bound"], counts[name] / width)) / r["bound"]


def port_floors(rows, instructions):
    """Sets each row's port floor: the cycles its additions take on the adders' two ports together with the
    half of its shuffles (and of the four-lane kernels' moves to or from a high half) that land there. In
    build/bench/port_probe 8 shuffles, swaps or high-half loads beside 16 additions cost 2 cycles, not 4:
    they run on two ports, one of them an adder's. `port_per_bound` is that floor over the bound,
    `border_per_bound` the same with only the shuffles at the loads and stores (none between stages), and
    `cycles_per_port` the kernel's cycles over its floor. (`executed_per_cycle`, set with the limits, is the
    timed call's instructions over its cycles.)"""
    at = [dft_instructions.COLUMNS.index(c) for c in
          ("generator_addsub", "generator_shuffle", "generator_border_shuffle", "generator_high_half")]
    for (p, d, n), r in rows.items():
        values = instructions.get(f"x3_zspgDFT{d}_CToC_{n}_{p}", (None, None))[1]
        if not r.get("bound") or not values or values[at[0]] == "":
            continue
        add, shuffle, border, high = (int(values[i]) for i in at)
        port = (add + (shuffle + high) / 2) / 2
        r["port_per_bound"] = port / r["bound"]
        r["border_per_bound"] = (add + (border + high) / 2) / 2 / r["bound"]
        if r.get("zsp_cycles"):
            r["cycles_per_port"] = r["zsp_cycles"] / port


def summarise(rows, floor=None):
    lines = []
    for precision in ("32fc", "64fc"):
        for direction in ("Fwd", "Inv"):
            ratios = {n: r["zsp_ns"] / r["fftw_ns"] for (p, d, n), r in rows.items()
                      if p == precision and d == direction and "zsp_ns" in r and "fftw_ns" in r}
            if not ratios:
                continue
            small = [v for n, v in ratios.items() if n <= 16]
            large = [v for n, v in ratios.items() if n >= 17]
            geo = math.exp(sum(map(math.log, large)) / len(large)) if large else float("nan")
            worst = max(ratios, key=ratios.get)
            bound = {n: r["per_bound"] for (p, d, n), r in rows.items()
                     if p == precision and d == direction and r.get("per_bound")}
            far = max(bound, key=bound.get) if bound else None
            lines.append(f"{precision} {direction}: max ratio N<=16 {max(small, default=float('nan')):.2f}, "
                         f"geomean N=17..64 {geo:.2f}, worst N={worst} at {ratios[worst]:.2f}"
                         + (f"; cycles/bound median {sorted(bound.values())[len(bound) // 2]:.2f}, "
                            f"worst N={far} at {bound[far]:.2f}" if far else ""))
            # The smallest kernels are mostly call: what they would reach with their arithmetic at the bound.
            smallest = [(n, rows[(precision, direction, n)]) for n in range(2, 6) if (precision, direction, n) in rows]
            limits = sorted(r["limit_per_bound"] for (p, d, n), r in rows.items()
                            if p == precision and d == direction and r.get("limit_per_bound"))
            if limits:
                lines.append(f"    issue limit (call floor + max(bound, executed instructions / width)): median "
                             f"{limits[len(limits) // 2]:.2f} times the bound")
            # From 6 samples up, where the kernels are vector code.
            ports = [r for (p, d, n), r in rows.items()
                     if p == precision and d == direction and n >= 6 and r.get("port_per_bound")]
            if ports:
                def median(key):
                    values = sorted(r[key] for r in ports if r.get(key))
                    return values[len(values) // 2] if values else float("nan")
                lines.append(f"    port floor (additions and half the shuffles and high-half moves, 2 per cycle): median "
                             f"{median('port_per_bound'):.2f} times the bound, kernels at {median('cycles_per_port'):.2f} "
                             f"times it; loads and stores alone: {median('border_per_bound'):.2f}; "
                             f"{median('executed_per_cycle'):.2f} instructions per cycle")
            if floor and all(r.get("bound") and r.get("fftw_cycles") for _, r in smallest):
                lines.append(f"    N=2..5 at the call floor ({floor:.1f} cycles) + bound: ratio " + ", ".join(
                    f"{n}: {(floor + r['bound']) / r['fftw_cycles']:.2f}" for n, r in smallest))
    return lines


PORT_COLUMNS = ["port_per_bound", "border_per_bound", "cycles_per_port", "executed_per_cycle"]


def write_csv(rows, path, instructions):
    with open(path, "w", newline="") as f:
        w = csv.writer(f)
        w.writerow(["precision", "direction", "N", "zsp_ns", "fftw_ns", "ratio", "zsp_cycles", "bound_cycles",
                    "cycles_per_bound"] + (["shape"] + dft_instructions.COLUMNS
                                           + ["executed", "limit_per_bound"] + PORT_COLUMNS if instructions else []))
        for (p, d, n) in sorted(rows):
            r = rows[(p, d, n)]
            if "zsp_ns" not in r or "fftw_ns" not in r:
                continue
            counts = []
            if instructions:
                shape, values = instructions.get(f"x3_zspgDFT{d}_CToC_{n}_{p}", ("", [""] * len(dft_instructions.COLUMNS)))
                counts = [shape] + values + [r.get("executed", ""),
                                             f"{r['limit_per_bound']:.2f}" if r.get("limit_per_bound") else ""]
                counts += [f"{r[c]:.2f}" if r.get(c) else "" for c in PORT_COLUMNS]
            w.writerow([p, d, n, f"{r['zsp_ns']:.2f}", f"{r['fftw_ns']:.2f}", f"{r['zsp_ns'] / r['fftw_ns']:.3f}",
                        f"{r['zsp_cycles']:.1f}" if r.get("zsp_cycles") else "",
                        f"{r['bound']:.1f}" if r.get("bound") else "",
                        f"{r['per_bound']:.2f}" if r.get("per_bound") else ""] + counts)


def plot(rows, path):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    fig, (top, bottom) = plt.subplots(2, 1, figsize=(11, 8), sharex=True)
    for precision, colour in (("32fc", "tab:blue"), ("64fc", "tab:red")):
        for direction, style in (("Fwd", "-"), ("Inv", "--")):
            keys = sorted(k for k in rows if k[0] == precision and k[1] == direction
                          and "zsp_ns" in rows[k] and "fftw_ns" in rows[k])
            if not keys:
                continue
            ns = [k[2] for k in keys]
            label = f"{precision} {direction}"
            top.plot(ns, [rows[k]["zsp_ns"] for k in keys], style, color=colour, label=f"zspgen {label}")
            top.plot(ns, [rows[k]["fftw_ns"] for k in keys], style, color=colour, alpha=0.35, label=f"FFTW {label}")
            bottom.plot(ns, [rows[k]["zsp_ns"] / rows[k]["fftw_ns"] for k in keys], style, color=colour, label=label)
    top.set_ylabel("ns per call")
    top.set_yscale("log")
    top.legend(fontsize=7, ncol=2)
    bottom.axhline(1.0, color="grey", linewidth=0.8)
    bottom.axhline(0.5, color="green", linewidth=0.8, linestyle=":")
    bottom.set_ylabel("ratio zspgen / FFTW")
    bottom.set_xlabel("N")
    bottom.legend(fontsize=7)
    fig.suptitle("Complex DFT, time per call (same run, same aligned buffers)")
    fig.tight_layout()
    fig.savefig(path, dpi=110)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", help="path of bench_dft")
    ap.add_argument("--json", help="JSON written by bench_dft --benchmark_format=json")
    ap.add_argument("--out", default="bench-results/dft", help="output path without extension")
    ap.add_argument("--repetitions", type=int, default=1, help="runs of each benchmark; the fastest counts")
    ap.add_argument("--processes", type=int, default=1, help="separate runs of the binary; the fastest counts")
    ap.add_argument("--library", help="built libzspgenx3.so, for the instruction counts")
    ap.add_argument("--packed", help="the generator's dft_packed_counts.txt, beside them")
    ap.add_argument("--issue-width", type=float, default=6.0, help="instructions the front end takes in per cycle")
    ap.add_argument("extra", nargs="*", help="further arguments for bench_dft")
    args = ap.parse_args()
    if args.json:
        with open(args.json) as f:
            results = json.load(f)
    elif args.bench:
        results = run_bench(args.bench, args.repetitions, args.extra, args.processes)
    else:
        sys.exit("give --bench or --json")
    rows = collect(results)
    os.makedirs(os.path.dirname(args.out) or ".", exist_ok=True)
    instructions = None
    if args.library and args.packed:
        instructions = dft_instructions.kernel_table(args.library, args.packed)
        issue_limits(rows, args.library, instructions, call_floor(results), args.issue_width)
        port_floors(rows, instructions)
    write_csv(rows, args.out + ".csv", instructions)
    for line in summarise(rows, call_floor(results)):
        print(line)
    try:
        plot(rows, args.out + ".png")
    except ImportError:
        print("matplotlib missing (Debian: python3-matplotlib): no plot written", file=sys.stderr)


if __name__ == "__main__":
    main()
