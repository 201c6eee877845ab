"""Tables and plots of what was measured. Figures of different parts come from different runs and are not compared."""
import statistics
import subprocess


def spread(values, digits=2):
    """Median, lowest and highest."""
    return f"{statistics.median(values):.{digits}f} ({min(values):.{digits}f}–{max(values):.{digits}f})"


def ratios(values, others):
    return [value / other for value, other in zip(values, others)]


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|---" + "|---:" * (len(head) - 1) + "|"]
    return "\n".join(lines + ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]) + "\n"


def query(rows):
    return ("Microseconds that a caller waits for an answer, while the workers download.\n\n" +
            table(["Workers", "Threads", "Engine", "Plain structs, a mutex each", "Ratio"],
                  [[row["workers"], row["threads"], spread(row["engine"]), spread(row["plain"]),
                    spread(ratios(row["engine"], row["plain"]))] for row in rows]))


def complete(found):
    parts = found["microseconds"]
    names = {"query": "the query", "replacing": "replacing a file of that size, flushed",
             "reading": "reading the property list", "tracing": "two lines of the log"}
    polled = found["polled"]

    def all_of(key):
        return [run[key] for run in polled]
    return ("Microseconds, the property list on a disk.\n\n" +
            table(["What", "µs", "The query is so many times that"],
                  [[text, spread(parts[name], 1), spread(ratios(parts["query"], parts[name]), 3)]
                   for name, text in names.items()]) +
            "\nA host that goes on asking twenty times a second:\n\n" +
            table(["Each second", "", ], [
                ["property lists replaced", spread(all_of("filesReplacedPerSecond"), 1)],
                ["bytes to the disk", spread(all_of("bytesToDiskPerSecond"), 0)],
                ["milliseconds inside the query", spread(all_of("millisecondsInQueriesPerSecond"), 1)],
                ["per cent of a processor, its own sleeps included", spread(all_of("processorPercent"), 2)]]))


def downloads(rows):
    names = {"none": "none", "8 x 20": "8, 20 times a second each", "8 x 1000": "8, 1,000 times a second each"}
    alone = rows["none"]

    def column(name, key):
        return [run[key] for run in rows[name]]
    return ("A fresh installation of 12 packages of 32 MiB over HTTPS, from beginning to end.\n\n" +
            table(["Pollers", "Polls", "Seconds", "Ratio", "Processor seconds", "Ratio"],
                  [[text, f"{statistics.median(column(name, 'polls')):.0f}", spread(column(name, "seconds")),
                    spread(ratios(column(name, "seconds"), [run["seconds"] for run in alone]), 3),
                    spread(column(name, "processorSeconds")),
                    spread(ratios(column(name, "processorSeconds"), [run["processorSeconds"] for run in alone]), 3)]
                   for name, text in names.items()]))


def trace(rows):
    names = {"engine": "the engine", "standard": "`fprintf` and `fflush`", "write": "`write` of a line that is ready"}
    cells = {(row["who"], row["threads"]): row["linesPerSecond"] for row in rows}
    return ("Thousand lines a second of one file on a disk, by all threads together.\n\n" +
            table(["Who", "1 thread", "The engine is so many times that", "64 threads", "so many times that"],
                  [[text, spread([v / 1000 for v in cells[who, 1]], 0),
                    spread(ratios(cells["engine", 1], cells[who, 1])),
                    spread([v / 1000 for v in cells[who, 64]], 0),
                    spread(ratios(cells["engine", 64], cells[who, 64]))] for who, text in names.items()]))


def start(found):
    names = {"engine": "`productUpdater`", "loader": "three lines, the same libraries loaded",
             "initialising": "the same, the libraries initialised"}
    return ("Milliseconds from before the start to the first line in the log.\n\n" +
            table(["Program", "ms", "The engine is so many times that"],
                  [[text, spread(found[name]), spread(ratios(found["engine"], found[name]))]
                   for name, text in names.items()]))


