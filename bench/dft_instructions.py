#!/usr/bin/env python3
"""Counts the instructions of every complex DFT kernel in the built library, by kind, beside the
packed counts the generator wrote for it.

    python3 bench/dft_instructions.py build/lib/libzspgenx3.so build/generated/dft/dft_packed_counts.txt

The bodies without the scale, which hint 8 runs: the aligned route (the exported kernel, which holds it
after its checks), and the `_unaligned` siblings listed apart by name (their `_unscaled` function, or
the one body of the kernels whose registers the generator allocates); the `_scaled` bodies are not
counted.
Prints CSV: name, instructions, packed add/sub, packed mul, shuffles, sign flips, register moves, stack
accesses, and the generator's packed add/sub, mul and shuffles, with the four-lane kernels' shuffles at
the loads and stores and their 64-bit moves to or from a high half (which take a shuffle port too).
"""
import collections
import re
import subprocess
import sys

KINDS = {
    "addsub": re.compile(r"^(add|sub|addsub)(pd|ps|sd|ss)$"),
    "mul": re.compile(r"^mul(pd|ps|sd|ss)$"),
    "shuffle": re.compile(r"^(shuf|unpckl|unpckh)(pd|ps)$|^mov(ddup|sldup|shdup|hlps|lhps)$|^pshufd$"),
    "flip": re.compile(r"^xor(pd|ps)$"),
    "convert": re.compile(r"^cvt(ss2sd|sd2ss)$"),
}
FUNC = re.compile(r"^[0-9a-f]+ <(x3_(?:zspg|owng)DFT(?:Fwd|Inv)_CToC_\d+_(?:32|64)fc(?:_unaligned)?(?:_unscaled)?)>:$")


def count(library, func=FUNC):
    """Per function whose name `func` matches: its instructions, in all and by kind."""
    dump = subprocess.run(["objdump", "-d", "--no-show-raw-insn", library], check=True, capture_output=True,
                          text=True).stdout
    counts, current, frame = {}, None, set()
    for line in dump.splitlines():
        m = func.match(line)
        if m:
            current = counts.setdefault(m.group(1), collections.Counter())
            frame = {"%rsp"}  # registers that address the stack frame: the stack pointer and its copies
            continue
        if not line.strip():
            current = None
            continue
        if current is None or "\t" not in line:
            continue
        parts = line.split("\t")[1].split(None, 1)
        op, args = parts[0], parts[1] if len(parts) > 1 else ""
        current["all"] += 1
        for kind, pattern in KINDS.items():
            if pattern.match(op):
                current[kind] += 1
        # The kernels with registers of their own reach their stack slots through base registers set
        # from the stack pointer (`lea 0x18(%rsp),%rcx`), not through %rsp itself.
        if op in ("lea", "mov") and re.match(r"^(?:-?0x[0-9a-f]+)?\(%rsp\),%r\w+$|^%rsp,%r\w+$", args):
            frame.add(args.rsplit(",", 1)[1])
        if op in ("movapd", "movaps", "movupd", "movups", "movsd", "movss", "movq", "movlpd", "movhpd"):
            base = re.search(r"\((%r\w+)\)", args)
            current["stack" if base and base.group(1) in frame else "move"] += 1
    return counts


def read_packed(path):
    """The generator's packed counts: name -> (shape, [packed add/sub, packed mul, shuffles, shuffles at the
    loads and stores, moves to or from a high half])."""
    packed = {}
    for line in open(path):
        if line.startswith("#"):
            continue
        n, precision, direction, shape, addsub, mul, shuffle, _flip, _scalar, border, high = line.split()
        name = f"x3_zspgDFT{'Fwd' if direction == 'fwd' else 'Inv'}_CToC_{n}_{precision}"
        packed[name] = (shape, [addsub, mul, shuffle, border, high])
    return packed


COLUMNS = ["instructions", "addsub", "mul", "shuffle", "flip", "moves", "stack", "generator_addsub",
           "generator_mul", "generator_shuffle", "generator_border_shuffle", "generator_high_half"]


def kernel_table(library, packed_path):
    """Every kernel's counts by kind beside the generator's: name -> (shape, [values in COLUMNS order])."""
    packed = read_packed(packed_path)
    table = {}
    counts = count(library)
    for name in [k for k in counts if k.endswith("_unscaled")]:
        counts[name[: -len("_unscaled")]] = counts.pop(name)  # a sibling's row under the sibling's name
    for name, c in counts.items():
        shape, generator = packed.get(name.replace("owng", "zspg").replace("_unaligned", ""), ("", [""] * 5))
        table[name] = (shape, [c["all"], c["addsub"], c["mul"], c["shuffle"], c["flip"], c["move"], c["stack"]]
                       + generator)
    return table


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    print("name,shape," + ",".join(COLUMNS))
    table = kernel_table(sys.argv[1], sys.argv[2])
    for name in sorted(table, key=lambda k: (int(k.split("_")[3]), k)):
        shape, values = table[name]
        print(f"{name},{shape}," + ",".join(str(v) for v in values))


if __name__ == "__main__":
    main()
