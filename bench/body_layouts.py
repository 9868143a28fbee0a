#!/usr/bin/env python3
"""Times each kernel whose registers the generator allocates in every layout of its body, to pick the
layouts of kBodyLayouts in dft/dftgen.cpp.

    python3 bench/body_layouts.py [--rounds R] [--kernels 47_fwd,59_inv]

A layout is one of the scheduler's orders (0 to 4) and a start of the body within a 64-byte line (0, 16,
32, 48). For each kernel and layout the script asks the generator for the source (`dftgen --layout`),
compiles it with the library's own command (from build/build.ninja) beside body_start_timer.cpp, and
runs the programs in turn R times (default 3). Prints per kernel and layout the fastest ns per call over
the rounds and the body's instruction count; `*` marks the layout the table holds now.
"""
import argparse
import concurrent.futures
import functools
import os
import re
import shlex
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
BUILD = os.path.join(ROOT, "build")
GENERATED = os.path.join(BUILD, "generated", "dft")
DFTGEN = os.path.join(BUILD, "dft", "dftgen")
ORDERS = range(5)
STARTS = (0, 16, 32, 48)
# One line of kBodyLayouts: {n, inverse, {order, start}}.
TABLE_ENTRY = re.compile(r"\{(\d+), (false|true), \{(\d+), (-?\d+)\}\}")


@functools.lru_cache(maxsize=None)
def library_commands():
    """The build's commands for the library, one per line (read once)."""
    return subprocess.run(["ninja", "-C", BUILD, "-t", "commands", "lib/libzspgenx3.so.8.2"],
                          check=True, capture_output=True, text=True).stdout.splitlines()


def compile_command(source):
    """The compiler and flags the build uses for `source`, without its output and dependency options."""
    for line in library_commands():
        if line.endswith(" " + source):
            keep, skip = [], False
            for w in shlex.split(line)[:-2]:  # drops "-c <source>"
                if skip:
                    skip = False
                elif w in ("-o", "-MT", "-MF"):
                    skip = True
                elif w != "-MD":
                    keep.append(w)
            return keep
    sys.exit(f"body_layouts: no compile command for {source} in {BUILD}")


def kernels_with_own_registers():
    """(n, direction) of the generated double kernels whose body is one asm statement."""
    found = []
    for name in sorted(os.listdir(GENERATED)):
        m = re.fullmatch(r"dft_(\d+)_64fc_(fwd|inv)\.cpp", name)
        if m:
            with open(os.path.join(GENERATED, name)) as f:
                if "__asm__ volatile(" in f.read():
                    found.append((int(m.group(1)), m.group(2)))
    return found


def tabled_layouts():
    with open(os.path.join(ROOT, "dft", "dftgen.cpp")) as f:
        text = f.read()
    table = text[text.index("kBodyLayouts[]"):]
    table = table[:table.index(";")]
    return {(int(n), "inv" if inv == "true" else "fwd"): (int(order), int(start))
            for n, inv, order, start in TABLE_ENTRY.findall(table)}


def build(tmp, n, direction, order, start):
    """Writes, compiles and links the kernel in one layout; returns (program, body instructions)."""
    stem = os.path.join(tmp, f"dft_{n}_64fc_{direction}_{order}_{start}")
    source = subprocess.run([DFTGEN, "--layout", str(n), direction, str(order), str(start)],
                            check=True, capture_output=True, text=True).stdout
    aligned = source[source.index("__asm__ volatile("):]
    instructions = aligned[:aligned.index(":\n")].count("\\n\\t\"") - 1  # less the padding line
    with open(stem + ".cpp", "w") as f:
        f.write(source)
    command = compile_command(os.path.join(GENERATED, f"dft_{n}_64fc_{direction}.cpp"))
    includes = [w for w in command if w.startswith("-I")]
    symbol = f"x3_zspgDFT{'Fwd' if direction == 'fwd' else 'Inv'}_CToC_{n}_64fc"
    subprocess.run(command + ["-c", stem + ".cpp", "-o", stem + ".o"], check=True)
    subprocess.run([command[0], "-O2", *includes, f"-I{HERE}", f"-DKERNEL={symbol}",
                    os.path.join(HERE, "body_start_timer.cpp"), stem + ".o", "-o", stem], check=True)
    return stem, instructions


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--kernels", help="comma-separated N_fwd or N_inv; default: all with own registers")
    args = parser.parse_args()
    kernels = kernels_with_own_registers()
    if args.kernels:
        wanted = {tuple(k.split("_")) for k in args.kernels.split(",")}
        kernels = [k for k in kernels if (str(k[0]), k[1]) in wanted]
    if not kernels:
        sys.exit("body_layouts: no such kernel among those with own registers (build first)")
    table = tabled_layouts()
    layouts = [(n, d, o, s) for n, d in kernels for o in ORDERS for s in STARTS]
    with tempfile.TemporaryDirectory() as tmp:
        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 1) as pool:
            built = list(pool.map(lambda layout: build(tmp, *layout), layouts))
        best = {}
        for _ in range(args.rounds):
            for layout, (program, _) in zip(layouts, built):
                ns = float(subprocess.run([program], check=True, capture_output=True, text=True).stdout)
                best[layout] = min(best.get(layout, ns), ns)
    print("kernel,order,start,instructions,ns")
    for layout, (_, instructions) in zip(layouts, built):
        n, d, o, s = layout
        mark = "*" if table.get((n, d)) == (o, s) else ""
        print(f"{n}_{d},{o},{s}{mark},{instructions},{best[layout]:.1f}")


if __name__ == "__main__":
    main()
