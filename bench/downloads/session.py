#!/usr/bin/env python3
"""Measures the package step of an update, in the sealed machine: bench/downloads/run calls it there.

Every workload is measured in one go: the contenders take turns, run after run, so that whatever drifts meets all.
"""
import argparse
import os
import resource
import select
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from results import Results  # noqa: E402
from servers import Link, PROGRAMS, Place, stopRehearsal  # noqa: E402
from workloads import VERSION, WORKLOADS, makePackages  # noqa: E402

HERE = Path(__file__).resolve().parent
CACHE = Path("/usr/local/Brovik/TempDownload")
DISK = PROGRAMS / "disk"  # outside the copy, whose own files are in memory
LONGEST_RUN = 120  # seconds


def contenders(workload):
    scripts = HERE / "contenders"
    programs = {
        "engine": PROGRAMS / "bench/downloads/benchEngine",
        "bare design": PROGRAMS / "bench/downloads/benchBareDesign",
        "curl": scripts / "curl",
        "wget2": scripts / "wget2",
        "aria2c, sha1sum": scripts / "aria2c-with-sha1sum",
        "aria2c": scripts / "aria2c",
    }
    if workload.link:  # where hashing is not what takes the time
        del programs["aria2c, sha1sum"]
    return programs


def others():
    """The machine's processes that belong to no contender: this one, the servers, the machine's own."""
    return {int(name) for name in os.listdir("/proc") if name.isdigit()}


def anonymousKb(known):
    """What all processes that came since hold for themselves: neither files nor shared libraries count."""
    total = 0
    for name in os.listdir("/proc"):
        if not name.isdigit() or int(name) in known:
            continue
        try:
            with open(f"/proc/{name}/status", "rb") as status:
                text = status.read()
        except OSError:  # it has ended
            continue
        at = text.find(b"RssAnon:")
        if at >= 0:
            total += int(text[at + 8:text.index(b"kB", at)])
    return total


def watch(process, known):
    """Waits for the end; the peak of memory, sampled in a fiftieth of a processor's time at most."""
    peak = 0
    end = os.pidfd_open(process.pid)
    deadline = time.monotonic() + LONGEST_RUN
    pause = 0.005
    while not select.select([end], [], [], pause)[0]:
        begun = time.monotonic()
        if begun > deadline:
            os.killpg(process.pid, signal.SIGKILL)
            raise RuntimeError("a contender did not come to its end")
        peak = max(peak, anonymousKb(known))
        pause = max(0.005, 50 * (time.monotonic() - begun))
    ended = time.monotonic()
    os.close(end)
    return ended, peak


def runOnce(program, packages, listed):
    """One run of a contender; wall and CPU seconds, peak KB."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    known = others()
    with open("/tmp/said", "wb") as said:
        begun = time.monotonic()
        process = subprocess.Popen([str(program), listed, str(CACHE / "Package")], stdin=subprocess.DEVNULL,
                                   stdout=said, stderr=said, start_new_session=True)
        ended, peak = watch(process, known)
        status = process.wait()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if status != 0 or not arrived(packages):
        sys.stderr.write(Path("/tmp/said").read_text(errors="replace")[-2000:])
        raise RuntimeError(f"{program.name} ended with status {status}, or packages are missing")
    cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return ended - begun, cpu, peak


def arrived(packages):
    """Every package is there in full, wherever below the folder its contender puts it."""
    found = {path.name: path.stat().st_size for path in CACHE.rglob("*.pkg")}
    return found == {name: size for name, size, _ in packages}


def emptyCache():
    for entry in CACHE.iterdir():
        shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
    Path("/var/log/DownloadManager.log").unlink(missing_ok=True)


def writeList(packages, address):
    listed = "/tmp/packages"
    Path(listed).write_text("".join(f"{address}/{name}\t{sha1}\t{VERSION}\n" for name, _, sha1 in packages))
    return listed


def mountCache(place):
    """The engine's fixed folder, on the machine's disk or in its memory."""
    CACHE.mkdir(parents=True, exist_ok=True)
    how = ["--bind", str(DISK)] if place == "disk" else ["-t", "tmpfs", "cache"]
    subprocess.run(["mount", *how, str(CACHE)], check=True)


def measure(workload, runs):
    packages = makePackages(workload.files, Path("/srv/rehearsal") / workload.host.folder)
    mountCache(workload.place)
    wholeSize = sum(size for _, size, _ in packages)
    figures = {name: [] for name in contenders(workload)}
    listed = writeList(packages, workload.address)
    try:
        with Link() if workload.link else Place() as place, workload.serve(place, packages) as server:
            for turn in range(-1, runs):  # the first one warms what is cached
                for name, program in contenders(workload).items():
                    if turn < 0 and workload.slow:
                        continue
                    emptyCache()
                    os.sync()
                    server.reset()
                    connections = place.connections()
                    wall, cpu, peak = runOnce(program, packages, listed)
                    if turn >= 0:
                        figures[name].append({"wall": wall, "cpu": cpu, "memory": peak / 1024,
                                              "again": (server.sentBytes() - wholeSize) / 2**20,
                                              "connections": place.connections() - connections})
                    print(f"  {name:16} {wall:7.2f} s, {cpu:6.2f} s of CPU, {peak / 1024:6.1f} MB", flush=True)
    finally:
        emptyCache()
        subprocess.run(["umount", str(CACHE)], check=True)
    return figures


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--runs", type=int, required=True)
    parser.add_argument("--results", type=Path, required=True)
    parser.add_argument("workloads", nargs="*")
    options = parser.parse_args()
    os.umask(0o022)
    stopRehearsal()
    results = Results(options.results, [workload.name for workload in WORKLOADS])
    for workload in WORKLOADS:
        if options.workloads and workload.name not in options.workloads:
            continue
        print(f"{workload.title}:", flush=True)
        figures = measure(workload, options.runs)
        results.put(workload.name, workload.title, figures, workload.limits())


if __name__ == "__main__":
    main()
