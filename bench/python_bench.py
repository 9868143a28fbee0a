"""Batched transforms from Python: M rows of N points, N = 2..64, through the zspgen module against
numpy.fft and scipy.fft (one thread), all in one run. Writes <out>.csv, <out>.md and <out>.png and prints
the speed-ups at the largest M.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py --out bench-results/python

Each variant is timed in repetitions of a few calls; the fastest repetition counts, which on a shared
machine is the least disturbed. Times are per row. The variants:

    zspgen_new       y = zspgen.fft(x)                 a new result array per call
    zspgen_out       zspgen.fft(x, out=y)              into an array of the caller's
    zspgen_inplace   zspgen.fft(x, out=x)              in place (fft only: rfft changes the dtype)
    numpy            numpy.fft.fft(x)
    scipy            scipy.fft.fft(x, workers=1)
    scipy_overwrite  scipy.fft.fft(x, workers=1, overwrite_x=True), free to write into x

(rfft alike, format "ccs" against rfft). `speedup` is each side with its best options: the fastest of
numpy, scipy and scipy_overwrite against the faster of zspgen_out and zspgen_inplace; `speedup_new`
numpy's and scipy's calls against zspgen_new, each side allocating its result. The transforms are
unitary (norm="ortho") so that repeated transforms in place stay finite. `kernel_ns` is the library's
forward kernel alone, from the kernel benchmarks' committed tables (bench-results/dft.csv and real.csv,
another run), and `module_per_kernel` the faster zspgen variant against it: what the module adds.
"""
import csv
import argparse
import math
import os
import sys
import time

import numpy as np
import scipy.fft

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import run_machine  # noqa: E402

import zspgen  # noqa: E402

KINDS = {  # name: (input dtype, zspgen call, numpy call, scipy call)
    "complex128": (np.complex128, zspgen.fft, np.fft.fft, scipy.fft.fft),
    "complex64": (np.complex64, zspgen.fft, np.fft.fft, scipy.fft.fft),
    "rfft float64": (np.float64, zspgen.rfft, np.fft.rfft, scipy.fft.rfft),
    "rfft float32": (np.float32, zspgen.rfft, np.fft.rfft, scipy.fft.rfft),
}
VARIANTS = ["zspgen_new", "zspgen_out", "zspgen_inplace", "numpy", "scipy", "scipy_overwrite"]


def fastest(call, repetitions, budget):
    """The fastest of `repetitions` timings of `call`, each timing as many calls as fill about `budget`
    seconds, in seconds per call."""
    start = time.perf_counter()
    call()
    once = max(time.perf_counter() - start, 1e-7)
    calls = max(1, int(budget / once))
    best = math.inf
    for _ in range(repetitions):
        start = time.perf_counter()
        for _ in range(calls):
            call()
        best = min(best, (time.perf_counter() - start) / calls)
    return best


def inputs(dtype, rows, n, seed):
    rng = np.random.default_rng(seed)
    x = rng.standard_normal((rows, n))
    if np.dtype(dtype).kind == "c":
        x = x + 1j * rng.standard_normal((rows, n))
    return x.astype(dtype)


def time_one(kind, rows, n, repetitions, budget):
    dtype, ours, numpys, scipys = KINDS[kind]
    x = inputs(dtype, rows, n, seed=rows + n)
    scratch = x.copy()  # what scipy's overwrite_x and zspgen in place write into
    y = ours(x, norm="ortho")
    calls = {
        "zspgen_new": lambda: ours(x, norm="ortho"),
        "zspgen_out": lambda: ours(x, norm="ortho", out=y),
        "zspgen_inplace": lambda: ours(scratch, norm="ortho", out=scratch),
        "numpy": lambda: numpys(x, norm="ortho"),
        "scipy": lambda: scipys(x, norm="ortho", workers=1),
        "scipy_overwrite": lambda: scipys(scratch, norm="ortho", workers=1, overwrite_x=True),
    }
    if y.dtype != x.dtype:
        del calls["zspgen_inplace"]
    return {v: fastest(calls[v], repetitions, budget) / rows * 1e9 if v in calls else math.nan for v in VARIANTS}


def kernel_times(dft_csv, real_csv):
    """The forward kernels' ns per call by (kind, N), from the kernel benchmarks' tables; empty where
    a table is missing."""
    times = {}
    if os.path.exists(dft_csv):
        for r in csv.DictReader(open(dft_csv)):
            if r["direction"] == "Fwd":
                times[({"64fc": "complex128", "32fc": "complex64"}[r["precision"]], int(r["N"]))] = float(r["zsp_ns"])
    if os.path.exists(real_csv):
        for r in csv.DictReader(open(real_csv)):
            if r["direction"] == "Fwd" and r["format"] == "CCS":
                kind = {"64f": "rfft float64", "32f": "rfft float32"}[r["precision"]]
                times[(kind, int(r["N"]))] = float(r["zsp_ns"])
    return times


def geomean(values):
    return math.exp(sum(math.log(v) for v in values) / len(values))


