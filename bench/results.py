"""The results of one group of benchmarks: bench/results/GROUP.json, in the shape that bench/README.md tells."""
import json
import statistics
import time
from pathlib import Path

UNITS = {"wall": "s", "cpu": "s", "memory": "MB", "again": "MiB", "connections": ""}


def machine():
    """What it was measured on, as far as it matters."""
    info = dict(line.split(":", 1) for line in Path("/proc/cpuinfo").read_text().splitlines() if ":" in line)
    processors = Path("/proc/cpuinfo").read_text().count("processor\t")
    memory = int(Path("/proc/meminfo").read_text().split()[1]) // 2**20
    name = next((value.strip() for key, value in info.items() if key.startswith("model name")), "")
    return f"{processors} processors ({name}), {memory} GB, Linux {Path('/proc/sys/kernel/osrelease').read_text().strip()}"


def summary(values, unit):
    return {"unit": unit, "runs": [round(value, 4) for value in values],
            "median": round(statistics.median(values), 4), "low": round(min(values), 4),
            "high": round(max(values), 4)}


class Results:
    def __init__(self, file, order):
        """The file may hold results already; order: the names of all workloads there are."""
        self.file = file
        self.order = order
        self.workloads = json.loads(file.read_text())["workloads"] if file.exists() else []

    def put(self, name, title, figures, limits):
        """Figures of one session: {contender: [{metric: value} of each run]}; limits: [(metric, of what,
        most)], of the engine's median, or [(metric, of what, most, whose)]."""
        contenders = {contender: {metric: summary([run[metric] for run in runs], UNITS.get(metric, ""))
                                  for metric in runs[0]} for contender, runs in figures.items()}
        ratios = [self.ratio(contenders, *limit) for limit in limits]
        entry = {"workload": name, "title": title, "measured": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime()),
                 "contenders": contenders, "ratios": ratios}
        known = {known["workload"]: known for known in self.workloads} | {name: entry}
        self.workloads = [known[name] for name in self.order if name in known]
        self.file.write_text(json.dumps({"group": self.file.stem, "machine": machine(), "workloads": self.workloads},
                                        indent=1) + "\n")

    @staticmethod
    def ratio(contenders, metric, to, limit, whose="engine"):
        """A contender's median by that of another, or of the best of several."""
        peers = {name: contenders[name][metric]["median"] for name in ([to] if isinstance(to, str) else to)
                 if name in contenders}
        best = min(peers, key=peers.get)
        ratio = contenders[whose][metric]["median"] / peers[best]
        return {"metric": metric, "of": whose, "to": best, "ratio": round(ratio, 3), "limit": limit,
                "held": ratio <= limit}
