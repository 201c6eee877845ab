#!/usr/bin/env python3
"""What each part of 1,000 small packages takes by itself, in the sealed machine.

bench/downloads/run --small-files calls it there.
"""
import os
import resource
import statistics
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from servers import Place, stopRehearsal  # noqa: E402
from workloads import WORKLOADS, makePackages  # noqa: E402

RUNS = 5
FOLDER = Path("/srv/rehearsal/download/1000x64k")
HASH = "/usr/local/Brovik/qrn/bin/sha1sum"


def timed(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    begun = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    wall = time.monotonic() - begun
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def tell(what, commands):
    runs = [timed(commands) for _ in range(RUNS)]
    wall, cpu = (statistics.median(run[i] for run in runs) for i in (0, 1))
    print(f"{what:64} {wall:6.2f} s, {cpu:6.2f} s of CPU", flush=True)
    return cpu


def main():
    stopRehearsal()
    packages = makePackages("1000x64k", FOLDER.parent)
    names = "\n".join(name for name, _, _ in packages)
    Path("/tmp/names").write_text(names + "\n")
    os.chdir(FOLDER)
    tell("1,000 sudo mkdir -p by a shell each, one after the other",
         ["sh", "-c", "while read -r n; do sh -c 'sudo mkdir -p /tmp/made/3.3.0.1'; done </tmp/names"])
    tell("the same without sudo", ["sh", "-c", "while read -r n; do sh -c 'mkdir -p /tmp/made/3.3.0.1'; done </tmp/names"])
    tell("1,000 sha1sum | awk by a shell each, two at a time",
         ["xargs", "-a", "/tmp/names", "-P", "2", "-I", "{}", "sh", "-c", HASH + " {} | awk '{print $1}'"])
    tell("one sha1sum of all", ["xargs", "-a", "/tmp/names", HASH])
    workload = next(workload for workload in WORKLOADS if workload.files == "1000x64k")
    with Place() as place, workload.serve(place, packages):
        one = f"://download.brovik.example/1000x64k/{packages[0][0]}"
        cpu = {protocol: tell(f"100 times curl, one package, {protocol.upper()}", [
            "sh", "-c", f"for i in $(seq 100); do curl --silent --fail --output /dev/null {protocol}{one}; done"])
            for protocol in ("http", "https")}
    print(f"a trust store read, and a handshake: {(cpu['https'] - cpu['http']) * 10:.1f} ms of CPU each")


if __name__ == "__main__":
    main()
