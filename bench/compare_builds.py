#!/usr/bin/env python3
"""Compares the kernels of two builds of the library in one run.

    python3 bench/compare_builds.py BASE_LIB_DIR NEW_LIB_DIR [--rounds R] [--kernels REGEX]

Each lib dir holds a libzspgenx3.so.8.2 (copy build/lib aside before rebuilding to keep a base). The
program kernel_timer (next to this script's build, build/bench/kernel_timer) runs under each build in
turn, R rounds (default 3); each kernel keeps its fastest time per build, which on a shared machine is
the least disturbed. Prints CSV: kernel, base ns, new ns, new/base; then the geometric mean of new/base
per family and precision on stderr. The kernels are the fixed-length DFT, real DFT and Hartley kernels of
the build's export list (build/generated/exported_names.txt), or those whose name matches REGEX.
"""
import argparse
import math
import os
import re
import subprocess
import sys
from collections import defaultdict

BUILD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build")
TIMER = os.path.join(BUILD, "bench", "kernel_timer")
EXPORTS = os.path.join(BUILD, "generated", "exported_names.txt")
# The kernels kernel_timer can call: source, destination and hint (the Walsh-Hadamard ones take others).
KERNEL = re.compile(r"zspg(DFT|Hartley)\w*_\d+_(32|64)fc?")


def kernel_names():
    with open(EXPORTS) as f:
        names = [line.strip() for line in f if KERNEL.fullmatch(line.strip())]
    return sorted(names, key=lambda k: (k.endswith(("64f", "64fc")), int(re.search(r"_(\d+)_", k).group(1)), k))


def times(lib_dir, kernels):
    out = subprocess.run([TIMER] + kernels, env=dict(os.environ, LD_LIBRARY_PATH=lib_dir), check=True,
                         capture_output=True, text=True).stdout
    return {name: float(ns) for name, ns in (line.split() for line in out.splitlines())}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("base")
    parser.add_argument("new")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--kernels", default="")
    args = parser.parse_args()
    kernels = [k for k in kernel_names() if re.search(args.kernels, k)]
    best = {"base": {}, "new": {}}
    for _ in range(args.rounds):
        for side in ("base", "new"):
            for name, ns in times(getattr(args, side), kernels).items():
                best[side][name] = min(best[side].get(name, math.inf), ns)
    print("kernel,base_ns,new_ns,ratio")
    family = defaultdict(list)
    for k in kernels:
        ratio = best["new"][k] / best["base"][k]
        print(f"{k},{best['base'][k]:.2f},{best['new'][k]:.2f},{ratio:.3f}")
        family[re.sub(r"_\d+_", "_N_", k)].append(ratio)
    for name, ratios in family.items():
        print(f"{name}: geomean new/base {math.exp(sum(map(math.log, ratios)) / len(ratios)):.3f}, "
              f"range {min(ratios):.2f} to {max(ratios):.2f}", file=sys.stderr)


if __name__ == "__main__":
    main()
