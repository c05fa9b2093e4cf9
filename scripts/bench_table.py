#!/usr/bin/env python3
"""Prints the table of benchmark figures against their targets from Google Benchmark's JSON.

Each figure is the median CPU time of one benchmark, beside the median of its reference
measured in the same run. The ratio is reference / figure (how many times faster the figure
is). A target is a bound on the figure's time, on the ratio, or both.
"""
import json
import sys

# figure, benchmark, reference benchmark, max seconds (or None), min ratio (or None), target
FIGURES = [
    ("Init, AuthStatsG7 file of 10,000 records", "BM_AuthHistoryInit",
     "BM_AuthHistoryInit_Reference/iterations:1", 5e-3, 300, "<= 5 ms and >= 300x"),
    ("Save of that history (whole-file rewrite)", "BM_AuthHistorySave",
     "BM_AuthHistorySave_PlainWrite", None, 1 / 3, "<= 3x the plain write"),
    ("crc32, 16 B", "BM_Crc32/16", "BM_Crc32_Zlib/16", None, 1, ">= zlib"),
    ("crc32, 64 B", "BM_Crc32/64", "BM_Crc32_Zlib/64", None, 1, ">= zlib"),
    ("crc32, 256 B", "BM_Crc32/256", "BM_Crc32_Zlib/256", None, 3, ">= 3x zlib"),
    ("crc32, 4 KiB", "BM_Crc32/4096", "BM_Crc32_Zlib/4096", None, 3, ">= 3x zlib"),
    ("crc32, 1 MiB", "BM_Crc32/1048576", "BM_Crc32_Zlib/1048576", None, 3, ">= 3x zlib"),
    ("Circle (r = 50) covered by an ellipse, 101 x 101", "BM_CircleCoveredByEllipse",
     "BM_CircleCoveredByEllipse_PlainWalk", 15e-6, None, "<= 15 us"),
    ("Touch batch of 128 records, factor 2", "BM_TouchBatchConversion/2",
     "BM_TouchBatchConversion_Memcpy", 1.5e-6, None, "<= 1.5 us"),
    ("Touch batch of 128 records, factor 3", "BM_TouchBatchConversion/3",
     "BM_TouchBatchConversion_Memcpy", 1.5e-6, None, "<= 1.5 us"),
]

UNIT_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def duration(seconds):
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= scale:
            return f"{seconds / scale:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def rate(run):
    if "bytes_per_second" in run:
        return f"{run['bytes_per_second'] / 1e9:.2f} GB/s"
    if "records/s" in run:
        return f"{run['records/s'] / 1e6:.2f} M records/s"
    return ""


def main():
    with open(sys.argv[1]) as f:
        report = json.load(f)
    medians = {}
    for run in report["benchmarks"]:
        if run.get("aggregate_name", "median") == "median" and "error_occurred" not in run:
            medians[run["run_name"]] = run
    rows = [("figure", "median", "rate", "reference", "ratio", "target", "met")]
    all_met = True
    for name, bench, ref, max_seconds, min_ratio, target in FIGURES:
        if bench not in medians or ref not in medians:
            rows.append((name, "missing", "", "", "", target, "NO"))
            all_met = False
            continue
        run = medians[bench]
        seconds = run["cpu_time"] * UNIT_SECONDS[run["time_unit"]]
        ref_run = medians[ref]
        ref_seconds = ref_run["cpu_time"] * UNIT_SECONDS[ref_run["time_unit"]]
        ratio = ref_seconds / seconds
        met = (max_seconds is None or seconds <= max_seconds) and (
            min_ratio is None or ratio >= min_ratio)
        all_met = all_met and met
        rows.append((name, duration(seconds), rate(run), duration(ref_seconds), f"{ratio:.3g}x",
                     target, "yes" if met else "NO"))
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    context = report.get("context", {})
    repetitions = max((r.get("repetitions", 1) for r in report["benchmarks"]), default=1)
    print(f"{context.get('num_cpus', '?')} CPUs at {context.get('mhz_per_cpu', '?')} MHz; "
          f"median CPU time over {repetitions} repetitions, Release build")
    for i, row in enumerate(rows):
        print("  ".join(cell.ljust(widths[k]) for k, cell in enumerate(row)).rstrip())
        if i == 0:
            print("  ".join("-" * w for w in widths))
    heap = [(n, r) for n, r in medians.items() if n.startswith("BM_Heap")]
    if heap:
        print("\nheap held by full histories (records, their control blocks, the deque):")
        for name, run in sorted(heap):
            print(f"  {name[len('BM_Heap'):].split('/iterations')[0]:<28} "
                  f"{run['heap_bytes'] / 1024:10.1f} KiB  {run['heap_bytes/record']:6.1f} B/record")
    return 0 if all_met else 1


if __name__ == "__main__":
    sys.exit(main())
