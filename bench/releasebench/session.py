#!/usr/bin/env python3
"""Measures releasebench on large releases, in the sealed machine: bench/releasebench/run calls it there.

The engine and the commands take turns, run after run, so that whatever drifts meets all.
"""
import argparse
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from releases import CATALOG, SHAPES, write  # noqa: E402
from results import Results  # noqa: E402

PROGRAMS = Path(__file__).resolve().parents[2] / "build/bench"
BENCH = str(PROGRAMS / "releasebench")
READER = str(PROGRAMS / "bench/parts/catalog-memory")
PLACE = Path("/tmp/releases")
MOST = 10  # times what the engine takes to read the catalog


def commands(shape):
    """What is measured, and the statuses that it may end with: findings are no failure."""
    source, built, published = (str(PLACE / name) for name in ("source", "built", "published"))
    catalog = f"{published}/catalogs/{CATALOG}.xml"
    machine = ["--product", shape.product, "--system", "10.8.5"]
    return {
        "engine": ([READER, "engine", catalog], (0,)),
        "lint CATALOG": ([BENCH, "lint", catalog], (0, 1)),
        "lint FOLDER": ([BENCH, "lint", source], (0, 1)),
        "lint, built": ([BENCH, "lint", built], (0, 1)),
        "explain": ([BENCH, "explain", source, *machine], (0,)),
        "matrix": ([BENCH, "matrix", source], (0, 1)),
        "build": ([BENCH, "build", source, "--out", str(PLACE / "new")], (0,)),
    }


def prepare(shape):
    """The release, the same one with what was built of it, and what is published."""
    shutil.rmtree(PLACE, ignore_errors=True)
    for name in ("source", "built"):
        (PLACE / name).mkdir(parents=True)
    write(shape, PLACE / "source")
    subprocess.run([BENCH, "build", str(PLACE / "source"), "--out", str(PLACE / "published")], check=True,
                   stdout=subprocess.DEVNULL)
    for name, to in (("release.json", "source/release.json"), ("packages", "source/packages"), ("built", "published")):
        (PLACE / "built" / name).symlink_to(PLACE / to)


def runOnce(command, statuses):
    """One process from its start to its end."""
    shutil.rmtree(PLACE / "new", ignore_errors=True)
    begun = time.monotonic()
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - begun
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in statuses:
        raise RuntimeError(f"{' '.join(command)} ended with status {process.returncode}")
    return {"wall": wall, "cpu": usage.ru_utime + usage.ru_stime, "memory": usage.ru_maxrss / 1024}


def measure(shape, runs):
    prepare(shape)
    contenders = commands(shape)
    figures = {name: [] for name in contenders}
    for turn in range(-1, runs):  # the first one warms what is cached
        for name, (command, statuses) in contenders.items():
            figure = runOnce(command, statuses)
            if turn >= 0:
                figures[name].append(figure)
            print(f"  {name:14} {figure['wall']:6.2f} s, {figure['cpu']:6.2f} s of CPU, {figure['memory']:6.0f} MB",
                  flush=True)
    return figures


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, required=True)
    parser.add_argument("--results", type=Path, required=True)
    parser.add_argument("workloads", nargs="*")
    options = parser.parse_args()
    results = Results(options.results, [shape.name for shape in SHAPES])
    for shape in SHAPES:
        if options.workloads and shape.name not in options.workloads:
            continue
        print(f"{shape.title}:", flush=True)
        figures = measure(shape, options.runs)
        limited = [name for name in figures if name not in ("engine", "build")]
        results.put(shape.name, shape.title, figures,
                    [(metric, "engine", MOST, name) for name in limited for metric in ("wall", "cpu")])


if __name__ == "__main__":
    main()
