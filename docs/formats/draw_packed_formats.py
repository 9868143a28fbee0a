#!/usr/bin/env python3
"""Draws where each value of a real signal's half spectrum stands in the packed formats CCS, Pack and
Perm, for N = 4, 5 and 8: one SVG per format, written beside this script.

    /usr/bin/python3 docs/formats/draw_packed_formats.py

The positions come from the layout rules below, not from a table, so the pictures follow the rules."""
import os

LENGTHS = (4, 5, 8)


def ccs(n):
    h, m = n // 2, (n - 1) // 2
    cells = {0: ("Re", 0), 1: ("zero", 0)}
    for k in range(1, m + 1):
        cells[2 * k], cells[2 * k + 1] = ("Re", k), ("Im", k)
    if n % 2 == 0:
        cells[n], cells[n + 1] = ("Re", h), ("zero", h)
    return cells


def pack(n):
    m = (n - 1) // 2
    cells = {0: ("Re", 0)}
    for k in range(1, m + 1):
        cells[2 * k - 1], cells[2 * k] = ("Re", k), ("Im", k)
    if n % 2 == 0:
        cells[n - 1] = ("Re", n // 2)
    return cells


def perm(n):
    if n % 2:
        return pack(n)
    m = (n - 1) // 2
    cells = {0: ("Re", 0), 1: ("Re", n // 2)}
    for k in range(1, m + 1):
        cells[2 * k], cells[2 * k + 1] = ("Re", k), ("Im", k)
    return cells


FORMATS = (
    ("ccs", "CCS", ccs, "N + 2 values for even N, N + 1 for odd N; the zero imaginary parts are stored"),
    ("pack", "Pack", pack, "N values; for even N the Nyquist bin X[N/2] stands last"),
    ("perm", "Perm", perm, "N values; for even N the Nyquist bin X[N/2] stands second"),
)

CELL_W, CELL_H, LEFT, TOP, ROW_GAP = 62, 34, 70, 64, 74


def colour(kind, k, n):
    if kind == "zero":
        return "#e4e4e4"
    if k == 0:
        return "#9ecae1"
    if n % 2 == 0 and k == n // 2:
        return "#fdae6b"
    return "#c7e9c0" if k % 2 else "#a1d99b"


def label(kind, k):
    return "0" if kind == "zero" else f"{kind} X[{k}]"


def svg(title, layout, note):
    width = LEFT + CELL_W * (max(LENGTHS) + 2) + 20
    height = TOP + ROW_GAP * len(LENGTHS) + 50
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'font-family="DejaVu Sans, Arial, sans-serif" font-size="13">',
           f'<rect width="{width}" height="{height}" fill="white"/>',
           f'<text x="12" y="24" font-size="17" font-weight="bold">{title}</text>',
           f'<text x="12" y="44" fill="#444">{note}</text>']
    for row, n in enumerate(LENGTHS):
        y = TOP + row * ROW_GAP + 16
        cells = layout(n)
        out.append(f'<text x="12" y="{y + CELL_H / 2 + 5}" font-weight="bold">N = {n}</text>')
        for pos in sorted(cells):
            kind, k = cells[pos]
            x = LEFT + pos * CELL_W
            out.append(f'<text x="{x + CELL_W / 2}" y="{y - 5}" text-anchor="middle" fill="#666" '
                       f'font-size="11">{pos}</text>')
            out.append(f'<rect x="{x}" y="{y}" width="{CELL_W}" height="{CELL_H}" '
                       f'fill="{colour(kind, k, n)}" stroke="#333"/>')
            out.append(f'<text x="{x + CELL_W / 2}" y="{y + CELL_H / 2 + 5}" text-anchor="middle">'
                       f'{label(kind, k)}</text>')
    legend_y = TOP + ROW_GAP * len(LENGTHS) + 14
    out.append(f'<text x="12" y="{legend_y}" fill="#444">Numbers above the cells are positions in the '
               f'array, counted from 0.</text>')
    out.append(f'<text x="12" y="{legend_y + 18}" fill="#444">Blue: bin 0; orange: the Nyquist bin of even '
               f'N; green: the complex bins, real part first; grey: stored zeros.</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    for stem, title, layout, note in FORMATS:
        with open(os.path.join(here, f"{stem}.svg"), "w") as f:
            f.write(svg(f"{title}: positions of the half spectrum X[0..N/2] of N real samples", layout, note))


if __name__ == "__main__":
    main()
