#!/usr/bin/env python3
"""The instructions a kernel executes in the call the benchmarks time: source and destination aligned to
16 bytes and not null, hint 8.

    python3 bench/executed_path.py build/lib/libzspgenx3.so NAME...

The walk starts at the kernel's first instruction with those arguments in their registers (source in
%rdi, destination in %rsi, hint in %edx), follows the values the checks compute from them (copies, `or`,
`and`, `test`, `cmp`), takes each conditional branch as they decide it, follows every unconditional
jump, also into another function (a body of its own), and ends at the first `ret`. A branch on anything
else stops the walk with an error, rather than guess. Prints each name with its executed instructions
and, of them, the additions and subtractions; `checked` holds those against the generator's counts.
"""
import re
import subprocess
import sys

LINE = re.compile(r"^\s*([0-9a-f]+):\t(\S+)\s*(.*)$")
FUNC = re.compile(r"^([0-9a-f]+) <([^>]+)>:$")
ADDSUB = re.compile(r"^(add|sub|addsub)(pd|ps|sd|ss)$")
ARGUMENTS = {"rdi": 0x10000, "rsi": 0x20000, "rdx": 8}  # source, destination, hint

# Every name of the integer registers, mapped to the register it is part of.
REGISTER = {}
for full, parts in {"rax": "eax ax al", "rbx": "ebx bx bl", "rcx": "ecx cx cl", "rdx": "edx dx dl",
                    "rsi": "esi si sil", "rdi": "edi di dil", "rbp": "ebp bp bpl", "rsp": "esp sp spl"}.items():
    for name in [full] + parts.split():
        REGISTER[name] = full
for i in range(8, 16):
    for suffix in ("", "d", "w", "b"):
        REGISTER[f"r{i}{suffix}"] = f"r{i}"


def disassembly(library):
    """(instructions by address: (opcode, operands), function start by name)."""
    dump = subprocess.run(["objdump", "-d", "--no-show-raw-insn", library], check=True, capture_output=True,
                          text=True).stdout
    code, starts = {}, {}
    for line in dump.splitlines():
        f = FUNC.match(line)
        if f:
            starts[f.group(2)] = int(f.group(1), 16)
            continue
        m = LINE.match(line)
        if m:
            code[int(m.group(1), 16)] = (m.group(2), m.group(3))
    return code, starts


def value(operand, regs):
    """An operand's value: an immediate, or a register whose value the walk knows; else None."""
    if operand.startswith("$"):
        return int(operand[1:], 16 if operand[1:].startswith("0x") else 10)
    name = operand.lstrip("%")
    return regs.get(REGISTER.get(name)) if name in REGISTER else None


def branch_taken(op, flags):
    """Whether a conditional jump goes, from (result, left, right) of the last test or cmp."""
    result, left, right = flags
    return {"je": result == 0, "jne": result != 0, "jg": left > right, "jge": left >= right, "jl": left < right,
            "jle": left <= right, "ja": left > right, "jae": left >= right, "jb": left < right,
            "jbe": left <= right}[op]


def walk(code, addresses, index, start, limit=100000):
    """(instructions, additions and subtractions) from `start` to the first `ret`; `addresses` are the
    code's in order, `index` their positions."""
    regs, flags = dict(ARGUMENTS), None
    i, executed, addsub = index[start], 0, 0
    while executed < limit:
        op, args = code[addresses[i]]
        executed += 1
        addsub += bool(ADDSUB.match(op))
        operands = [a.strip() for a in args.split("#")[0].split(",")] if args else []
        target = re.match(r"^([0-9a-f]+) <", args)
        if op.startswith("ret"):
            return executed, addsub
        if op == "jmp" and target:
            i = index[int(target.group(1), 16)]
            continue
        if op.startswith("j"):
            if not target or flags is None or op not in ("je", "jne", "jg", "jge", "jl", "jle", "ja", "jae", "jb", "jbe"):
                raise ValueError(f"{addresses[i]:x}: {op} {args}: a branch the walk cannot decide")
            if branch_taken(op, flags):
                i = index[int(target.group(1), 16)]
                continue
        elif op in ("test", "cmp") and len(operands) == 2:
            right, left = value(operands[0], regs), value(operands[1], regs)
            known = left is not None and right is not None
            flags = ((left & right) if op == "test" else (left - right), left, right) if known else None
        elif operands and operands[-1].lstrip("%") in REGISTER:
            # An instruction writing an integer register: copies, `or` and `and` are followed, anything
            # else leaves the register unknown.
            dest = REGISTER[operands[-1].lstrip("%")]
            source = value(operands[0], regs) if len(operands) == 2 else None
            known = regs.get(dest)
            result = None
            if op in ("mov", "movq") and source is not None:
                result = source
            elif op == "or" and source is not None and known is not None:
                result = known | source
            elif op == "and" and source is not None and known is not None:
                result = known & source
            regs[dest] = result
            if op not in ("mov", "movq", "lea", "push", "pop"):
                flags = None
        i += 1
    raise ValueError(f"no ret within {limit} instructions of {start:x}")


def executed(library, names):
    code, starts = disassembly(library)
    addresses = sorted(code)
    index = {a: i for i, a in enumerate(addresses)}
    return {name: walk(code, addresses, index, starts[name]) for name in names if name in starts}


def checked(library, expected):
    """{name: executed instructions} for `expected` {name: (additions the generator counts, whether the
    compiler may have paired some)}; stops the program where a path's additions differ (or exceed them)."""
    paths = executed(library, expected)
    for name, (adds, pairable) in expected.items():
        count, addsub = paths[name]
        if addsub != adds and not (pairable and 0 < addsub <= adds):
            sys.exit(f"{name}: {addsub} additions on the executed path, the generator counts {adds}")
    return {name: paths[name][0] for name in expected}


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    for name, (n, adds) in executed(sys.argv[1], sys.argv[2:]).items():
        print(name, n, adds)