def plot(rows, out, title):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    kinds = list(KINDS)
    largest = max(r["rows"] for r in rows)
    fig, axes = plt.subplots(2, len(kinds), figsize=(5 * len(kinds), 8), sharex=True)
    for column, kind in enumerate(kinds):
        mine = [r for r in rows if r["kind"] == kind and r["rows"] == largest]
        ns = [r["n"] for r in mine]
        top = axes[0][column]
        for v in VARIANTS:
            top.plot(ns, [r[v] for r in mine], marker=".", label=v)
        top.set_yscale("log")
        top.set_title(f"{kind}, {largest} rows")
        top.set_ylabel("ns per row")
        bottom = axes[1][column]
        for m in sorted({r["rows"] for r in rows}):
            sel = [r for r in rows if r["kind"] == kind and r["rows"] == m]
            bottom.plot([r["n"] for r in sel], [r["speedup"] for r in sel], marker=".", label=f"{m} rows")
        bottom.axhline(1.5, color="grey", linestyle=":")
        bottom.axhline(3, color="grey", linestyle="--")
        bottom.set_ylabel("speed-up, best options on each side")
        bottom.set_xlabel("N")
    axes[0][0].legend(fontsize=8)
    axes[1][0].legend(fontsize=8)
    fig.suptitle(title)
    fig.tight_layout()
    fig.savefig(out + ".png", dpi=80)


def main():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--out", default="bench-results/python", help="path of the results without extension")
    p.add_argument("--rows", default="64,1024,65536", help="comma-separated batch sizes M")
    p.add_argument("--lengths", default="2-64", help="N: a range a-b or a comma-separated list")
    p.add_argument("--kinds", default=",".join(KINDS), help="comma-separated, of: " + ", ".join(KINDS))
    p.add_argument("--repetitions", type=int, default=7)
    p.add_argument("--budget", type=float, default=0.02, help="seconds per repetition, about")
    p.add_argument("--kernels", default="bench-results/dft.csv,bench-results/real.csv",
                   help="the kernel benchmarks' tables, complex and real")
    a = p.parse_args()
    if "-" in a.lengths:
        lo, hi = map(int, a.lengths.split("-"))
        lengths = range(lo, hi + 1)
    else:
        lengths = [int(v) for v in a.lengths.split(",")]
    kinds = a.kinds.split(",")
    batch_sizes = [int(v) for v in a.rows.split(",")]
    kernels = kernel_times(*a.kernels.split(","))

    load = os.getloadavg()[0]
    rows = []
    for kind in kinds:
        for m in batch_sizes:
            for n in lengths:
                t = time_one(kind, m, n, a.repetitions, a.budget)
                peers = min(t["numpy"], t["scipy"], t["scipy_overwrite"])
                ours = min(v for v in (t["zspgen_out"], t["zspgen_inplace"]) if not math.isnan(v))
                kernel = kernels.get((kind, n), math.nan)
                rows.append(dict(kind=kind, rows=m, n=n, **t, speedup=peers / ours,
                                 speedup_new=min(t["numpy"], t["scipy"]) / t["zspgen_new"],
                                 kernel=kernel, module_per_kernel=ours / kernel))
                print(f"{kind:12} M={m:5} N={n:2} " + " ".join(f"{v} {t[v]:6.1f}" for v in VARIANTS) +
                      f"  speed-up {rows[-1]['speedup']:.2f} (new {rows[-1]['speedup_new']:.2f})", flush=True)

    machine = (f"Processor: {run_machine.processor()}; {os.cpu_count()} cores; load average at the start: "
               f"{load:.1f}; numpy {np.__version__}, scipy {scipy.__version__}, zspgen {zspgen.library_version}.")
    columns = ["kind", "rows", "n"] + [v + "_ns" for v in VARIANTS + ["kernel"]] + \
        ["speedup", "speedup_new", "module_per_kernel"]
    fields = VARIANTS + ["kernel", "speedup", "speedup_new", "module_per_kernel"]
    table = [[r["kind"], r["rows"], r["n"]] + ["" if math.isnan(r[f]) else f"{r[f]:.2f}" for f in fields]
             for r in rows]
    summary = []
    for kind in kinds:
        for m in batch_sizes:
            sel = [r for r in rows if r["kind"] == kind and r["rows"] == m]
            s = [r["speedup"] for r in sel]
            s_new = [r["speedup_new"] for r in sel]
            worst = min(sel, key=lambda r: r["speedup"])
            added = [r["module_per_kernel"] for r in sel if not math.isnan(r["module_per_kernel"])]
            line = (f"- {kind}, {m} rows: speed-up geomean {geomean(s):.2f}, least {min(s):.2f} (N = {worst['n']}); "
                    f"allocating calls: geomean {geomean(s_new):.2f}, least {min(s_new):.2f}")
            summary.append(line + (f"; module per kernel: geomean {geomean(added):.2f}" if added else ""))
    explanation = (__doc__.split("\n\n", 2)[2].strip() + "\n\nSpeed-ups over N = " +
                   f"{min(lengths)}..{max(lengths)}:\n\n" + "\n".join(summary))
    run_machine.write_tables(table, columns, "Batched transforms from Python: zspgen, numpy.fft, scipy.fft",
                             machine, explanation, "time per row and speed-up", a.out)
    plot(rows, a.out, machine.split(";")[0])
    print(machine)
    print("\n".join(summary))


if __name__ == "__main__":
    main()