def check(cases):
    rows = []
    for case in cases:
        floor = case["roundTripsMs"]
        rows.append([case["offered"], f"{case['roundTripMs']:.0f}", spread(case["engine"], 0),
                     f"{floor:.0f}" if floor else "–",
                     f"{statistics.median(case['engine']) - floor:.0f}" if floor else "–",
                     spread(case["curls"], 0), spread(ratios(case["engine"], case["curls"])),
                     spread(case["curl"], 0), spread(ratios(case["engine"], case["curl"]))])
    return ("Milliseconds of a \"CheckForInstall\" that finds nothing, from start to end.\n\n" +
            table(["The service offers", "Round trip", "Engine", "Its round trips", "Above these", "curl a request",
                   "Ratio", "One curl, connections kept", "Ratio"], rows))


def client(found):
    rows = []
    for name, counts in found.items():
        if not isinstance(counts, dict) or "service" not in counts:
            continue
        for server in ("service", "packages"):
            one = counts[server]
            if one["connections"]:
                rows.append([name, server, one["connections"], one["requests"], one["heads"], one["ranges"],
                             f"{one['up']:,}", f"{one['down']:,}"])
    return ("TLS and HTTP included, TCP's and IP's headers not.\n\n" +
            table(["What", "Server", "Connections", "Requests", "of them HEAD", "with a range", "Bytes up",
                   "Bytes down"], rows))


TITLES = {"query": "The progress query while workers download", "complete": "The progress query once all is complete",
          "downloads": "Downloads that are watched", "trace": "The log", "start": "The start",
          "check": "A check that finds nothing", "client": "One client"}


def plot(path, script):
    subprocess.run(["gnuplot"], check=True, text=True, input=f"""
set terminal svg size 760,420 font 'sans-serif,13' background 'white'
set output '{path}'
set grid
{script}""")


def plot_query(rows, folder):
    def data(threads):
        lines = []
        for row in rows:
            if row["threads"] == threads:
                lines.append(" ".join(str(value) for value in (
                    row["workers"], *(f(row[who]) for who in ("engine", "plain")
                                      for f in (statistics.median, min, max)))))
        return "\n".join(lines)
    blocks = "".join(f"$threads{threads} << END\n{data(threads)}\nEND\n" for threads in (1, 8))
    curves = ", ".join(
        f"$threads{threads} using 1:{column}:{column + 1}:{column + 2} with yerrorlines lw 2 title '{who}, {threads} "
        f"thread{'s' if threads > 1 else ''}'" for who, column in (("engine", 2), ("plain structs", 5))
        for threads in (1, 8))
    plot(folder / "host-query.svg", f"""{blocks}
set logscale xy
set xlabel 'workers that download'
set ylabel 'µs until the answer'
set key left top
plot {curves}
""")


def plot_check(cases, folder):
    lines = "\n".join(" ".join([f"\"{case['offered'].replace('that ', '')}\\n{case['roundTripMs']:.0f} ms\"", *(
        str(f(case[who])) for who in ("engine", "curls", "curl") for f in (statistics.median, min, max))])
        for case in cases)
    plot(folder / "host-check.svg", f"""$cases << END
{lines}
END
set style data histograms
set bmargin 4
set style histogram errorbars gap 2 lw 1
set style fill solid 0.7
set ylabel 'ms, start to end'
set yrange [0:*]
set key left top
plot $cases using 2:3:4:xtic(1) title 'engine', $cases using 5:6:7 title 'curl a request', \\
     $cases using 8:9:10 title 'one curl'
""")


def write(results, folder):
    text = "# What the engine costs its host\n\nMedian (lowest–highest). By `bench/host/run`.\n"
    for part, title in TITLES.items():
        if part in results:
            text += f"\n## {title}\n\n{globals()[part](results[part]['results'])}\n{results[part]['machine']}.\n"
    (folder / "host.md").write_text(text)
    if "query" in results:
        plot_query(results["query"]["results"], folder)
    if "check" in results:
        plot_check(results["check"]["results"], folder)
