"""What a benchmark report says about the run: the processor's name and the core clock that the
benchmark measured in the same run (its clock_GHz counter)."""
import csv
import json
import os
import subprocess


def processor():
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return "unknown processor"


def run_json(binary, arguments):
    out = subprocess.run([binary, "--benchmark_format=json"] + arguments, check=True, capture_output=True,
                         text=True).stdout
    return json.loads(out)


def iterations(results):
    """The per-run rows of a Google Benchmark JSON result, without aggregates."""
    return [b for b in results["benchmarks"] if b.get("run_type", "iteration") == "iteration"]


def clock_line(results, rows):
    """The processor, the clock the benchmark measured and the machine's load when the run began (other
    work on a shared machine slows both sides of a comparison)."""
    clocks = [r["clock_GHz"] for r in rows if r.get("clock_GHz")]
    clock = f"{max(clocks):.2f} GHz" if clocks else "not measured"
    load = results.get("context", {}).get("load_avg")
    on_load = f"; load average at the start: {load[0]:.1f} on {results['context'].get('num_cpus', '?')} cores" \
        if load else ""
    return f"Processor: {processor()}; core clock measured in the run: {clock}{on_load}."


def write_tables(rows, columns, title, machine, explanation, caption, out):
    """The rows (already formatted, in `columns` order) as out.csv and as a Markdown table in out.md,
    under the title, the machine line and the explanation, with the plot out.png below."""
    with open(out + ".csv", "w", newline="") as f:
        w = csv.writer(f)
        w.writerow(columns)
        w.writerows(rows)
    with open(out + ".md", "w") as f:
        f.write(f"# {title}\n\n{machine}\n\n{explanation}\n\n")
        f.write("| " + " | ".join(columns) + " |\n|" + "---|" * len(columns) + "\n")
        for r in rows:
            f.write("| " + " | ".join(str(v) for v in r) + " |\n")
        f.write(f"\n![{caption}]({os.path.basename(out)}.png)\n")
