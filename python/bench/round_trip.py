#!/usr/bin/python3
"""The round trip scripted in Python against the same pipeline in C++ (bench/RoundTrip.cpp).

height field (NumPy, 1024 x 1024) -> Matrix -> Mesh.from_height_field -> scan_convert_triangulation_max
-> NumPy, timed in CPU seconds per run. The C++ benchmark program runs in between the Python rounds so
that both sides see the same machine load; the binding overhead is the ratio of the best runs minus 1.

    PYTHONPATH=build-bench/python /usr/bin/python3 python/bench/round_trip.py \\
        --cpp build-bench/bench/bench_RoundTrip [--rounds 8] [--runs 2] [--json out.json]
"""
import argparse
import json
import subprocess
import sys
import time

import numpy as np

import qssse

SIZE = 1024
PIXEL = 0.05


def field():
    """The C++ program's field, bit for bit: float32 arithmetic in its order."""
    y, x = np.mgrid[0:SIZE, 0:SIZE]
    c = np.float32(0.5 * SIZE)
    dx = (x.astype(np.float32) - c) / c
    dy = (y.astype(np.float32) - c) / c
    ripple = ((7 * x + 13 * y) % 17).astype(np.float32)
    return np.float32(40.0) * (np.float32(1.0) - dx * dx - dy * dy) + np.float32(0.05) * ripple


def round_trip(heights):
    mesh = qssse.Mesh.from_height_field(heights, threshold=0.0, scale=(PIXEL, PIXEL, 1.0))
    scan = mesh.scan_convert_triangulation_max(z_offset=mesh.min_point[2])
    return scan.to_numpy(), mesh.num_triangles


def python_runs(heights, count):
    times, result = [], None
    for _ in range(count):
        start = time.process_time()
        result = round_trip(heights)
        times.append(time.process_time() - start)
        result = (float(result[0].astype(np.float64).sum()), result[1])
    return times, result


def cpp_runs(program, name, count):
    """CPU seconds per iteration of each repetition of one benchmark, and its checksum counters."""
    out = subprocess.run([program, f"--benchmark_filter=^{name}$", f"--benchmark_repetitions={count}",
                          "--benchmark_format=json"], check=True, capture_output=True, text=True).stdout
    runs = [b for b in json.loads(out)["benchmarks"] if b.get("run_type") == "iteration"]
    last = runs[-1]
    return [b["cpu_time"] / 1000.0 for b in runs], (last.get("checksum"), int(last.get("triangles", 0)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cpp", required=True, help="the bench_RoundTrip program")
    parser.add_argument("--rounds", type=int, default=8, help="alternations of a C++ and a Python measurement")
    parser.add_argument("--runs", type=int, default=2, help="runs per side and round")
    parser.add_argument("--json", help="write the numbers here too")
    args = parser.parse_args()

    heights = field()
    py_times, cpp_times, ratios = [], [], []
    for _ in range(args.rounds):
        cpp, cpp_result = cpp_runs(args.cpp, "BM_RoundTrip", args.runs)
        py, py_result = python_runs(heights, args.runs)
        cpp_times += cpp
        py_times += py
        ratios.append(min(py) / min(cpp))
    lib_times, _ = cpp_runs(args.cpp, "BM_RoundTripLibraryOnly", args.runs)
    same = py_result[1] == cpp_result[1] and abs(py_result[0] - cpp_result[0]) <= 1e-9 * abs(cpp_result[0])
    best_py, best_cpp = min(py_times), min(cpp_times)
    report = {
        "field": f"{SIZE} x {SIZE}", "triangles": py_result[1], "same_result": same,
        "python_best_s": best_py, "cpp_best_s": best_cpp, "cpp_library_calls_only_best_s": min(lib_times),
        "overhead_best_vs_best": best_py / best_cpp - 1.0, "overhead_median_of_rounds": float(np.median(ratios)) - 1.0,
        "round_ratios": ratios, "runs_per_side": len(py_times),
    }
    print(f"round trip of a {SIZE} x {SIZE} field, {py_result[1]} triangles, same result: {same}")
    print(f"  C++    best {best_cpp * 1e3:8.1f} ms  (median {np.median(cpp_times) * 1e3:.1f}; "
          f"library calls alone {min(lib_times) * 1e3:.1f})")
    print(f"  Python best {best_py * 1e3:8.1f} ms  (median {np.median(py_times) * 1e3:.1f})")
    print(f"  binding overhead {100 * report['overhead_best_vs_best']:+.2f} % best against best, "
          f"{100 * report['overhead_median_of_rounds']:+.2f} % median of {len(ratios)} alternating rounds "
          f"(CPU time)")
    if args.json:
        with open(args.json, "w") as f:
            json.dump(report, f, indent=2)
    return 0 if same else 1


if __name__ == "__main__":
    sys.exit(main())
