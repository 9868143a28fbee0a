#!/usr/bin/env python3
"""Counts the instructions of every real DFT and Hartley kernel in the built library, by kind, beside the
generator's additions and multiplications for it. A kernel's row is the kernel itself, which holds its
checks and its body without scaling (the one ZSP_NODIV_BY_ANY, the hint of the benchmarks, runs); the
body with the scale, `_scaled`, is not counted.

    python3 bench/real_instructions.py build/lib/libzspgenx3.so build/generated/real/real_counts.txt

Prints CSV: name, instructions, scalar additions and subtractions, multiplications, conversions between
single and double, sign flips, register moves, stack accesses, and the generator's additions and
multiplications (doublings included).
"""
import re
import sys

from dft_instructions import count

FUNC = re.compile(r"^[0-9a-f]+ <(x3_(?:zspgDFTFwd_RTo\w+|zspgDFTInv_\w+ToR|zspgHartley)_(\d+)_(32f|64f))>:$")
COLUMNS = ["instructions", "addsub", "mul", "convert", "flip", "moves", "stack", "generator_adds", "generator_muls"]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    graph = {}
    for line in open(sys.argv[2]):
        if not line.startswith("#"):
            kind, n, precision, adds, muls, doublings = line.split()[:6]
            graph[(kind, n, precision)] = (adds, str(int(muls) + int(doublings)))
    print("name," + ",".join(COLUMNS))
    for name, c in sorted(count(sys.argv[1], FUNC).items(), key=lambda item: (int(item[0].split("_")[-2]), item[0])):
        n, precision = name.split("_")[-2:]
        kind = "dht" if "Hartley" in name else "inv" if "DFTInv" in name else "fwd"
        adds, muls = graph.get((kind, n, precision), ("", ""))
        print(",".join([name] + [str(c[k]) for k in ("all", "addsub", "mul", "convert", "flip", "move", "stack")]
                       + [adds, muls]))


if __name__ == "__main__":
    main()
